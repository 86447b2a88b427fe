#include "apps/stand-in/StandInTest.h"

#include <csignal>

using ::testing::HasSubstr;
using ::testing::Not;

class StandInProgram : public StandInTest {
protected:
    struct Run {
        int exitCode;
        std::string out, err;
    };
    // A run that ends by itself.
    static Run run(const QStringList& arguments) {
        QProcess process;
        process.start(StandIn::program(), arguments);
        EXPECT_TRUE(process.waitForFinished(20'000));
        return {process.exitCode(), process.readAllStandardOutput().toStdString(),
                process.readAllStandardError().toStdString()};
    }
};

TEST_F(StandInProgram, Arguments_that_make_no_sense_are_named_and_end_it_with_2) {
    const std::vector<std::pair<QStringList, const char*>> cases = {
        {{"--port", "x"}, "--port: \"x\""},
        {{"--port", "65536"}, "--port: \"65536\""},
        {{"--page", "0"}, "--page: \"0\""},
        {{"--latency", "-1"}, "--latency: \"-1\""},
        {{"--dir", ""}, "--dir"},
        {{"--nonsense"}, "nonsense"},
        {{"stray"}, "stray"},
        {{"--fail", ""}, "--fail"},
        {{"--fail", "explode"}, "--fail explode: no such kind"},
        {{"--fail", "200"}, "--fail 200: no such kind"},
        {{"--fail", "500:rate=2"}, "rate: \"2\""},
        {{"--fail", "500:rate=x"}, "rate: \"x\""},
        {{"--fail", "500:nth=0"}, "nth: \"0\""},
        {{"--fail", "500:route=files/copy"}, "there is no \"files/copy\""},
        {{"--fail", "500:colour=red"}, "colour=red: there is no such selector"},
        {{"--fail", "delay"}, "ms= is missing"},
    };
    for (const auto& [arguments, problem] : cases) {
        const Run ended = run(arguments);
        EXPECT_EQ(ended.exitCode, 2) << arguments.join(' ').toStdString();
        EXPECT_EQ(ended.out, "");
        EXPECT_THAT(ended.err, ::testing::StartsWith("qw-stand-in: "));
        EXPECT_THAT(ended.err, HasSubstr(problem));
    }
    EXPECT_EQ(run({"--help"}).exitCode, 0);
}

TEST_F(StandInProgram, A_port_or_directory_that_cannot_be_used_ends_it_with_1) {
    start();
    const Run second = run({"--port", QString::number(standIn->url().port())});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.err, HasSubstr("cannot be used"));
    const Run nowhere = run({"--dir", "/dev/null/cloud"});
    EXPECT_EQ(nowhere.exitCode, 1);
    EXPECT_THAT(nowhere.err, ::testing::StartsWith("qw-stand-in: "));
}

TEST_F(StandInProgram, It_prints_where_it_listens_and_does_so_on_this_machine_only) {
    start();
    EXPECT_EQ(standIn->url().scheme(), "http");
    EXPECT_EQ(standIn->url().host(), "127.0.0.1");
}

TEST_F(StandInProgram, A_request_to_end_ends_it_cleanly_even_when_a_client_waits) {
    start();
    RawConnection waiting(standIn->url());
    waiting.send(
        requestText("/2/files/list_folder/longpoll", {json}, compact({{"cursor", cursorOf(list())}})));
    upload("/a", "x");
    EXPECT_EQ(standIn->stop(), 0);
#ifdef Q_OS_UNIX
    start();
    ::kill(pid_t(standIn->process().processId()), SIGINT);
    EXPECT_TRUE(standIn->process().waitForFinished(20'000));
    EXPECT_EQ(standIn->stop(), 0);
#endif
}

TEST_F(StandInProgram, Files_in_a_directory_are_there_when_it_starts_again) {
    const QTemporaryDir directory;
    const QStringList options = {"--dir", directory.filePath("cloud")};
    start(options);
    QJsonObject file = upload("/Folder/File", "bytes").json();
    const QString cursor = cursorOf(list());
    upload("/later", "x");
    EXPECT_EQ(standIn->stop(), 0);

    start(options);
    EXPECT_EQ(download("/folder/file").body, "bytes");
    file[".tag"] = "file";
    EXPECT_EQ(rpc("files/get_metadata", {{"path", "/Folder/File"}}).json(), file);
    EXPECT_EQ(entriesOf(list(cursor)), QStringList("/later"));
}

TEST_F(StandInProgram, Files_in_memory_are_not) {
    start();
    upload("/a", "x");
    start();
    EXPECT_EQ(entriesOf(list()), QStringList());
}

TEST_F(StandInProgram, The_log_names_routes_and_statuses_and_no_token) {
    start({"--log", "--token", "secret", "--fail", "drop:route=files/download"});
    request("/2/files/upload", {"Authorization: Bearer secret", bytes, R"(Dropbox-API-Arg: {"path":"/a"})"},
            "x");
    rpc("files/get_metadata", {{"path", "/a"}});
    request("/2/nonsense", {"Authorization: Bearer secret"}, {});
    download("/a");
    standIn->stop();
    const std::string log = standIn->process().readAllStandardError().toStdString();
    EXPECT_EQ(log, "files/upload 200\nfiles/get_metadata 401\nunknown 400\nfiles/download no answer\n");
}
