#include "support/PreferencesTest.h"

// Uploads and downloads of the shared preferences, of which one is out at a time: an answer that is late says nothing of
// what the cloud holds by then.

namespace {

struct PreferencesInTurn : PreferencesTest {
    PreferencesInTurn() : PreferencesTest(Desktop::Supervised) {}

    QWSyncSupervisor& supervisor() { return *desktop.supervisor; }
    // An upload is out, and another version is listed.
    void listDuringUpload() {
        activateSharing({{"theme", "dark"}, {"unit", "km"}});
        defaults().setObject("theme", "light");
        pass(4);
        supervisor().syncNow();
        pass(1.1);
        ASSERT_EQ(client->log(), QStringList({"delta", upload}));
        client->forget();
        page({changedThere("rev7")}, "cursor-1");
        EXPECT_EQ(client->log(), QStringList());
    }
    void receiveWhatWasListed() {
        ASSERT_EQ(client->log(), QStringList{load});
        arrived(R"({"theme":"light","unit":"mile"})", "rev7");
        EXPECT_EQ(defaults().object("unit"), "mile");
        EXPECT_EQ(desktop.savedCursor(), "cursor-1");
        pass(60);
        EXPECT_EQ(client->log(), QStringList{load}) << "the cloud holds what is here";
        EXPECT_TRUE(supervisor().isInStep());
    }
    // A download is out, and a further activity hears of the file.
    void listDuringDownload(const DBDeltaEntryRef& entry) {
        activateSharing({{"theme", "dark"}});
        receive({changedThere("rev2")});
        engine().deactivateSync();
        activate();
        client->requests.pop_back();
        page({entry}, "cursor-1");
        ASSERT_EQ(client->log(), QStringList{load});
    }
};

} // namespace

TEST_F(PreferencesInTurn, A_change_during_the_first_of_two_uploads_is_sent_though_the_second_fails) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(2);
    defaults().setObject("theme", "blue");
    pass(3.1);
    defaults().setObject("theme", "green"); // which the second one is to send
    pass(2);
    EXPECT_EQ(client->log(), QStringList{upload});
    sent("rev2");
    EXPECT_TRUE(supervisor().isPreferenceWaiting());
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList({upload, upload}));
    const QWLogCapture log;
    notSent();
    EXPECT_FALSE(supervisor().isInStep());
    pass(10.1);
    ASSERT_EQ(client->log(), QStringList({upload, upload, upload}));
    sent("rev3");
    EXPECT_EQ(localFile(), R"({"theme":"green"})");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn,
       A_change_during_an_upload_that_a_later_activity_could_not_send_is_sent_by_the_next) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("theme", "light");
    pass(5.1);
    defaults().setObject("theme", "blue");
    engine().deactivateSync();
    activate();
    page({}, "cursor-1");
    found("rev1");
    engine().deactivateSync();
    pass(5.1); // the engine begins its upload, and nobody is signed in
    sent("rev2");
    EXPECT_TRUE(supervisor().isPreferenceWaiting());
    client->forget();
    activate();
    page({}, "cursor-2");
    pass(5.1);
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_EQ(localFile(), R"({"theme":"blue"})");
    sent("rev3");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn, A_change_during_a_download_is_sent_when_that_is_answered_however_late) {
    activateSharing({{"theme", "dark"}, {"unit", "km"}});
    receive({changedThere()});
    defaults().setObject("theme", "light");
    pass(60);
    EXPECT_EQ(client->log(), QStringList{load})
        << "of two at once nobody could tell what the cloud had first";
    EXPECT_FALSE(supervisor().isInStep());
    arrived(R"({"theme":"dark","unit":"mile"})");
    pass(5.1);
    ASSERT_EQ(client->log(), QStringList({load, upload}));
    EXPECT_EQ(client->requests[1].parentRev, "rev2");
    EXPECT_EQ(localFile(), R"({"theme":"light","unit":"mile"})");
    sent("rev3");
    pass(60);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn, A_change_during_a_download_that_fails_is_sent_at_once) {
    activateSharing({{"theme", "dark"}});
    receive({changedThere()});
    defaults().setObject("theme", "light");
    pass(5.1);
    const QWLogCapture log;
    notLoaded(409);
    EXPECT_EQ(client->log(), QStringList({load, upload}));
    sent("rev3");
    pass(10.1);
    EXPECT_EQ(client->log(), QStringList({load, upload, load}));
}

TEST_F(PreferencesInTurn, A_version_that_is_listed_during_an_upload_is_received_after_it) {
    listDuringUpload();
    sent("rev6");
    receiveWhatWasListed();
}

TEST_F(PreferencesInTurn,
       A_version_that_is_listed_during_an_upload_that_fails_is_received_before_another_one) {
    listDuringUpload();
    const QWLogCapture log;
    notSent();
    receiveWhatWasListed();
}

TEST_F(PreferencesInTurn, A_version_that_is_listed_during_an_upload_is_due_in_the_next_process_too) {
    listDuringUpload();
    sent("rev6");
    crash();
    client->forget();
    activate();
    EXPECT_EQ(client->log(), QStringList({"delta", load}));
}

TEST_F(PreferencesInTurn, The_files_own_version_that_is_listed_before_its_upload_is_answered_holds_no_batch) {
    listDuringUpload();
    sent("rev7");
    ASSERT_EQ(client->log(), QStringList{load});
    arrived(R"({"theme":"light","unit":"km"})", "rev7");
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn, A_version_that_is_listed_during_a_download_is_received_after_it) {
    listDuringDownload(changedThere("rev3"));
    arrived(R"({"theme":"light"})", "rev2");
    ASSERT_EQ(client->log(), QStringList({load, load}));
    arrived(R"({"theme":"blue"})", "rev3");
    EXPECT_EQ(defaults().object("theme"), "blue");
    pass(60);
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 2);
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn, A_download_that_has_brought_what_was_listed_meanwhile_is_enough) {
    listDuringDownload(changedThere("rev3"));
    arrived(R"({"theme":"blue"})", "rev3");
    EXPECT_EQ(defaults().object("theme"), "blue");
    pass(60);
    EXPECT_EQ(client->log(), QStringList{load});
    EXPECT_EQ(desktop.savedCursor(), "cursor-1");
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(PreferencesInTurn, A_download_during_which_the_file_went_is_made_again) {
    listDuringDownload(deletedThere());
    arrived(R"({"theme":"light"})", "rev2");
    EXPECT_EQ(defaults().object("theme"), "dark") << "nobody knows whether this stands there yet, or again";
    ASSERT_EQ(client->log(), QStringList({load, load}));
    const QWLogCapture log;
    notLoaded(404);
    pass(5.1);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
}
