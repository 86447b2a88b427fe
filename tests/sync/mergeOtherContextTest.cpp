#include "support/MergeTest.h"

// A context of the host's own saves a record that the running batch has inserted, or linked another one to.

namespace {

struct OtherContext : MergeTest {
    void beginBatchThatInserts(const QString& date) {
        receive({changed("Book!!!N.data"), changed("Chapter!!!LAST.data")});
        loaded(client->requests[0], record("Received", date));
    }
    void saveElsewhere(bool isMerged, const std::function<void(QWManagedObjectContext&)>& change) {
        const auto own =
            std::make_shared<QWManagedObjectContext>(desktop.coordinator, QWConcurrencyType::PrivateQueue);
        const auto observation = own->observeDidSave([&](const QWDidSaveNotice& notice) {
            if (isMerged)
                desktop.context->mergeChangesFromContextDidSave(notice);
        });
        change(*own);
        ASSERT_TRUE(own->save());
    }
    void insertElsewhere(const QString& date, bool isMerged) {
        saveElsewhere(isMerged, [&](auto& own) {
            const desktop::Record made(
                static_cast<QWManagedObjectWithSyncSupport*>(own.insertObject("Book").data()));
            made->setUuid("N");
            made->setValueForKey("title", "Own");
            made->setDateModified(QDateTime::fromString(date.left(19), "yyyy-MM-dd hh:mm:ss"));
        });
    }
    const QWRestRequest& requestOf(const QString& file) const {
        return *std::find_if(client->requests.begin(), client->requests.end(),
                             [&](const auto& request) { return request.path.contains(file); });
    }
    void expectOne(const QString& title) {
        EXPECT_EQ(desktop.context->count(QWFetchRequest("Book")), 2) << "X, and one N";
        ASSERT_TRUE(stored("N"));
        EXPECT_EQ(stored("N")->valueForKey("title"), title);
        EXPECT_EQ(desktop.find("N")->valueForKey("title"), title);
    }
};

// Merged into the main context at once, or never.
struct OtherContextMerged : OtherContext, testing::WithParamInterface<bool> {};

} // namespace

TEST_P(OtherContextMerged, A_received_record_that_is_later_becomes_the_one_that_was_saved) {
    beginBatchThatInserts(later);
    insertElsewhere(earlier, GetParam());
    endBatch();
    expectOne("Received");
}

TEST_P(OtherContextMerged, A_received_record_that_is_earlier_gives_way_and_the_saved_one_is_sent) {
    beginBatchThatInserts(earlier);
    insertElsewhere(later, GetParam());
    endBatch();
    expectOne("Own");
    EXPECT_TRUE(desktop.row(*desktop.find("N")));
}

TEST_P(OtherContextMerged, What_the_batch_has_linked_another_record_to_is_as_it_was_saved_and_linked) {
    desktop.add("Chapter", {{"heading", "Old"}})->setUuid("PART");
    saveAndTurn();
    receive({changed("Chapter!!!WHOLE.data"), changed("Chapter!!!LAST.data")});
    loaded(
        requestOf("WHOLE"),
        R"({"heading":"H","dateModified":"2026-01-01 00:00:00 +0000","parts":[{"entityName":"Chapter","uuid":"PART"}]})");
    saveElsewhere(GetParam(), [](auto& own) {
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID("PART", "Chapter", own)
            ->setValueForKey("heading", "Own");
    });
    loaded(requestOf("LAST"), R"({"heading":"H","dateModified":"2026-01-01 00:00:00 +0000"})");
    const auto part = stored("PART", "Chapter");
    EXPECT_EQ(part->valueForKey("heading"), "Own");
    ASSERT_TRUE(part->relatedObject("whole"));
    EXPECT_EQ(part->relatedObject("whole")->valueForKey("uuid"), "WHOLE");
}

INSTANTIATE_TEST_SUITE_P(AtOnceOrNever, OtherContextMerged, testing::Bool());

TEST_F(OtherContext, The_image_of_a_record_that_was_saved_meanwhile_is_placed) {
    receive({changed("Book!!!N.data"), changed("Book!!!N.image"), changed("Chapter!!!LAST.data")});
    loaded(client->requests[0], record("Received", later));
    insertElsewhere(earlier, true);
    loaded(requestOf("N.image"), "image");
    loaded(requestOf("LAST"), R"({"heading":"H","dateModified":"2026-01-01 00:00:00 +0000"})");
    expectOne("Received");
    EXPECT_EQ(desktop.image(*desktop.find("N")), "image");
}
