#pragma once

#include "dropbox/folder/QWAppFolder.h"

#include <sqlite3.h>

// The little of SQLite that the app folder needs. Failures are thrown as QWFolderFailure and answered by the
// public operation that they end.

struct QWFolderFailure {
    QWError error;

    QWFolderFailure(QWAppFolderErrorCode code, const QString& message, const QString& path = {})
        : error{QStringLiteral("folder"), int(code), message, {{QStringLiteral("path"), path}}} {}
};

// A prepared statement, kept for as long as its database is open. Text is stored as UTF-8.
class QWFolderStatement {
public:
    QWFolderStatement(sqlite3* database, const char* sql);
    ~QWFolderStatement() { sqlite3_finalize(statement_); }
    Q_DISABLE_COPY_MOVE(QWFolderStatement)

    // The rows of one run; the statement is free for the next when they go.
    class Rows {
    public:
        explicit Rows(sqlite3_stmt* statement) : statement_(statement) {}
        ~Rows();
        Q_DISABLE_COPY_MOVE(Rows)

        bool next();
        qint64 integer(int column) const { return sqlite3_column_int64(statement_, column); }
        QString text(int column) const;

    private:
        sqlite3_stmt* statement_;
    };

    // Runs with the values as its parameters, in order.
    template <class... Values>
    Rows rows(const Values&... values) {
        int parameter = 0;
        (bind(++parameter, values), ...);
        return Rows(statement_);
    }
    template <class... Values>
    void run(const Values&... values) {
        Rows all = rows(values...);
        while (all.next())
            continue;
    }

private:
    void bind(int parameter, qint64 value);
    void bind(int parameter, const QString& value);

    sqlite3_stmt* statement_ = nullptr;
};

class QWFolderDatabase {
public:
    // An empty path opens a database in memory.
    explicit QWFolderDatabase(const QString& path);
    ~QWFolderDatabase() { sqlite3_close(database_); }
    Q_DISABLE_COPY_MOVE(QWFolderDatabase)

    sqlite3* handle() const { return database_; }
    void execute(const QByteArray& sql);

private:
    sqlite3* database_ = nullptr;
};

// The content of one entry, read or written piece by piece.
class QWFolderContent {
public:
    enum Access { Read, Write };
    QWFolderContent(QWFolderDatabase& database, qint64 entryId, Access access);
    ~QWFolderContent() { sqlite3_blob_close(content_); }
    Q_DISABLE_COPY_MOVE(QWFolderContent)

    void copyTo(QIODevice& device);
    // The device must hold as many bytes as the content has.
    void copyFrom(QIODevice& device);

private:
    QWFolderDatabase& database_;
    sqlite3_blob* content_ = nullptr;
};

// Everything written until `commit` is one step, also for other processes; without it, nothing was written.
class QWFolderTransaction {
public:
    explicit QWFolderTransaction(QWFolderDatabase& database) : database_(database) {
        database_.execute("BEGIN IMMEDIATE");
    }
    ~QWFolderTransaction();
    Q_DISABLE_COPY_MOVE(QWFolderTransaction)

    void commit() { database_.execute("COMMIT"); }

private:
    QWFolderDatabase& database_;
};
