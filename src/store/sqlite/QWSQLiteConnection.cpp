#include "store/sqlite/QWSQLiteConnection.h"

#include <QStringEncoder>

#include "platform/QWAssert.h"
#include "store/QWStoreError.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <cerrno>

namespace {

// Texts that differ in their conditions only are few; a host that composes ever new ones must not fill the
// memory.
constexpr size_t PreparedLimit = 200;

QWStoreErrorCode storeCode(int code) {
    switch (code & 0xff) {
    case SQLITE_FULL:
        return QWStoreErrorCode::DiskFull;
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
        return QWStoreErrorCode::CannotOpen;
    case SQLITE_READONLY:
        return QWStoreErrorCode::ReadOnly;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return QWStoreErrorCode::Busy;
    case SQLITE_ERROR: // our statements fit the tables of a sound file
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
        return QWStoreErrorCode::Damaged;
    default:
        return QWStoreErrorCode::IO;
    }
}

QString sentence(QWStoreErrorCode code) {
    switch (code) {
    case QWStoreErrorCode::DiskFull:
        return QStringLiteral("There is no space left for %1");
    case QWStoreErrorCode::CannotOpen:
        return QStringLiteral("%1 cannot be opened");
    case QWStoreErrorCode::ReadOnly:
        return QStringLiteral("%1 cannot be written");
    case QWStoreErrorCode::Busy:
        return QStringLiteral("%1 is in use by another process");
    case QWStoreErrorCode::Damaged:
        return QStringLiteral("%1 is damaged or is no store");
    default:
        return QStringLiteral("%1 cannot be read or written");
    }
}

} // namespace

QWSQLiteConnection::QWSQLiteConnection(const QString& path, int busyTimeoutMilliseconds) : path_(path) {
    // Absolute, so that nothing in it is taken for a URI or for the name of a database in memory.
    const QString file = QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
    const int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int code = sqlite3_open_v2(file.toUtf8().constData(), &database_, flags, nullptr);
    if (code != SQLITE_OK) {
        const QWStoreFailure failure{error(code), code};
        sqlite3_close(database_);
        throw failure;
    }
    sqlite3_busy_timeout(database_, busyTimeoutMilliseconds);
    // A misspelt column in quotes is an error and no text.
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
    // A file from elsewhere must not run functions of ours from its schema.
    sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    // Nor do what its triggers and views say: a store has none, and theirs may undo a save or take for ever.
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
    sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
}

QWSQLiteConnection::~QWSQLiteConnection() {
    for (const auto& [sql, statement] : prepared_)
        sqlite3_finalize(statement);
    sqlite3_close(database_);
}

void QWSQLiteConnection::execute(const QByteArray& sql) {
    if (const int code = sqlite3_exec(database_, sql.constData(), nullptr, nullptr, nullptr);
        code != SQLITE_OK)
        fail(code);
}

void QWSQLiteConnection::run(const QByteArray& sql) {
    QWSQLiteStatement(*this, sql).run();
}

