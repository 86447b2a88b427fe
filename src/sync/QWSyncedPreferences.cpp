#include "sync/QWSyncedPreferences_p.h"

#include "core/QWJSON.h"

std::optional<QJsonValue> qw::sync::travellingPreference(const QJsonValue& value) {
    if (value.isUndefined())
        return QJsonValue();
    const QString key = QStringLiteral("value");
    const auto bytes = json::write(QVariantMap{{key, value.toVariant()}});
    const auto carried = bytes ? preferencesFromFileBytes(*bytes) : std::nullopt;
    return carried ? std::optional(carried->value(key)) : std::nullopt;
}

QByteArray qw::sync::preferencesFileBytes(const QJsonObject& preferences) {
    return json::write(preferences.toVariantMap()).value_or(QByteArray());
}

std::optional<QJsonObject> qw::sync::preferencesFromFileBytes(const QByteArray& bytes) {
    const auto tree = json::read(bytes);
    if (!tree || tree->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return QJsonObject::fromVariantMap(tree->toMap());
}
