#include "support/EngineTest.h"

namespace {

// A book whose row an import dropped while its upload was out.
struct DroppedRow : EngineTest {
    Record book;
    QWRestRequest upload;

    DroppedRow() {
        activateIdle();
        book = desktop.add("Book", {{"title", "First"}});
        saveAndTurn();
        upload = client->requests.back();
    }
    void drop() {
        receive({changed(dataFile(*book), "rev5")});
        loaded(client->requests.back(), record("Remote", "2027-01-01 00:00:00 +0000"), "rev5");
        ASSERT_FALSE(desktop.row(*book));
        client->forget();
    }
    void edit(const QString& title) {
        book->setValueForKey("title", title);
        saveAndTurn();
    }
};

} // namespace

TEST_F(DroppedRow, Sent_again_it_hides_none_that_waits) {
    edit("Second");
    drop();
    uploaded(upload);
    ASSERT_EQ(client->count(QWRestRequest::Upload), 1) << "it was edited in flight";
    const auto other = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->log().last(), "upload " + remote(dataFile(*other)));
}

TEST_F(DroppedRow, A_later_edit_is_sent_when_the_upload_that_is_out_was_answered) {
    drop();
    edit("Third");
    EXPECT_EQ(client->log(), QStringList());
    uploaded(upload, "rev6");
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*book))});
    EXPECT_EQ(client->requests[0].parentRev, "rev6");
    EXPECT_TRUE(desktop.row(*book)) << "its own upload is not answered";
}

TEST_F(DroppedRow, Edited_in_flight_it_gives_way_to_the_row_of_a_later_edit) {
    edit("Second");
    drop();
    edit("Third");
    uploaded(upload);
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*book))});
    EXPECT_EQ(probe().rowInFlight(book->uuid()), desktop.row(*book));
}

TEST_F(DroppedRow, A_row_that_waits_for_it_takes_no_place_of_another) {
    drop();
    edit("Third");
    const auto other = desktop.add("Author");
    saveAndTurn();
    EXPECT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*other))});
}

TEST_F(DroppedRow, It_counts_for_nothing_once_it_has_left) {
    auto& cache = *engine().dropboxCacheManagedObjectContext();
    const auto row = QWInsertCacheRecord<ObjectWaitingSync>(cache, QWDBEntityNameObjectWaitingSync);
    const auto other = QWInsertCacheRecord<ObjectWaitingSync>(cache, QWDBEntityNameObjectWaitingSync);
    row->setObjectUUID("x");
    other->setObjectUUID("X");
    QWRowsInFlight rows;
    for (const bool leavesAlone : {true, false}) {
        rows.insert("X", row);
        rows.rowWillBeDeleted(*other);
        EXPECT_EQ(rows.countInStore(), 1);
        rows.rowWillBeDeleted(*row);
        EXPECT_EQ(rows.countInStore(), 0);
        if (leavesAlone)
            rows.remove("X");
        else
            rows.clear();
        EXPECT_EQ(rows.count(), 0);
        EXPECT_EQ(rows.countInStore(), 0);
    }
}

TEST_F(DroppedRow, Rows_read_beforehand_are_handed_out_in_order_without_those_that_are_sent_or_gone) {
    auto& cache = *engine().dropboxCacheManagedObjectContext();
    std::vector<QWRef<ObjectWaitingSync>> rows;
    for (const char* uuid : {"A", "B", "C", "D", "E"}) {
        rows.push_back(QWInsertCacheRecord<ObjectWaitingSync>(cache, QWDBEntityNameObjectWaitingSync));
        rows.back()->setObjectUUID(uuid);
    }
    const auto another = QWInsertCacheRecord<ObjectWaitingSync>(cache, QWDBEntityNameObjectWaitingSync);
    another->setObjectUUID("C");
    another->setNumberOfFilesUploadingToDropbox(1);
    QWRowsInFlight inFlight;
    inFlight.insert("A", rows[0]);
    inFlight.insert("C", another);
    inFlight.setNext(rows);
    cache.deleteObject(*rows[1]);
    EXPECT_EQ(inFlight.takeNext(1), std::vector{rows[3]});
    EXPECT_EQ(inFlight.takeNext(2), std::vector{rows[4]});
    inFlight.setNext({rows[3]});
    inFlight.clear();
    EXPECT_TRUE(inFlight.takeNext(1).empty());
}
