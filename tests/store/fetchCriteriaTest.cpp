#include "store/QWFetchCriteria.h"
#include "store/QWStoreError.h"
#include "store/StoreFixture.h"

#include <limits>
#include <random>

// Judging one record as a fetch does, identities without records, and merges as they concern records that
// are not live.

namespace {

constexpr auto byValue = QWSortDescriptor::Comparison::Natural;
constexpr auto byLocale = QWSortDescriptor::Comparison::LocalizedCaseInsensitive;

struct FetchCriteria : StoreTest {
    static QVariant any(std::mt19937& random, const QVariantList& values) {
        return values[qsizetype(random() % size_t(values.size()))];
    }
    void insertOddBooks(int count) {
        std::mt19937 random(3);
        const QString zero = QString(QChar(0));
        const QVariantList titles{QVariant(),
                                  "",
                                  "a",
                                  "B",
                                  "b",
                                  "ä",
                                  "a b",
                                  "a" + zero,
                                  "a" + zero + "b",
                                  "\uFFFD",
                                  QString::fromUcs4(U"\U0001F30D"),
                                  "zz"};
        const QVariantList numbers{QVariant(),
                                   0,
                                   1,
                                   -1,
                                   255,
                                   256,
                                   std::numeric_limits<qlonglong>::min(),
                                   std::numeric_limits<qlonglong>::max()};
        const double infinite = std::numeric_limits<double>::infinity();
        const QVariantList prices{QVariant(), 0.0, -0.0, 0.5, -0.5, 1e300, -1e300, infinite, -infinite};
        const QVariantList covers{
            QVariant(),         QByteArray(""),  QByteArray("\0", 1),  QByteArray("\0\0", 2),
            QByteArray("\xff"), QByteArray("a"), QByteArray("a\0b", 3)};
        const QVariantList dates{QVariant(), QDateTime::fromMSecsSinceEpoch(-1, Qt::UTC),
                                 QDateTime::fromMSecsSinceEpoch(0, Qt::UTC),
                                 QDateTime::fromMSecsSinceEpoch(1, Qt::UTC)};
        for (int i = 0; i < count; ++i)
            insert(i % 4 == 0 ? "Novel" : "Book", {{"title", any(random, titles)},
                                                   {"pages", any(random, numbers)},
                                                   {"price", any(random, prices)},
                                                   {"cover", any(random, covers)},
                                                   {"added", any(random, dates)},
                                                   {"read", any(random, {QVariant(), true, false})}});
    }
    std::vector<QWManagedObjectID> idsOf(const QWManagedObjectSet& records) {
        std::vector<QWManagedObjectID> ids;
        for (const auto& record : records)
            ids.push_back(record->objectID());
        return ids;
    }
    // The order of places is that of the fetch; so is that of identities alone.
    void expectTheFetchsOrder(const QList<QWSortDescriptor>& descriptors) {
        QWFetchRequest request("Book");
        request.sortDescriptors = descriptors;
        const auto fetched = context->fetch(request);
        ASSERT_TRUE(fetched);
        const auto criteria = QWFetchCriteria::create(*context, request);
        ASSERT_TRUE(criteria);
        for (size_t i = 1; i < fetched->size(); ++i)
            EXPECT_LT(criteria->place(*(*fetched)[i - 1]), criteria->place(*(*fetched)[i]))
                << descriptors[0].key.toStdString() << " " << i;
        EXPECT_EQ(context->fetchIDs(request), idsOf(*fetched));
    }
    QList<QList<QWSortDescriptor>> orders() {
        QList<QList<QWSortDescriptor>> all;
        for (const bool ascending : {true, false}) {
            for (const auto* key : {"title", "pages", "price", "cover", "added", "read"})
                all << QList<QWSortDescriptor>{{key, ascending, byValue}};
            all << QList<QWSortDescriptor>{{"title", ascending, byLocale}, {"pages", !ascending, byValue}};
            all << QList<QWSortDescriptor>{{"cover", ascending, byLocale}, {"read", true, byValue}};
        }
        return all;
    }
};

} // namespace

TEST_F(FetchCriteria, Places_stand_in_the_order_of_a_fetch_of_saved_rows_whatever_the_values) {
    insertOddBooks(150);
    save();
    context = makeContext();
    for (const auto& order : orders())
        expectTheFetchsOrder(order);
}

TEST_F(FetchCriteria, Places_stand_in_the_order_of_a_fetch_of_unsaved_and_saved_records_together) {
    insertOddBooks(80);
    save();
    insertOddBooks(40);
    int turn = 0;
    for (const auto& book : fetch("Book"))
        if (++turn % 3 == 0)
            book->setValueForKey("title", QString::number(turn));
        else if (turn % 7 == 0)
            context->deleteObject(*book);
    for (const auto& order : orders())
        expectTheFetchsOrder(order);
}

TEST_F(FetchCriteria, The_place_of_a_record_that_is_not_live_is_read_without_making_it) {
    const QWManagedObjectID id = insert("Book", {{"title", "t"}})->objectID();
    save();
    QWFetchRequest request("Book");
    request.sortDescriptors = {{"title", true, byLocale}};
    const auto criteria = *QWFetchCriteria::create(*context, request);
    ASSERT_FALSE(context->registeredObject(id));
    const QByteArray place = criteria.place(id);
    EXPECT_FALSE(context->registeredObject(id));
    EXPECT_EQ(place, criteria.place(*context->objectWithID(id)));
}

