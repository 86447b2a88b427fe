#include "supervisor/OneDesktop.h"

// The sync folder is looked up by the first activation, and by the one after a refused token.

namespace {

using namespace std::chrono_literals;

struct FolderLookUpAlone : OneDesktop {
    FolderLookUpAlone() : OneDesktop(Desktop::Alone) {}
};

struct FolderLookUp : OneDesktop {
    FolderLookUp() : OneDesktop(Desktop::Supervised) {}

    std::vector<int> pauses;
    bool fails = true;

    // Look-ups fail for as long as `fails`; the pauses between them are written down.
    void watch(int status) {
        desktop.client->on(QWRestRequest::LoadMetadata)
            .where([this, last = std::optional<double>()](const QWRestRequest&) mutable {
                if (last)
                    pauses.push_back(static_cast<int>(seconds() - *last + 0.5));
                last = seconds();
                return fails;
            })
            .answersWith(status);
    }
    void signInAgain() {
        engine().deactivateSync();
        desktop.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, true);
        desktop.activate();
    }
};

constexpr int statuses[] = {0, 409, 500, 503};

} // namespace

TEST_F(FolderLookUpAlone, A_look_up_that_fails_is_waited_for_for_ever) {
    for (const int status : statuses) {
        desktop.client->removeFaults();
        desktop.client->forgetRequests();
        desktop.client->on(QWRestRequest::LoadMetadata).first(1).answersWith(status);
        desktop.activate();
        desktop.advance(24h);
        const auto lookUps = desktop.client->requests(QWRestRequest::LoadMetadata);
        ASSERT_EQ(lookUps.size(), 2u) << status;
        EXPECT_EQ(lookUps[0].path, "/SyncCache.dbSync");
        EXPECT_EQ(lookUps[1].path, "/PreferencesSync.data");
        EXPECT_EQ(count(QWRestRequest::LoadDelta), 0) << status;
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates) << status;
    }
}

TEST_F(FolderLookUp, A_look_up_that_fails_is_repeated_after_pauses_that_double_up_to_ten_minutes) {
    for (const int status : statuses) {
        desktop.client->removeFaults();
        pauses.clear();
        fails = true;
        watch(status);
        signInAgain();
        desktop.advance(40min);
        EXPECT_EQ(pauses, (std::vector<int>{10, 20, 40, 80, 160, 320, 600, 600})) << status;
        fails = false;
        desktop.advance(11min);
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle) << status;
        EXPECT_TRUE(desktop.isIdle()) << status;
    }
}

TEST_F(FolderLookUp,
       The_pause_is_ten_seconds_again_after_a_look_up_that_found_the_folder_or_found_it_missing) {
    for (const bool isFound : {false, true}) {
        desktop.client->removeFaults();
        if (isFound)
            cloud.put("Sign.txt", "here");
        pauses.clear();
        fails = true;
        watch(500);
        signInAgain();
        desktop.advance(100s);
        fails = false;
        desktop.advance(10min);
        ASSERT_TRUE(desktop.isIdle());
        pauses.clear();
        fails = true;
        signInAgain();
        desktop.advance(31s);
        ASSERT_EQ(pauses.size(), 3u);
        EXPECT_EQ(pauses[1], 10);
        EXPECT_EQ(pauses[2], 20);
        fails = false;
        desktop.advance(10min);
    }
}

TEST_F(FolderLookUp, A_look_up_that_is_due_is_dropped_at_a_deactivation) {
    watch(500);
    desktop.activate();
    desktop.advance(1s);
    engine().deactivateSync();
    desktop.advance(24h);
    EXPECT_EQ(count(QWRestRequest::LoadMetadata), 1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
}

TEST_F(FolderLookUp, A_look_up_made_meanwhile_takes_the_place_of_the_one_that_is_due) {
    watch(500);
    desktop.activate();
    desktop.advance(1s);
    for (int impatience = 0; impatience < 3; ++impatience)
        desktop.activate();
    desktop.advance(1s);
    desktop.client->forgetRequests();
    desktop.advance(9min);
    EXPECT_EQ(count(QWRestRequest::LoadMetadata), 2) << "after 80 and 160 s";
    desktop.client->forgetRequests();
    fails = false;
    desktop.activate();
    desktop.advance(9min);
    EXPECT_EQ(desktop.client->requests().size(), 2u) << "one look-up, one query";
}

TEST_F(FolderLookUp, A_refused_token_is_passed_on) {
    desktop.client->on(QWRestRequest::LoadMetadata).answersWith(401);
    desktop.activate();
    desktop.advance(24h);
    EXPECT_EQ(count(QWRestRequest::LoadMetadata), 1);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_EQ(desktop.refusedTokens, 1);
}

// No folder yet ---------------------------------------------------------------------------------------------

TEST_F(FolderLookUpAlone, An_activation_that_finds_no_folder_never_asks_for_changes) {
    desktop.add("Book", {{"title", "T"}});
    desktop.save();
    desktop.activate();
    desktop.advance(1min);
    cloud.putRecord("Book!!!OTHERS.data", book("Others'"));
    desktop.advance(24h);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 0);
    EXPECT_FALSE(desktop.find("OTHERS"));
}

TEST_F(FolderLookUp,
       An_activation_that_finds_no_folder_asks_for_changes_once_all_is_sent_and_polls_from_then_on) {
    for (int index = 0; index < 7; ++index)
        desktop.add("Book", {{"title", QString::number(index)}});
    desktop.save();
    int sent = 0;
    QObject::connect(&supervisor(), &QWSyncSupervisor::fileSent, &engine(), [&] { ++sent; });
    desktop.client->on(QWRestRequest::Upload).delaysAnswer(30s);
    desktop.client->on(QWRestRequest::LoadDelta).where([&](const QWRestRequest&) {
        EXPECT_EQ(sent, 7);
        EXPECT_EQ(engine().numberOfObjectsSyncing(), 0);
        return true;
    });
    desktop.activate();
    desktop.advance(90s);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 1);
    EXPECT_TRUE(desktop.isIdle());
    cloud.putRecord("Book!!!OTHERS.data", book("Others'"));
    desktop.advance(10min);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 2);
    EXPECT_TRUE(desktop.find("OTHERS"));
}

TEST_F(FolderLookUp,
       What_was_deleted_elsewhere_between_the_first_upload_and_the_first_query_is_deleted_here) {
    const auto kept = desktop.add("Author", {{"name", "Kept"}});
    const auto gone = desktop.add("Author", {{"name", "Gone"}});
    const QString keptUUID = kept->uuid(), goneUUID = gone->uuid(), goneFile = fileName(*gone, "data");
    desktop.save();
    desktop.client->on(QWRestRequest::LoadDelta).where([&, isThere = true](const QWRestRequest&) mutable {
        if (std::exchange(isThere, false))
            cloud.remove(goneFile);
        return true;
    });
    desktop.activate();
    pass(30);
    EXPECT_TRUE(desktop.find(keptUUID, "Author"));
    EXPECT_FALSE(desktop.find(goneUUID, "Author"));
}

TEST_F(FolderLookUp, An_activation_that_finds_no_folder_and_has_nothing_to_send_asks_for_changes_at_once) {
    desktop.activate();
    desktop.advance(1s);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 1);
    desktop.advance(50min);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), 6);
}
