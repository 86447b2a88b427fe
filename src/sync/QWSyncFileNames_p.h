#pragma once

#include <QString>
#include <optional>

// Names of the files that carry records: "Entity!!!UUID.data" for the record and "Entity!!!UUID.image" for
// its image in the sync folder, and the local files that they pass through.
namespace qw::sync {

QString fileName(const QString& uuid, const QString& entityName, bool isImage);
// The path of a file of the sync folder.
QString remotePath(const QString& fileName);
bool isSyncFolder(const QString& path);
bool isPreferencesFile(const QString& path);
QString preferencesFileName();
// By its extension, in lower case: a record's, or its image's.
bool isRecordFile(const QString& path);
bool isImageFile(const QString& path);

// Whether a uuid is one name, and no path: hosts name images after it; and text that a file can hold, so that it is
// the same uuid everywhere. What comes from elsewhere and is not makes no record here.
bool isPlainUUID(QStringView uuid);

// The object that a remote file belongs to. The service reports names in lower case, so the entity's name is
// restored by capitalising each word: "Book" and "Book_Author" come back as they were, "BookAuthor" does not.
struct NamedObject {
    QString entityName;
    QString uuid; // upper case
};
// Nothing for a name without "!!!" and a plain uuid after it. Text from the first blank on is that of a
// conflicted copy.
std::optional<NamedObject> objectNamedByFile(const QString& remoteName);
// The uuid alone, in upper case; the extension is taken off twice. Null where `objectNamedByFile` finds
// nothing.
QString uuidNamedByFile(const QString& remoteName);

// Whether the files of such an object can be sent from here and downloaded elsewhere. Uuids of which they
// cannot are met in damaged records only.
bool canNameFiles(const QString& uuid, const QString& entityName);

// Where a record is written before its upload: "Uploading-UUID.data".
QString stagingFileName(const QString& uuid);
// Where a download of `remoteName` goes: "Download-" and the last component in lower case, so that no name
// leads out of the folder. Nothing when no disk takes the name: too long, or with a NUL in it.
std::optional<QString> downloadFileName(const QString& remoteName);

} // namespace qw::sync
