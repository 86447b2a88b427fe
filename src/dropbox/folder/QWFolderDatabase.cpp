#include "dropbox/folder/QWFolderDatabase_p.h"

#include <QIODevice>
#include <algorithm>
#include <cerrno>

namespace {

// How long a write waits for the writes of other processes, which take milliseconds each.
constexpr int busyTimeoutMilliseconds = 30'000;
constexpr int pieceSize = 256 * 1024; // of content on its way in or out

QWFolderFailure failure(sqlite3* database) {
    const int code = sqlite3_errcode(database) & 0xff;
    // Of its index of the write-ahead log SQLite says only that it failed.
    const bool isDiskFull = code == SQLITE_IOERR && sqlite3_system_errno(database) == ENOSPC;
    const bool lacksSpace = isDiskFull || code == SQLITE_FULL || code == SQLITE_TOOBIG;
    const char* reason = isDiskFull ? sqlite3_errstr(SQLITE_FULL) : sqlite3_errmsg(database);
    return {lacksSpace ? QWAppFolderErrorCode::InsufficientSpace : QWAppFolderErrorCode::Unavailable,
            QStringLiteral("The app folder's database failed: %1.").arg(QString::fromUtf8(reason))};
}

} // namespace

QWFolderStatement::QWFolderStatement(sqlite3* database, const char* sql) {
    if (sqlite3_prepare_v3(database, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement_, nullptr) != SQLITE_OK)
        throw failure(database);
}

QWFolderStatement::Rows::~Rows() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

bool QWFolderStatement::Rows::next() {
    const int result = sqlite3_step(statement_);
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        throw failure(sqlite3_db_handle(statement_));
    return result == SQLITE_ROW;
}

QString QWFolderStatement::Rows::text(int column) const {
    const auto* utf8 = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return QString::fromUtf8(utf8, sqlite3_column_bytes(statement_, column));
}

void QWFolderStatement::bind(int parameter, qint64 value) {
    sqlite3_bind_int64(statement_, parameter, value);
}

void QWFolderStatement::bind(int parameter, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    sqlite3_bind_text64(statement_, parameter, utf8.constData(), quint64(utf8.size()), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

QWFolderDatabase::QWFolderDatabase(const QString& path) {
    const QByteArray name = path.isEmpty() ? QByteArray(":memory:") : path.toUtf8();
    if (sqlite3_open(name.constData(), &database_) != SQLITE_OK) {
        const QWFolderFailure reason = failure(database_);
        sqlite3_close(database_);
        throw reason;
    }
    sqlite3_busy_timeout(database_, busyTimeoutMilliseconds);
}

void QWFolderDatabase::execute(const QByteArray& sql) {
    if (sqlite3_exec(database_, sql.constData(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw failure(database_);
}

QWFolderContent::QWFolderContent(QWFolderDatabase& database, qint64 entryId, Access access)
    : database_(database) {
    if (sqlite3_blob_open(database.handle(), "main", "entries", "content", entryId, access == Write,
                          &content_)
        != SQLITE_OK)
        throw failure(database.handle());
}

void QWFolderContent::copyTo(QIODevice& device) {
    const int size = sqlite3_blob_bytes(content_);
    QByteArray piece;
    for (int position = 0; position < size; position += int(piece.size())) {
        piece.resize(std::min(size - position, pieceSize));
        if (sqlite3_blob_read(content_, piece.data(), int(piece.size()), position) != SQLITE_OK)
            throw failure(database_.handle());
        if (device.write(piece) != piece.size())
            throw QWFolderFailure(
                QWAppFolderErrorCode::Unavailable,
                QStringLiteral("The content cannot be passed on: %1.").arg(device.errorString()));
    }
}

void QWFolderContent::copyFrom(QIODevice& device) {
    const int size = sqlite3_blob_bytes(content_);
    for (int position = 0; position < size;) {
        const QByteArray piece = device.read(std::min(size - position, pieceSize));
        if (piece.isEmpty())
            throw QWFolderFailure(
                QWAppFolderErrorCode::Unavailable,
                QStringLiteral("The content cannot be read: %1.").arg(device.errorString()));
        if (sqlite3_blob_write(content_, piece.constData(), int(piece.size()), position) != SQLITE_OK)
            throw failure(database_.handle());
        position += int(piece.size());
    }
}

QWFolderTransaction::~QWFolderTransaction() {
    // Some failures end the transaction by themselves.
    if (!sqlite3_get_autocommit(database_.handle()))
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}
