#include "store/StoreRows.h"

#include "store/QWStoreError.h"

#include <QTemporaryDir>
#include <atomic>
#include <gmock/gmock.h>
#include <thread>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Write = QWSQLiteStore::Write;
using Operator = QWPredicate::Operator;

namespace {

// A small library: books with an author and tags, and a hierarchy of media.
std::unique_ptr<QWManagedObjectModel> libraryModel() {
    auto model = std::make_unique<QWManagedObjectModel>();
    auto& book = model->addEntity("Book");
    book.addAttribute("title", QWAttributeType::String).setIndexedFolded().setIndexed();
    book.addAttribute("pages", QWAttributeType::Integer);
    book.addAttribute("price", QWAttributeType::Double);
    book.addAttribute("read", QWAttributeType::Boolean);
    book.addAttribute("added", QWAttributeType::Date);
    book.addAttribute("cover", QWAttributeType::Data);
    book.addAttribute("notes", QWAttributeType::Document);
    book.addToOne("author", "Author").setInverse("books");
    book.addToMany("tags", "Tag").setInverse("books");
    book.addOrderedToMany("chapters", "Chapter");
    auto& author = model->addEntity("Author");
    author.addAttribute("name", QWAttributeType::String);
    author.addOrderedToMany("books", "Book").setInverse("author");
    author.addToMany("friends", "Author").setInverse("friends");
    auto& tag = model->addEntity("Tag");
    tag.addAttribute("name", QWAttributeType::String);
    tag.addOrderedToMany("books", "Book").setInverse("tags");
    auto& chapter = model->addEntity("Chapter");
    chapter.addAttribute("name", QWAttributeType::String);
    chapter.addToOne("reading", "Record");

    auto& medium = model->addEntity("Medium");
    medium.addAttribute("name", QWAttributeType::String);
    auto& film = model->addEntity("Film");
    film.setParent("Medium");
    film.addAttribute("length", QWAttributeType::Integer);
    auto& record = model->addEntity("Record");
    record.setParent("Medium");
    record.addAttribute("length", QWAttributeType::String);
    model->addEntity("Single").setParent("Record");
    EXPECT_TRUE(model->complete());
    return model;
}

class SQLiteStore : public ::testing::Test {
protected:
    QTemporaryDir folder;
    const QString path = folder.filePath("library.store");
    std::unique_ptr<QWManagedObjectModel> model = libraryModel();
    OpenStore store{path, *model, {QWSynchronous::Normal}};

    void SetUp() override { ASSERT_TRUE(store) << store.message(); }
    qint64 count(const QWFetchRequest& request) { return store->count(request, &store.error).value_or(-1); }
};

QWFetchRequest sorted(QWFetchRequest request, const QString& key, bool ascending = true,
                      QWSortDescriptor::Comparison comparison = QWSortDescriptor::Comparison::Natural) {
    request.sortDescriptors << QWSortDescriptor{key, ascending, comparison};
    return request;
}

QWPredicate is(const QString& key, const QVariant& value) {
    return QWPredicate::comparison(key, Operator::Equal, value);
}

} // namespace

TEST_F(SQLiteStore, Every_type_comes_back_as_it_was_written) {
    const QDateTime date(QDate(1969, 12, 31), QTime(23, 59, 59, 999), Qt::UTC);
    const QVariantMap values{{"title", QString::fromUtf8("Ünïcode \xf0\x9f\x93\x9a")},
                             {"pages", std::numeric_limits<qlonglong>::min()},
                             {"price", 0.1},
                             {"read", true},
                             {"added", date},
                             {"cover", QByteArray("\0\xff bytes", 8)},
                             {"notes", QString("plain")}};
    const auto book = store.insert("Book", values);
    const auto row = store.row(book);
    ASSERT_TRUE(row);
    EXPECT_EQ(row->version, 1);
    for (auto value = values.begin(); value != values.end(); ++value) {
        EXPECT_EQ((*row)[value.key()], *value) << value.key().toStdString();
        EXPECT_EQ((*row)[value.key()].typeId(), value->typeId()) << value.key().toStdString();
    }
    EXPECT_EQ((*row)["added"].toDateTime().timeSpec(), Qt::UTC);
}

