#include "testing/QWLogCapture.h"
#include "testing/QWVirtualWorld.h"

#include <QRegularExpression>
#include <QSet>
#include <gmock/gmock.h>
#include <thread>

Q_LOGGING_CATEGORY(helperLog, "qwlibrary.helper")

namespace {

using namespace std::chrono_literals;

TEST(VirtualClock, Starts_with_2026_and_advances_with_the_run_loop) {
    QWVirtualWorld world;
    EXPECT_EQ(world.clock->now(), QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(world.clock->now().timeSpec(), Qt::UTC);
    world.runLoop->advance(90s + 1500us);
    EXPECT_EQ(world.clock->now(), QDateTime(QDate(2026, 1, 1), QTime(0, 1, 30, 1), Qt::UTC));
}

TEST(VirtualClock, Can_be_set_without_moving_the_run_loop) {
    QWVirtualWorld world;
    world.clock->setOffset(-1h);
    EXPECT_EQ(world.clock->now(), QDateTime(QDate(2025, 12, 31), QTime(23, 0), Qt::UTC));
    EXPECT_EQ(world.runLoop->now(), 0s);
}

TEST(SeededUUIDSource, Repeats_for_its_seed_and_differs_for_another) {
    QWSeededUUIDSource first(7), again(7), other(8);
    const QString uuid = first.next();
    EXPECT_EQ(uuid, again.next());
    EXPECT_NE(uuid, other.next());
}

TEST(SeededUUIDSource, Makes_distinct_UUIDs_that_look_random) {
    const QRegularExpression pattern("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
    QWSeededUUIDSource source(1);
    QSet<QString> seen;
    for (int index = 0; index < 10'000; ++index) {
        const QString uuid = source.next();
        ASSERT_TRUE(pattern.match(uuid).hasMatch()) << uuid.toStdString();
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 10'000);
}

TEST(VirtualWorld, Makes_environments_of_its_parts) {
    QWVirtualWorld world;
    const auto environment = world.environment();
    environment->errorPresenter().presentError({"store", 1, "full"});
    ASSERT_EQ(world.errorPresenter->errors().size(), 1u);
    EXPECT_EQ(world.errorPresenter->errors().front().message, u"full");
    EXPECT_EQ(&environment->runLoop(), world.runLoop.get());
    EXPECT_EQ(&environment->clock(), world.clock.get());
    EXPECT_EQ(&environment->uuids(), world.uuids.get());
    EXPECT_EQ(&environment->files(), world.files.get());
    EXPECT_EQ(&environment->userDefaults(), world.userDefaults.get());
    EXPECT_EQ(&environment->notificationCenter(), world.notificationCenter.get());
}

TEST(VirtualWorld, Shares_time_with_another_but_nothing_else) {
    QWVirtualWorld first(1);
    QWVirtualWorld second(2, first.runLoop);
    first.runLoop->advance(10s);
    EXPECT_EQ(second.clock->now(), first.clock->now());
    EXPECT_NE(first.uuids->next(), second.uuids->next());
    first.userDefaults->setObject("key", 1);
    EXPECT_TRUE(second.userDefaults->object("key").isUndefined());
}

TEST(LogCapture, Collects_lines_with_level_and_category) {
    const QWLogCapture log;
    qCWarning(helperLog) << "one";
    qCritical("two");
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[0].type, QtWarningMsg);
    EXPECT_EQ(log.lines()[0].category, u"qwlibrary.helper");
    EXPECT_EQ(log.texts(), (QStringList{"one", "two"}));
    EXPECT_EQ(log.texts("qwlibrary.helper"), QStringList{"one"});
}

TEST(LogCapture, Nests) {
    const QWLogCapture outer;
    {
        const QWLogCapture inner;
        qWarning("inner");
        EXPECT_EQ(inner.texts(), QStringList{"inner"});
    }
    qWarning("outer");
    EXPECT_EQ(outer.texts(), QStringList{"outer"});
}

TEST(LogCapture, Takes_lines_of_other_threads) {
    const QWLogCapture log;
    std::thread([] { qWarning("from a worker"); }).join();
    EXPECT_EQ(log.texts(), QStringList{"from a worker"});
}

} // namespace
