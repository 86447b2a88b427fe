#pragma once

#include "store/QWManagedObjectModel.h"

#include <QString>

// The rows of the cache store in which versions that lost are kept. Nothing of the engine looks into them: they are the
// supervisor's (supervisor/QWVersionArchive.h), and declared here because a cache file has one model.
namespace qw::sync::archivedVersionRow {

inline const QString rowEntityName = QStringLiteral("ArchivedVersion");

inline const QString objectUUIDKey = QStringLiteral("objectUUID");
inline const QString objectEntityNameKey = QStringLiteral("objectEntityName");
inline const QString numberKey = QStringLiteral("number");
inline const QString dateModifiedKey = QStringLiteral("dateModified");
inline const QString archivedAtKey = QStringLiteral("archivedAt");
inline const QString originKey = QStringLiteral("origin");
inline const QString reasonKey = QStringLiteral("reason");
inline const QString hashKey = QStringLiteral("hash");
inline const QString recordKey = QStringLiteral("record");
inline const QString imageKey = QStringLiteral("image");
inline const QString imageSizeKey = QStringLiteral("imageSize");

void addEntity(QWManagedObjectModel& model);

} // namespace qw::sync::archivedVersionRow