TEST_F(SQLiteStore, A_document_keeps_whether_it_is_bytes_or_text) {
    EXPECT_EQ(store.value(store.insert("Book", {{"notes", QByteArray("{}")}}), "notes"),
              QVariant(QByteArray("{}")));
    EXPECT_EQ(store.value(store.insert("Book", {{"notes", "{}"}}), "notes"), QVariant("{}"));
}

TEST_F(SQLiteStore, Long_texts_come_back_whole) {
    const QVariantMap values{{"title", QString(700, QChar(0x00E9))},
                             {"notes", QString(300000, QChar(0x65E5))},
                             {"cover", QByteArray(300000, 'x')}};
    const auto book = store.insert("Book", values);
    for (auto value = values.begin(); value != values.end(); ++value)
        EXPECT_EQ(store.value(book, value.key()), *value) << value.key().toStdString();
}

TEST_F(SQLiteStore, Empty_text_and_empty_bytes_are_values_and_nothing_is_none) {
    const auto book = store.insert("Book", {{"title", QString()}, {"cover", QByteArray()}});
    EXPECT_EQ(store.value(book, "title"), QVariant(QString()));
    EXPECT_EQ(store.value(book, "cover"), QVariant(QByteArray()));
    EXPECT_FALSE(store.value(book, "pages").isValid());
    EXPECT_FALSE(store.value(book, "author").isValid());
}

TEST_F(SQLiteStore, A_row_that_does_not_exist_is_no_error) {
    RowCollector collector;
    EXPECT_FALSE(store->readRow(store.entity("Book"), 99, collector, &store.error));
    EXPECT_FALSE(store.error.isError());
    EXPECT_EQ(store->entityOf(store.entity("Book"), 99), nullptr);
}

TEST_F(SQLiteStore, An_update_writes_the_slots_listed_and_raises_the_version) {
    const auto book = store.insert("Book", {{"title", "Emma"}, {"pages", 500}});
    EXPECT_EQ(store.update(book, 1, {{"pages", 501}}), Write::Done);
    const auto row = store.row(book);
    EXPECT_EQ((*row)["pages"], QVariant(501));
    EXPECT_EQ((*row)["title"], QVariant("Emma"));
    EXPECT_EQ(row->version, 2);
}

TEST_F(SQLiteStore, An_update_based_on_another_version_is_a_conflict_and_writes_nothing) {
    const auto book = store.insert("Book", {{"pages", 1}});
    ASSERT_EQ(store.update(book, 1, {{"pages", 2}}), Write::Done);
    EXPECT_EQ(store.update(book, 1, {{"pages", 3}}), Write::Conflict);
    EXPECT_EQ(store.value(book, "pages"), QVariant(2));
}

TEST_F(SQLiteStore, A_removal_based_on_another_version_is_a_conflict) {
    const auto book = store.insert("Book");
    ASSERT_EQ(store.update(book, 1, {{"pages", 2}}), Write::Done);
    Write stale = Write::Failed, current = Write::Failed, again = Write::Failed;
    store.save([&] {
        stale = store->remove(book, 1, nullptr);
        current = store->remove(book, 2, nullptr);
        again = store->remove(book, 2, nullptr);
    });
    EXPECT_EQ(stale, Write::Conflict);
    EXPECT_EQ(current, Write::Done);
    EXPECT_EQ(again, Write::Conflict);
    EXPECT_FALSE(store.row(book));
}

