#include "supervisor/OneDesktop.h"

// Records that were sent before the host has saved them, and that it deletes then.

namespace {

struct DeletedUnsaved : OneDesktop {
    DeletedUnsaved() : OneDesktop(Desktop::Supervised) { begin(); }
    void addAndSend() {
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.context->processPendingChanges();
        pass(5);
        ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    }
};
} // namespace

TEST_F(DeletedUnsaved, Go_from_the_cloud) {
    addAndSend();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    pass(100);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(DeletedUnsaved, Go_from_the_cloud_where_they_were_deleted_while_sync_was_inactive) {
    addAndSend();
    engine().deactivateSync();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    pass(1);
    desktop.activate();
    pass(100);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}

TEST_F(DeletedUnsaved, Go_from_the_cloud_where_their_deletion_was_saved_later) {
    addAndSend();
    pass(1);
    engine().deactivateSync();
    pass(5);
    desktop.context->deleteObject(*desktop.find("X"));
    pass(5);
    desktop.save();
    desktop.activate();
    pass(100);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}
