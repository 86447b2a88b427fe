// The disk of a library, or of the cloud, is full or cannot be written. A program says so, or waits; nothing
// is lost, and everything is in step when there is room again.

#include "AccidentTest.h"
#include "SmallDisk.h"

using namespace testing;

namespace {

constexpr qint64 kilobyte = 1024;

class BadDisk : public AccidentTest {
protected:
    void SetUp() override {
        if (disk_.refusal().empty())
            return;
        if (qgetenv("QW_SMALL_DISKS") == "skip")
            GTEST_SKIP() << disk_.refusal();
        FAIL() << "no disk can be mounted here, without which QW_SMALL_DISKS=skip goes on: "
               << disk_.refusal();
    }
    // A desktop whose library is on that disk.
    Desktop tight() const { return Desktop(disk_.path("L")); }
    // The same, and there is no room for all that it is to receive.
    Desktop tooTight() {
        startInStep();
        const Desktop tight = this->tight();
        connect(tight);
        tight.tell({"status"});
        disk_.fill(160 * kilobyte);
        return tight;
    }
    void expectInStepWith(const Desktop& desktop) const {
        for (const Desktop* each : {&desktop, &a_, &b_})
            connect(*each);
        desktop.tell(syncOnce);
        expectInStep();
        desktop.tell(syncOnce);
        EXPECT_EQ(desktop.digest(), a_.digest());
        EXPECT_EQ(desktop.waiting(), 0);
    }

    SmallDisk disk_{16}; // megabytes: a log of SQLite's alone takes four
};

} // namespace

TEST_F(BadDisk, Full_at_any_moment_of_a_command_is_said_and_loses_nothing) {
    const Desktop tight = this->tight();
    tight.importISO(iso_);
    QStringList kept, commands;
    int failures = 0;
    for (qint64 free = 0; kept.size() < 3; free += 8 * kilobyte) {
        disk_.fill(free);
        const QString title = QStringLiteral("with %1 bytes").arg(free);
        const AtlasRun run = tight.run({"add", "Visit", "title=" + title});
        if (run.exitCode == 0) {
            kept << title;
            continue;
        }
        ++failures;
        EXPECT_EQ(run.exitCode, 1) << free;
        EXPECT_THAT(run.err.toStdString(), AllOf(HasSubstr("atlas: "), HasSubstr("space left"))) << free;
    }
    EXPECT_GT(failures, 3);
    disk_.empty();
    QStringList titles;
    for (const QString& line : tight.tell({"list", "Visit"}).split('\n'))
        titles << line.section('\t', 1);
    titles.sort();
    kept.sort();
    EXPECT_EQ(titles, kept);
    expectInStepWith(tight);
    EXPECT_EQ(a_.count("Visit"), 3);
    EXPECT_EQ(a_.count("Country"), 3);
}

TEST_F(BadDisk, Full_in_the_middle_of_a_sync_is_said_and_the_rest_comes_when_there_is_room_again) {
    const Desktop tight = tooTight();
    const auto process = tight.start(syncOnce);
    EXPECT_TRUE(waitForLine(*process, "space left"));
    disk_.empty();
    const AtlasRun run = Desktop::finish(*process);
    EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_EQ(tight.digest(), a_.digest());
    tight.tell({"add", "Visit", "title=afterwards"});
    expectInStepWith(tight);
    EXPECT_EQ(a_.count("Visit"), 1);
}

TEST_F(BadDisk, Full_at_any_point_of_a_sync_is_said_and_the_next_sync_brings_the_rest) {
    startInStep();
    int failures = 0;
    bool isEnough = false;
    for (qint64 free = 0; !isEnough; free = qMax(32 * kilobyte, 2 * free)) {
        // It has records and images to send, and one to receive.
        const QString title = QStringLiteral("with %1 bytes").arg(free);
        const Desktop tight(disk_.path(title));
        tight.importISO(iso_);
        tight.tell({"add", "Visit", "title=" + title});
        connect(tight);
        disk_.fill(free);
        const auto process = tight.start(syncOnce);
        isEnough = !waitForLine(*process, "space left");
        failures += !isEnough;
        process->kill();
        EXPECT_EQ(Desktop::finish(*process).exitCode == 0, isEnough) << free;
        disk_.empty();
        tight.tell(syncOnce);
        EXPECT_EQ(tight.waiting(), 0) << free;
        a_.tell(syncOnce);
        EXPECT_EQ(tight.digest(), a_.digest()) << free;
        a_.tell({"add", "Visit", "title=from the other"});
        a_.tell(syncOnce);
        QDir(tight.library()).removeRecursively();
    }
    EXPECT_GT(failures, 3);
    EXPECT_EQ(a_.count("Visit"), 2 * (failures + 1));
}

TEST_F(BadDisk, Full_under_a_window_is_said_and_the_next_sync_brings_the_rest) {
    const Desktop tight = tooTight();
    const auto window = tight.startWindow();
    EXPECT_TRUE(waitForLine(*window, "space left"));
    window->terminate(); // its user closes it
    EXPECT_EQ(Desktop::finish(*window).exitCode, 0);
    disk_.empty();
    expectInStepWith(tight);
}

TEST_F(BadDisk, That_cannot_be_written_is_said_and_changes_nothing) {
    const Desktop tight = this->tight();
    tight.importISO(iso_);
    connect(tight);
    const QString digest = tight.digest();
    disk_.setReadOnly(true);
    for (const QStringList& command : {QStringList{"add", "Visit"},
                                       {"set", france_, "name=Hexagon"},
                                       {"delete", france_},
                                       syncOnce,
                                       {"list", "Visit"},
                                       {"status"},
                                       {"repair"}})
        EXPECT_THAT(tight.fails(command), HasSubstr("Read-only file system"));
    const auto window = tight.startWindow();
    const AtlasRun run = Desktop::finish(*window);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_THAT(run.err.toStdString(), HasSubstr("Read-only file system"));
    EXPECT_THAT(Desktop(disk_.path("new")).fails({"add", "Visit"}), HasSubstr("the folder cannot be made"));

    disk_.setReadOnly(false);
    EXPECT_EQ(tight.digest(), digest);
    EXPECT_EQ(tight.waiting(), 11);
    expectInStepWith(tight);
    EXPECT_EQ(tight.digest(), digest);
}

TEST_F(BadDisk, Of_the_cloud_that_is_full_or_cannot_be_written_is_said_until_it_is_better) {
    TestCloud folder(disk_.path("cloud"), "folder");
    a_.importISO(iso_);
    for (const Desktop* desktop : {&a_, &b_})
        desktop->tell(folder.connecting());
    const QString digest = a_.digest();
    for (const qint64 free : {0, 64, 96}) {
        disk_.fill(free * kilobyte);
        EXPECT_THAT(a_.syncUntilFailure().err.toStdString(), HasSubstr("full")) << free;
        EXPECT_EQ(a_.digest(), digest);
    }
    disk_.empty();
    a_.tell(syncOnce);
    b_.tell(syncOnce);
    EXPECT_EQ(b_.digest(), digest);

    disk_.setReadOnly(true);
    EXPECT_THAT(a_.fails(syncOnce), HasSubstr("cloud"));
    disk_.setReadOnly(false);
    a_.tell({"add", "Visit"});
    a_.tell(syncOnce);
    b_.tell(syncOnce);
    EXPECT_EQ(a_.digest(), b_.digest());
}