TEST_F(SQLiteStore, A_key_that_is_taken_is_a_conflict) {
    const auto book = store.insert("Book");
    const std::vector<QVariant> values(book.entity->properties().size());
    ASSERT_TRUE(store->begin(nullptr));
    EXPECT_FALSE(store->insert(book, values.data(), &store.error));
    store->rollback();
    EXPECT_EQ(QWStoreErrorCode(store.error.code), QWStoreErrorCode::Conflict);
    EXPECT_EQ(store.error.userInfo["conflicts"].toList(), QVariantList{QVariant::fromValue(book)});
    EXPECT_EQ(count(QWFetchRequest("Book")), 1);
}

TEST_F(SQLiteStore, A_rollback_leaves_rows_and_counts_as_they_were) {
    const auto book = store.insert("Book", {{"pages", 1}});
    ASSERT_TRUE(store->begin(nullptr));
    std::vector<QVariant> values(book.entity->properties().size());
    store->update(book, 1, values.data(), {store.property("Book", "pages").index()}, nullptr);
    store->insert({book.entity, store->reserveKeys(*book.entity)}, values.data(), nullptr);
    EXPECT_EQ(count(QWFetchRequest("Book")), 2);
    store->rollback();
    EXPECT_EQ(store.value(book, "pages"), QVariant(1));
    EXPECT_EQ(count(QWFetchRequest("Book")), 1);
}

TEST_F(SQLiteStore, Rows_come_in_the_order_of_insertion_unless_sorted) {
    const auto b = store.insert("Book", {{"title", "b"}});
    const auto none = store.insert("Book");
    const auto a = store.insert("Book", {{"title", "a"}});
    const auto otherB = store.insert("Book", {{"title", "b"}});
    const QWFetchRequest all("Book");
    EXPECT_THAT(store.keys(all), ElementsAre(b.key, none.key, a.key, otherB.key));
    EXPECT_THAT(store.keys(sorted(all, "title")), ElementsAre(none.key, a.key, b.key, otherB.key));
    EXPECT_THAT(store.keys(sorted(all, "title", false)), ElementsAre(b.key, otherB.key, a.key, none.key));
}

TEST_F(SQLiteStore, Natural_order_of_text_is_by_code_points) {
    const auto astral = store.insert("Book", {{"title", QString::fromUtf8("\xf0\x9f\x93\x9a")}});
    const auto privateUse = store.insert("Book", {{"title", QString(QChar(0xF000))}});
    const auto lower = store.insert("Book", {{"title", "a"}});
    const auto upper = store.insert("Book", {{"title", "B"}});
    EXPECT_THAT(store.keys(sorted(QWFetchRequest("Book"), "title")),
                ElementsAre(upper.key, lower.key, privateUse.key, astral.key));
}

TEST_F(SQLiteStore, The_users_order_ignores_letter_case_and_breaks_ties_by_key) {
    const auto b = store.insert("Book", {{"title", "b"}});
    const auto upperA = store.insert("Book", {{"title", "A"}});
    const auto none = store.insert("Book");
    const auto accented = store.insert("Book", {{"title", QString::fromUtf8("á")}});
    const auto a = store.insert("Book", {{"title", "a"}});
    const QWFetchRequest all("Book");
    EXPECT_THAT(
        store.keys(sorted(all, "title", true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive)),
        ElementsAre(none.key, upperA.key, a.key, accented.key, b.key));
    EXPECT_THAT(
        store.keys(sorted(all, "title", false, QWSortDescriptor::Comparison::LocalizedCaseInsensitive)),
        ElementsAre(b.key, accented.key, upperA.key, a.key, none.key));
}

TEST_F(SQLiteStore, Limit_and_offset_cut_the_sorted_rows) {
    std::vector<qint64> keys;
    for (const char* title : {"d", "c", "b", "a"})
        keys.push_back(store.insert("Book", {{"title", title}}).key);
    QWFetchRequest request = sorted(QWFetchRequest("Book"), "title");
    request.offset = 1;
    EXPECT_THAT(store.keys(request), ElementsAre(keys[2], keys[1], keys[0]));
    request.limit = 2;
    EXPECT_THAT(store.keys(request), ElementsAre(keys[2], keys[1]));
    EXPECT_EQ(count(request), 2);
    request.offset = 3;
    EXPECT_EQ(count(request), 1);
    request.offset = 9;
    EXPECT_EQ(count(request), 0);
}

