#include "platform/QWEnvironment.h"
#include "support/AssertionProbe.h"
#include "support/EventLoopWait.h"
#include "testing/QWLogCapture.h"
#include "testing/QWVirtualRunLoop.h"

#include <QRegularExpression>
#include <QSet>
#include <gmock/gmock.h>
#include <thread>

namespace {

TEST(Environment, Takes_the_parts_given_and_makes_the_others_real) {
    const auto loop = std::make_shared<QWVirtualRunLoop>();
    const QWEnvironment environment({.runLoop = loop});
    EXPECT_EQ(&environment.runLoop(), loop.get());
    EXPECT_LT(std::abs(environment.clock().now().msecsTo(QDateTime::currentDateTimeUtc())), 60'000);
    EXPECT_TRUE(environment.files().exists("/"));
    EXPECT_EQ(environment.uuids().next().size(), 36);
}

TEST(StandardEnvironment, Is_one_for_the_process) {
    EXPECT_EQ(QWEnvironment::standard(), QWEnvironment::standard());
}

TEST(StandardEnvironment, Announces_the_end_of_the_application) {
    const auto environment = QWEnvironment::standard();
    int announced = 0;
    const auto observation = environment->notificationCenter().observe(NSApplicationWillTerminateNotification,
                                                                       [&](const auto&) { ++announced; });
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    QCoreApplication::exec();
    EXPECT_EQ(announced, 1);
}

TEST(SystemClock, Tells_UTC) {
    EXPECT_EQ(QWSystemClock().now().timeSpec(), Qt::UTC);
}

TEST(SystemUUIDSource, Makes_distinct_upper_case_random_UUIDs) {
    const QRegularExpression pattern("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
    QWSystemUUIDSource source;
    QSet<QString> seen;
    for (int index = 0; index < 1000; ++index) {
        const QString uuid = source.next();
        EXPECT_TRUE(pattern.match(uuid).hasMatch()) << uuid.toStdString();
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000);
}

TEST(LogErrorPresenter, Writes_the_domain_the_code_and_the_message_to_the_log) {
    const QWLogCapture log;
    QWLogErrorPresenter().presentError({"store", 7, "100% of the disk is full"});
    EXPECT_EQ(log.texts("qwlibrary.platform"), QStringList{"store 7: 100% of the disk is full"});
}

TEST(Error, Failing_writes_the_error_for_whoever_wants_it) {
    QWError error;
    EXPECT_FALSE(error.isError());
    EXPECT_FALSE(qw::fail(&error, {"files", 1, "gone"}));
    EXPECT_TRUE(error.isError());
    EXPECT_EQ(error.message, u"gone");
    EXPECT_FALSE(qw::fail(nullptr, {"files", 1, "gone"}));
}

} // namespace
