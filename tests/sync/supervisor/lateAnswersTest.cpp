#include "support/EngineTest.h"

// Answers to requests of an activity that has ended since.

namespace {

struct LateAnswersAlone : EngineTest {};

struct LateAnswers : EngineTest {
    LateAnswers() : EngineTest(Desktop::Supervised) {}

    void expectInactive() {
        turn();
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
        EXPECT_EQ(client->log(), QStringList());
        EXPECT_TRUE(engine().deltaEntriesToImport().isEmpty());
    }
    DBMetadata folder() {
        DBMetadata folder;
        folder.path = "/SyncCache.dbSync";
        folder.isDirectory = true;
        return folder;
    }
    const QByteArray ann = record("Ann", "2026-01-01 00:00:00 +0000");
};

// Deactivates with a query out.
void endInQuery(EngineTest& test) {
    test.activateIdle();
    if (test.desktop.supervisor)
        test.desktop.supervisor->syncNow();
    else
        test.engine().loadDeltaPotentialUpdates();
    test.engine().deactivateSync();
    test.client->forget();
}

// Deactivates with a download out, which it answers.
QWRestRequest endInDownload(EngineTest& test) {
    test.activateIdle();
    test.receive({test.changed("Author!!!A.data")}, "cursor-1");
    const auto request = test.client->requests.at(0);
    test.engine().deactivateSync();
    test.client->forget();
    return request;
}

} // namespace

// Pages -----------------------------------------------------------------------------------------------------

