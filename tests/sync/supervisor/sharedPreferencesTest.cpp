#include "support/PreferencesTest.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

// Preferences under a supervisor, which the engine alone leaves stuck, lets undo each other, or sends twice.

namespace {

using namespace std::chrono_literals;

struct SharedPreferences : PreferencesTest {
    SharedPreferences() : PreferencesTest(Desktop::Supervised) {}

    QWSyncSupervisor& supervisor() { return *desktop.supervisor; }
};

} // namespace

// Sending ---------------------------------------------------------------------------------------------------

TEST_F(SharedPreferences, A_waiting_preference_is_not_in_step) {
    activateSharing({{"theme", "dark"}});
    EXPECT_TRUE(supervisor().isInStep());
    defaults().setObject("theme", "light");
    EXPECT_FALSE(supervisor().isInStep());
    EXPECT_TRUE(supervisor().isPreferenceWaiting());
    pass(5.1);
    EXPECT_FALSE(supervisor().isInStep());
    sent("rev2");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(supervisor().counts().sent, 2);
}

TEST_F(SharedPreferences, Of_three_changes_within_five_seconds_one_upload_is_made_when_it_is_answered_soon) {
    activateSharing({{"theme", "dark"}});
    for (const char* theme : {"light", "blue", "green"}) {
        defaults().setObject("theme", theme);
        pass(1);
    }
    pass(2.1);
    sent("rev2");
    pass(60);
    EXPECT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(localFile(), R"({"theme":"green"})");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(knownRevision(), "rev2");
}

TEST_F(SharedPreferences, A_change_back_during_an_upload_is_sent) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    defaults().setObject("theme", "dark");
    sent("rev2");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList({upload, upload}));
    EXPECT_EQ(localFile(), R"({"theme":"dark"})");
    sent("rev3");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, A_failed_upload_is_repeated_with_the_revision_known_by_then) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    const QWLogCapture log;
    for (int attempt = 0; attempt < 3; ++attempt) {
        client->forget();
        notSent(attempt == 0 ? 0 : 500);
        EXPECT_FALSE(supervisor().isInStep());
        pass(10.1);
        ASSERT_EQ(client->log(), QStringList{upload});
        EXPECT_EQ(client->requests[0].parentRev, "rev1");
    }
    sent("rev2");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, A_repetition_that_another_one_made_needless_does_not_count_for_a_later_change) {
    activateSharing({{"theme", "dark"}});
    for (const char* theme : {"light", "blue"}) { // two uploads, two seconds apart, that both fail
        defaults().setObject("theme", theme);
        pass(2);
    }
    pass(1.1);
    notSent(500);
    pass(2);
    notSent(500);
    client->forget();
    pass(8.1);
    ASSERT_EQ(client->log(), QStringList{upload});
    sent("rev2");
    EXPECT_FALSE(supervisor().isPreferenceWaiting());
    defaults().setObject("theme", "red");
    client->forget();
    pass(3);
    EXPECT_TRUE(supervisor().isPreferenceWaiting());
    EXPECT_EQ(client->log(), QStringList());
    pass(2.1);
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(SharedPreferences, After_a_failed_upload_the_next_activation_of_the_same_engine_sends_it) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    const QWLogCapture log;
    notSent();
    engine().deactivateSync();
    pass(3600);
    client->forget();
    activate();
    page({}, "cursor-1");
    EXPECT_EQ(client->log(), QStringList({"delta", lookUp}));
    found("rev1");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList({"delta", lookUp, upload}));
    sent("rev2");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences,
       A_change_whose_five_seconds_end_after_a_deactivation_is_sent_by_the_next_activation) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    engine().deactivateSync();
    pass(60);
    EXPECT_EQ(client->log(), QStringList()) << "nobody is signed in";
    activate();
    page({}, "cursor-1");
    found("rev1");
    pass(5.1);
    EXPECT_EQ(client->log().last(), upload);
}

TEST_F(SharedPreferences, An_upload_that_is_answered_after_a_deactivation_is_noted) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    engine().deactivateSync();
    sent("rev2");
    EXPECT_FALSE(waits());
    EXPECT_EQ(knownRevision(), "rev2");
    client->forget();
    activate();
    page({}, "cursor-1");
    pass(60);
    EXPECT_EQ(client->log(), QStringList{"delta"});
}

// Looking up ------------------------------------------------------------------------------------------------

