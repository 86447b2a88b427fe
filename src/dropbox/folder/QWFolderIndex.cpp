#include "dropbox/folder/QWFolderIndex_p.h"

namespace {

constexpr int schemaVersion = 1;
constexpr qint64 pageSize = 4096;

// The content comes last, so that listings need not read over it.
const char* const schema = R"(
    CREATE TABLE entries (
        id INTEGER PRIMARY KEY,
        lowercasePath TEXT NOT NULL UNIQUE,
        sequence INTEGER UNIQUE,
        isDeleted INTEGER NOT NULL,
        isDirectory INTEGER NOT NULL,
        path TEXT NOT NULL,
        rev TEXT NOT NULL,
        hash TEXT NOT NULL,
        size INTEGER NOT NULL,
        modified INTEGER NOT NULL,
        content BLOB
    );
    CREATE TABLE facts (name TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID;
)";

#define QW_ENTRY_COLUMNS                                                                                     \
    "id, sequence, lowercasePath, isDeleted, isDirectory, path, rev, hash, size, modified"
// In the order of bytes "0" follows "/".
#define QW_DESCENDANTS "lowercasePath > ?1 || '/' AND lowercasePath < ?1 || '0'"

// Readers and a writer at the same time. Processes that make the database at once are refused here without
// being made to wait; waiting for a transaction's turn makes up for it.
void startWriteAheadLog(QWFolderDatabase& database) {
    for (int attempt = 1;; ++attempt) {
        try {
            return database.execute("PRAGMA journal_mode = WAL");
        } catch (const QWFolderFailure&) {
            if (sqlite3_errcode(database.handle()) != SQLITE_BUSY || attempt == 100)
                throw;
        }
        database.execute("BEGIN IMMEDIATE; COMMIT");
    }
}

void prepare(QWFolderDatabase& database, const QString& identity) {
    startWriteAheadLog(database);
    // A write reaches the file at its commit; what a power cut can take back are whole writes, the last ones.
    database.execute("PRAGMA synchronous = NORMAL");
    QWFolderTransaction transaction(database);
    qint64 version = 0;
    {
        QWFolderStatement statement(database.handle(), "PRAGMA user_version");
        QWFolderStatement::Rows rows = statement.rows();
        rows.next();
        version = rows.integer(0);
    }
    if (version == 0) {
        database.execute(schema);
        QWFolderStatement insert(database.handle(), "INSERT INTO facts VALUES (?1, ?2)");
        insert.run(QStringLiteral("identity"), identity);
        insert.run(QStringLiteral("cursorKey"), identity);
        database.execute("PRAGMA user_version = " + QByteArray::number(schemaVersion));
    } else if (version != schemaVersion) {
        throw QWFolderFailure(
            QWAppFolderErrorCode::Unavailable,
            QStringLiteral("The app folder was made by another version of the library (%1).").arg(version));
    }
    transaction.commit();
}

QWFolderIndex::Entry entry(const QWFolderStatement::Rows& rows) {
    QWFolderIndex::Entry result;
    result.id = rows.integer(0);
    result.sequence = rows.integer(1);
    result.lowercasePath = rows.text(2);
    result.isDeleted = rows.integer(3) != 0;
    result.metadata.isDirectory = rows.integer(4) != 0;
    result.metadata.path = rows.text(5);
    result.metadata.rev = rows.text(6);
    result.metadata.hash = rows.text(7);
    result.metadata.totalBytes = rows.integer(8);
    if (!result.isDeleted && !result.metadata.isDirectory)
        result.metadata.lastModifiedDate = QDateTime::fromSecsSinceEpoch(rows.integer(9), Qt::UTC);
    return result;
}

std::vector<QWFolderIndex::Entry> entries(QWFolderStatement::Rows rows) {
    std::vector<QWFolderIndex::Entry> result;
    while (rows.next())
        result.push_back(entry(rows));
    return result;
}

std::vector<qint64> ids(QWFolderStatement::Rows rows) {
    std::vector<qint64> result;
    while (rows.next())
        result.push_back(rows.integer(0));
    return result;
}

} // namespace

struct QWFolderIndex::Statements {
    explicit Statements(sqlite3* handle) : handle_(handle) {}

