#include "supervisor/OneDesktop.h"
#include "testing/QWLogCapture.h"

// What a supervisor tells a host.

namespace {

using namespace std::chrono_literals;

struct Reports : OneDesktop {
    Reports() : OneDesktop(Desktop::Supervised) {
        const auto note = [this](const char* what) {
            return [this, what](const QString& fileName) { told.append(what + fileName); };
        };
        auto* host = &engine();
        QObject::connect(&supervisor(), &QWSyncSupervisor::fileQueued, host, note("queued "));
        QObject::connect(&supervisor(), &QWSyncSupervisor::fileSent, host, note("sent "));
        QObject::connect(&supervisor(), &QWSyncSupervisor::fileReceived, host, note("received "));
        QObject::connect(&supervisor(), &QWSyncSupervisor::queryFailed, host, note("query failed: "));
        const auto noteWithReason = [this](const char* what) {
            return [this, what](const QString& fileName, const QString& reason) {
                told.append(what + fileName + ": " + reason);
            };
        };
        QObject::connect(&supervisor(), &QWSyncSupervisor::fileDeclined, host, noteWithReason("declined "));
        QObject::connect(&supervisor(), &QWSyncSupervisor::fileFailed, host, noteWithReason("failed "));
        begin();
        told.clear();
    }

    void receive(const QString& fileName, const QVariantMap& record) {
        cloud.putRecord(fileName, record);
        supervisor().syncNow();
        pass(10);
    }
    static QString failure(int status) {
        return QStringLiteral("A test made this request fail with status %1.").arg(status);
    }

    QStringList told;
};

} // namespace

TEST_F(Reports, A_record_and_its_image_are_queued_once_and_sent) {
    const auto book = desktop.add("Book", {{"title", "T"}});
    desktop.setImage(*book, "cover");
    desktop.save();
    book->setValueForKey("title", "U");
    desktop.save();
    pass(10);
    const QString data = fileName(*book, "data");
    told.sort();
    EXPECT_EQ(told, (QStringList{"queued " + data, "sent " + data, "sent " + fileName(*book, "image")}));
    EXPECT_EQ(supervisor().counts().sent, 2);
    EXPECT_EQ(supervisor().requests().uploads, 2);
    EXPECT_EQ(supervisor().counts().failed, 0);
}

TEST_F(Reports, A_deletion_is_queued_and_sent) {
    const auto author = desktop.add("Author", {{"name", "Ann"}});
    const QString data = fileName(*author, "data");
    desktop.save();
    pass(10);
    told.clear();
    desktop.context->deleteObject(*author);
    desktop.save();
    pass(10);
    ASSERT_GE(told.size(), 2);
    EXPECT_EQ(told[0], "queued " + data);
    EXPECT_TRUE(told.contains("sent " + data));
    EXPECT_EQ(supervisor().counts().failed, 0) << "that the author had no image is no failure";
}

TEST_F(Reports, A_deletion_of_what_the_cloud_has_lost_already_counts_as_sent) {
    const auto author = desktop.add("Author", {{"name", "Ann"}});
    const QString data = fileName(*author, "data");
    desktop.save();
    pass(10);
    cloud.remove(data);
    told.clear();
    const qint64 sent = supervisor().counts().sent;
    desktop.context->deleteObject(*author);
    desktop.save();
    pass(10);
    EXPECT_TRUE(told.contains("sent " + data));
    EXPECT_GT(supervisor().counts().sent, sent);
    EXPECT_EQ(supervisor().counts().failed, 0);
}

TEST_F(Reports, What_is_received_is_taken_over_or_declined_with_the_reason) {
    receive("Book!!!X.data", book("T", "2026-05-05 10:00:00 +0000"));
    receive("Book!!!X.data", book("Earlier", "2026-05-05 09:00:00 +0000"));
    receive("Nothing!!!X.data", book("T"));
    EXPECT_EQ(told, (QStringList{"received Book!!!X.data", "queued Book!!!X.data",
                                 "declined Book!!!X.data: the record here is newer", "sent Book!!!X.data",
                                 "declined Nothing!!!X.data: it belongs to no entity"}));
    EXPECT_EQ(supervisor().counts().received, 1);
    EXPECT_EQ(supervisor().counts().declined, 2);
    EXPECT_EQ(supervisor().requests().downloads, 3);
}

