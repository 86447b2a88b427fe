#include "Fuzzing.h"

#include <QCoreApplication>
#include <QDir>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

void require(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

void prepareProcess(int& argc, char** argv) {
    qputenv("TZ", "UTC");
    if (!qEnvironmentVariableIsSet("TMPDIR") && QDir("/dev/shm").exists())
        qputenv("TMPDIR", "/dev/shm");
    static QCoreApplication application(argc, argv);
    // Log lines are made, and so tested, but there would be millions of them. For one input, to see what happens:
    if (!qEnvironmentVariableIsSet("QW_FUZZ_LOG"))
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    // The fixtures of the tests check by gtest.
    GTEST_FLAG_SET(throw_on_failure, true);
}
