#include "sync/QWSyncFileNames_p.h"

#include "dropbox/DBPath.h"
#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncConstants.h"

namespace qw::sync {

namespace {

// File systems take 255 bytes; downloads are written beside their place first, under a name with a suffix.
constexpr qsizetype longestLocalName = 255 - 15;

// "Entity!!!uuid further text" in its parts; both empty without a uuid.
struct Stem {
    QStringView entity, uuid;
};
Stem split(QStringView stem) {
    const qsizetype separator = stem.indexOf(QWDBFileNameSeparator);
    if (separator < 0)
        return {};
    const QStringView rest = stem.mid(separator + QWDBFileNameSeparator.size());
    const auto upTo = [](QStringView text, qsizetype end) { return end < 0 ? text : text.first(end); };
    const QStringView piece = upTo(rest, rest.indexOf(QWDBFileNameSeparator));
    const QStringView uuid = upTo(piece, piece.indexOf(QLatin1Char(' ')));
    return isPlainUUID(uuid) ? Stem{stem.first(separator), uuid} : Stem();
}

QString lastComponent(const QString& name) {
    return name.section(QLatin1Char('/'), -1).section(QLatin1Char('\\'), -1);
}

} // namespace

bool isPlainUUID(QStringView uuid) {
    const bool leadsElsewhere = uuid == QLatin1String(".") || uuid == QLatin1String("..");
    return !uuid.isEmpty() && !leadsElsewhere && !uuid.contains(QLatin1Char('/'))
           && !uuid.contains(QLatin1Char('\\')) && !uuid.contains(QChar(0)) && uuid.isValidUtf16();
}

QString fileName(const QString& uuid, const QString& entityName, bool isImage) {
    return entityName + QWDBFileNameSeparator + uuid + QLatin1Char('.')
           + (isImage ? QWDBFileNameImageExtension : QWDBFileNameDataExtension);
}

QString remotePath(const QString& fileName) {
    return text::appendingPathComponent(QWDBFileCacheDirectoryInDropboxFolder, fileName);
}

bool isSyncFolder(const QString& path) {
    return isEqualToDropboxPath(path, QWDBFileCacheDirectoryInDropboxFolder);
}

bool isPreferencesFile(const QString& path) {
    return isEqualToDropboxPath(path, QWDBFileSyncedPreferencesInDropboxFolder);
}

QString preferencesFileName() {
    return text::lastPathComponent(QWDBFileSyncedPreferencesInDropboxFolder);
}

bool isRecordFile(const QString& path) {
    return text::pathExtension(path) == QWDBFileNameDataExtension;
}

bool isImageFile(const QString& path) {
    return text::pathExtension(path) == QWDBFileNameImageExtension;
}

std::optional<NamedObject> objectNamedByFile(const QString& remoteName) {
    const QString stem = text::deletingPathExtension(remoteName);
    const auto [entity, uuid] = split(stem);
    if (uuid.isEmpty())
        return std::nullopt;
    return NamedObject{text::capitalized(entity.toString()), text::uppercase(uuid.toString())};
}

QString uuidNamedByFile(const QString& remoteName) {
    const QString stem = text::deletingPathExtension(text::deletingPathExtension(remoteName));
    return text::uppercase(split(stem).uuid.toString());
}

bool canNameFiles(const QString& uuid, const QString& entityName) {
    return isPlainUUID(uuid) && stagingFileName(uuid).toUtf8().size() <= longestLocalName
           && downloadFileName(fileName(uuid, entityName, true));
}

QString stagingFileName(const QString& uuid) {
    return QStringLiteral("Uploading-%1.%2").arg(uuid, QWDBFileNameDataExtension);
}

std::optional<QString> downloadFileName(const QString& remoteName) {
    const QString name = QStringLiteral("Download-") + text::lowercase(lastComponent(remoteName));
    if (name.contains(QChar(0)) || name.toUtf8().size() > longestLocalName)
        return std::nullopt;
    return name;
}

} // namespace qw::sync
