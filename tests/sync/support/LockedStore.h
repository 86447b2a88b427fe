#pragma once

#include <QString>
#include <gtest/gtest.h>
#include <sqlite3.h>

// Another process in the middle of a write to a store file: while it lives, nobody's save goes through.
class LockedStore {
public:
    explicit LockedStore(const QString& path) {
        EXPECT_EQ(sqlite3_open(path.toUtf8().constData(), &database_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~LockedStore() { sqlite3_close(database_); }
    LockedStore(const LockedStore&) = delete;
    LockedStore& operator=(const LockedStore&) = delete;

private:
    sqlite3* database_ = nullptr;
};
