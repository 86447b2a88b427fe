#include "SimulatedDefaults.h"

void SimulatedDefaults::synchronize() {
    if (!disk_.isDead())
        unsynced_.clear();
}

QStringList SimulatedDefaults::losePower(unsigned seed) {
    std::mt19937 random(seed);
    QStringList keys;
    for (auto lost = random() % (unsynced_.size() + 1); lost > 0; --lost) {
        const Change& latest = unsynced_.back();
        values_[latest.key] = latest.before;
        keys.append(latest.key);
        unsynced_.pop_back();
    }
    unsynced_.clear();
    return keys;
}

void SimulatedDefaults::storeObject(const QString& key, const QJsonValue& value) {
    change(key, value);
}

void SimulatedDefaults::removeObject(const QString& key) {
    change(key, QJsonValue::Undefined);
}

void SimulatedDefaults::change(const QString& key, const QJsonValue& value) {
    if (disk_.isDead())
        return;
    unsynced_.push_back({key, object(key)});
    values_[key] = value;
}
