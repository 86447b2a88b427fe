#include "platform/QWAssert.h"
#include "support/AssertionProbe.h"

#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // Dates are written in the local zone; tests that depend on it set their own.
    qputenv("TZ", "UTC");
    QCoreApplication application(argc, argv);
    QWSetAssertionHandler([](const QWAssertionFailure& failure) { throw AssertionFailed(failure); });
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