    sqlite3* handle_;
    QWFolderStatement fact{handle_, "SELECT value FROM facts WHERE name = ?1"};
    QWFolderStatement setFact{handle_, "UPDATE facts SET value = ?2 WHERE name = ?1"};
    QWFolderStatement head{handle_, "SELECT max(sequence) FROM entries"};
    QWFolderStatement find{handle_, "SELECT " QW_ENTRY_COLUMNS " FROM entries WHERE lowercasePath = ?1"};
    QWFolderStatement changes{handle_, "SELECT " QW_ENTRY_COLUMNS " FROM entries"
                                       " WHERE sequence > ?1 AND sequence <= ?2 ORDER BY sequence LIMIT ?3"};
    QWFolderStatement standing{handle_, "SELECT " QW_ENTRY_COLUMNS " FROM entries"
                                        " WHERE id > ?1 AND NOT isDeleted ORDER BY id LIMIT ?2"};
    QWFolderStatement put{
        handle_, "INSERT INTO entries (lowercasePath, sequence, isDeleted, isDirectory, path, rev, hash,"
                 " size, modified, content) VALUES (?1, ?2, 0, ?3, ?4, ?5, ?6, ?7, ?8, zeroblob(?7))"
                 " ON CONFLICT (lowercasePath) DO UPDATE SET sequence = ?2, isDeleted = 0, isDirectory = ?3,"
                 " path = ?4, rev = ?5, hash = ?6, size = ?7, modified = ?8, content = zeroblob(?7)"
                 " RETURNING id"};
    QWFolderStatement copyContent{handle_, "UPDATE entries SET content ="
                                           " (SELECT content FROM entries WHERE id = ?1) WHERE id = ?2"};
    QWFolderStatement standingUnder{handle_, "SELECT " QW_ENTRY_COLUMNS " FROM entries WHERE " QW_DESCENDANTS
                                             " AND NOT isDeleted ORDER BY lowercasePath"};
    QWFolderStatement markDeleted{handle_,
                                  "UPDATE entries SET sequence = ?2, isDeleted = 1, rev = '',"
                                  " hash = '', size = 0, modified = 0, content = NULL WHERE id = ?1"};
    QWFolderStatement standingDescendants{handle_, "SELECT id FROM entries WHERE " QW_DESCENDANTS
                                                   " AND NOT isDeleted ORDER BY lowercasePath"};
    QWFolderStatement coverDescendants{handle_, "UPDATE entries SET sequence = NULL, isDeleted = 1, rev = '',"
                                                " hash = '', size = 0, modified = 0, content = NULL"
                                                " WHERE " QW_DESCENDANTS};
    QWFolderStatement coveredDescendants{handle_, "SELECT id FROM entries WHERE " QW_DESCENDANTS
                                                  " AND sequence IS NULL ORDER BY lowercasePath"};
    QWFolderStatement setSequence{handle_, "UPDATE entries SET sequence = ?2 WHERE id = ?1"};
};

QWFolderIndex::QWFolderIndex(const QString& databasePath, const QString& identity, qint64 capacity)
    : database_(databasePath) {
    prepare(database_, identity);
    if (capacity > 0)
        database_.execute("PRAGMA max_page_count = " + QByteArray::number(capacity / pageSize));
    statements_ = std::make_unique<Statements>(database_.handle());
    QWFolderStatement::Rows rows = statements_->fact.rows(QStringLiteral("identity"));
    rows.next();
    identity_ = rows.text(0);
}

QWFolderIndex::~QWFolderIndex() = default;

QString QWFolderIndex::cursorKey() {
    QWFolderStatement::Rows rows = statements_->fact.rows(QStringLiteral("cursorKey"));
    rows.next();
    return rows.text(0);
}

void QWFolderIndex::setCursorKey(const QString& key) {
    statements_->setFact.run(QStringLiteral("cursorKey"), key);
}

qint64 QWFolderIndex::head() {
    QWFolderStatement::Rows rows = statements_->head.rows();
    rows.next();
    return rows.integer(0);
}

std::optional<QWFolderIndex::Entry> QWFolderIndex::find(const QString& lowercasePath, QIODevice* content) {
    QWFolderStatement::Rows rows = statements_->find.rows(lowercasePath);
    if (!rows.next())
        return std::nullopt;
    Entry found = entry(rows);
    // The row that is being read keeps other processes' writes out of sight until the content is read too.
    if (content && !found.isDeleted && !found.metadata.isDirectory)
        QWFolderContent(database_, found.id, QWFolderContent::Read).copyTo(*content);
    return found;
}

std::vector<QWFolderIndex::Entry> QWFolderIndex::changes(qint64 after, qint64 upTo, int limit) {
    return entries(statements_->changes.rows(after, upTo, qint64(limit)));
}

std::vector<QWFolderIndex::Entry> QWFolderIndex::standing(qint64 afterId, int limit) {
    return entries(statements_->standing.rows(afterId, qint64(limit)));
}

std::vector<QWFolderIndex::Entry> QWFolderIndex::standingUnder(const QString& lowercasePath) {
    return entries(statements_->standingUnder.rows(lowercasePath));
}

qint64 QWFolderIndex::put(const QString& lowercasePath, const DBMetadata& metadata) {
    const qint64 modified = metadata.isDirectory ? 0 : metadata.lastModifiedDate.toSecsSinceEpoch();
    QWFolderStatement::Rows rows =
        statements_->put.rows(lowercasePath, head() + 1, qint64(metadata.isDirectory), metadata.path,
                              metadata.rev, metadata.hash, metadata.totalBytes, modified);
    rows.next();
    const qint64 id = rows.integer(0);
    rows.next();
    return id;
}

void QWFolderIndex::writeContent(qint64 id, QIODevice& content) {
    QWFolderContent(database_, id, QWFolderContent::Write).copyFrom(content);
}

void QWFolderIndex::copyContent(qint64 fromId, qint64 toId) {
    statements_->copyContent.run(fromId, toId);
}

void QWFolderIndex::markDeleted(qint64 id) {
    statements_->markDeleted.run(id, head() + 1);
}

std::vector<qint64> QWFolderIndex::coverDescendants(const QString& lowercasePath) {
    std::vector<qint64> stood = ids(statements_->standingDescendants.rows(lowercasePath));
    statements_->coverDescendants.run(lowercasePath);
    return stood;
}

std::vector<qint64> QWFolderIndex::coveredDescendants(const QString& lowercasePath) {
    return ids(statements_->coveredDescendants.rows(lowercasePath));
}

void QWFolderIndex::appendChanges(const std::vector<qint64>& ids) {
    qint64 sequence = head();
    for (const qint64 id : ids)
        statements_->setSequence.run(id, ++sequence);
}
