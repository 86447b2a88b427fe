#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "dropbox/DBMetadata.h"
#include "platform/QWEnvironment.h"
#include "platform/QWError.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <memory>
#include <optional>

class QIODevice;
class QWFolderIndex;

// Why an app folder refuses or fails an operation: the code of its errors, whose domain is "folder" and whose
// userInfo holds "path".
enum class QWAppFolderErrorCode {
    NotFound = 1,      // nothing stands there (any more)
    NotAFile,          // a folder stands there, where a file is wanted
    FileInTheWay,      // conflict: a file of other content stands there
    FolderInTheWay,    // conflict: a folder stands there
    FileAmongParents,  // conflict: a file stands where a folder above is needed
    IntoItself,        // a folder cannot be moved into itself
    MalformedPath,     // no path that the folder accepts
    CursorLost,        // the cursor is not of this folder, or was forgotten: list afresh
    InsufficientSpace, // the folder or its disk is full, or the file too large
    Unavailable,       // the directory cannot be read or written
};

// How an upload treats what stands at its path already. Identical bytes are no conflict, and an update of a
// deleted file makes it again whatever the revision, unless the mode is strict.
struct QWWriteMode {
    enum Kind {
        Add,       // conflicts with any other content
        Overwrite, // replaces whatever file stands there
        Update,    // replaces the revision `rev`, conflicts with any other one
    };
    enum OnConflict { Refuse, Rename };

    Kind kind = Add;
    QString rev;
    OnConflict onConflict = Refuse;
    bool isStrict = false;

    static QWWriteMode add(OnConflict onConflict = Refuse) { return {Add, {}, onConflict}; }
    static QWWriteMode update(const QString& rev, OnConflict onConflict = Refuse) {
        return {Update, rev, onConflict};
    }
};

struct QWAppFolderOptions {
    // In the names of conflicted copies: "name (Owner's conflicted copy).data".
    QString accountName = QStringLiteral("Owner");
    // The service reports a deleted folder with or without a deletion for each thing that stood in it.
    bool reportsChildrenOfDeletedFolders = true;
    // Bytes that the folder may take, its own bookkeeping included; 0: no limit but the disk.
    qint64 capacity = 0;
};

// An application folder of the cloud service on this machine: files with revisions, folders, and a feed of
// their changes. Every operation is carried out at once, whole or not at all.
//
// Paths start with "/" and have no trailing slash. They are compared without regard to case and keep the
// spelling with which they were made. Folders above an uploaded file make themselves.
//
// A folder in memory lives as long as this object. A folder in a directory is one database file there, which
// any number of processes may use at once, each through an object of its own: a write is visible to the
// others whole or not at all, and a process that is killed leaves nothing to repair.
//
// Threads: an object is used by one thread at a time.
class QWAppFolder {
public:
    // The clock dates the files; the uuid source tells this folder from any other.
    static std::unique_ptr<QWAppFolder> inMemory(std::shared_ptr<QWEnvironment> environment,
                                                 QWAppFolderOptions options = {});
    // Makes the directory and the folder in it when missing. Null, with an error, when it cannot be used.
    static std::unique_ptr<QWAppFolder> inDirectory(const QString& directory,
                                                    std::shared_ptr<QWEnvironment> environment,
                                                    QWAppFolderOptions options = {},
                                                    QWError* error = nullptr);
    ~QWAppFolder();

    bool isInMemory() const { return isInMemory_; }

    struct File {
        DBMetadata metadata;
        QByteArray bytes;
    };
    // What stands at the path; deleted things count as not found.
    std::optional<DBMetadata> metadata(const QString& path, QWError* error = nullptr);
    // Something stood there, and nothing does now.
    bool wasDeleted(const QString& path);
    std::optional<File> read(const QString& path, QWError* error = nullptr);
    // Writes the file's bytes to an open device, piece by piece. After an error the device may hold some.
    std::optional<DBMetadata> read(const QString& path, QIODevice& to, QWError* error = nullptr);

    // Writes a file. The answer's path differs from the one asked for when a conflict renamed it: an added
    // file to "stem (1).ext", an updated one to "stem (NAME's conflicted copy).ext". Identical bytes answer
    // what stands there and change nothing.
    std::optional<DBMetadata> upload(const QString& path, const QByteArray& bytes, const QWWriteMode& mode,
                                     QWError* error = nullptr);
    // The same from an open device that can be read twice: everything from its present position to its end,
    // piece by piece.
    std::optional<DBMetadata> upload(const QString& path, QIODevice& content, const QWWriteMode& mode,
                                     QWError* error = nullptr);
    std::optional<DBMetadata> createFolder(const QString& path, QWError* error = nullptr) {
        return createFolder(path, QWWriteMode::Refuse, error);
    }
    // A folder that may be renamed on conflict becomes "name (1)".
    std::optional<DBMetadata> createFolder(const QString& path, QWWriteMode::OnConflict onConflict,
                                           QWError* error = nullptr);
    // Moves a file, or a folder with everything in it; answers what stands at the new place. The feed tells
    // of everything there, and of a deletion at the old place. Files get new revisions. A change of letter
    // case only is no move: nothing happens.
    std::optional<DBMetadata> move(const QString& from, const QString& to,
                                   QWWriteMode::OnConflict onConflict = QWWriteMode::Refuse,
                                   QWError* error = nullptr);
    // Deletes a file, or a folder with everything in it. Answers what stood there.
    std::optional<DBMetadata> remove(const QString& path, QWError* error = nullptr);

    struct Page {
        QList<DBDeltaEntryRef> entries;
        QString cursor; // where the next page starts, or the next query when there is none
        bool hasMore = false;
    };
    // A page of at most `limit` entries, which is 1 or more. An empty cursor starts a listing of everything
    // that stands; the cursor of a query's last page starts a query for what has changed since.
    //
    // One query, over all its pages, holds a path at most once and with its present state. What changes while
    // its pages are read is in the next query (and perhaps in this one too, if it is a listing). Folders come
    // before what is in them, whether they stand or were deleted.
    std::optional<Page> changes(const QString& cursor, int limit, QWError* error = nullptr);

    // Where a query for what changes from now on starts.
    std::optional<QString> latestCursor(QWError* error = nullptr);

    // From here on every cursor given so far is lost, in all processes.
    bool forgetCursors(QWError* error = nullptr);

private:
    QWAppFolder(std::shared_ptr<QWEnvironment> environment, QWAppFolderOptions options,
                std::unique_ptr<QWFolderIndex> index, bool isInMemory);

    struct Placed {
        qint64 id;
        DBMetadata metadata;
    };

    DBMetadata write(const QString& path, QIODevice& content, const QWWriteMode& mode);
    QString freePlace(const QString& path, QWWriteMode::OnConflict onConflict);
    void makeParents(const QString& path);
    DBMetadata makeFolder(const QString& path);
    Placed put(DBMetadata metadata);
    void deleteWithDescendants(qint64 id, const QString& lowercasePath, bool isDirectory);
    QString newRevision();
    Page page(const QString& cursor, int limit);

    std::shared_ptr<QWEnvironment> environment_;
    QWAppFolderOptions options_;
    std::unique_ptr<QWFolderIndex> index_;
    bool isInMemory_;
};
