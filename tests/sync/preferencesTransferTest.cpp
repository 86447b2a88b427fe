#include "support/PreferencesTest.h"

// How the engine alone sends and receives the file of the shared preferences.

namespace {

struct PreferencesTransfer : PreferencesTest {
    // A failed upload of "light".
    void failUpload() {
        activateSharing({{"theme", "dark"}});
        defaults().setObject("theme", "light");
        pass(5.1);
        const QWLogCapture log;
        notSent();
        client->forget();
    }
    void endApplication() {
        desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    }
};

} // namespace

// Upload ----------------------------------------------------------------------------------------------------

TEST_F(PreferencesTransfer, A_change_is_sent_after_five_seconds_with_the_known_revision) {
    activateIdle();
    const std::size_t timers = probe().scheduledTimers();
    engine().syncPreferenceWithKey("theme");
    EXPECT_EQ(probe().scheduledTimers(), timers) << "its timer is none of those";
    pass(4.9);
    EXPECT_EQ(client->log(), QStringList());
    pass(0.2);
    ASSERT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(client->requests[0].localPath, localPath());
    EXPECT_EQ(client->requests[0].parentRev, QString()) << "a new file";
    EXPECT_TRUE(isOut());
    sent("rev1");
    EXPECT_FALSE(isOut());
    EXPECT_FALSE(waits());
    EXPECT_EQ(knownRevision(), "rev1");
    EXPECT_FALSE(engine().dropboxCacheManagedObjectContext()->hasChanges());
    EXPECT_TRUE(desktop.world.files->exists(localPath()));

    defaults().setObject("theme", "dark");
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList({upload, upload}));
    EXPECT_EQ(client->requests[1].parentRev, "rev1");
}

TEST_F(PreferencesTransfer, Three_changes_within_five_seconds_start_three_uploads_of_the_contents_then) {
    activateSharing({{"theme", "dark"}});
    std::vector<QByteArray> contents;
    client->isAsked = [&](const QWRestRequest&) { contents.push_back(localFile()); };
    for (const char* theme : {"light", "blue", "green"}) {
        defaults().setObject("theme", theme);
        pass(1);
    }
    pass(6);
    EXPECT_EQ(client->log(), QStringList({upload, upload, upload}));
    EXPECT_EQ(contents, std::vector<QByteArray>(3, R"({"theme":"green"})"));
}

TEST_F(PreferencesTransfer, A_change_during_an_upload_starts_one_more_when_that_has_succeeded) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    defaults().setObject("theme", "blue");
    defaults().setObject("theme", "green");
    pass(60);
    EXPECT_EQ(client->log(), QStringList{upload});
    EXPECT_TRUE(probe().preferencesChangedWhileUploading());
    sent("rev2");
    EXPECT_TRUE(waits());
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList({upload, upload}));
    EXPECT_EQ(client->requests[1].parentRev, "rev2");
    EXPECT_EQ(localFile(), R"({"theme":"green"})");
    sent("rev3");
    pass(60);
    EXPECT_EQ(client->log(), QStringList({upload, upload}));
    EXPECT_FALSE(waits());
}

TEST_F(PreferencesTransfer, A_change_made_before_the_first_activation_is_sent_by_it) {
    defaults().setObject("theme", "dark");
    engine().syncPreferenceWithKey("theme");
    pass(60);
    EXPECT_TRUE(waits());
    activateIdle();
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(PreferencesTransfer,
       A_timer_that_fires_after_a_deactivation_sends_and_so_does_a_change_made_after_it) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    engine().deactivateSync();
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload});
    sent("rev2");
    defaults().setObject("theme", "blue");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList({upload, upload}));
}

TEST_F(PreferencesTransfer, A_refused_upload_stops_the_engine_and_logs_nothing) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    const QWLogCapture log;
    notSent(401);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList());
}

TEST_F(PreferencesTransfer, A_failed_upload_is_logged_and_after_ten_seconds_only_noted) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    client->forget();
    const std::size_t timers = probe().scheduledTimers();
    {
        const QWLogCapture log;
        notSent();
        EXPECT_EQ(log.texts("qwlibrary.sync"),
                  QStringList{"restClient:uploadFileFailedWithError: it failed"});
    }
    EXPECT_EQ(probe().scheduledTimers(), timers + 1);
    EXPECT_FALSE(probe().preferencesChangedWhileUploading());
    pass(60);
    EXPECT_TRUE(probe().preferencesChangedWhileUploading());
    EXPECT_TRUE(isOut());
    EXPECT_TRUE(waits());
    EXPECT_EQ(client->log(), QStringList()) << "not even a change is sent";
    defaults().setObject("theme", "blue");
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(PreferencesTransfer, After_a_failed_upload_the_next_process_sends_the_file) {
    for (const bool hasDied : {false, true}) {
        failUpload();
        if (!hasDied)
            endApplication();
        crash();
        EXPECT_TRUE(persistedFlag());
        activateIdle();
        pass(5.1);
        EXPECT_EQ(client->log(), QStringList{upload}) << hasDied;
        EXPECT_EQ(localFile(), R"({"theme":"light"})");
        sent("rev2");
        client->forget();
        defaults().setObject("theme", "dark");
        pass(5.1);
        sent("rev3");
        crash();
    }
}

