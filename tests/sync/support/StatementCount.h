#pragma once

#include <QByteArray>
#include <algorithm>
#include <numeric>
#include <sqlite3.h>
#include <vector>

// What the databases that are opened while it lives are asked, and how many steps of their virtual machine
// that takes: each row that is looked at takes some. One at a time.
class StatementCount {
public:
    StatementCount() { sqlite3_auto_extension(opened()); }
    ~StatementCount() {
        sqlite3_cancel_auto_extension(opened());
        forget();
    }
    StatementCount(const StatementCount&) = delete;
    StatementCount& operator=(const StatementCount&) = delete;

    void forget() { statements_.clear(); }
    qint64 steps() const {
        return std::accumulate(statements_.begin(), statements_.end(), qint64(0),
                               [](qint64 sum, const Statement& each) { return sum + each.steps; });
    }
    // Statements that begin like that and have the other text in them.
    int count(const QByteArray& beginning, const QByteArray& text = {}) const {
        return static_cast<int>(
            std::count_if(statements_.begin(), statements_.end(), [&](const Statement& each) {
                return each.text.startsWith(beginning) && each.text.contains(text);
            }));
    }

private:
    struct Statement {
        QByteArray text;
        qint64 steps;
    };

    static int open(sqlite3* database, const char**, const void*) {
        return sqlite3_trace_v2(database, SQLITE_TRACE_PROFILE, finished, nullptr);
    }
    static void (*opened())() { return reinterpret_cast<void (*)()>(open); }
    static int finished(unsigned, void*, void* statement, void*) {
        auto* finished = static_cast<sqlite3_stmt*>(statement);
        statements_.push_back(
            {sqlite3_sql(finished), sqlite3_stmt_status(finished, SQLITE_STMTSTATUS_VM_STEP, 1)});
        return 0;
    }

    static inline std::vector<Statement> statements_;
};
