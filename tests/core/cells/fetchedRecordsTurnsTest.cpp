#include "FetchedRecordsFixture.h"

// What happens between a change and its notice, within a notice, and between the turns in which many records
// are placed.

using ModelBetweenTurns = FetchedRecordsTest;

TEST_F(ModelBetweenTurns, A_row_whose_change_is_not_yet_reported_misleads_no_other) {
    insertBooks({"a", "b", "c", "d", "e"});
    const Ref middle = fetch("Book", "title == 'c'")[0];
    const auto changing = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
        if (!notice.inserted.empty())
            middle->setValueForKey("title", "z");
    });
    showBooks();
    insertBook("dd");
    settle();
    EXPECT_EQ(titles(), QStringList({"a", "b", "d", "dd", "e", "z"}));
}

TEST_F(ModelBetweenTurns, A_record_that_goes_before_it_was_reported_was_never_a_row) {
    insertBooks({"a", "c"});
    const auto searching = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
        if (notice.updated.empty())
            return;
        const Ref brief = insertBook("b");
        EXPECT_TRUE(model->setFetchRequest(booksByTitle()));
        context->deleteObject(*brief);
    });
    showBooks();
    MirrorList mirror(*model);
    model->recordAtRow(0)->setValueForKey("pages", 3);
    settle();
    EXPECT_EQ(titles(), QStringList({"a", "c"}));
    EXPECT_TRUE(mirror.told().filter("insert").isEmpty());
}

TEST_F(ModelBetweenTurns, A_change_may_come_in_any_turn_in_which_many_records_are_placed) {
    insertBooks({"a", "z"});
    showBooks();
    MirrorList mirror(*model);
    for (int turns = 0; turns < 10; ++turns) {
        for (int i = 0; i < 130; ++i)
            insertIn(*other, "Book", {{"title", QStringLiteral("%1 %2").arg(turns).arg(i)}});
        save(*other);
        for (int turn = 0; turn < turns && !model->isUpToDate(); ++turn)
            world.runLoop->runNext();
        const int count = model->rowCount();
        model->recordAtRow(count - 1)->setValueForKey("title", "m" + QString::number(turns));
        model->recordAtRow(count / 2)->setValueForKey("pages", turns);
        context->deleteObject(*model->recordAtRow(0));
        context->processPendingChanges();
        settle();
        EXPECT_EQ(titles().size(), 131 + 129 * turns);
        EXPECT_EQ(mirror.texts, titles());
        EXPECT_EQ(titles(), names(*context->fetch(model->fetchRequest()), "title"));
    }
}

TEST_F(ModelBetweenTurns, A_fetch_that_is_asked_for_while_rows_change_follows_when_they_have_changed) {
    insertBooks({"a", "c", "e"});
    showBooks();
    MirrorList mirror(*model);
    QObject::connect(
        model.get(), &QWFetchedRecordsModel::rowsInserted, model.get(),
        [this] {
            QWFetchRequest request = booksByTitle();
            request.predicate = *QWPredicate::parse("title != 'c'");
            EXPECT_TRUE(model->setFetchRequest(request));
            model->sort(Title, Qt::DescendingOrder);
        },
        Qt::SingleShotConnection);
    insertBook("b");
    insertBook("d");
    model->recordAtRow(0)->setValueForKey("title", "x");
    settle();
    EXPECT_EQ(titles(), QStringList({"x", "e", "d", "b"}));
    EXPECT_EQ(mirror.texts, titles());
    EXPECT_TRUE(model->isUpToDate());
    EXPECT_FALSE(model->setFetchRequest(QWFetchRequest("Tag")));
}
