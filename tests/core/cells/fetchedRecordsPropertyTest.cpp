#include "FetchedRecordsFixture.h"

#include <rapidcheck.h>

// Whatever happens to the records, the rows are those of a fresh fetch, and a view that only listens knows
// them.

namespace {

// One step of a random history: what is done, and to which record or with which value.
struct Step {
    int what, which, value;
};

struct History : FetchedRecordsTest {
    History() { SetUp(); }
    void TestBody() override {}

    static QString title(int value) {
        static const QStringList titles{"a",     "B",       "b", "ä",    "c",    "",
                                        "Zebra", "zebra 2", "é", "same", "same "};
        return titles[value % titles.size()];
    }
    Ref any(QWManagedObjectContext& from, int which) {
        const auto books = fetchIn(from, "Book");
        return books.empty() ? Ref() : books[size_t(which) % books.size()];
    }
    void change(QWManagedObjectContext& in, const Step& step) {
        const Ref book = any(in, step.which);
        if (!book)
            return;
        switch (step.value % 5) {
        case 0:
        case 1:
            book->setValueForKey("title", step.value % 7 == 0 ? QVariant() : QVariant(title(step.which)));
            break;
        case 2:
            book->setValueForKey("pages", step.value % 6);
            break;
        case 3:
            book->setValueForKey("read", step.which % 2 == 0);
            break;
        default:
            in.deleteObject(*book);
        }
    }
    void insertMany(QWManagedObjectContext& in, int count, int value) {
        for (int i = 0; i < count; ++i)
            insertIn(in, i % 3 == 0 ? "Novel" : "Book",
                     {{"title", title(i * 5 + value)}, {"pages", (i + value) % 6}, {"read", i % 2 == 0}});
    }
    QWFetchRequest request(int value) {
        QWFetchRequest made = booksByTitle();
        const auto Natural = QWSortDescriptor::Comparison::Natural;
        if (value % 3 == 1)
            made.sortDescriptors = {{"read", false, Natural}, {"title", false, Natural}};
        if (value % 3 == 2)
            made.sortDescriptors = {};
        made.includesSubentities = value % 5 != 0;
        if (value % 4 == 1)
            made.predicate = *QWPredicate::parse("title CONTAINS[cd] 'b' OR pages < 3");
        if (value % 4 == 2)
            made.predicate = *QWPredicate::parse("read == YES");
        if (value % 11 == 10) {
            made.offset = 1;
            made.limit = 4;
        }
        return made;
    }

    void perform(const Step& step) {
        switch (step.what) {
        case 0:
            insertMany(*context, 1 + step.which % 3, step.value);
            break;
        case 1:
        case 2:
        case 3:
            change(*context, step);
            break;
        case 4:
            save();
            break;
        case 5:
            context->rollback();
            break;
        case 6:
            change(*other, step);
            if (step.which % 2 == 0)
                save(*other);
            break;
        case 7:
            insertMany(*other, 1 + step.which % 4, step.value);
            save(*other);
            break;
        case 8:
            model->sort(step.which % 7 - 1, step.value % 2 ? Qt::AscendingOrder : Qt::DescendingOrder);
            break;
        case 9:
            EXPECT_TRUE(model->setFetchRequest(request(step.value)));
            break;
        case 10:
            insertMany(step.which % 2 ? *other : *context, 110 + step.which % 50, step.value);
            save(step.which % 2 ? *other : *context);
            break;
        case 11: // many change at once, and some go
            for (const auto& book : fetchIn(*other, "Book", "pages < 4"))
                book->setValueForKey("title", title(int(book->objectID().key) + step.value));
            for (const auto& book : fetchIn(*other, "Book", "pages == 5"))
                other->deleteObject(*book);
            save(*other);
            break;
        case 12:
            if (const Ref book = any(*context, step.which))
                context->refreshObject(*book, step.value % 2);
            break;
        default:
            world.runLoop->runNext();
        }
    }
    void expectFresh() {
        const auto fresh = context->fetchIDs(model->fetchRequest());
        std::vector<QWManagedObjectID> shown;
        for (int row = 0; row < model->rowCount(); ++row) {
            shown.push_back(model->recordAtRow(row)->objectID());
            RC_ASSERT(model->rowOfRecord(shown.back()) == row);
        }
        RC_ASSERT(fresh.has_value());
        RC_ASSERT(shown == *fresh);
        const auto records = context->fetch(model->fetchRequest());
        RC_ASSERT(records->size() == shown.size());
        for (size_t row = 0; row < shown.size(); ++row)
            RC_ASSERT((*records)[row]->objectID() == shown[row]);
    }

    void run(const std::vector<Step>& steps) {
        insertMany(*context, 12, 0);
        save();
        // Who changes records while they are reported, as an engine stamps a date: before and after the
        // model.
        const auto stamp = [](const QWObjectsDidChangeNotice& notice) {
            for (const auto& record : notice.updated)
                if (!record->isDeleted() && record->changedKeysForCurrentEvent().contains("pages"))
                    record->setValueForKey("title", "stamped");
        };
        const auto before = context->observeObjectsDidChange(stamp);
        showBooks();
        const auto after = context->observeObjectsDidChange(stamp);
        MirrorList mirror(*model);
        for (const Step& step : steps) {
            perform(step);
            if (step.value % 3 == 0)
                settle();
            RC_ASSERT(mirror.texts.size() == model->rowCount());
        }
        settle();
        RC_ASSERT(model->isUpToDate());
        expectFresh();
        RC_ASSERT(mirror.texts == titles());
        RC_ASSERT(!mirror.log.contains("reset"));
    }
};

std::ostream& operator<<(std::ostream& out, const Step& step) {
    return out << step.what << ' ' << step.which << ' ' << step.value;
}

} // namespace

TEST(FetchedRecordsProperty, The_rows_are_those_of_a_fresh_fetch_after_any_history) {
    EXPECT_TRUE(rc::check([] {
        const auto number = rc::gen::inRange(0, 1000);
        History().run(*rc::gen::container<std::vector<Step>>(
            rc::gen::construct<Step>(rc::gen::inRange(0, 15), number, number)));
    }));
}
