#include "dropbox/folder/FolderClientFixture.h"
#include "testing/QWFaultyRestClient.h"

using namespace std::chrono_literals;

class FaultyRestClient : public FolderClientTest {
protected:
    FaultyRestClient() { faulty.setDelegate(&delegate, &delegate); }

    QWFaultyRestClient faulty{*client, environment};
};

TEST_F(FaultyRestClient, Without_faults_everything_passes) {
    faulty.uploadFile("a", "/", {}, localFile("staged", "x"));
    faulty.loadFile("/a", directory.filePath("download"));
    faulty.loadMetadata("/A");
    faulty.loadDelta({});
    faulty.deletePath("/a");
    EXPECT_EQ(answers(),
              QStringList({"uploaded /a", "loaded /a", "metadata of /a", "delta of 1", "deleted /a"}));

    faulty.uploadFile("a", "/", {}, "missing");
    faulty.loadFile("/a", directory.filePath("download"));
    faulty.loadMetadata("/A");
    faulty.deletePath("/a");
    EXPECT_EQ(answers(), QStringList({"upload 0 /a", "load 404 /a", "metadata 404 /A", "delete 404 /a"}));
}

TEST_F(FaultyRestClient, Requests_are_written_down_with_their_arguments) {
    faulty.loadDelta("cursor");
    faulty.uploadFile("a", "/Folder", "rev", "/local/staged");
    faulty.loadFile("/b", "/local/download");
    faulty.deletePath("/c");
    faulty.loadMetadata("/d");

    const auto& all = faulty.requests();
    ASSERT_EQ(all.size(), 5u);
    EXPECT_EQ(all[0].kind, QWRestRequest::LoadDelta);
    EXPECT_EQ(all[0].cursor, "cursor");
    EXPECT_EQ(all[1].kind, QWRestRequest::Upload);
    EXPECT_EQ(all[1].path, "/Folder/a");
    EXPECT_EQ(all[1].parentRev, "rev");
    EXPECT_EQ(all[1].localPath, "/local/staged");
    EXPECT_EQ(all[2].localPath, "/local/download");
    EXPECT_EQ(faulty.requests(QWRestRequest::Delete).at(0).path, "/c");
    EXPECT_EQ(faulty.requests(QWRestRequest::LoadMetadata).size(), 1u);

    faulty.forgetRequests();
    EXPECT_TRUE(faulty.requests().empty());
}

TEST_F(FaultyRestClient, A_status_answers_the_numbered_request_which_never_arrives) {
    add("/a");
    faulty.on(QWRestRequest::Delete).number(2).answersWith(500);
    faulty.loadMetadata("/a");
    faulty.deletePath("/b");
    faulty.deletePath("/a");
    EXPECT_TRUE(delegate.lines.isEmpty()) << "not inside the call";
    EXPECT_EQ(answers(), QStringList({"delete 500 /a", "metadata of /a", "delete 404 /b"}));
    EXPECT_TRUE(folder->metadata("/a"));
    faulty.deletePath("/a");
    EXPECT_EQ(answers(), QStringList("deleted /a"));
}

TEST_F(FaultyRestClient, A_status_comes_with_the_facts_of_its_request) {
    faulty.onAny().answersWith(401);
    faulty.uploadFile("a", "/", {}, "local");
    faulty.loadFile("/b", "download");
    faulty.deletePath("/c");
    faulty.loadMetadata("/d");
    faulty.loadDelta({});
    EXPECT_EQ(answers(),
              QStringList({"upload 401 /a", "load 401 /b", "delete 401 /c", "metadata 401 /d", "delta 401"}));
    EXPECT_EQ(delegate.errors[0].userInfo["sourcePath"], "local");
    EXPECT_EQ(delegate.errors[1].userInfo["destinationPath"], "download");
}