TEST_F(PreferencesTransfer, After_a_failed_upload_the_next_activation_that_looks_the_file_up_sends_it) {
    failUpload();
    engine().tokenBecameInvalid();
    activate();
    client->forget();
    found();
    EXPECT_FALSE(isOut());
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(PreferencesTransfer, After_a_failed_upload_another_activation_of_the_same_engine_sends_nothing) {
    failUpload();
    engine().deactivateSync();
    activate();
    pass(60);
    EXPECT_EQ(client->log().count(upload), 0);
}

TEST_F(PreferencesTransfer, After_a_failed_upload_the_next_change_after_a_download_is_sent) {
    failUpload();
    receive({changedThere()});
    arrived(R"({"theme":"blue"})");
    EXPECT_FALSE(isOut());
    client->forget();
    defaults().setObject("theme", "green");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(PreferencesTransfer, A_conflicted_copy_of_the_file_leaves_the_local_copy_in_place) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    const QWLogCapture log;
    const QString copy = "/PreferencesSync (Ann's conflicted copy).data";
    engine().restClientUploadedFile(*client, copy, localPath(), preferences("rev9", copy));
    EXPECT_EQ(localFile(), R"({"theme":"light"})");
    EXPECT_EQ(knownRevision(), "rev1");
    EXPECT_TRUE(isOut()) << "nothing tells the engine that its own file was not stored";
}

// Look-up ---------------------------------------------------------------------------------------------------

TEST_F(PreferencesTransfer, A_file_that_was_found_is_sent_only_when_something_waits) {
    defaults().setObject("theme", "dark");
    activate();
    EXPECT_EQ(client->log(), QStringList({"metadata /SyncCache.dbSync", lookUp}));
    EXPECT_TRUE(isOut());
    found();
    EXPECT_FALSE(isOut());
    pass(60);
    EXPECT_EQ(client->log().count(upload), 0);

    engine().tokenBecameInvalid();
    activate();
    engine().syncPreferenceWithKey("theme");
    pass(60);
    EXPECT_EQ(client->log().count(upload), 0) << "it waits for the answer";
    found();
    pass(5.1);
    EXPECT_EQ(client->log().count(upload), 1);
}

TEST_F(PreferencesTransfer, A_file_that_is_missing_is_sent_even_when_nothing_has_changed) {
    activateSharing({{"theme", "dark"}});
    engine().tokenBecameInvalid();
    activate();
    notFound();
    EXPECT_FALSE(isOut());
    pass(5.1);
    EXPECT_EQ(client->log().count(upload), 1);
}

TEST_F(PreferencesTransfer, A_look_up_that_fails_otherwise_changes_nothing_but_for_a_refused_token) {
    activate();
    client->forget();
    notFound(500);
    EXPECT_TRUE(isOut());
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
    notFound(401);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
}

// Download --------------------------------------------------------------------------------------------------

TEST_F(PreferencesTransfer, A_changed_file_is_loaded_over_the_local_copy_and_its_values_are_set) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}, {"own", 1}});
    receive({changedThere("rev2")});
    ASSERT_EQ(client->log(), QStringList{load});
    EXPECT_EQ(client->requests[0].localPath, localPath());
    EXPECT_EQ(probe().entriesInProcess(), 1);
    arrived(R"({"theme":"light","unit":null,"homeCountry":"IT"})", "rev2");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_TRUE(defaults().object("unit").isUndefined()) << "null removes";
    EXPECT_EQ(defaults().object("homeCountry"), "IT") << "a key that only others share";
    EXPECT_EQ(defaults().object("own"), 1) << "a key that only this one shares";
    EXPECT_EQ(shared(),
              QJsonObject({{"theme", "light"}, {"unit", QJsonValue()}, {"own", 1}, {"homeCountry", "IT"}}));
    EXPECT_EQ(knownRevision(), "rev2");
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(PreferencesTransfer, Null_of_a_key_that_is_not_shared_here_removes_it_too) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("unit", "km");
    receive({changedThere()});
    arrived(R"({"unit":null})");
    EXPECT_TRUE(defaults().object("unit").isUndefined());
    EXPECT_EQ(shared(), QJsonObject({{"theme", "dark"}, {"unit", QJsonValue()}}));
    EXPECT_FALSE(waits());
}