TEST_F(SharedPreferences, A_look_up_that_fails_is_repeated) {
    defaults().setObject("theme", "dark");
    engine().syncPreferenceWithKey("theme");
    activate();
    ASSERT_EQ(client->log(), QStringList({"metadata /SyncCache.dbSync", lookUp}));
    DBMetadata folder;
    folder.path = "/SyncCache.dbSync";
    delegate().restClientLoadedMetadata(*client, folder);
    page({}, "cursor-1");
    const QWLogCapture log;
    for (int attempt = 0; attempt < 3; ++attempt) {
        client->forget();
        notFound(503);
        EXPECT_FALSE(supervisor().isInStep());
        pass(10.1);
        ASSERT_EQ(client->log(), QStringList{lookUp});
    }
    notFound();
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList({lookUp, upload}));
    sent();
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, While_the_folder_is_looked_up_again_and_again_so_is_the_file_with_it) {
    engine().syncPreferenceWithKey("theme");
    const QWLogCapture log;
    activate();
    for (const int pause : {10, 20, 40, 80}) {
        client->forget();
        delegate().restClientLoadMetadataFailedWithError(*client,
                                                         failure(500, {{"path", "/SyncCache.dbSync"}}));
        notFound(500);
        pass(pause - 0.1);
        EXPECT_EQ(client->log(), QStringList()) << pause;
        pass(0.2);
        EXPECT_EQ(client->log(), QStringList({"metadata /SyncCache.dbSync", lookUp})) << pause;
    }
}

TEST_F(SharedPreferences, Both_look_ups_may_refuse_the_token_and_the_host_hears_of_it_once) {
    engine().syncPreferenceWithKey("theme");
    activate();
    notFound(401);
    delegate().restClientLoadMetadataFailedWithError(*client, failure(401, {{"path", "/SyncCache.dbSync"}}));
    EXPECT_EQ(desktop.refusedTokens, 1);
}

TEST_F(SharedPreferences, A_host_that_shares_nothing_is_in_step_without_asking_or_sending_anything_of_them) {
    activate();
    EXPECT_EQ(client->log(), QStringList{"metadata /SyncCache.dbSync"});
    DBMetadata folder;
    folder.path = "/SyncCache.dbSync";
    delegate().restClientLoadedMetadata(*client, folder);
    page({deletedThere()}, "cursor-1");
    turn();
    EXPECT_TRUE(supervisor().isInStep());
    pass(60);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 0);
    engine().syncPreferenceWithKey("theme");
    pass(5.1);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1) << "a key that comes later is not stuck";
}

// Receiving -------------------------------------------------------------------------------------------------

TEST_F(SharedPreferences, The_files_own_upload_is_not_received) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere("rev1")});
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(SharedPreferences, A_file_that_is_refused_for_good_is_left_out_and_comes_when_it_changes) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere("rev2"), changed("Author!!!A.data")});
    const auto record = client->requests.at(1);
    ASSERT_EQ(record.path, remote("Author!!!A.data"));
    client->requests.erase(client->requests.begin() + 1);
    const QWLogCapture log;
    for (int refusal = 0; refusal < 3; ++refusal) {
        EXPECT_EQ(client->log(), QStringList(refusal + 1, load));
        notLoaded(409);
        pass(60);
    }
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 3);
    loaded(record, QByteArray(R"({"name":"Ann","dateModified":"2026-01-01 00:00:00 +0000"})"));
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_TRUE(desktop.find("A", "Author"));
    receive({changedThere("rev3")}, "cursor-2");
    arrived(R"({"theme":"light"})", "rev3");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, What_is_sent_again_and_again_without_an_answer_is_noted_once) {
    activateSharing({{"theme", "dark"}});
    const QWLogCapture log;
    const auto noted = [this] {
        return QJsonDocument::fromJson(engine().metadataWithKey("PreferencesSent")->value().toUtf8()).array();
    };
    for (const char* theme : {"light", "dark"}) {
        defaults().setObject("theme", theme);
        pass(5.1);
        for (int failures = 0; failures < 3; ++failures) {
            notSent();
            pass(10.1);
        }
    }
    EXPECT_EQ(noted(), QJsonArray({QJsonObject{{"theme", "light"}}, QJsonObject{{"theme", "dark"}}}));
    sent("rev2");
    EXPECT_EQ(noted(), QJsonArray());
}