TEST_F(LateAnswersAlone, A_late_page_makes_a_deactivated_engine_active_again) {
    endInQuery(*this);
    page({}, "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(LateAnswers, A_late_page_changes_nothing_and_comes_again) {
    for (const bool hasMore : {false, true}) {
        endInQuery(*this);
        page({changed("Author!!!A.data")}, "cursor-1", hasMore);
        expectInactive();
        EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    }
    desktop.supervisor->activate();
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    page({changed("Author!!!A.data")}, "cursor-1");
    ASSERT_EQ(client->log().last(), "load " + remote("Author!!!A.data"));
    loaded(client->requests[1], ann);
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(LateAnswers, A_late_failure_of_a_query_changes_nothing) {
    const QWLogCapture log;
    endInQuery(*this);
    delegate().restClientLoadDeltaFailedWithError(*client, failure(500));
    pass(3600);
    expectInactive();
}

TEST_F(LateAnswers, A_late_refusal_of_the_token_is_told) {
    endInQuery(*this);
    delegate().restClientLoadDeltaFailedWithError(*client, failure(401));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_EQ(desktop.refusedTokens, 1);
}

TEST_F(LateAnswers, A_late_page_that_arrives_in_the_next_activity_takes_nothing_from_its_own) {
    endInQuery(*this);
    desktop.supervisor->activate();
    page({changed("Author!!!LATE.data")}, "cursor-late");
    turn();
    EXPECT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    page({changed("Author!!!A.data")}, "cursor-1");
    ASSERT_EQ(client->log(), QStringList({"delta", "load " + remote("Author!!!A.data")}));
    loaded(client->requests[1], ann);
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0") << "which of the two pages was whose is not known";
    client->forget();
    desktop.supervisor->syncNow();
    ASSERT_EQ(client->log(), QStringList{"delta"});
    EXPECT_EQ(client->requests[0].cursor, "cursor-0");
    page({}, "cursor-2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-2");
}

// Downloads -------------------------------------------------------------------------------------------------

TEST_F(LateAnswersAlone, A_late_download_makes_a_deactivated_engine_active_again) {
    const auto request = endInDownload(*this);
    loaded(request, record("Ann", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(LateAnswers, A_late_download_changes_nothing_and_comes_again) {
    const auto request = endInDownload(*this);
    loaded(request, ann);
    expectInactive();
    EXPECT_FALSE(desktop.find("A", "Author"));
    EXPECT_FALSE(desktop.fileMetadata("Author!!!A.data"));
    desktop.supervisor->activate();
    EXPECT_EQ(client->requests.at(0).cursor, "cursor-0");
    page({changed("Author!!!A.data")}, "cursor-1");
    loaded(client->requests.at(1), ann);
    EXPECT_TRUE(desktop.find("A", "Author"));
}

TEST_F(LateAnswers, A_late_download_that_found_no_file_changes_nothing) {
    const QWLogCapture log;
    const auto request = endInDownload(*this);
    delegate().restClientLoadFileFailedWithError(*client, failure(404, info(request)));
    expectInactive();
    activate();
    page({}, "cursor-1");
    turn();
    EXPECT_EQ(client->log(), QStringList{"delta"}) << "nor is the next activation begun anew";
}

TEST_F(LateAnswers, A_late_download_that_found_no_file_lets_the_next_activity_start_anew) {
    const QWLogCapture log;
    const auto request = endInDownload(*this);
    activate();
    page({}, "cursor-1");
    delegate().restClientLoadFileFailedWithError(*client, failure(404, info(request)));
    page({}, "cursor-2");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.supervisor->requestsOut(), 0);
    EXPECT_FALSE(desktop.supervisor->isAtRest());
    turn();
    page({}, "cursor-3");
    EXPECT_TRUE(desktop.supervisor->isAtRest());
}

TEST_F(LateAnswers, A_late_download_that_failed_is_not_repeated) {
    const QWLogCapture log;
    const auto request = endInDownload(*this);
    delegate().restClientLoadFileFailedWithError(*client, failure(500, info(request)));
    pass(3600);
    expectInactive();
}

// Look-ups --------------------------------------------------------------------------------------------------

TEST_F(LateAnswersAlone, A_late_look_up_makes_a_deactivated_engine_active_again) {
    activate();
    engine().deactivateSync();
    delegate().restClientLoadMetadataFailedWithError(*client, failure(404, {{"path", "/SyncCache.dbSync"}}));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(LateAnswers, A_late_look_up_changes_nothing_and_is_made_again) {
    for (const bool isFound : {false, true}) {
        activate();
        engine().deactivateSync();
        client->forget();
        if (isFound)
            delegate().restClientLoadedMetadata(*client, folder());
        else
            delegate().restClientLoadMetadataFailedWithError(*client,
                                                             failure(404, {{"path", "/SyncCache.dbSync"}}));
        expectInactive();
    }
    activate();
    EXPECT_EQ(client->log(), QStringList{"metadata /SyncCache.dbSync"});
}

TEST_F(LateAnswers, A_late_look_up_that_failed_is_not_repeated_and_a_refused_token_is_told) {
    activate();
    engine().deactivateSync();
    client->forget();
    delegate().restClientLoadMetadataFailedWithError(*client, failure(500, {{"path", "/SyncCache.dbSync"}}));
    pass(3600);
    expectInactive();
    activate();
    engine().deactivateSync();
    delegate().restClientLoadMetadataFailedWithError(*client, failure(401, {{"path", "/SyncCache.dbSync"}}));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

TEST_F(LateAnswers, A_late_refusal_of_an_old_token_is_none_of_the_next) {
    engine().syncPreferenceWithKey("theme");
    activate(); // looks the folder up, and the preferences
    const auto refuse = [this](const QString& path) {
        delegate().restClientLoadMetadataFailedWithError(*client, failure(401, {{"path", path}}));
    };
    refuse("/PreferencesSync.data");
    ASSERT_EQ(desktop.refusedTokens, 1);
    activate();
    refuse("/SyncCache.dbSync"); // by the token before
    EXPECT_EQ(desktop.refusedTokens, 1);
    client->forget();
    delegate().restClientLoadedMetadata(*client, folder());
    EXPECT_EQ(client->log(), QStringList{"delta"});
    refuse("/PreferencesSync.data"); // by this one
    EXPECT_EQ(desktop.refusedTokens, 2);
}

// Uploads ---------------------------------------------------------------------------------------------------

TEST_F(LateAnswers, A_late_acknowledgement_is_noted_and_makes_nothing_active) {
    activateIdle();
    desktop.add("Author", {{"name", "Ann"}})->setUuid("A");
    saveAndTurn();
    const auto request = client->requests.at(0);
    engine().deactivateSync();
    client->forget();
    const QWLogCapture log;
    uploaded(request, "rev9");
    expectInactive();
    EXPECT_EQ(desktop.fileMetadata("Author!!!A.data")->rev(), "rev9");
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}
