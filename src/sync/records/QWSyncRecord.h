#pragma once

#include <QString>
#include <QStringList>

// Keys of a reference: how one record names another in its sync record.
inline const QString QWDropBoxUUIDKey = QStringLiteral("uuid");
inline const QString QWDropBoxEntityNameKey = QStringLiteral("entityName");

namespace qw::sync {

// Whether a relationship travels in the records of `entityName`. The names are in order of dependency: an
// entity may refer to those that stand at or before its own place. An unlisted name stands after every listed
// one.
inline bool carriesRelationship(const QStringList& entityDependencyNames, const QString& entityName,
                                const QString& destinationEntityName) {
    const auto position = [&](const QString& name) {
        return static_cast<quint64>(entityDependencyNames.indexOf(name)); // not found is the largest
    };
    return position(destinationEntityName) <= position(entityName);
}

} // namespace qw::sync