TEST_F(SQLiteStore, Predicates_choose_rows_also_by_the_folded_column) {
    store.insert("Book", {{"title", "Emma"}, {"pages", 500}});
    const auto found = store.insert("Book", {{"title", QString::fromUtf8("STRASSE")}, {"pages", 20}});
    const auto straight = QWPredicate::comparison("title", Operator::Equal, QString::fromUtf8("straße"));
    const auto folded = QWPredicate::comparison("title", Operator::Equal, QString::fromUtf8("straße"),
                                                QWPredicate::CaseInsensitive);
    EXPECT_THAT(store.keys(QWFetchRequest("Book", straight)), IsEmpty());
    EXPECT_THAT(store.keys(QWFetchRequest("Book", folded)), ElementsAre(found.key));
    ASSERT_EQ(store.update(found, 1, {{"title", "Emma"}}), Write::Done);
    EXPECT_THAT(store.keys(QWFetchRequest("Book", folded)), IsEmpty());
    EXPECT_EQ(count(QWFetchRequest("Book", is("title", "Emma"))), 2);
}

TEST_F(SQLiteStore, Rows_can_be_left_out_by_identity_however_many) {
    QList<QWManagedObjectID> ids;
    store.save([&] {
        std::vector<QVariant> values(store.entity("Book").properties().size());
        for (qint64 n = 0; n < 40000; ++n) {
            ids << QWManagedObjectID{&store.entity("Book"), store->reserveKeys(store.entity("Book"))};
            store->insert(ids.last(), values.data(), nullptr);
        }
    });
    const auto kept = ids.takeLast();
    EXPECT_THAT(store.keys(QWFetchRequest("Book", QWPredicate::selfIn(ids).negated())),
                ElementsAre(kept.key));
    EXPECT_EQ(count(QWFetchRequest("Book", QWPredicate::selfIn({}).negated())), 40000);
    EXPECT_EQ(count(QWFetchRequest("Book", QWPredicate::selfIn(ids.mid(0, 3)).negated())), 39997);
    EXPECT_EQ(count(QWFetchRequest("Book", QWPredicate::selfIn(ids))), 39999);
}

TEST_F(SQLiteStore, A_parents_name_includes_the_rows_below_it) {
    const auto medium = store.insert("Medium", {{"name", "m"}});
    const auto film = store.insert("Film", {{"name", "f"}, {"length", 90}});
    const auto record = store.insert("Record", {{"name", "r"}, {"length", "long"}});
    const auto single = store.insert("Single", {{"name", "s"}, {"length", "short"}});
    EXPECT_THAT(store.keys(QWFetchRequest("Medium")),
                ElementsAre(medium.key, film.key, record.key, single.key));
    EXPECT_THAT(store.keys(QWFetchRequest("Record")), ElementsAre(record.key, single.key));
    QWFetchRequest own("Record");
    own.includesSubentities = false;
    EXPECT_THAT(store.keys(own), ElementsAre(record.key));
    EXPECT_EQ(count(own), 1);
    EXPECT_EQ(count(QWFetchRequest("Record")), 2);
    EXPECT_EQ(count(QWFetchRequest("Medium")), 4);

    const auto rows = store.rows(QWFetchRequest("Medium"));
    EXPECT_EQ(rows[1].entity, film.entity);
    EXPECT_EQ(rows[1]["length"], QVariant(90));
    const auto named = store.rows(QWFetchRequest("Record", is("name", "s")));
    ASSERT_EQ(named.size(), 1u);
    EXPECT_EQ(named[0].key, single.key);
    EXPECT_THAT(store.keys(QWFetchRequest("Film", is("name", "s"))), IsEmpty());
    EXPECT_EQ(rows[3].entity, single.entity);
    EXPECT_EQ(rows[3]["length"], QVariant("short"));
    EXPECT_EQ(store->entityOf(store.entity("Medium"), single.key), single.entity);
}

