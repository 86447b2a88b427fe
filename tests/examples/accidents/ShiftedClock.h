#pragma once

#include <QCoreApplication>
#include <QMap>
#include <QString>
#include <QTemporaryFile>
#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

// A wall clock that may be set while the processes run that look at it. What their monotonic clock says is not
// touched, as when a user sets the time.
class ShiftedClock {
public:
    ShiftedClock() {
        EXPECT_TRUE(file_.open());
        shift(0s);
    }

    // From the true time.
    void shift(std::chrono::seconds shift) {
        const std::int64_t seconds = shift.count();
        EXPECT_TRUE(file_.seek(0));
        EXPECT_EQ(file_.write(reinterpret_cast<const char*>(&seconds), sizeof seconds), sizeof seconds);
        EXPECT_TRUE(file_.flush());
    }
    // Of the environment of a process that looks at it.
    QMap<QString, QString> variables() const {
        return {{"LD_PRELOAD", QCoreApplication::applicationDirPath() + "/shifted_clock.so"},
                {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                {"SHIFTED_CLOCK", file_.fileName()}};
    }

private:
    QTemporaryFile file_;
};
