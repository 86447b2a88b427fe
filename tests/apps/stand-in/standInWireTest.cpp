#include "apps/stand-in/StandInTest.h"

#include "dropbox/DBContentHash.h"
#include "support/EventLoopWait.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRegularExpression>

// HTTP itself: how requests may come and how answers leave.
class StandInWire : public StandInTest {
protected:
    StandInWire() { start(); }

    QByteArray uploadText(const QByteArray& path, const QByteArray& body) {
        return requestText("/2/files/upload", {bearer, bytes, R"(Dropbox-API-Arg: {"path":")" + path + "\"}"},
                           body);
    }
    // Asks again and again: until what was sent has been read.
    bool waitForStatistics(const QString& name, int value) {
        const QDeadlineTimer deadline(20'000);
        while (standIn->statistics()[name] != value && !deadline.hasExpired())
            continue;
        return !deadline.hasExpired();
    }
    QByteArray downloadText(const QByteArray& path) {
        return requestText("/2/files/download", {bearer, R"(Dropbox-API-Arg: {"path":")" + path + "\"}"}, {});
    }
};

TEST_F(StandInWire, A_connection_stays_unless_the_client_wants_it_closed) {
    RawConnection connection(standIn->url());
    for (int i = 0; i < 5; ++i) {
        connection.send(uploadText("/" + QByteArray::number(i), "x"));
        EXPECT_EQ(connection.receive().status, 200);
    }
    connection.send(requestText("/2/users/get_current_account", {bearer, "Connection: close"}, {}));
    const HTTPAnswer last = connection.receive();
    EXPECT_EQ(last.status, 200);
    EXPECT_EQ(last.headers["connection"], "close");
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(StandInWire, Requests_that_are_sent_without_waiting_are_answered_in_their_order) {
    start({"--latency", "5"});
    QByteArray all;
    for (int i = 0; i < 20; ++i)
        all += uploadText("/" + QByteArray::number(i), "content " + QByteArray::number(i))
               + downloadText("/" + QByteArray::number(i));
    RawConnection connection(standIn->url());
    connection.send(all);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(connection.receive().json()["name"], QString::number(i));
        EXPECT_EQ(connection.receive().body, "content " + QByteArray::number(i));
    }
}

TEST_F(StandInWire, A_request_may_come_byte_by_byte) {
    RawConnection connection(standIn->url());
    for (const char byte : uploadText("/a", "slow"))
        connection.send(QByteArray(1, byte));
    EXPECT_EQ(connection.receive().status, 200);
    EXPECT_EQ(download("/a").body, "slow");
}

TEST_F(StandInWire, A_body_may_come_in_chunks) {
    RawConnection connection(standIn->url());
    connection.send("POST /2/files/upload HTTP/1.1\r\nHost: x\r\n" + bearer + "\r\n" + bytes
                    + "\r\nDropbox-API-Arg: {\"path\":\"/a\"}\r\nTransfer-Encoding: chunked\r\n\r\n"
                      "4\r\none \r\n3;extension=1\r\ntwo\r\n");
    connection.send("0\r\n\r\n" + downloadText("/a"));
    EXPECT_EQ(connection.receive().json()["size"], 7);
    EXPECT_EQ(connection.receive().body, "one two");
}

TEST_F(StandInWire, A_client_that_waits_for_leave_to_send_its_body_gets_it) {
    RawConnection connection(standIn->url());
    connection.send(
        "POST /2/files/upload HTTP/1.1\r\nHost: x\r\n" + bearer + "\r\n" + bytes
        + "\r\nDropbox-API-Arg: {\"path\":\"/a\"}\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\n");
    EXPECT_EQ(connection.receive().status, 100);
    connection.send("body");
    EXPECT_EQ(connection.receive().status, 200);
    EXPECT_EQ(download("/a").body, "body");
}

TEST_F(StandInWire, What_is_not_HTTP_is_refused_and_the_connection_closed) {
    for (const QByteArray& nonsense :
         {QByteArray("nonsense\r\n\r\n"), QByteArray("POST / HTTP/1.1\r\nno colon\r\n\r\n"),
          QByteArray("POST / HTTP/1.1\r\nContent-Length: x\r\n\r\n"),
          QByteArray("\x16\x03\x01\x02\x00\x01", 6) + "\r\n"}) {
        RawConnection connection(standIn->url());
        connection.send(nonsense);
        EXPECT_EQ(connection.receive().status, 400) << nonsense.toStdString();
        EXPECT_TRUE(connection.isClosed());
    }
    EXPECT_EQ(upload("/a", "x").status, 200) << "others are served on";
}

