#include "platform/QWAssert.h"
#include "support/AssertionProbe.h"

#ifdef QT_WIDGETS_LIB
#include <QApplication>
using Application = QApplication;
#else
#include <QCoreApplication>
using Application = QCoreApplication;
#endif
#include <QDir>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Dates are written in the local zone; tests that depend on it set their own.
    qputenv("TZ", "UTC");
    // Temporary files in memory, where the system offers it: many tests make a store, and disks are slow to
    // sync.
    if (!qEnvironmentVariableIsSet("TMPDIR") && QDir("/dev/shm").exists())
        qputenv("TMPDIR", "/dev/shm");
    // Widgets are drawn into memory, unless somebody wants to watch.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    Application application(argc, argv);
    QWSetAssertionHandler([](const QWAssertionFailure& failure) { throw AssertionFailed(failure); });
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