TEST_F(Reports, A_file_that_holds_no_record_is_declined_where_there_is_one) {
    receive("Book!!!X.data", book("T"));
    for (const char* bytes : {"", "no record", "[]"}) {
        cloud.put("Book!!!X.data", bytes);
        supervisor().syncNow();
        pass(10);
    }
    EXPECT_EQ(told.mid(1), QStringList(3, "declined Book!!!X.data: it holds no record"));
    EXPECT_EQ(supervisor().counts().received, 1);
    EXPECT_EQ(supervisor().counts().declined, 3);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "T");
}

TEST_F(Reports, A_download_that_cannot_be_read_is_received_when_it_was_loaded_again) {
    const QWLogCapture log;
    desktop.client->on(QWRestRequest::LoadFile).first(1).staysUnanswered();
    desktop.client->forgetRequests();
    receive("Book!!!X.data", book("T"));
    const auto request = desktop.client->requests(QWRestRequest::LoadFile).at(0);
    ASSERT_TRUE(desktop.world.files->remove(request.localPath));
    DBMetadata metadata;
    metadata.path = request.path;
    desktop.client->delegate()->restClientLoadedFile(*desktop.client, request.localPath, {}, metadata);
    EXPECT_EQ(told, QStringList("declined Book!!!X.data: it cannot be read"));
    pass(11);
    EXPECT_EQ(told.mid(1), QStringList("received Book!!!X.data"));
    EXPECT_EQ(supervisor().counts().received, 1);
}

TEST_F(Reports, An_image_is_taken_over_or_declined_with_the_reason) {
    receive("Book!!!X.data", book("T"));
    cloud.put("Book!!!X.image", "cover");
    supervisor().syncNow();
    pass(10);
    const QString path = desktop.find("X")->imageURL().toLocalFile();
    ASSERT_TRUE(desktop.world.files->write(path, "newer"));
    ASSERT_TRUE(desktop.world.files->setModificationDate(path, desktop.now().addSecs(1000)));
    cloud.put("Book!!!X.image", "older");
    supervisor().syncNow();
    pass(10);
    cloud.put("Author!!!A.image", "portrait");
    supervisor().syncNow();
    pass(10);
    EXPECT_EQ(told.filter("Book!!!X.image"),
              (QStringList{"received Book!!!X.image", "declined Book!!!X.image: the image here is newer",
                           "sent Book!!!X.image"}));
}

TEST_F(Reports, A_request_that_fails_is_told_with_its_reason) {
    const QWLogCapture log;
    desktop.client->on(QWRestRequest::Upload).first(1).answersWith(507);
    desktop.client->on(QWRestRequest::LoadFile).first(1).answersWith(503);
    desktop.client->on(QWRestRequest::LoadDelta).first(1).answersWith(500);
    const auto author = desktop.add("Author", {{"name", "Ann"}});
    const QString data = fileName(*author, "data");
    desktop.save();
    pass(20);
    EXPECT_EQ(told, (QStringList{"queued " + data, "failed " + data + ": " + failure(507), "sent " + data}));
    told.clear();
    receive("Book!!!X.data", book("T"));
    pass(20);
    EXPECT_EQ(told, (QStringList{"query failed: " + failure(500), "failed Book!!!X.data: " + failure(503),
                                 "received Book!!!X.data"}));
    EXPECT_EQ(supervisor().counts().failed, 2);
    EXPECT_EQ(supervisor().requests().uploads, 2);
    EXPECT_EQ(supervisor().requests().downloads, 2);
}

TEST_F(Reports, A_failed_look_up_of_the_folder_is_told_and_a_missing_folder_is_no_failure) {
    engine().tokenBecameInvalid();
    desktop.client->on(QWRestRequest::LoadMetadata).first(1).answersWith(0);
    desktop.activate();
    pass(30);
    EXPECT_EQ(told, QStringList{"query failed: " + failure(0)});
    EXPECT_EQ(supervisor().counts().failed, 0);
}

