#pragma once

#include "SimulatedDisk.h"
#include "platform/QWUserDefaults.h"

#include <QStringList>

// Settings that a machine keeps. What a dead process sets is not taken; what was set since the last `synchronize` a
// loss of power may take back, the latest first. The system's, not the process's: a process that is killed leaves them.
class SimulatedDefaults final : public QWUserDefaults {
public:
    explicit SimulatedDefaults(const SimulatedDisk& disk) : disk_(disk) {}

    QJsonValue object(const QString& key) const override { return values_.value(key, QJsonValue::Undefined); }
    void synchronize() override;

    // The keys of what it took back; `seed` decides how much.
    QStringList losePower(unsigned seed);

private:
    struct Change {
        QString key;
        QJsonValue before;
    };

    void storeObject(const QString& key, const QJsonValue& value) override;
    void removeObject(const QString& key) override;
    void change(const QString& key, const QJsonValue& value);

    const SimulatedDisk& disk_;
    QHash<QString, QJsonValue> values_; // Undefined: none
    std::vector<Change> unsynced_;
};
