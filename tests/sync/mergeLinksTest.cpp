#include "support/MergeTest.h"

// Records that a batch changes without having received them, because they hold the link to one that it has
// received or deleted: what the host saves of them meanwhile stays, and the batch's link comes to it.

namespace {

struct MergeLinks : MergeTest {
    QWRef<QWManagedObject> storedPart() { return stored("PART", "Chapter"); }
    void save(QWManagedObject& record, const char* key) {
        record.setValueForKey(key, "Host's");
        desktop.save();
    }
    // Only the author has not arrived yet.
    void endBatch() {
        loaded(client->requests[0], R"({"name":"A"})");
        EXPECT_TRUE(desktop.world.errorPresenter->errors().empty());
        EXPECT_TRUE(desktop.find("LAST", "Author")) << "the rest of the batch was saved";
    }
};

} // namespace

TEST_F(MergeLinks, A_member_of_a_received_record_joins_it_with_what_the_host_has_saved_of_it) {
    const auto part = desktop.add("Chapter", {{"heading", "Old"}});
    part->setUuid("PART");
    desktop.save();
    receive({changed("Chapter!!!WHOLE.data"), changed("Author!!!LAST.data")});
    loaded(client->requests[1], R"({"heading":"Whole","parts":[{"uuid":"PART","entityName":"Chapter"}]})");
    save(*part, "heading");
    endBatch();
    for (const auto& version : {QWRef<QWManagedObject>(part.data()), storedPart()}) {
        EXPECT_EQ(version->valueForKey("heading"), "Host's");
        ASSERT_TRUE(version->relatedObject("whole"));
        EXPECT_EQ(version->relatedObject("whole")->valueForKey("heading"), "Whole");
    }
}

// No delete rule of the host's has met the record.
TEST_F(MergeLinks, A_received_record_does_not_refer_to_one_that_the_host_has_deleted_and_not_saved) {
    const auto author = desktop.add("Author");
    author->setUuid("GONE");
    desktop.save();
    receive({changed("Book!!!NEW.data"), changed("Author!!!LAST.data")});
    loaded(client->requests[1], R"({"title":"New","author":{"uuid":"GONE","entityName":"Author"}})");
    desktop.context->deleteObject(*author);
    endBatch();
    const auto received = desktop.find("NEW");
    EXPECT_EQ(received->valueForKey("title"), "New");
    EXPECT_FALSE(received->relatedObject("author"));
    desktop.save();
    EXPECT_FALSE(stored("NEW")->relatedObject("author"));
}

TEST_F(MergeLinks, A_record_that_is_linked_to_a_deleted_one_lets_go_of_it_and_keeps_what_the_host_has_saved) {
    const auto author = desktop.add("Author");
    author->setUuid("GONE");
    book->setRelatedObject("author", author.data());
    desktop.save();
    engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
        metadata("Author!!!GONE.data"));
    receive({deleted("Author!!!GONE.data"), changed("Author!!!LAST.data")});
    save(*book, "title");
    endBatch();
    EXPECT_FALSE(desktop.find("GONE", "Author"));
    for (const auto& version : {QWRef<QWManagedObject>(book.data()), stored()}) {
        EXPECT_EQ(version->valueForKey("title"), "Host's");
        EXPECT_FALSE(version->relatedObject("author"));
    }
}
