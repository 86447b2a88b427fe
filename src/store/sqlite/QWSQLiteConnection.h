#pragma once

#include "platform/QWError.h"

#include <QByteArray>
#include <QVarLengthArray>
#include <QVariant>
#include <array>
#include <sqlite3.h>
#include <unordered_map>

// What stops an operation on a store, thrown below the store, which catches it at its own operations and
// hands out the error.
struct QWStoreFailure {
    QWError error;
    int code = SQLITE_OK; // SQLite's extended result code, if it was SQLite that failed
};

// One open database, with the statements that were prepared for it. Used under the lock of its owner.
class QWSQLiteConnection {
public:
    // Opens the file for reading and writing; an empty one is made when there is none. Nothing is read yet.
    QWSQLiteConnection(const QString& path, int busyTimeoutMilliseconds);
    ~QWSQLiteConnection();
    QWSQLiteConnection(const QWSQLiteConnection&) = delete;
    QWSQLiteConnection& operator=(const QWSQLiteConnection&) = delete;

    sqlite3* handle() const { return database_; }
    // Runs statements without parameters, one after another; rows are dropped.
    void execute(const QByteArray& sql);
    // Runs one statement without parameters, kept for the next time.
    void run(const QByteArray& sql);
    // The first column of the first row as a number; 0 without a row.
    qint64 integer(const QByteArray& sql);

    // Rows that the last statement inserted, updated or deleted.
    int changes() const { return sqlite3_changes(database_); }

    // The store's error for a result code of this connection.
    QWError error(int code) const;
    [[noreturn]] void fail(int code) const { throw QWStoreFailure{error(code), code}; }

private:
    friend class QWSQLiteStatement;

    QString path_;
    sqlite3* database_ = nullptr;
    // Idle prepared statements by their text; null while in use.
    std::unordered_map<QByteArray, sqlite3_stmt*> prepared_;
    // The entry used last: a loop over rows uses one text, and needs not have it hashed for each of them.
    std::pair<const QByteArray, sqlite3_stmt*>* latest_ = nullptr;
};

// A prepared statement, borrowed from its connection for the lifetime of this object. The text is compiled
// when it was not used before, or is in use right now.
class QWSQLiteStatement {
public:
    QWSQLiteStatement(QWSQLiteConnection& connection, const QByteArray& sql);
    ~QWSQLiteStatement();
    QWSQLiteStatement(const QWSQLiteStatement&) = delete;
    QWSQLiteStatement& operator=(const QWSQLiteStatement&) = delete;

    // Parameters, from 1; each of them is to be bound before the first step and after each run. Text and bytes
    // are kept until the statement is reset.
    void bind(int parameter, qint64 number);
    void bind(int parameter, double number);
    void bindText(int parameter, const QString& text);
    void bindBytes(int parameter, const QByteArray& bytes);
    void bindNull(int parameter);
    // A value of the types that attributes have (QWAttributeType), or none; dates in milliseconds since 1970.
    void bind(int parameter, const QVariant& value);

    // True: a row can be read. False: the end.
    bool step();
    // To the end, then ready for other parameters.
    void run();

    // Columns of the row, from 0.
    bool isNull(int column) const { return sqlite3_column_type(statement_, column) == SQLITE_NULL; }
    qint64 integer(int column) const { return sqlite3_column_int64(statement_, column); }
    double real(int column) const { return sqlite3_column_double(statement_, column); }
    int type(int column) const { return sqlite3_column_type(statement_, column); } // SQLITE_INTEGER, …
    QString text(int column) const { return QString::fromUtf8(utf8(column)); }
    QByteArray bytes(int column) const { return blob(column).toByteArray(); }
    // Valid until the next step.
    QByteArrayView utf8(int column) const;
    QByteArrayView blob(int column) const;

private:
    void check(int code) const {
        if (code != SQLITE_OK) [[unlikely]]
            connection_.fail(code);
    }
    void bound(int code) {
        check(code);
        ++boundParameters_;
    }

    QWSQLiteConnection& connection_;
    sqlite3_stmt** idle_; // the connection's place for it
    sqlite3_stmt* statement_ = nullptr;
    int boundParameters_ = 0; // since the beginning or the last run
    bool hasBegun_ = false;
    // What parameters point to: texts in UTF-8 as long as there is room, everything else in `kept_`.
    std::array<char, 1024> texts_;
    size_t textsUsed_ = 0;
    QVarLengthArray<QByteArray, 4> kept_;
};