TEST_F(StandInWire, Heads_have_a_limit_that_the_longest_path_does_not_reach) {
    const QByteArray longest = QByteArray("/" + QByteArray("\\u65e5").repeated(250)).repeated(16);
    RawConnection connection(standIn->url());
    connection.send(uploadText(longest, "x"));
    EXPECT_EQ(connection.receive().status, 200);
    connection.send("POST /2/files/upload HTTP/1.1\r\nX: " + QByteArray(70'000, 'x') + "\r\n\r\n");
    EXPECT_EQ(connection.receive().status, 431);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(StandInWire, A_body_beyond_150_MiB_is_refused_before_it_is_sent) {
    RawConnection connection(standIn->url());
    connection.send("POST /2/files/upload HTTP/1.1\r\nHost: x\r\n" + bearer + "\r\n" + bytes
                    + "\r\nDropbox-API-Arg: {\"path\":\"/a\"}\r\nContent-Length: 157286401\r\n\r\n");
    EXPECT_EQ(connection.receive().status, 413);
    EXPECT_TRUE(connection.isClosed());
}

TEST_F(StandInWire, A_client_that_goes_away_in_the_middle_of_its_upload_leaves_nothing) {
    RawConnection(standIn->url()).send(uploadText("/a", QByteArray(100'000, 'x')).chopped(10));
    EXPECT_EQ(conflict(download("/a")), "path/not_found/");
}

TEST_F(StandInWire, Many_clients_are_served_at_once_and_the_most_of_them_counted) {
    const QByteArray large(16 * 1024 * 1024, 'x'); // more than sockets hold for a client that does not read
    std::vector<std::unique_ptr<RawConnection>> uploading, downloading;
    for (int i = 0; i < 6; ++i) {
        uploading.push_back(std::make_unique<RawConnection>(standIn->url()));
        uploading.back()->send(uploadText("/" + QByteArray::number(i), "123456789").chopped(9));
    }
    ASSERT_TRUE(waitForStatistics("uploadsAtOnce", 6));
    for (const auto& client : uploading)
        client->send("123456789");
    for (const auto& client : uploading)
        EXPECT_EQ(client->receive().status, 200);

    ASSERT_EQ(upload("/large", large).status, 200);
    for (int i = 0; i < 4; ++i) {
        downloading.push_back(std::make_unique<RawConnection>(standIn->url()));
        downloading.back()->send(downloadText("/large"));
    }
    ASSERT_TRUE(waitForStatistics("downloadsAtOnce", 4));
    for (const auto& client : downloading)
        EXPECT_TRUE(client->receive().body == large);

    const QJsonObject statistics = standIn->statistics();
    EXPECT_EQ(statistics["uploadsAtOnce"], 6);
    EXPECT_EQ(statistics["downloadsAtOnce"], 4);
    EXPECT_EQ(statistics["answers"], QJsonObject({{"200", 11}}));
    EXPECT_EQ(statistics["requests"], QJsonObject({{"files/upload", 7}, {"files/download", 4}}));
}

TEST_F(StandInWire, Qt_s_own_client_is_understood) {
    QNetworkAccessManager manager;
    const auto finish = [](QNetworkReply* reply) {
        EXPECT_TRUE(runEventLoopUntil([reply] { return reply->isFinished(); }));
        EXPECT_EQ(reply->error(), QNetworkReply::NoError) << reply->errorString().toStdString();
        const QByteArray body = reply->readAll();
        delete reply;
        return body;
    };
    const auto request = [&](const QString& path, const QByteArray& type) {
        QUrl url = standIn->url();
        url.setPath(path);
        QNetworkRequest result(url);
        result.setRawHeader("Authorization", "Bearer any");
        result.setHeader(QNetworkRequest::ContentTypeHeader, type);
        result.setRawHeader("Dropbox-API-Arg", R"({"path":"/a"})");
        return result;
    };
    const QByteArray large(3'000'000, 'x');
    finish(manager.post(request("/2/files/upload", "application/octet-stream"), large));
    EXPECT_TRUE(finish(manager.post(request("/2/files/download", "application/octet-stream"), QByteArray()))
                == large);
    const QByteArray listing =
        finish(manager.post(request("/2/files/list_folder", "application/json"), R"({"path":""})"));
    EXPECT_TRUE(listing.contains("\"/a\""));
}

TEST_F(StandInWire, Two_clients_that_update_one_revision_do_not_both_succeed) {
    const QByteArray rev = upload("/a", "one").json()["rev"].toString().toLatin1();
    const QByteArray argument =
        R"(Dropbox-API-Arg: {"path":"/a","mode":{".tag":"update","update":")" + rev + "\"}}";
    RawConnection first(standIn->url()), second(standIn->url());
    first.send(requestText("/2/files/upload", {bearer, bytes, argument}, "two"));
    second.send(requestText("/2/files/upload", {bearer, bytes, argument}, "three"));
    EXPECT_EQ(first.receive().status + second.receive().status, 200 + 409);
}

#ifdef Q_OS_LINUX
TEST_F(StandInWire, A_hundred_megabytes_go_in_and_out_without_being_held_in_memory) {
    const QTemporaryDir directory;
    start({"--dir", directory.path()});
    QByteArray large(100 * 1024 * 1024 + 1, '\0');
    for (qsizetype i = 0; i < large.size(); i += 997)
        large[i] = char(i / 997);
    const HTTPAnswer uploaded = upload("/large", large);
    ASSERT_EQ(uploaded.status, 200);
    EXPECT_EQ(uploaded.json()["content_hash"].toString(), dropboxContentHash(large));
    EXPECT_TRUE(download("/large").body == large);

    QFile status(QStringLiteral("/proc/%1/status").arg(standIn->process().processId()));
    ASSERT_TRUE(status.open(QIODevice::ReadOnly));
    static const QRegularExpression most("VmHWM:\\s*(\\d+) kB");
    const int kilobytes = most.match(QString::fromLatin1(status.readAll())).captured(1).toInt();
    EXPECT_GT(kilobytes, 0);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // which keep what was freed
    EXPECT_LT(kilobytes, 80 * 1024);
#endif
}
#endif