TEST_F(PreferencesTransfer, A_received_value_of_another_type_is_another_value) {
    activateSharing({{"steps", 1}});
    receive({changedThere()});
    arrived(R"({"steps":true})");
    EXPECT_EQ(defaults().object("steps"), QJsonValue(true));
    EXPECT_EQ(shared()["steps"], QJsonValue(true));
}

TEST_F(PreferencesTransfer, A_received_value_that_is_known_is_not_set_again) {
    activateSharing({{"theme", "dark"}});
    bool isSet = false;
    const auto observation = defaults().observe("theme", [&](const QJsonValue&) { isSet = true; });
    receive({changedThere()});
    arrived(R"({"theme":"dark"})");
    EXPECT_FALSE(isSet);
}

TEST_F(PreferencesTransfer, The_engines_own_upload_comes_back_as_a_download) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere("rev1")});
    EXPECT_EQ(client->log(), QStringList{load});
}

TEST_F(PreferencesTransfer, A_received_value_is_not_sent_back) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}});
    receive({changedThere()});
    arrived(R"({"theme":"light","unit":null})");
    EXPECT_FALSE(waits());
    client->forget();
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
}

TEST_F(PreferencesTransfer, A_key_that_only_others_share_is_observed_from_the_next_process_on) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    arrived(R"({"theme":"dark","homeCountry":"IT"})");
    engine().syncPreferenceWithKey("homeCountry");
    defaults().setObject("homeCountry", "FR");
    EXPECT_FALSE(waits());
    endApplication();
    crash();
    defaults().setObject("homeCountry", "JP");
    EXPECT_TRUE(waits());
}

TEST_F(PreferencesTransfer, A_file_of_anything_else_changes_nothing) {
    activateSharing({{"theme", "dark"}});
    for (const char* bytes : {"", "[\"theme\"]", "\"theme\"", "<html>"}) {
        receive({changedThere()});
        arrived(bytes);
        client->forget();
        EXPECT_EQ(defaults().object("theme"), "dark") << bytes;
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    }
}

TEST_F(PreferencesTransfer, The_file_counts_among_the_downloads_and_ends_with_its_batch) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere(), changed("Author!!!A.data")});
    ASSERT_EQ(client->log(), QStringList({load, "load " + remote("Author!!!A.data")}));
    EXPECT_EQ(engine().numberOfItemsToProcess(), -2);
    const auto author = client->requests[1];
    client->requests.pop_back();
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(engine().numberOfItemsToProcess(), -1);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    loaded(author, record("Ann", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(PreferencesTransfer, A_download_whose_batch_was_given_up_is_applied_and_ends_no_batch) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()}, "cursor-1");
    engine().deactivateSync();
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(PreferencesTransfer, A_file_that_was_deleted_in_the_cloud_is_sent_again_by_every_engine) {
    activateSharing({{"theme", "dark"}});
    receive({deletedThere()});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_TRUE(waits());
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(localFile(), R"({"theme":"dark"})");
}

TEST_F(PreferencesTransfer, A_download_that_finds_nothing_at_the_files_own_path_sends_it) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere(), changed("Author!!!A.data")});
    const auto author = client->requests[1];
    client->forget();
    engine().restClientLoadFileFailedWithError(
        *client, failure(404, {{"path", path}, {"destinationPath", "/PreferencesSync.data"}}));
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_TRUE(waits());
    EXPECT_EQ(probe().entriesInProcess(), 1);
    EXPECT_EQ(engine().deltaEntriesToImport().count(), 2);
    loaded(author, record("Ann", "2026-01-01 00:00:00 +0000"));
    EXPECT_EQ(client->log(), QStringList{load}) << "the next run of the loop takes it up again";
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList({load, upload}));
}

TEST_F(PreferencesTransfer, A_download_that_finds_nothing_otherwise_holds_its_batch_open) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    const auto request = client->requests[0];
    engine().restClientLoadFileFailedWithError(*client, failure(404, info(request)));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
}

TEST_F(PreferencesTransfer, A_folder_in_the_files_place_is_passed_over) {
    activateSharing({{"theme", "dark"}});
    DBMetadata folder;
    folder.path = path;
    folder.isDirectory = true;
    receive({DBMakeDeltaEntry("/preferencessync.data", folder)});
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(PreferencesTransfer, Another_client_is_asked_although_the_one_before_never_answered) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    client = std::make_shared<SilentClient>();
    activate();
    pass(5.1);
    EXPECT_EQ(client->log().count(upload), 1);
}
