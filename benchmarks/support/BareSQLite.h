#pragma once

#include <QString>
#include <QStringList>
#include <sqlite3.h>
#include <stdexcept>
#include <vector>

// The SQLite C API with nothing around it but the checks that any program needs: the peer of the benchmarks.
class BareSQLite {
public:
    // Opens or makes a database with the settings that the store uses.
    explicit BareSQLite(const QString& path) {
        check(sqlite3_open(path.toUtf8().constData(), &connection_));
        execute(QStringLiteral("PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON"));
    }
    ~BareSQLite() {
        for (sqlite3_stmt* statement : statements_)
            sqlite3_finalize(statement);
        sqlite3_close(connection_);
    }
    BareSQLite(const BareSQLite&) = delete;
    BareSQLite& operator=(const BareSQLite&) = delete;

    void execute(const QString& sql) {
        check(sqlite3_exec(connection_, sql.toUtf8().constData(), nullptr, nullptr, nullptr));
    }
    // Finalised with the connection.
    sqlite3_stmt* prepare(const QString& sql) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v2(connection_, sql.toUtf8().constData(), -1, &statement, nullptr));
        statements_.push_back(statement);
        return statement;
    }
    void run(sqlite3_stmt* statement) {
        if (sqlite3_step(statement) != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(connection_));
        sqlite3_reset(statement);
    }

    // The statements that made another database's tables and indexes, so that both hold the same.
    static QStringList schemaOf(const QString& path) {
        BareSQLite source(path);
        sqlite3_stmt* query =
            source.prepare(QStringLiteral("SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name NOT "
                                          "LIKE 'sqlite_%' ORDER BY rowid"));
        QStringList statements;
        while (sqlite3_step(query) == SQLITE_ROW)
            statements << QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(query, 0)));
        return statements;
    }

private:
    void check(int code) {
        if (code != SQLITE_OK)
            throw std::runtime_error(sqlite3_errmsg(connection_));
    }

    sqlite3* connection_ = nullptr;
    std::vector<sqlite3_stmt*> statements_;
};
