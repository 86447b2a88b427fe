#include "supervisor/OneDesktop.h"

// The host edits a record while a batch that has received another version of it is under way.

namespace {

using namespace std::chrono_literals;

struct VersionsInBatch : OneDesktop {
    // A book stands here and in the cloud, and nobody dates what the host edits.
    VersionsInBatch() : OneDesktop(Desktop::Supervised) {
        begin();
        cloud.putRecord("Book!!!X.data", book("M"));
        desktop.askForChanges();
        pass(30);
        desktop.wantsUpdate = [](auto&) { return false; };
    }
};

} // namespace

TEST_F(VersionsInBatch, A_greater_version_of_the_same_second_loses_against_an_edit_of_a_later_one) {
    cloud.putRecord("Book!!!X.data", versionInSameSecond(true));
    cloud.putRecord("Book!!!Y.data", book("Y"));
    desktop.client->on(QWRestRequest::LoadFile).number(2).delaysAnswer(10s);
    desktop.askForChanges();
    pass(5);
    const auto host = desktop.find("X");
    host->setValueForKey("title", "Again");
    host->setDateModified(host->dateModified().addSecs(1));
    pass(30);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Again");
    EXPECT_TRUE(desktop.find("Y"));
}

TEST_F(VersionsInBatch, A_greater_version_of_the_same_second_wins_over_an_unsaved_edit) {
    desktop.find("X")->setValueForKey("title", "Unsaved");
    const auto version = versionInSameSecond(true);
    cloud.putRecord("Book!!!X.data", version);
    desktop.askForChanges();
    pass(30);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), version["title"]);
}

TEST_F(VersionsInBatch, An_unsaved_edit_dated_before_the_saved_version_gives_way_when_that_comes_again) {
    const auto host = desktop.find("X");
    host->setValueForKey("title", "Unsaved");
    host->setDateModified(host->dateModified().addSecs(-1)); // by a clock that is behind
    QVariantMap sameAgain = book("M");
    sameAgain["unknown"] = QString();
    cloud.putRecord("Book!!!X.data", sameAgain);
    desktop.askForChanges();
    pass(30);
    EXPECT_EQ(host->valueForKey("title"), "M");
    EXPECT_FALSE(host->hasChanges());
}

// The file that is behind the saved version makes that wait to be sent; then the copy discards the edit.
TEST_F(VersionsInBatch, A_saved_version_is_sent_where_a_copy_makes_an_unsaved_edit_before_it_give_way) {
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.contains("copy"); })
        .first(1)
        .delaysAnswer(10s);
    const auto host = desktop.find("X");
    host->setValueForKey("title", "Unsaved");
    host->setDateModified(host->dateModified().addSecs(-3));
    cloud.putRecord("Book!!!X.data", book("Earlier", "2024-12-31 23:59:00 +0000"));
    cloud.putRecord("Book!!!X (Bob's conflicted copy).data", book("Copy", "2024-12-31 23:59:58 +0000"));
    desktop.askForChanges();
    pass(60);
    EXPECT_EQ(host->valueForKey("title"), "M");
    EXPECT_TRUE(cloud.bytes("Book!!!X.data").contains("\"M\""));
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(VersionsInBatch, A_greater_version_of_the_same_second_does_not_undo_an_unsaved_deletion) {
    const auto version = versionInSameSecond(true);
    desktop.client->on(QWRestRequest::Delete).first(2).answersWith(503);
    engine().deactivateSync();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.context->processPendingChanges();
    cloud.putRecord("Book!!!X.data", version);
    desktop.activate();
    pass(30);
    desktop.save();
    pass(100);
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(cloud.fileNames(), QStringList());
}
