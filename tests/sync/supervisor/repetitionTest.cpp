#include "support/EngineTest.h"
#include "support/LockedStore.h"

// Requests that fail. The engine alone repeats each after ten seconds, whatever has become of it since.

namespace {

struct RepetitionAlone : EngineTest {
    RepetitionAlone() { activateIdle(); }
};

struct Repetition : EngineTest {
    Repetition() : EngineTest(Desktop::Supervised) { activateIdle(); }
    const QWLogCapture log;
};

// An upload, a deletion and a download, each answered by the status.
void failEach(EngineTest& test, int status) {
    const auto requests = std::exchange(test.client->requests, {});
    for (const auto& request : requests) {
        const QWError error = EngineTest::failure(status, EngineTest::info(request));
        if (request.kind == QWRestRequest::Upload)
            test.delegate().restClientUploadFileFailedWithError(*test.client, error);
        else if (request.kind == QWRestRequest::Delete)
            test.delegate().restClientDeletePathFailedWithError(*test.client, error);
        else
            test.delegate().restClientLoadFileFailedWithError(*test.client, error);
    }
}

void beginUpload(EngineTest& test) {
    test.desktop.add("Author", {{"name", "Ann"}})->setUuid("A");
    test.saveAndTurn();
}

void beginDeletion(EngineTest& test) {
    const auto author = test.desktop.add("Author", {{"name", "Ann"}});
    author->setUuid("A");
    test.saveAndTurn();
    test.uploaded(test.client->requests.at(0));
    test.client->forget();
    test.desktop.context->deleteObject(*author);
    test.saveAndTurn();
}

void beginDownload(EngineTest& test) {
    test.receive({test.changed("Author!!!A.data")});
}

void restartAfterFailedUpload(EngineTest& test) {
    beginUpload(test);
    failEach(test, 500);
    test.engine().deactivateSync();
    test.activate();
    test.page({}, "cursor-1");
    test.pass(60);
}

struct Kind {
    const char* name;
    void (*begin)(EngineTest& test);
};
void PrintTo(const Kind& kind, std::ostream* stream) {
    *stream << kind.name;
}
struct RepetitionOf : Repetition, testing::WithParamInterface<Kind> {};
INSTANTIATE_TEST_SUITE_P(EachKind, RepetitionOf,
                         testing::Values(Kind{"an upload", beginUpload}, Kind{"a deletion", beginDeletion},
                                         Kind{"a download", beginDownload}));

} // namespace

TEST_F(RepetitionAlone, A_failed_request_is_repeated_after_a_deactivation_too) {
    for (const Kind& kind : {Kind{"upload ", beginUpload}, Kind{"load ", beginDownload}}) {
        const QWLogCapture log;
        client->forget();
        kind.begin(*this);
        failEach(*this, 500);
        engine().deactivateSync();
        pass(11);
        EXPECT_EQ(client->log(), QStringList{kind.name + remote("Author!!!A.data")});
        activateIdle();
    }
}

TEST_F(RepetitionAlone, An_upload_that_failed_before_a_restart_is_sent_twice_after_it) {
    const QWLogCapture log;
    restartAfterFailedUpload(*this);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 2);
}

TEST_F(Repetition, A_failed_upload_is_repeated_after_ten_seconds_until_it_succeeds) {
    beginUpload(*this);
    for (const int status : {0, 404, 409, 429, 500, 503, 507}) {
        const QString localPath = client->requests.at(0).localPath;
        failEach(*this, status);
        pass(9.9);
        EXPECT_EQ(client->log(), QStringList()) << status;
        EXPECT_FALSE(desktop.supervisor->isAtRest());
        pass(0.2);
        ASSERT_EQ(client->log(), QStringList{"upload " + remote("Author!!!A.data")}) << status;
        EXPECT_EQ(client->requests[0].localPath, localPath);
    }
    uploaded(client->requests[0]);
    client->forget();
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_TRUE(desktop.supervisor->isAtRest());
}

TEST_F(Repetition, A_repeated_upload_replaces_the_revision_that_is_known_by_then) {
    beginUpload(*this);
    EXPECT_EQ(client->requests.at(0).parentRev, QString());
    failEach(*this, 500);
    pass(5);
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Author!!!A.data", "rev7"));
    pass(6);
    ASSERT_EQ(client->requests.size(), 1u);
    EXPECT_EQ(client->requests[0].parentRev, "rev7");
    EXPECT_EQ(client->requests[0].path, remote("Author!!!A.data"));
}

