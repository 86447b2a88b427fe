#include "platform/QWUserDefaults.h"

#include "platform/QWPlatformLog_p.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

// A JSON text must be an array or an object, so a value is kept as an array of one.
QString textFromValue(const QJsonValue& value) {
    return QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
}

QJsonValue valueFromText(const QString& text) {
    const QJsonArray array = QJsonDocument::fromJson(text.toUtf8()).array();
    return array.size() == 1 ? array.first() : QJsonValue(QJsonValue::Undefined);
}

// QSettings takes both slashes for separators of groups, removes a group with the key of its name, and
// everything with an empty one. No key but the empty one becomes a lone percent sign.
QString nameInSettings(const QString& key) {
    QString name = key;
    name.replace(QLatin1Char('%'), QLatin1String("%25"));
    name.replace(QLatin1Char('/'), QLatin1String("%2F"));
    name.replace(QLatin1Char('\\'), QLatin1String("%5C"));
    return name.isEmpty() ? QStringLiteral("%") : name;
}

} // namespace

QWUserDefaults::~QWUserDefaults() = default;

void QWUserDefaults::setObject(const QString& key, const QJsonValue& value) {
    if (value.isUndefined())
        return remove(key);
    storeObject(key, value);
    // A copy shares the list: an observer that observes a new key may move the original.
    observers_.value(key).notify(value);
}

void QWUserDefaults::remove(const QString& key) {
    removeObject(key);
    observers_.value(key).notify(QJsonValue(QJsonValue::Undefined));
}

QWObservation QWUserDefaults::observe(const QString& key, Callback callback) {
    return observers_[key].add(std::move(callback));
}

bool QWUserDefaults::boolean(const QString& key) const {
    const QJsonValue value = object(key);
    if (value.isBool())
        return value.toBool();
    if (value.isDouble())
        return value.toDouble() != 0;
    const QString text = value.toString();
    return text == u"YES" || text == u"true" || text == u"1";
}

QJsonValue QWMemoryUserDefaults::object(const QString& key) const {
    return values_.value(key, QJsonValue(QJsonValue::Undefined));
}

void QWMemoryUserDefaults::storeObject(const QString& key, const QJsonValue& value) {
    values_.insert(key, value);
}

void QWMemoryUserDefaults::removeObject(const QString& key) {
    values_.remove(key);
}

void QWMemoryUserDefaults::synchronize() {}

QWSettingsUserDefaults::QWSettingsUserDefaults() = default;

QWSettingsUserDefaults::QWSettingsUserDefaults(const QString& path) : settings_(path, QSettings::IniFormat) {}

QJsonValue QWSettingsUserDefaults::object(const QString& key) const {
    return valueFromText(settings_.value(nameInSettings(key)).toString());
}

void QWSettingsUserDefaults::storeObject(const QString& key, const QJsonValue& value) {
    settings_.setValue(nameInSettings(key), textFromValue(value));
}

void QWSettingsUserDefaults::removeObject(const QString& key) {
    settings_.remove(nameInSettings(key));
}

void QWSettingsUserDefaults::synchronize() {
    settings_.sync();
    if (settings_.status() != QSettings::NoError)
        qCWarning(qwPlatformLog, "%s: the settings cannot be read or written",
                  qUtf8Printable(settings_.fileName()));
}
