#include "dropbox/http/HTTPClientFixture.h"
#include "testing/QWLogCapture.h"

namespace {

using namespace std::chrono_literals;

class HTTPPause : public HTTPClientTest {
protected:
    void refuse(const QByteArray& status, const QByteArray& body, const QByteArray& retryAfter = {}) {
        server.send(status, body,
                    retryAfter.isEmpty() ? QByteArray() : "Retry-After: " + retryAfter + "\r\n");
    }
    void acceptDeletion() { server.sendJson(R"({"metadata":{}})"); }
    void acceptLookUp() { server.sendJson(R"({".tag":"folder","path_lower":"/f","path_display":"/f"})"); }
    bool waitForPauses(qsizetype count = 1) {
        return wait([&] { return log.texts("qwlibrary.dropbox").size() >= count; });
    }
    // How many requests have arrived, after a round trip to another server in which one more would have.
    std::size_t requests() {
        otherServer.sendJson(R"({".tag":"folder","path_lower":"/f","path_display":"/f"})");
        otherClient->loadMetadata("/f");
        EXPECT_TRUE(wait([&] { return !std::exchange(otherDelegate.lines, {}).isEmpty(); }));
        return server.requests().size();
    }

    ScriptedServer otherServer;
    RecordingDelegate otherDelegate;
    std::unique_ptr<QWHTTPRestClient> otherClient = [this] {
        auto with = options();
        with.apiHost = otherServer.url();
        auto made = std::make_unique<QWHTTPRestClient>(with, world.environment());
        made->setDelegate(&otherDelegate, &otherDelegate);
        return made;
    }();
    const QByteArray tooManyWrites =
        R"({"error_summary":"w","error":{"reason":{".tag":"too_many_write_operations"}}})";
    QWLogCapture log;
};

TEST_F(HTTPPause, A_refused_request_is_sent_again_when_the_named_time_is_over_and_answered_once) {
    refuse("429 Too Many Requests", "too_many_requests", "25");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    EXPECT_EQ(requests(), 1u);
    world.runLoop->advance(24s);
    EXPECT_EQ(requests(), 1u);
    world.runLoop->advance(1s);
    EXPECT_TRUE(waitForRequests(2));
    EXPECT_TRUE(delegate.lines.isEmpty());
    acceptDeletion();
    EXPECT_EQ(answers(), QStringList("deleted /a"));
    ASSERT_EQ(log.texts("qwlibrary.dropbox").size(), 1);
    EXPECT_TRUE(log.texts("qwlibrary.dropbox")[0].contains("25 seconds: status 429"));
}

TEST_F(HTTPPause, An_upload_is_sent_again_with_all_its_bytes) {
    refuse("503 Service Unavailable", "", "60");
    client->uploadFile("a", "/", {}, localFile("staged", "bytes"));
    ASSERT_TRUE(waitForPauses());
    world.runLoop->advance(60s);
    ASSERT_TRUE(waitForRequests(2));
    EXPECT_EQ(server.request(0).body, "bytes");
    EXPECT_EQ(server.request(1).body, "bytes");
    EXPECT_EQ(server.request(0).headers["dropbox-api-arg"], server.request(1).headers["dropbox-api-arg"]);
    server.sendJson(fileJson("/a", 5));
    EXPECT_EQ(answers(), QStringList("uploaded /a"));
}

TEST_F(HTTPPause, A_limit_of_requests_holds_back_all_of_them_and_no_longer_than_the_service_asks) {
    refuse("429 Too Many Requests", "", "20");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    client->loadMetadata("/f");
    client->loadFile("/b", directory.filePath("download"));
    EXPECT_EQ(requests(), 1u);
    world.runLoop->advance(19s);
    EXPECT_EQ(requests(), 1u);
    world.runLoop->advance(1s);
    EXPECT_TRUE(waitForRequests(4));
}

TEST_F(HTTPPause, Waits_of_several_requests_do_not_add_up) {
    for (int request = 0; request < 3; ++request) {
        client->deletePath("/a");
        refuse("429 Too Many Requests", "", "20");
    }
    ASSERT_TRUE(waitForPauses(3));
    world.runLoop->advance(20s);
    EXPECT_TRUE(waitForRequests(6));
}

TEST_F(HTTPPause, A_limit_of_writes_holds_back_writes_alone) {
    refuse("429 Too Many Requests", tooManyWrites, "20");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    client->uploadFile("b", "/", {}, localFile("staged", "bytes"));
    client->loadMetadata("/f");
    acceptLookUp();
    EXPECT_EQ(answers(), QStringList("metadata of /f"));
    EXPECT_EQ(server.requests().size(), 2u);
    world.runLoop->advance(20s);
    EXPECT_TRUE(waitForRequests(4));
}

TEST_F(HTTPPause, A_busy_host_holds_back_what_goes_to_it) {
    ScriptedServer content;
    auto with = options();
    with.contentHost = content.url();
    useClient(with);
    content.send("503 Service Unavailable", "", "Retry-After: 300\r\n");
    client->loadFile("/a", directory.filePath("download"));
    ASSERT_TRUE(waitForPauses());
    client->uploadFile("b", "/", {}, localFile("staged", "bytes"));
    client->deletePath("/a");
    acceptDeletion();
    EXPECT_EQ(answers(), QStringList("deleted /a"));
    EXPECT_EQ(content.requests().size(), 1u);
    world.runLoop->advance(300s);
    EXPECT_TRUE(wait([&] { return content.requests().size() == 3; }));
    client.reset(); // before its server goes
}

TEST_F(HTTPPause, Contention_without_a_time_puts_off_the_request_alone_for_some_seconds) {
    sendConflict(R"({".tag":"path_write","path_write":{".tag":"too_many_write_operations"}})");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    client->deletePath("/b");
    acceptDeletion();
    EXPECT_EQ(answers(), QStringList("deleted /b"));
    world.runLoop->advance(2s);
    EXPECT_EQ(requests(), 2u);
    world.runLoop->advance(6s);
    EXPECT_TRUE(waitForRequests(3));
    acceptDeletion();
    EXPECT_EQ(answers(), QStringList("deleted /a"));
}

TEST_F(HTTPPause, A_request_that_is_put_off_for_the_fifth_time_fails) {
    for (std::size_t time = 1; time <= 5; ++time) {
        refuse("429 Too Many Requests", tooManyWrites, "20");
        if (time == 1)
            client->deletePath("/a");
        ASSERT_TRUE(waitForPauses(qsizetype(time)));
        if (time < 5)
            world.runLoop->advance(20s);
    }
    EXPECT_EQ(answers(), QStringList("delete 429 /a"));
    // The last wait is kept all the same.
    client->deletePath("/b");
    EXPECT_EQ(requests(), 5u);
    world.runLoop->advance(20s);
    EXPECT_TRUE(waitForRequests(6));
}

TEST_F(HTTPPause, The_service_is_asked_again_after_an_hour_at_the_latest) {
    refuse("429 Too Many Requests", "", "864000");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    world.runLoop->advance(59min);
    EXPECT_EQ(requests(), 1u);
    world.runLoop->advance(1min);
    EXPECT_TRUE(waitForRequests(2));
}

TEST_F(HTTPPause, Waiting_is_not_stalling) {
    refuse("429 Too Many Requests", "", "600");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    client->deletePath("/b");
    world.runLoop->advance(600s);
    EXPECT_TRUE(waitForRequests(3));
    acceptDeletion();
    acceptDeletion();
    EXPECT_EQ(answers(2).size(), 2);
}

TEST_F(HTTPPause, A_transfer_that_stalls_in_the_middle_fails_and_leaves_the_local_file) {
    localFile("download", "old");
    server.sendBytes("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nDropbox-API-Result: " + fileJson("/a", 10)
                     + "\r\n\r\nhalf ");
    client->loadFile("/a", directory.filePath("download"));
    ASSERT_TRUE(waitForRequests(1));
    requests();
    world.runLoop->advance(60s);
    EXPECT_EQ(answers(), QStringList("load 0 /a"));
    EXPECT_EQ(bytesAt("download"), "old");
    EXPECT_EQ(localFiles(), QStringList("download"));
}

TEST_F(HTTPPause, A_destroyed_client_sends_nothing_that_waits) {
    refuse("429 Too Many Requests", "", "20");
    client->deletePath("/a");
    ASSERT_TRUE(waitForPauses());
    client.reset();
    world.runLoop->advance(60s);
    EXPECT_EQ(requests(), 1u);
}

} // namespace
