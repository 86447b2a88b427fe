#include "support/PreferencesTest.h"

// Preferences that two desktops share under their supervisors: uploads that meet in the cloud, and what both
// hold in the end.

namespace {

using namespace std::chrono_literals;

struct PreferencesConflict : PreferencesTest {
    PreferencesConflict() : PreferencesTest(Desktop::Supervised) {}

    const QString copyPath = "/PreferencesSync (Ann's conflicted copy).data";
    QWSyncSupervisor& supervisor() { return *desktop.supervisor; }

    // An upload that the cloud stores as a copy, since it holds another version.
    void conflict() {
        delegate().restClientUploadedFile(*client, copyPath, localPath(), preferences("rev9", copyPath));
    }
    void deletedCopy() { delegate().restClientDeletedPath(*client, copyPath); }
};

} // namespace

// Conflicts -------------------------------------------------------------------------------------------------

TEST_F(PreferencesConflict, A_conflicted_copy_is_deleted_and_the_merged_values_are_sent) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    client->forget();
    const QWLogCapture log;
    conflict();
    EXPECT_EQ(client->log(), QStringList({"delete " + copyPath, load}));
    EXPECT_FALSE(supervisor().isInStep());
    arrived(R"({"theme":"dark","unit":"mile"})", "rev2");
    deletedCopy();
    EXPECT_EQ(defaults().object("unit"), "mile");
    EXPECT_EQ(defaults().object("theme"), "light");
    client->forget();
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(client->requests[0].parentRev, "rev2");
    EXPECT_EQ(localFile(), R"({"theme":"light","unit":"mile"})");
    sent("rev3");
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList());
    EXPECT_FALSE(desktop.fileMetadata("PreferencesSync (Ann's conflicted copy).data"));
}

TEST_F(PreferencesConflict, A_conflict_with_equal_values_ends_in_step) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    conflict();
    client->requests.back().localPath = desktop.path("cache/Download-preferencessync.data");
    arrived(R"({"theme":"light"})", "rev2");
    deletedCopy();
    client->forget();
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList());
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesConflict, A_conflict_with_a_file_that_is_refused_for_good_ends_no_query) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    conflict();
    deletedCopy();
    const auto download = client->requests.back();
    ASSERT_EQ(client->log().last(), load);
    pass(QWDBTimeScheduleDeltaDownloadInterval + 1);
    ASSERT_EQ(client->log().last(), "delta");
    const QWLogCapture log;
    for (int refusals = 0; refusals < 3; ++refusals) {
        delegate().restClientLoadFileFailedWithError(*client, failure(409, info(download)));
        pass(10.1);
    }
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 3);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    page({}, "cursor-9");
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
}

TEST_F(PreferencesConflict, A_conflict_with_a_file_that_has_gone_since_ends_with_it_there_again) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    conflict();
    const QWLogCapture log;
    notLoaded(404);
    deletedCopy();
    client->forget();
    pass(61);
    ASSERT_EQ(client->log(), QStringList({"delta", lookUp}));
    page({}, "cursor-2");
    notFound();
    pass(5.1);
    EXPECT_EQ(client->log().last(), upload);
    sent("rev3");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesConflict, A_copy_that_the_last_process_did_not_delete_is_deleted_when_it_is_announced) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    conflict();
    crash();
    activate();
    client->forget();
    const auto copy = DBMakeDeltaEntry(copyPath.toLower(), preferences("rev9", copyPath));
    page({copy}, "cursor-1");
    EXPECT_EQ(client->log(), QStringList{"delete " + copyPath});
}

TEST_F(PreferencesConflict, A_copy_of_another_desktop_is_deleted_since_that_may_not_know_of_it) {
    activateSharing({{"theme", "dark"}});
    receive({DBMakeDeltaEntry(copyPath.toLower(), preferences("rev9", copyPath))});
    EXPECT_EQ(client->log(), QStringList{"delete " + copyPath});
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
}

// Two desktops ----------------------------------------------------------------------------------------------

namespace {

struct TwoDesktopsSharing : TwoDesktops {
    TwoDesktopsSharing() : TwoDesktops(Desktop::Supervised) {
        for (Desktop* desktop : {&a, &b})
            desktop->engine->syncPreferenceWithKeys({"theme", "unit"});
    }

    static void set(Desktop& desktop, const QString& key, const QJsonValue& value) {
        desktop.world.userDefaults->setObject(key, value);
    }
    static QJsonObject preferences(Desktop& desktop) {
        QJsonObject values;
        for (const char* key : {"theme", "unit"})
            values[key] = desktop.world.userDefaults->object(key);
        return values;
    }
    QByteArray file() {
        const auto file = cloud.folder->read("/PreferencesSync.data");
        return file ? file->bytes : QByteArray();
    }
};

} // namespace

TEST_F(TwoDesktopsSharing, Come_to_hold_the_same_and_what_one_removes_goes_on_the_other) {
    set(a, "theme", "dark");
    sync();
    set(b, "unit", 5);
    sync();
    EXPECT_EQ(preferences(a), QJsonObject({{"theme", "dark"}, {"unit", 5}}));
    EXPECT_EQ(preferences(b), preferences(a));
    a.world.userDefaults->remove("theme");
    sync();
    EXPECT_TRUE(b.world.userDefaults->object("theme").isUndefined());
    EXPECT_EQ(file(), R"({"theme":null,"unit":5})");
}

TEST_F(TwoDesktopsSharing, Lose_no_change_that_one_made_while_it_was_offline) {
    sync();
    b.engine->deactivateSync();
    set(b, "theme", "light");
    set(a, "unit", "mile");
    a.sync();
    a.advance(24h);
    sync();
    EXPECT_EQ(preferences(a), QJsonObject({{"theme", "light"}, {"unit", "mile"}}));
    EXPECT_EQ(preferences(b), preferences(a));
}

TEST_F(TwoDesktopsSharing, Meet_in_the_cloud_and_leave_no_copy_there) {
    sync();
    set(a, "theme", "light");
    set(b, "unit", "mile");
    a.advance(20s); // both send before either asks
    sync();
    EXPECT_EQ(preferences(a), QJsonObject({{"theme", "light"}, {"unit", "mile"}}));
    EXPECT_EQ(preferences(b), preferences(a));
    const auto page = cloud.folder->changes({}, 100);
    for (const auto& entry : page->entries)
        EXPECT_FALSE(entry->lowercasePath.contains("copy")) << qPrintable(entry->lowercasePath);
}

TEST_F(TwoDesktopsSharing, Put_a_deleted_file_back) {
    set(a, "theme", "dark");
    sync();
    ASSERT_TRUE(cloud.folder->remove("/PreferencesSync.data"));
    sync();
    EXPECT_EQ(file(), R"({"theme":"dark","unit":null})");
    EXPECT_EQ(preferences(b), preferences(a));
}

TEST_F(TwoDesktopsSharing, Put_a_file_back_whose_deletion_a_lost_cursor_hid) {
    set(a, "theme", "dark");
    sync();
    ASSERT_TRUE(cloud.folder->remove("/PreferencesSync.data"));
    cloud.folder->forgetCursors();
    sync();
    EXPECT_EQ(file(), R"({"theme":"dark","unit":null})");
}