qint64 QWSQLiteConnection::integer(const QByteArray& sql) {
    QWSQLiteStatement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

QWError QWSQLiteConnection::error(int code) const {
    QWStoreErrorCode kind = storeCode(code);
    // Of its index of the write-ahead log SQLite says only that it failed.
    if (kind == QWStoreErrorCode::IO && database_ && sqlite3_system_errno(database_) == ENOSPC)
        kind = QWStoreErrorCode::DiskFull;
    const QString detail = QString::fromUtf8(database_ ? sqlite3_errmsg(database_) : sqlite3_errstr(code));
    return QWMakeStoreError(kind, QStringLiteral("%1: %2.").arg(sentence(kind).arg(path_), detail),
                            {{QStringLiteral("path"), path_}});
}

// Statement -------------------------------------------------------------------------------------------------

QWSQLiteStatement::QWSQLiteStatement(QWSQLiteConnection& connection, const QByteArray& sql)
    : connection_(connection) {
    if (connection.latest_ && connection.latest_->first.constData() == sql.constData()) {
        idle_ = &connection.latest_->second;
        statement_ = std::exchange(*idle_, nullptr);
        if (statement_)
            return;
    }
    auto& prepared = connection.prepared_;
    auto place = prepared.find(sql);
    if (place != prepared.end())
        statement_ = std::exchange(place->second, nullptr);
    if (!statement_) {
        check(sqlite3_prepare_v3(connection.database_, sql.constData(), static_cast<int>(sql.size()),
                                 SQLITE_PREPARE_PERSISTENT, &statement_, nullptr));
    }
    if (place == prepared.end()) {
        if (prepared.size() >= PreparedLimit) {
            std::erase_if(prepared, [](const auto& idle) {
                sqlite3_finalize(idle.second);
                return idle.second != nullptr;
            });
        }
        place = prepared.emplace(sql, nullptr).first;
    }
    connection.latest_ = &*place;
    idle_ = &place->second;
}

QWSQLiteStatement::~QWSQLiteStatement() {
    // What is bound stays, and may point nowhere: the next use binds every parameter before it steps.
    sqlite3_reset(statement_);
    if (*idle_)
        sqlite3_finalize(statement_); // another use of the same text has come back first
    else
        *idle_ = statement_;
}

void QWSQLiteStatement::bind(int parameter, qint64 number) {
    bound(sqlite3_bind_int64(statement_, parameter, number));
}

void QWSQLiteStatement::bind(int parameter, double number) {
    bound(sqlite3_bind_double(statement_, parameter, number));
}

void QWSQLiteStatement::bindText(int parameter, const QString& text) {
    const size_t room = texts_.size() - textsUsed_;
    const char* utf8 = texts_.data() + textsUsed_;
    qsizetype size = 0;
    if (size_t(text.size()) * 3 <= room) {
        QStringEncoder encoder(QStringConverter::Utf8);
        size = encoder.appendToBuffer(texts_.data() + textsUsed_, text) - utf8;
        textsUsed_ += size_t(size);
    } else {
        kept_.append(text.toUtf8());
        utf8 = kept_.last().constData(); // never null, which SQLite would take for no value
        size = kept_.last().size();
    }
    bound(sqlite3_bind_text64(statement_, parameter, utf8, sqlite3_uint64(size), SQLITE_STATIC, SQLITE_UTF8));
}

void QWSQLiteStatement::bindBytes(int parameter, const QByteArray& bytes) {
    kept_.append(bytes);
    bound(sqlite3_bind_blob64(statement_, parameter, kept_.last().constData(), kept_.last().size(),
                              SQLITE_STATIC));
}

void QWSQLiteStatement::bindNull(int parameter) {
    bound(sqlite3_bind_null(statement_, parameter));
}

void QWSQLiteStatement::bind(int parameter, const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Bool:
        return bind(parameter, value.toLongLong());
    case QMetaType::Double:
        return bind(parameter, value.toDouble());
    case QMetaType::QString:
        return bindText(parameter, *static_cast<const QString*>(value.constData()));
    case QMetaType::QByteArray:
        return bindBytes(parameter, *static_cast<const QByteArray*>(value.constData()));
    case QMetaType::QDateTime:
        return bind(parameter, value.toDateTime().toMSecsSinceEpoch());
    default:
        QWAssert(!value.isValid(), "value", "-[QWSQLiteStatement bind:]");
        bindNull(parameter);
    }
}

bool QWSQLiteStatement::step() {
    if (!std::exchange(hasBegun_, true))
        QWAssert(boundParameters_ == sqlite3_bind_parameter_count(statement_), "every parameter is bound",
                 "-[QWSQLiteStatement step]");
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW)
        return true;
    if (code != SQLITE_DONE)
        connection_.fail(code);
    return false;
}

void QWSQLiteStatement::run() {
    while (step()) {
    }
    sqlite3_reset(statement_);
    kept_.clear();
    textsUsed_ = 0;
    boundParameters_ = 0;
    hasBegun_ = false;
}

QByteArrayView QWSQLiteStatement::utf8(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return {text, sqlite3_column_bytes(statement_, column)};
}

QByteArrayView QWSQLiteStatement::blob(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_, column));
    return {bytes, sqlite3_column_bytes(statement_, column)};
}
