// The program of the window, as it is started, with a real server between two of them.

#include "examples/AtlasProcess.h"

#include <QTest>

using namespace testing;

namespace {

class DesktopProcess : public AtlasProcessTest {
protected:
    static std::unique_ptr<QProcess> start(const QStringList& arguments) {
        return startProgram("atlas-desktop", arguments);
    }
    static std::string fails(const QStringList& arguments) {
        const AtlasRun run = Desktop::finish(*start(arguments));
        EXPECT_EQ(run.exitCode, 1) << qPrintable(run.out + run.err);
        return run.err.toStdString();
    }
    // Its user asks it to end: it saves, and ends well.
    static void end(QProcess& window) {
        window.terminate();
        EXPECT_EQ(Desktop::finish(window).exitCode, 0);
    }

    const ISOFixture iso_;
};

} // namespace

TEST_F(DesktopProcess, Helps_without_a_display) {
    const AtlasRun run = Desktop::finish(*start({"-platform", "none", "--help"}));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_THAT(run.out.toStdString(), HasSubstr("--place"));
}

TEST_F(DesktopProcess, Says_what_is_wrong_with_its_options) {
    EXPECT_THAT(fails({}), HasSubstr("usage: atlas-desktop --library DIR"));
    EXPECT_THAT(fails({"--library", path("A"), "extra"}), HasSubstr("usage: atlas-desktop --library DIR"));
    EXPECT_THAT(fails({"--library", path("A"), "--cloud", "ftp://x"}),
                HasSubstr("--cloud: expected folder:PATH"));
    EXPECT_THAT(fails({"--library", path("A"), "--cloud", "https://x"}), HasSubstr("--token-file"));
    EXPECT_THAT(fails({"--library", path("A"), "--token-file", "x"}), HasSubstr("wants a --cloud"));
    EXPECT_THAT(fails({"--library", path("A"), "--place", "top"}), HasSubstr("expected left or right"));
    EXPECT_THAT(fails({"--library", path("A"), "--colour", "blue"}), HasSubstr("Unknown option 'colour'"));
    EXPECT_THAT(fails({"--library", path("A"), "--cloud", "https://x", "--token-file", path("none")}),
                HasSubstr("none: No such file"));
    EXPECT_FALSE(QFileInfo::exists(path("A"))) << "nothing was made";
}

TEST_F(DesktopProcess, Says_why_a_library_or_a_cloud_cannot_be_opened) {
    write("file", "no folder");
    EXPECT_THAT(fails({"--library", path("file")}), HasSubstr("file: the folder cannot be made"));
    EXPECT_THAT(fails({"--library", path("A"), "--cloud", "folder:" + path("file")}),
                HasSubstr("file cannot be made"));
    QDir().mkpath(path("B/cache"));
    write("B/Atlas.sqlite", QByteArray(9000, 'x'));
    EXPECT_THAT(fails({"--library", path("B")}), HasSubstr("Atlas.sqlite is damaged or is no store"));
    QDir().mkpath(path("C/cache"));
    write("C/cache/DropboxCache.sqlite", QByteArray(9000, 'x'));
    EXPECT_THAT(fails({"--library", path("C")}), HasSubstr("DropboxCache.sqlite is damaged"));
}

TEST_F(DesktopProcess, Says_that_another_process_has_the_library_open) {
    const auto window = start({"--library", path("A")});
    ASSERT_TRUE(QTest::qWaitFor([&] { return QFileInfo::exists(path("A/Atlas.sqlite")); }, 20'000));
    EXPECT_THAT(fails({"--library", path("A")}), HasSubstr("another process has the library open"));
    window->kill();
    window->waitForFinished();
}

TEST_F(DesktopProcess, Two_windows_share_what_a_server_holds) {
    a_.importISO(iso_);
    a_.tell({"add", "Visit", "title=Rome", "city=Roma"});
    a_.ageFlags();
    write("token", "sl.token");
    const StandIn server({"--token", "sl.token"});
    const QStringList cloud = {"--cloud", server.url().toString(), "--token-file", path("token")};
    const auto left = start(QStringList{"--library", a_.library(), "--place", "left"} + cloud);
    const int files = 14; // 11 records of the tables, 2 flags, the visit
    ASSERT_TRUE(QTest::qWaitFor([&] { return server.requests("files/upload") >= files; }, 60'000));
    const auto right = start(QStringList{"--library", b_.library(), "--place", "right"} + cloud);
    ASSERT_TRUE(QTest::qWaitFor([&] { return server.requests("files/download") >= files; }, 60'000));
    end(*left);
    end(*right);
    syncBoth(); // whatever they were in the middle of
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(b_.count("Visit"), 1);
}