TEST_F(Reports, Requests_are_counted_as_the_client_is_asked) {
    desktop.add("Author", {{"name", "Ann"}});
    const auto book = desktop.add("Book", {{"title", "T"}});
    desktop.save();
    pass(10);
    desktop.context->deleteObject(*book);
    desktop.save();
    receive("Book!!!X.data", OneDesktop::book("T"));
    pass(1300);
    const auto& counted = supervisor().requests();
    EXPECT_EQ(counted.queries, count(QWRestRequest::LoadDelta) + count(QWRestRequest::LoadMetadata));
    EXPECT_EQ(counted.uploads, count(QWRestRequest::Upload));
    EXPECT_EQ(counted.downloads, count(QWRestRequest::LoadFile));
    EXPECT_EQ(counted.deletions, count(QWRestRequest::Delete));
    EXPECT_EQ(counted.total(), qint64(desktop.client->requests().size()));
    EXPECT_EQ(supervisor().requestsOut(), 0);
}

// At rest ---------------------------------------------------------------------------------------------------

TEST_F(Reports, At_rest_is_neither_before_an_activation_nor_after_its_end) {
    EXPECT_TRUE(supervisor().isAtRest());
    engine().deactivateSync();
    EXPECT_FALSE(supervisor().isAtRest());
    pass(10);
    EXPECT_FALSE(supervisor().isAtRest());
    supervisor().activate();
    EXPECT_FALSE(supervisor().isAtRest()) << "its query is out";
    pass(1);
    EXPECT_TRUE(supervisor().isAtRest());
}

TEST_F(Reports, At_rest_is_not_while_anything_is_out) {
    desktop.client->onAny().delaysAnswer(5s);
    supervisor().syncNow();
    EXPECT_FALSE(supervisor().isAtRest());
    EXPECT_EQ(supervisor().requestsOut(), 1);
    pass(4);
    EXPECT_FALSE(supervisor().isAtRest());
    pass(2);
    EXPECT_TRUE(supervisor().isAtRest());
    desktop.add("Author", {{"name", "Ann"}});
    desktop.save();
    pass(4);
    EXPECT_FALSE(supervisor().isAtRest());
    pass(2);
    EXPECT_TRUE(supervisor().isAtRest());
}

TEST_F(Reports, At_rest_is_not_before_the_first_activation_has_asked_for_changes) {
    engine().tokenBecameInvalid();
    desktop.client->forgetRequests();
    QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &engine(),
                     [&] { EXPECT_TRUE(count(QWRestRequest::LoadDelta) == 1 || !supervisor().isAtRest()); });
    desktop.activate();
    pass(10);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 1);
    EXPECT_TRUE(supervisor().isAtRest());
}

TEST_F(Reports, At_rest_is_not_while_a_deletion_of_a_copy_is_to_be_repeated) {
    const QWLogCapture log;
    receive("Book!!!X.data", book("T"));
    desktop.client->on(QWRestRequest::Delete).first(1).answersWith(500);
    receive("Book!!!X (Bob's conflicted copy).data", book("T"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(supervisor().requestsOut(), 0);
    EXPECT_FALSE(supervisor().isAtRest());
    pass(5);
    EXPECT_TRUE(supervisor().isAtRest());
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(Reports, Once_it_has_told_of_a_rest_it_asks_for_nothing_more) {
    receive("Book!!!X.data", book("T"));
    cloud.put("Book!!!X.image", "cover");
    cloud.put("Book!!!X (Bob's conflicted copy).image", "cover");
    std::optional<qint64> requests;
    QObject::connect(&supervisor(), &QWSyncSupervisor::progressed, &engine(), [&] {
        if (supervisor().isAtRest() && !requests)
            requests = supervisor().requests().total();
    });
    supervisor().syncNow();
    pass(60);
    EXPECT_EQ(supervisor().requests().deletions, 1) << "the copy";
    EXPECT_EQ(supervisor().requests().total(), requests);
}

TEST_F(Reports, Progress_is_told_after_the_engine_has_had_each_answer) {
    int answers = 0;
    QObject::connect(&supervisor(), &QWSyncSupervisor::progressed, &engine(),
                     [&] { answers += supervisor().requestsOut() == 0; });
    supervisor().syncNow();
    EXPECT_EQ(answers, 0);
    pass(1);
    EXPECT_EQ(answers, 1);
    EXPECT_TRUE(supervisor().isAtRest());
}
