#include "FetchedRecordsFixture.h"

#include "store/FaultyDisk.h"
#include "store/QWStoreError.h"
#include "testing/QWLogCapture.h"

// Tables on a disk that fails.

class ModelOnFaultyDisk : public FetchedRecordsTest {
protected:
    void SetUp() override {
        disk.emplace();
        FetchedRecordsTest::SetUp();
    }
    void TearDown() override {
        disk->mend();
        tester.reset();
        model.reset();
        other.reset();
        context.reset();
        coordinator.reset();
        disk.reset();
    }
    // Another process writes, and what this one has in memory of the file counts no more.
    void writeElsewhere() {
        const auto elsewhere = openStore();
        QWManagedObjectContext process(elsewhere);
        insertIn(process, "Tag", {{"name", "t"}});
        save(process);
    }
    // Without the tester, which would have all rows read.
    void showUnread() {
        model = std::make_unique<QWFetchedRecordsModel>(context, booksByTitle(), bookFields());
    }

    std::optional<FaultyDisk> disk;
};

TEST_F(ModelOnFaultyDisk, Rows_stay_while_nothing_can_be_read_and_are_right_as_soon_as_it_can) {
    insertBooks({"a", "b", "c", "d", "e"});
    const Ref edited = fetch("Book")[1];
    showUnread();
    QList<QWError> failures;
    QObject::connect(model.get(), &QWFetchedRecordsModel::fetchFailed, model.get(),
                     [&](const QWError& error) { failures << error; });
    writeElsewhere();
    QWLogCapture log;
    disk->failReads(true);
    edited->setValueForKey("title", "x");
    settle();
    EXPECT_EQ(failures.size(), 1);
    EXPECT_EQ(model->fetchError().code, int(QWStoreErrorCode::IO));
    EXPECT_EQ(model->rowCount(), 5);
    EXPECT_FALSE(model->isUpToDate());
    disk->mend();
    insertBook("f");
    settle();
    EXPECT_EQ(titles(), QStringList({"a", "c", "d", "e", "f", "x"}));
    EXPECT_TRUE(model->isUpToDate());
    EXPECT_FALSE(model->fetchError().isError());
}

TEST_F(ModelOnFaultyDisk, A_record_that_cannot_be_read_keeps_its_row) {
    insertBooks({"a", "b", "c"});
    const Ref forgotten = fetch("Book")[1];
    showUnread();
    writeElsewhere();
    QWLogCapture log;
    disk->failReads(true);
    context->refreshObject(*forgotten, false);
    settle();
    EXPECT_EQ(model->rowCount(), 3);
    EXPECT_FALSE(model->isUpToDate());
    disk->mend();
    EXPECT_TRUE(model->refetch());
    EXPECT_TRUE(model->isUpToDate());
    EXPECT_EQ(titles(), QStringList({"a", "b", "c"}));
}
