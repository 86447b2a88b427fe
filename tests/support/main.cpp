#include "platform/QWAssert.h"
#include "support/AssertionProbe.h"

#include <QCoreApplication>
#include <QDir>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Dates are written in the local zone; tests that depend on it set their own.
    qputenv("TZ", "UTC");
    // Temporary files in memory, where the system offers it: many tests make a store, and disks are slow to
    // sync.
    if (!qEnvironmentVariableIsSet("TMPDIR") && QDir("/dev/shm").exists())
        qputenv("TMPDIR", "/dev/shm");
    QCoreApplication application(argc, argv);
    QWSetAssertionHandler([](const QWAssertionFailure& failure) { throw AssertionFailed(failure); });
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
