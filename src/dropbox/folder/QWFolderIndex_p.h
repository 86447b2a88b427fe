#pragma once

#include "dropbox/folder/QWFolderDatabase_p.h"

#include <vector>

// What an app folder holds: one row for each path that something ever stood at, with its content, in one
// SQLite database. It knows the order of changes but none of the rules of the service; those are
// QWAppFolder's.
//
// Each change gives its path the next number of one sequence, so the changes since a cursor are the rows with
// a greater number. A row without a number is a deletion that the deletion of a folder above it covers.
//
// All operations throw QWFolderFailure. Those that write belong inside a transaction.
class QWFolderIndex {
public:
    // An empty path opens an index in memory. A new index is known by `identity`, an old one keeps its own.
    // `capacity` is in bytes, 0 for none.
    QWFolderIndex(const QString& databasePath, const QString& identity, qint64 capacity);
    ~QWFolderIndex();

    struct Entry {
        qint64 id = 0;       // in the order in which the paths were first used: parents before children
        qint64 sequence = 0; // 0: none
        QString lowercasePath;
        bool isDeleted = false;
        DBMetadata metadata; // of a deleted entry: path and isDirectory as they were
    };

    QWFolderDatabase& database() { return database_; }
    // A text that no other app folder has.
    QString identity() const { return identity_; }
    QString cursorKey();
    void setCursorKey(const QString& key);

    // The number of the last change.
    qint64 head();
    // Also writes the content of a file that stands there to an open device, when the caller gives one.
    std::optional<Entry> find(const QString& lowercasePath, QIODevice* content = nullptr);
    // Entries changed after `after` and not after `upTo`, in the order of their changes.
    std::vector<Entry> changes(qint64 after, qint64 upTo, int limit);
    // Entries that stand and whose id is greater than `afterId`, by id.
    std::vector<Entry> standing(qint64 afterId, int limit);

    // What stands under a folder, folders before what is in them.
    std::vector<Entry> standingUnder(const QString& lowercasePath);

    // Puts a file or folder at its path, as the change after the last; answers its id. A file has as many
    // bytes as its metadata say, all 0 until they are written.
    qint64 put(const QString& lowercasePath, const DBMetadata& metadata);
    void writeContent(qint64 id, QIODevice& content);
    void copyContent(qint64 fromId, qint64 toId);
    // Deletes one entry, as the change after the last.
    void markDeleted(qint64 id);
    // Deletes everything under a deleted folder and takes it out of the sequence. Answers what had stood, by
    // path.
    std::vector<qint64> coverDescendants(const QString& lowercasePath);
    // The deletions under a folder that have no number, by path.
    std::vector<qint64> coveredDescendants(const QString& lowercasePath);
    // Makes the entries the changes after the last, in their order.
    void appendChanges(const std::vector<qint64>& ids);

private:
    struct Statements;

    QWFolderDatabase database_;
    std::unique_ptr<Statements> statements_;
    QString identity_;
};
