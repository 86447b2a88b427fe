#include "dropbox/folder/QWFolderDatabase_p.h"

namespace {

// How long a write waits for the writes of other processes, which take milliseconds each.
constexpr int busyTimeoutMilliseconds = 30'000;

QWFolderFailure failure(sqlite3* database) {
    const int code = sqlite3_errcode(database) & 0xff;
    const bool lacksSpace = code == SQLITE_FULL || code == SQLITE_TOOBIG;
    return {lacksSpace ? QWAppFolderErrorCode::InsufficientSpace : QWAppFolderErrorCode::Unavailable,
            QStringLiteral("The app folder's database failed: %1.")
                .arg(QString::fromUtf8(sqlite3_errmsg(database)))};
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

QByteArray QWFolderStatement::Rows::bytes(int column) const {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return QByteArray(data, sqlite3_column_bytes(statement_, column));
}

void QWFolderStatement::bind(int parameter, qint64 value) {
    sqlite3_bind_int64(statement_, parameter, value);
}

void QWFolderStatement::bind(int parameter, const QString& value) {
    const QByteArray utf8 = value.toUtf8();
    sqlite3_bind_text64(statement_, parameter, utf8.constData(), quint64(utf8.size()), SQLITE_TRANSIENT,
                        SQLITE_UTF8);
}

void QWFolderStatement::bind(int parameter, const QByteArray& value) {
    if (sqlite3_bind_blob64(statement_, parameter, value.constData(), quint64(value.size()), SQLITE_TRANSIENT)
        != SQLITE_OK)
        throw failure(sqlite3_db_handle(statement_));
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

QWFolderTransaction::~QWFolderTransaction() {
    // Some failures end the transaction by themselves.
    if (!sqlite3_get_autocommit(database_.handle()))
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}