TEST_F(Repetition, A_failed_deletion_is_repeated_after_ten_seconds_until_it_succeeds) {
    beginDeletion(*this);
    const QStringList deletions = client->log();
    ASSERT_FALSE(deletions.isEmpty());
    for (const int status : {0, 409, 500}) {
        failEach(*this, status);
        pass(9.9);
        EXPECT_EQ(client->log(), QStringList()) << status;
        pass(0.2);
        ASSERT_EQ(client->log(), deletions) << status;
    }
    for (const auto& deletion : client->requests)
        delegate().restClientDeletedPath(*client, deletion.path);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(Repetition, A_failed_download_is_repeated_after_ten_seconds_until_it_succeeds) {
    beginDownload(*this);
    for (const int status : {0, 409, 500}) {
        failEach(*this, status);
        pass(9.9);
        EXPECT_EQ(client->log(), QStringList()) << status;
        pass(0.2);
        ASSERT_EQ(client->log(), QStringList{"load " + remote("Author!!!A.data")}) << status;
    }
    loaded(client->requests[0], record("Ann", "2026-01-01 00:00:00 +0000"));
    EXPECT_TRUE(desktop.find("A", "Author"));
}

TEST_P(RepetitionOf, What_was_to_be_repeated_is_dropped_by_a_deactivation) {
    GetParam().begin(*this);
    failEach(*this, 500);
    EXPECT_FALSE(desktop.supervisor->isAtRest());
    engine().deactivateSync();
    pass(3600);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(Repetition, An_upload_that_failed_before_a_restart_is_sent_once_after_it) {
    restartAfterFailedUpload(*this);
    EXPECT_EQ(client->log(), QStringList({"delta", "upload " + remote("Author!!!A.data")}));
}

TEST_P(RepetitionOf, No_timer_of_the_engine_is_left_by_a_failure) {
    GetParam().begin(*this);
    const auto timers = probe().scheduledTimers();
    failEach(*this, 500);
    EXPECT_EQ(probe().scheduledTimers(), timers);
}

TEST_P(RepetitionOf, A_refused_token_is_passed_on) {
    GetParam().begin(*this);
    client->requests.resize(1);
    failEach(*this, 401);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_EQ(desktop.refusedTokens, 1);
    pass(3600);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(Repetition, A_file_that_was_to_be_deleted_and_is_missing_has_been_deleted) {
    beginDeletion(*this);
    failEach(*this, 404);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(Repetition, A_failed_query_is_repeated_after_ten_seconds_by_one_timer) {
    for (int attempt = 0; attempt < 5; ++attempt) {
        desktop.supervisor->syncNow();
        turn();
        ASSERT_EQ(client->log(), QStringList{"delta"});
        client->forget();
        delegate().restClientLoadDeltaFailedWithError(*client, failure(500));
        pass(1);
        EXPECT_EQ(client->log(), QStringList()) << "a failed query is not asked again at once";
        pass(9.5);
        ASSERT_EQ(client->log(), QStringList{"delta"});
        client->forget();
        page({}, "cursor-1");
        turn();
    }
}

TEST_F(Repetition, A_batch_that_cannot_be_saved_is_asked_for_again_every_ten_seconds) {
    const auto receiveBatch = [this] {
        client->forget();
        page({changed("Author!!!A.data")}, "cursor-1");
        loaded(client->requests.at(0), R"({"name":"Ann","dateModified":"2026-01-01 00:00:00 +0000"})");
        turn();
    };
    {
        const LockedStore other(desktop.path("library.sqlite"));
        desktop.supervisor->syncNow();
        for (int attempt = 0; attempt < 3; ++attempt) {
            receiveBatch();
            ASSERT_EQ(engine().status(), QWDropboxSyncStatusIdle);
            EXPECT_FALSE(desktop.supervisor->isInStep());
            client->forget();
            pass(9.5);
            EXPECT_EQ(client->log(), QStringList());
            pass(1);
            ASSERT_EQ(client->log(), QStringList{"delta"});
            EXPECT_EQ(client->requests[0].cursor, "cursor-0");
        }
    }
    receiveBatch();
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_TRUE(desktop.supervisor->isInStep());
}