TEST_F(SQLiteStore, Counts_survive_closing_the_file) {
    store.insert("Book");
    const auto gone = store.insert("Book");
    store.save([&] { store->remove(gone, 1, nullptr); });
    store.close();
    OpenStore again(path, *model);
    EXPECT_EQ(again->count(QWFetchRequest("Book"), nullptr), 1);
}

TEST_F(SQLiteStore, Two_connections_see_each_others_saves_and_never_share_a_key) {
    OpenStore other(path, *model);
    const auto here = store.insert("Book");
    const auto there = other.insert("Book");
    EXPECT_NE(here.key, there.key);
    EXPECT_EQ(count(QWFetchRequest("Book")), 2);
    EXPECT_EQ(other.update(here, 1, {{"pages", 7}}), Write::Done);
    EXPECT_EQ(store.update(here, 1, {{"pages", 8}}), Write::Conflict);
}

TEST_F(SQLiteStore, Threads_take_turns_and_see_whole_saves_only) {
    const QWEntityDescription& book = store.entity("Book");
    std::vector<std::thread> threads;
    std::atomic<int> odd = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            const std::vector<QVariant> values(book.properties().size());
            for (int n = 0; n < 50; ++n) {
                odd += count(QWFetchRequest("Book")) % 2;
                store->begin(nullptr);
                store->insert({&book, store->reserveKeys(book)}, values.data(), nullptr);
                store->insert({&book, store->reserveKeys(book)}, values.data(), nullptr);
                store->commit(nullptr);
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(odd, 0);
    EXPECT_EQ(count(QWFetchRequest("Book")), 400);
}

TEST_F(SQLiteStore, Keys_leased_in_a_transaction_that_is_rolled_back_are_not_given_away_again) {
    ASSERT_TRUE(store->begin(nullptr));
    const qint64 key = store->reserveKeys(store.entity("Book"));
    store->rollback();
    store.insert("Tag"); // the next save writes the lease
    OpenStore other(path, *model);
    EXPECT_GT(other->reserveKeys(other.entity("Book")), key);
}

TEST_F(SQLiteStore, Many_keys_are_consecutive) {
    const qint64 first = store->reserveKeys(store.entity("Book"), 25000);
    EXPECT_EQ(store->reserveKeys(store.entity("Book")), first + 25000);
}

TEST_F(SQLiteStore, Distinct_values_are_exact_and_in_natural_order_without_the_missing_ones) {
    for (const char* title : {"b", "a", "A", "b"})
        store.insert("Book", {{"title", title}, {"pages", QByteArray(title) == "b" ? 2 : 1}});
    store.insert("Book");
    const QWFetchRequest all("Book"), some("Book", is("pages", 1));
    EXPECT_EQ(store->distinctValues(all, "title", nullptr), QVariantList({"A", "a", "b"}));
    EXPECT_EQ(store->distinctValues(some, "title", nullptr), QVariantList({"A", "a"}));
    EXPECT_EQ(store->distinctValues(all, "pages", nullptr), QVariantList({1, 2}));
    EXPECT_EQ(store->distinctValues(QWFetchRequest("Author"), "name", nullptr), QVariantList());
}

TEST_F(SQLiteStore, Distinct_values_of_a_child_entity_leave_its_siblings_out) {
    store.insert("Film", {{"name", "f"}});
    store.insert("Record", {{"name", "r"}});
    EXPECT_EQ(store->distinctValues(QWFetchRequest("Film"), "name", nullptr), QVariantList({"f"}));
    EXPECT_EQ(store->distinctValues(QWFetchRequest("Medium"), "name", nullptr), QVariantList({"f", "r"}));
}

TEST_F(SQLiteStore, The_far_end_of_a_to_one_lists_its_members_in_their_order) {
    const auto author = store.insert("Author");
    const auto first = store.insert("Book", {{"author", author.key}});
    const auto second = store.insert("Book", {{"author", author.key}});
    store.insert("Book");
    ASSERT_TRUE(store.setMembers(author, "books", {second, first}));
    const auto& books = store.property("Author", "books");
    EXPECT_THAT(store->members(books, author.key), ElementsAre(second, first));
    EXPECT_EQ(store.value(first, "author"), QVariant(author.key));
    EXPECT_EQ(store.row(first)->version, 1);
}

TEST_F(SQLiteStore, Both_sides_of_a_many_to_many_share_their_links) {
    const auto one = store.insert("Book"), two = store.insert("Book");
    const auto tag = store.insert("Tag"), other = store.insert("Tag");
    ASSERT_TRUE(store.setMembers(one, "tags", {other, tag}));
    ASSERT_TRUE(store.setMembers(tag, "books", {two, one}));
    const auto& tags = store.property("Book", "tags");
    const auto& books = store.property("Tag", "books");
    EXPECT_THAT(store->members(tags, one.key), ElementsAre(tag, other));
    EXPECT_THAT(store->members(tags, two.key), ElementsAre(tag));
    EXPECT_THAT(store->members(books, tag.key), ElementsAre(two, one));
    ASSERT_TRUE(store.setMembers(one, "tags", {other}));
    EXPECT_THAT(store->members(books, tag.key), ElementsAre(two));
}

TEST_F(SQLiteStore, An_ordered_relationship_without_inverse_keeps_and_changes_its_order) {
    const auto book = store.insert("Book");
    const auto a = store.insert("Chapter"), b = store.insert("Chapter"), c = store.insert("Chapter");
    const auto& chapters = store.property("Book", "chapters");
    ASSERT_TRUE(store.setMembers(book, "chapters", {c, a}));
    EXPECT_THAT(store->members(chapters, book.key), ElementsAre(c, a));
    ASSERT_TRUE(store.setMembers(book, "chapters", {a, b, c}));
    EXPECT_THAT(store->members(chapters, book.key), ElementsAre(a, b, c));
    ASSERT_TRUE(store.setMembers(book, "chapters", {}));
    EXPECT_THAT(store->members(chapters, book.key), IsEmpty());
}

TEST_F(SQLiteStore, A_relationship_that_is_its_own_inverse_keeps_one_link_for_each_direction) {
    const auto ann = store.insert("Author"), bob = store.insert("Author");
    ASSERT_TRUE(store.setMembers(ann, "friends", {bob}));
    ASSERT_TRUE(store.setMembers(bob, "friends", {ann}));
    const auto& friends = store.property("Author", "friends");
    EXPECT_THAT(store->members(friends, ann.key), ElementsAre(bob));
    EXPECT_THAT(store->members(friends, bob.key), ElementsAre(ann));
}

TEST_F(SQLiteStore, Removing_a_row_drops_the_links_to_it) {
    const auto author = store.insert("Author");
    const auto book = store.insert("Book", {{"author", author.key}});
    const auto tag = store.insert("Tag");
    store.setMembers(book, "tags", {tag});
    EXPECT_TRUE(store.save([&] {
        store->remove(author, 1, nullptr);
        store->remove(tag, 1, nullptr);
    }));
    EXPECT_FALSE(store.value(book, "author").isValid());
    EXPECT_THAT(store->members(store.property("Book", "tags"), book.key), IsEmpty());
}

TEST_F(SQLiteStore, A_to_one_whose_destination_was_deleted_meanwhile_is_committed_as_no_value) {
    const auto author = store.insert("Author");
    const auto book = store.insert("Book", {{"pages", 1}});
    store.save([&] { store->remove(author, 1, nullptr); });
    EXPECT_EQ(store.update(book, 1, {{"author", author.key}, {"pages", 2}}), Write::Done);
    EXPECT_FALSE(store.error.isError()) << store.message();
    EXPECT_FALSE(store.value(book, "author").isValid());
    EXPECT_EQ(store.value(book, "pages"), QVariant(2));
}

TEST_F(SQLiteStore, Of_references_to_a_child_entity_only_those_to_deleted_rows_are_cleared) {
    const auto record = store.insert("Record"), single = store.insert("Single"),
               gone = store.insert("Record");
    store.save([&] { store->remove(gone, 1, nullptr); });
    const auto first = store.insert("Chapter", {{"reading", record.key}});
    const auto second = store.insert("Chapter", {{"reading", single.key}});
    const auto third = store.insert("Chapter", {{"reading", gone.key}});
    EXPECT_EQ(store.value(first, "reading"), QVariant(record.key));
    EXPECT_EQ(store.value(second, "reading"), QVariant(single.key));
    EXPECT_FALSE(store.value(third, "reading").isValid());
}

TEST_F(SQLiteStore, A_link_to_a_row_that_was_deleted_meanwhile_is_left_out) {
    const auto book = store.insert("Book");
    const auto tag = store.insert("Tag"), gone = store.insert("Tag");
    store.save([&] { store->remove(gone, 1, nullptr); });
    EXPECT_TRUE(store.setMembers(book, "tags", {gone, tag})) << store.message();
    EXPECT_THAT(store->members(store.property("Book", "tags"), book.key), ElementsAre(tag));
}

TEST_F(SQLiteStore, Rows_may_refer_to_rows_inserted_later_in_the_same_save) {
    const QWManagedObjectID author{&store.entity("Author"), store->reserveKeys(store.entity("Author"))};
    const QWManagedObjectID book{&store.entity("Book"), store->reserveKeys(store.entity("Book"))};
    std::vector<QVariant> values(book.entity->properties().size());
    values[store.property("Book", "author").index()] = author.key;
    EXPECT_TRUE(store.save([&] {
        store->insert(book, values.data(), nullptr);
        store->insert(author, std::vector<QVariant>(author.entity->properties().size()).data(), nullptr);
    }));
    EXPECT_EQ(store.value(book, "author"), QVariant(author.key));
}

TEST_F(SQLiteStore, Unknown_entities_keys_and_misfit_values_are_typed_errors) {
    const auto code = [&](const QWFetchRequest& request) {
        QWError error;
        RowCollector collector;
        EXPECT_FALSE(store->select(request, collector, &error));
        return QWStoreErrorCode(error.code);
    };
    EXPECT_EQ(code(QWFetchRequest("Nothing")), QWStoreErrorCode::UnknownEntity);
    EXPECT_EQ(code(sorted(QWFetchRequest("Book"), "nothing")), QWStoreErrorCode::UnknownKey);
    EXPECT_EQ(code(sorted(QWFetchRequest("Book"), "tags")), QWStoreErrorCode::UnknownKey);
    EXPECT_EQ(code(QWFetchRequest("Book", is("nothing", 1))), QWStoreErrorCode::UnknownKey);
    EXPECT_EQ(code(QWFetchRequest("Book", is("pages", "x"))), QWStoreErrorCode::WrongType);
    EXPECT_FALSE(store->distinctValues(QWFetchRequest("Book"), "author", &store.error));
    EXPECT_EQ(QWStoreErrorCode(store.error.code), QWStoreErrorCode::UnknownKey);
}

TEST_F(SQLiteStore, A_sink_may_read_the_store_while_it_is_given_rows) {
    struct Nested : QWSQLiteStore::RowSink {
        explicit Nested(OpenStore& open) : store(open) {}
        QWPackedRow* row(const QWSQLiteStore::Row& row) override {
            counts.push_back(store.keys(QWFetchRequest(row.entity->name())).size());
            return nullptr;
        }
        OpenStore& store;
        std::vector<size_t> counts;
    } nested(store);
    store.insert("Book");
    store.insert("Book");
    ASSERT_TRUE(store->select(QWFetchRequest("Book"), nested, nullptr));
    EXPECT_THAT(nested.counts, ElementsAre(2u, 2u));
}