TEST_F(FetchCriteria, A_record_is_included_when_a_fetch_gives_it) {
    QWFetchRequest request("Book", *QWPredicate::parse("pages > 10"));
    const Ref book = insert("Book", {{"pages", 11}});
    const Ref novel = insert("Novel", {{"pages", 12}});
    const Ref tag = insert("Tag", {{"name", "t"}});
    save();
    auto criteria = *QWFetchCriteria::create(*context, request);
    EXPECT_TRUE(criteria.includes(*book));
    EXPECT_TRUE(criteria.includes(*novel));
    EXPECT_FALSE(criteria.includes(*tag));
    book->setValueForKey("pages", 10);
    EXPECT_FALSE(criteria.includes(*book));
    context->deleteObject(*novel);
    EXPECT_FALSE(criteria.includes(*novel));
    request.includesSubentities = false;
    EXPECT_FALSE(QWFetchCriteria::create(*context, request)->includes(*insert("Novel", {{"pages", 12}})));
}

TEST_F(FetchCriteria, A_record_whose_row_has_gone_is_not_included) {
    const Ref book = insert("Book");
    const QWManagedObjectID id = book->objectID();
    save();
    const auto other = makeContext();
    other->deleteObject(*other->objectWithID(id));
    save(*other);
    context = makeContext();
    const auto criteria = *QWFetchCriteria::create(*context, QWFetchRequest("Book"));
    EXPECT_FALSE(criteria.includes(*context->objectWithID(id)));
}

TEST_F(FetchCriteria, What_a_fetch_refuses_has_no_criteria) {
    QWError error;
    EXPECT_FALSE(QWFetchCriteria::create(*context, QWFetchRequest("Nothing"), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownEntity));
    QWFetchRequest request("Book");
    request.sortDescriptors = {{"author", true, byValue}};
    EXPECT_FALSE(QWFetchCriteria::create(*context, request, &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownKey));
    EXPECT_EQ(error.userInfo["key"], "author");
    EXPECT_FALSE(context->fetchIDs(request, &error));
    request = QWFetchRequest("Book", *QWPredicate::parse("pages == 'x'"));
    EXPECT_FALSE(QWFetchCriteria::create(*context, request, &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::WrongType));
}

TEST_F(FetchCriteria, Identities_are_cut_by_offset_and_limit_after_unsaved_changes) {
    for (const int pages : {1, 2, 3, 4, 5})
        insert("Book", {{"pages", pages}});
    save();
    QWFetchRequest request("Book");
    request.sortDescriptors = {{"pages", true, byValue}};
    request.offset = 1;
    request.limit = 3;
    const auto books = fetch("Book");
    EXPECT_EQ(context->fetchIDs(request), idsOf(*context->fetch(request)));
    context->deleteObject(*books[1]);
    books[4]->setValueForKey("pages", 0);
    insert("Book", {{"pages", 3}});
    EXPECT_EQ(context->fetchIDs(request), idsOf(*context->fetch(request)));
    EXPECT_EQ(context->fetchIDs(request)->size(), 3u);
}

TEST_F(FetchCriteria, Identities_are_fetched_without_records) {
    const QWManagedObjectID id = insert("Novel")->objectID();
    save();
    EXPECT_EQ(context->fetchIDs(QWFetchRequest("Book")), std::vector{id});
    EXPECT_FALSE(context->registeredObject(id));
}

TEST_F(FetchCriteria, Faults_are_read_together_in_the_order_asked_for_and_others_stay_as_they_are) {
    std::vector<QWManagedObjectID> ids;
    for (const auto* title : {"a", "b", "c"})
        ids.push_back(insert(title[0] == 'b' ? "Novel" : "Book", {{"title", title}})->objectID());
    save();
    const Ref mine = context->objectWithID(ids[0]);
    mine->setValueForKey("title", "mine");
    ids.push_back({ids[0].entity, 1'000'000}); // of no row
    std::reverse(ids.begin(), ids.end());
    const auto records = context->objectsWithIDs(ids);
    EXPECT_EQ(idsOf(records), ids);
    EXPECT_TRUE(records[0]->isFault());
    EXPECT_FALSE(records[1]->isFault());
    EXPECT_FALSE(records[2]->isFault());
    EXPECT_EQ(names(records, "title"), QStringList({"", "c", "b", "mine"}));
}

TEST_F(FetchCriteria, What_waits_for_the_next_notice_says_so) {
    const Ref book = insert("Book");
    EXPECT_TRUE(book->hasUnreportedChanges());
    bool duringNotice = true, afterEdit = false;
    const auto observing = context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
        if (notice.inserted.empty())
            return;
        duringNotice = book->hasUnreportedChanges();
        book->setValueForKey("title", "t");
        afterEdit = book->hasUnreportedChanges();
    });
    context->processPendingChanges();
    EXPECT_FALSE(duringNotice);
    EXPECT_TRUE(afterEdit);
    EXPECT_FALSE(book->hasUnreportedChanges());
}

TEST_F(FetchCriteria, A_merge_is_told_around_its_notices_with_records_that_are_not_live_here) {
    const QWManagedObjectID id = insert("Book")->objectID();
    save();
    const auto other = makeContext();
    QStringList told;
    const auto merging = other->observeDidSave(
        [&](const QWDidSaveNotice& notice) { context->mergeChangesFromContextDidSave(notice); });
    const auto will = context->observeWillMerge([&](const QWDidSaveNotice& notice) {
        told << QStringLiteral("will %1 %2").arg(notice.updated.size()).arg(notice.inserted.size());
        EXPECT_EQ(notice.updated[0]->objectID(), id);
    });
    const auto did = context->observeDidMerge([&](const QWDidSaveNotice&) { told << "did"; });
    const auto notice =
        context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice&) { told << "notice"; });
    ASSERT_FALSE(context->registeredObject(id));
    other->objectWithID(id)->setValueForKey("title", "theirs");
    insertIn(*other, "Book");
    save(*other);
    EXPECT_EQ(told, QStringList({"will 1 1", "notice", "did"}));
}
