#include "support/Desktop.h"

// Contexts of the host's own, whose saves are merged into the main context, and what the main context takes back.

using namespace std::chrono_literals;

namespace {

// The book X is in step on both. Like many hosts', these want changes sent that come without keys.
struct OtherContexts : TwoDesktops {
    OtherContexts() : TwoDesktops(Desktop::Supervised) {
        a.wantsUpdate = b.wantsUpdate = [](QWManagedObjectWithSyncSupport& object) {
            return object.changedKeysForCurrentEvent().isEmpty() || desktop::isDescribedChange(object);
        };
        a.add("Book", {{"title", "T"}})->setUuid("X");
        synchronise();
    }
    void synchronise() {
        for (int round = 0; round < 3; ++round) {
            TwoDesktops::sync();
            a.advance(15s);
        }
    }
    // On a, in a context of its own whose save is merged.
    void change(const QString& uuid,
                const std::function<void(QWManagedObjectContext&, QWManagedObjectWithSyncSupport&)>& change) {
        const auto own =
            std::make_shared<QWManagedObjectContext>(a.coordinator, QWConcurrencyType::PrivateQueue);
        const auto observation = own->observeDidSave(
            [&](const QWDidSaveNotice& notice) { a.context->mergeChangesFromContextDidSave(notice); });
        change(*own, *QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", *own));
        ASSERT_TRUE(own->save());
    }
    void edit(const QString& title) {
        change("X", [&](auto&, auto& book) { book.setValueForKey("title", title); });
    }
    static QString title(Desktop& of) {
        const auto found = of.find("X");
        return found ? found->valueForKey("title").toString() : QString("none");
    }
    void expectOnBoth(const QString& value) {
        synchronise();
        EXPECT_EQ(title(a), value);
        EXPECT_EQ(title(b), value);
        EXPECT_TRUE(areInStep());
    }
};

} // namespace

// Live in the main context ----------------------------------------------------------------------------------

TEST_F(OtherContexts, An_edit_that_was_saved_and_merged_is_on_both) {
    const auto live = a.find("X");
    edit("Own");
    expectOnBoth("Own");
}

TEST_F(OtherContexts, An_edit_that_was_saved_and_merged_survives_a_rollback) {
    const auto live = a.find("X");
    for (const QString value : {"One", "Two", "Three"}) {
        edit(value);
        a.context->rollback();
        expectOnBoth(value);
    }
}

TEST_F(OtherContexts, An_edit_that_was_saved_and_merged_survives_a_rollback_of_an_edit_of_another_key) {
    const auto live = a.find("X");
    live->setValueForKey("pages", 7);
    a.advance(1s);
    edit("Own");
    a.advance(1s);
    a.context->rollback();
    expectOnBoth("Own");
}

// Not live there --------------------------------------------------------------------------------------------

TEST_F(OtherContexts, An_edit_that_was_saved_and_merged_is_on_both_where_the_record_is_not_live) {
    edit("Own");
    expectOnBoth("Own");
}

TEST_F(OtherContexts, An_edit_that_was_saved_and_merged_is_sent_once) {
    a.advance(1s);
    const auto before = a.client->requests(QWRestRequest::Upload).size();
    edit("Own");
    a.save();
    synchronise();
    EXPECT_EQ(a.client->requests(QWRestRequest::Upload).size(), before + 1);
}

TEST_F(OtherContexts, What_the_host_does_not_want_sent_is_not) {
    a.wantsUpdate = [](auto&) { return false; };
    edit("Own");
    a.save();
    synchronise();
    EXPECT_EQ(title(b), "T");
}

TEST_F(OtherContexts, A_deletion_that_was_saved_and_merged_is_on_both) {
    for (const bool isLive : {false, true}) {
        const QString uuid = isLive ? "LIVE" : "NOT-LIVE";
        const auto added = a.add("Book", {{"title", "T"}});
        added->setUuid(uuid);
        a.add("Chapter")->setRelatedObject("book", added.data());
        synchronise();
        const auto live = isLive ? a.find(uuid) : desktop::Record();
        change(uuid, [](auto& own, auto& book) { own.deleteObject(book); });
        synchronise();
        EXPECT_FALSE(a.find(uuid)) << isLive;
        EXPECT_FALSE(b.find(uuid)) << isLive;
        EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"}) << "the chapter, too";
    }
}

TEST_F(OtherContexts, What_a_batch_has_changed_where_it_is_not_live_is_not_sent) {
    b.find("X")->setValueForKey("title", "B");
    const auto before = a.client->requests(QWRestRequest::Upload).size();
    expectOnBoth("B");
    EXPECT_EQ(a.client->requests(QWRestRequest::Upload).size(), before);
}

// Taken back ------------------------------------------------------------------------------------------------

TEST_F(OtherContexts, An_edit_that_was_taken_back_unsent_is_no_earlier_version_that_stays) {
    b.find("X")->setValueForKey("title", "B");
    b.save();
    a.find("X")->setValueForKey("title", "A");
    a.context->processPendingChanges();
    a.context->rollback();
    expectOnBoth("B");
}