TEST_F(FaultyRestClient, A_lost_acknowledgement_answers_an_error_for_what_was_carried_out) {
    faulty.on(QWRestRequest::Upload).first(1).losesAcknowledgement();
    const QString staged = localFile("staged", "x");
    faulty.uploadFile("a", "/", {}, staged);
    EXPECT_EQ(answers(), QStringList("upload 0 /a"));
    EXPECT_EQ(folder->read("/a")->bytes, "x");
    faulty.uploadFile("a", "/", {}, staged);
    EXPECT_EQ(answers(), QStringList("uploaded /a"));
}

TEST_F(FaultyRestClient, A_truncated_download_ends_early) {
    add("/a", "all the bytes");
    faulty.on(QWRestRequest::LoadFile).truncatesFile(3);
    faulty.loadFile("/a", directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("loaded /a"));
    EXPECT_EQ(world.files->read(directory.filePath("download")), "all");
}

TEST_F(FaultyRestClient, A_delayed_request_is_carried_out_after_later_ones) {
    faulty.onAny().number(1).delaysRequest(1s);
    faulty.uploadFile("a", "/", {}, localFile("staged", "x"));
    faulty.loadMetadata("/a");
    EXPECT_EQ(answers(), QStringList({"metadata 404 /a", "uploaded /a"}));
}

TEST_F(FaultyRestClient, A_delayed_answer_comes_after_later_ones) {
    faulty.onAny().number(1).delaysAnswer(1s);
    faulty.uploadFile("a", "/", {}, localFile("staged", "x"));
    faulty.loadMetadata("/a");
    EXPECT_EQ(answers(), QStringList({"metadata of /a", "uploaded /a"}));
    EXPECT_EQ(world.runLoop->now(), 1050ms);
}

TEST_F(FaultyRestClient, A_dropped_answer_never_comes_although_the_request_was_carried_out) {
    add("/a");
    faulty.on(QWRestRequest::Delete).staysUnanswered();
    faulty.deletePath("/a");
    EXPECT_TRUE(answers().isEmpty());
    EXPECT_FALSE(folder->metadata("/a"));
}

TEST_F(FaultyRestClient, A_request_that_arrives_twice_is_answered_once) {
    add("/a");
    faulty.on(QWRestRequest::Delete).arrivesTwice();
    faulty.deletePath("/a");
    EXPECT_EQ(answers(), QStringList("deleted /a"));
    EXPECT_EQ(faulty.requests().size(), 1u);
}

TEST_F(FaultyRestClient, A_condition_chooses_the_requests_that_count) {
    add("/a");
    faulty.on(QWRestRequest::LoadMetadata)
        .where([](const QWRestRequest& request) { return request.path == "/a"; })
        .number(2)
        .answersWith(503);
    for (const char* path : {"/b", "/a", "/b", "/a", "/a"})
        faulty.loadMetadata(path);
    EXPECT_EQ(answers(), QStringList({"metadata 503 /a", "metadata 404 /b", "metadata of /a",
                                      "metadata 404 /b", "metadata of /a"}));
}

TEST_F(FaultyRestClient, Faults_add_up_and_can_be_removed) {
    add("/a");
    faulty.on(QWRestRequest::Delete).delaysAnswer(1s).losesAcknowledgement(500);
    faulty.onAny().delaysAnswer(1s);
    faulty.deletePath("/a");
    EXPECT_EQ(answers(), QStringList("delete 500 /a"));
    EXPECT_EQ(world.runLoop->now(), 2050ms);

    faulty.removeFaults();
    faulty.deletePath("/a");
    EXPECT_EQ(answers(), QStringList("delete 404 /a"));
}

TEST_F(FaultyRestClient, A_destroyed_client_answers_nothing) {
    {
        QWFaultyRestClient passing(*client, environment);
        passing.setDelegate(&delegate, &delegate);
        passing.onAny().number(1).delaysRequest(1s);
        passing.onAny().number(2).delaysAnswer(1s);
        passing.onAny().number(3).answersWith(500);
        for (int i = 0; i < 4; ++i)
            passing.loadMetadata("/a");
        world.runLoop->advance(0ms);
        delegate.lines.clear();
    }
    EXPECT_TRUE(answers().isEmpty());
}
