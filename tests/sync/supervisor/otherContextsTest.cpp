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

// Taken back ------------------------------------------------------------------------------------------------

TEST_F(OtherContexts, An_edit_that_was_taken_back_unsent_is_no_earlier_version_that_stays) {
    b.find("X")->setValueForKey("title", "B");
    b.save();
    a.find("X")->setValueForKey("title", "A");
    a.context->processPendingChanges();
    a.context->rollback();
    expectOnBoth("B");
}
