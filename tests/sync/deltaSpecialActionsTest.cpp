#include "sync/QWDeltaSpecialActions_p.h"
#include "sync/QWRequestFailure_p.h"

#include <gtest/gtest.h>

using namespace qw::sync;

TEST(DeltaSpecialActions, A_path_tells_what_it_asks_for) {
    struct Row {
        const char* path;
        DBDeltaEntrySpecialAction action;
    };
    for (const Row& row : {
             Row{"/synccache.dbsync", SpecialActionSyncCacheFolder},
             Row{"/preferencessync.data", SpecialActionSyncedPreferences},
             Row{"/synccache.dbsync/book!!!x conflicted copy.data", SpecialActionConflictedCopy},
             Row{"/synccache.dbsync/book!!!x (bob's conflicted copy 2013-05-04).data",
                 SpecialActionConflictedCopy},
             Row{"/synccache.dbsync/book!!!x.data", SpecialActionNone},
             Row{"/synccache.dbsync/book!!!x Conflicted Copy.data", SpecialActionNone},
             Row{"/notes.txt", SpecialActionNone},
         })
        EXPECT_EQ(specialActionForPath(row.path), row.action) << row.path;
}

TEST(DeltaSpecialActions, The_sync_folder_and_everything_under_it_is_in_it) {
    EXPECT_TRUE(isInSyncFolder("/synccache.dbsync"));
    EXPECT_TRUE(isInSyncFolder("/synccache.dbsync/a/b.data"));
    EXPECT_FALSE(isInSyncFolder("/preferencessync.data"));
    EXPECT_FALSE(isInSyncFolder("/other/synccache.dbsync"));
}

TEST(RequestFailure, The_status_decides_what_a_failure_asks_for) {
    for (const auto& [status, failure] : {std::pair{401, RequestFailure::TokenRefused},
                                          {404, RequestFailure::FileGone},
                                          {0, RequestFailure::Transient},
                                          {403, RequestFailure::Transient},
                                          {409, RequestFailure::Transient},
                                          {500, RequestFailure::Transient}})
        EXPECT_EQ(requestFailure({"dropbox", status, "", {}}), failure) << status;
}

TEST(DeltaEntry, An_entry_without_special_action_reads_none_and_so_does_one_that_lost_it) {
    const auto entry = DBMakeDeltaEntry("/a");
    EXPECT_EQ(entry->specialAction, SpecialActionNone);
    entry->specialAction = SpecialActionSyncedPreferences;
    entry->removeSpecialAction();
    EXPECT_EQ(entry->specialAction, SpecialActionNone);
}
