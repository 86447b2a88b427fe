#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <optional>

// The file in which the shared settings travel, "/PreferencesSync.data": one JSON object of key to value, in
// which null stands for no value.
namespace qw::sync {

// The value as it comes back from the file, in which 1.0 is 1; null for Undefined. Nothing for a value that
// JSON cannot carry: one with a number in it that is not finite, or nested so deep that no reader takes the
// file.
std::optional<QJsonValue> travellingPreference(const QJsonValue& value);

// Compact. Each value must be one that `travellingPreference` has answered.
QByteArray preferencesFileBytes(const QJsonObject& preferences);
// Nothing for what is no JSON object (UTF-8, UTF-16 or UTF-32), or nested deeper than 512.
std::optional<QJsonObject> preferencesFromFileBytes(const QByteArray& bytes);

} // namespace qw::sync