TEST_F(SharedPreferences, A_received_file_is_loaded_beside_the_local_copy) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    ASSERT_EQ(client->log(), QStringList{load});
    EXPECT_EQ(client->requests[0].localPath, desktop.path("cache/Download-preferencessync.data"));
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_EQ(localFile(), R"({"theme":"light"})");
    EXPECT_FALSE(desktop.world.files->exists(desktop.path("cache/Download-preferencessync.data")));
    pass(60);
    EXPECT_EQ(client->log(), QStringList{load});
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(supervisor().counts().received, 1);
}

TEST_F(SharedPreferences, A_change_made_here_survives_a_change_of_another_key_made_there) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}});
    defaults().setObject("theme", "light");
    receive({changedThere()});
    arrived(R"({"theme":"dark","unit":"mile"})");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_EQ(defaults().object("unit"), "mile");
    client->forget();
    pass(5.1);
    ASSERT_GE(client->log().count(upload), 1);
    EXPECT_EQ(client->requests[0].parentRev, "rev2");
    EXPECT_EQ(localFile(), R"({"theme":"light","unit":"mile"})");
}

TEST_F(SharedPreferences, Of_two_changes_of_one_key_the_one_that_the_cloud_had_first_wins) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    receive({changedThere()});
    arrived(R"({"theme":"blue"})");
    EXPECT_EQ(defaults().object("theme"), "blue");
    client->forget();
    pass(60);
    EXPECT_EQ(client->log(), QStringList()) << "the cloud holds what is here";
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, A_removal_made_here_survives_too) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}});
    defaults().remove("theme");
    receive({changedThere()});
    arrived(R"({"theme":"dark","unit":"mile"})");
    EXPECT_TRUE(defaults().object("theme").isUndefined());
    pass(5.1);
    EXPECT_EQ(localFile(), R"({"theme":null,"unit":"mile"})");
}

TEST_F(SharedPreferences, A_desktop_that_joins_takes_what_is_there_and_adds_its_own_keys) {
    defaults().setObject("theme", "light");
    defaults().setObject("homeCountry", "IT");
    engine().syncPreferenceWithKeys({"theme", "homeCountry", "unit"});
    activateIdle();
    receive({changedThere("rev1")});
    arrived(R"({"theme":"dark","unit":"km"})", "rev1");
    EXPECT_EQ(defaults().object("theme"), "dark");
    EXPECT_EQ(defaults().object("unit"), "km");
    client->forget();
    pass(5.1);
    ASSERT_GE(client->log().count(upload), 1);
    EXPECT_EQ(client->requests[0].parentRev, "rev1");
    EXPECT_EQ(localFile(), R"({"homeCountry":"IT","theme":"dark","unit":"km"})");
}

TEST_F(SharedPreferences, A_file_that_nobody_can_read_is_replaced_by_what_is_here) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    arrived("<html>");
    EXPECT_EQ(defaults().object("theme"), "dark");
    client->forget();
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(client->requests[0].parentRev, "rev2");
    EXPECT_EQ(localFile(), R"({"theme":"dark"})");
}

TEST_F(SharedPreferences, A_file_that_cannot_be_placed_is_loaded_again) {
    activateSharing({{"theme", "dark"}});
    ASSERT_TRUE(desktop.world.files->remove(localPath()));
    ASSERT_TRUE(desktop.world.files->makeFolder(localPath()));
    receive({changedThere()});
    const QWLogCapture log;
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(defaults().object("theme"), "dark");
    EXPECT_EQ(desktop.savedCursor(), "cursor-0");
    ASSERT_TRUE(QDir().rmdir(localPath()));
    client->forget();
    pass(10.1);
    ASSERT_EQ(client->log(), QStringList{load});
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

TEST_F(SharedPreferences, A_file_that_was_deleted_in_the_cloud_is_sent_again) {
    activateSharing({{"theme", "dark"}});
    receive({deletedThere()});
    EXPECT_FALSE(supervisor().isInStep());
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList{upload});
    sent("rev5");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SharedPreferences, A_file_that_vanishes_before_its_download_is_sent_again) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    const QWLogCapture log;
    notLoaded(404);
    client->forget();
    pass(61);
    EXPECT_EQ(client->log(), (QStringList{"delta", upload}))
        << "a new start, which may tell of the deletion or not";
}
