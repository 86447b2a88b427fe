#include "store/MigrationFixture.h"

// Changes of attributes and entities that are inferred when a file is opened with a later model.

using ::testing::ElementsAre;

// Attributes ------------------------------------------------------------------------------------------------

TEST_F(Migration, An_added_attribute_has_its_default_in_saved_rows_or_no_value) {
    const auto emma = migrated(declareBook).insert("Book", {{"title", "Emma"}});
    OpenStore& store = migrated([](Model& model) {
        auto& book = model.addEntity("Book");
        book.addAttribute("title", Type::String);
        book.addAttribute("pages", Type::Integer).setOptional(false).setDefault(7);
        book.addAttribute("price", Type::Double).setDefault(0.1);
        book.addAttribute("read", Type::Boolean).setDefault(true);
        book.addAttribute("added", Type::Date).setDefault(QDateTime::fromMSecsSinceEpoch(1, Qt::UTC));
        book.addAttribute("cover", Type::Data).setDefault(QByteArray("\0x", 2));
        book.addAttribute("notes", Type::Document).setDefault("it's");
        book.addAttribute("kind", Type::String);
    });
    const auto row = store.row(now(emma, "Book"));
    ASSERT_TRUE(row);
    EXPECT_EQ((*row)["title"], QVariant("Emma"));
    EXPECT_EQ((*row)["pages"], QVariant(7));
    EXPECT_EQ((*row)["price"], QVariant(0.1));
    EXPECT_EQ((*row)["read"], QVariant(true));
    EXPECT_EQ((*row)["added"], QVariant(QDateTime::fromMSecsSinceEpoch(1, Qt::UTC)));
    EXPECT_EQ((*row)["cover"], QVariant(QByteArray("\0x", 2)));
    EXPECT_EQ((*row)["notes"], QVariant("it's"));
    EXPECT_FALSE((*row)["kind"].isValid());
}

TEST_F(Migration, A_removed_attribute_leaves_the_others) {
    const auto emma = migrated([](Model& model) {
                          declareBook(model);
                          model.addEntity("Other").addAttribute("x", Type::Integer);
                      }).insert("Book", {{"title", "Emma"}});
    OpenStore& store = migrated([](Model& model) {
        model.addEntity("Book");
        model.addEntity("Other").addAttribute("x", Type::Integer);
    });
    EXPECT_TRUE(store.row(now(emma, "Book")));
    EXPECT_EQ(store.property("Other", "x").index(), 0);
}

TEST_F(Migration, A_renamed_attribute_keeps_its_values_and_its_index_by_folded_text) {
    const auto emma = migrated([](Model& model) {
                          model.addEntity("Book").addAttribute("title", Type::String).setIndexedFolded();
                      }).insert("Book", {{"title", "EMMA"}});
    OpenStore& store = migrated([](Model& model) {
        model.addEntity("Book").addAttribute("name", Type::String).setIndexedFolded().setRenamedFrom("title");
    });
    const QWFetchRequest emmas("Book", QWPredicate::comparison("name", QWPredicate::Operator::Equal, "emma",
                                                               QWPredicate::CaseInsensitive));
    EXPECT_THAT(store.keys(emmas), ElementsAre(emma.key));
    EXPECT_EQ(store.value(now(emma, "Book"), "name"), QVariant("EMMA"));
}

TEST_F(Migration, Two_attributes_can_swap_their_names) {
    const auto emma = migrated([](Model& model) {
                          auto& book = model.addEntity("Book");
                          book.addAttribute("a", Type::String);
                          book.addAttribute("b", Type::String);
                      }).insert("Book", {{"a", "1"}, {"b", "2"}});
    OpenStore& store = migrated([](Model& model) {
        auto& book = model.addEntity("Book");
        book.addAttribute("a", Type::String).setRenamedFrom("b");
        book.addAttribute("b", Type::String).setRenamedFrom("a");
    });
    EXPECT_EQ(store.value(now(emma, "Book"), "a"), QVariant("2"));
    EXPECT_EQ(store.value(now(emma, "Book"), "b"), QVariant("1"));
}

TEST_F(Migration, A_renaming_that_stays_declared_happens_once) {
    const auto emma = migrated(declareBook).insert("Book", {{"title", "Emma"}});
    const auto renamed = [](Model& model) {
        auto& book = model.addEntity("Book");
        book.addAttribute("name", Type::String).setRenamedFrom("title");
        book.addAttribute("title", Type::String).setDefault("new");
    };
    migrated(renamed);
    OpenStore& store = migrated([&](Model& model) {
        renamed(model);
        model.addEntity("Other");
    });
    EXPECT_EQ(store.value(now(emma, "Book"), "name"), QVariant("Emma"));
    EXPECT_EQ(store.value(now(emma, "Book"), "title"), QVariant("new"));
}

TEST_F(Migration, An_attribute_that_becomes_required_takes_its_default_where_it_had_no_value) {
    OpenStore& before = migrated(declareBook);
    const auto named = before.insert("Book", {{"title", "Emma"}}), unnamed = before.insert("Book");
    OpenStore& store = migrated([](Model& model) {
        auto& title = model.addEntity("Book").addAttribute("title", Type::String);
        title.setOptional(false).setDefault("Untitled").setIndexedFolded();
    });
    EXPECT_EQ(store.value(now(named, "Book"), "title"), QVariant("Emma"));
    EXPECT_EQ(store.value(now(unnamed, "Book"), "title"), QVariant("Untitled"));
    const QWFetchRequest untitled("Book", QWPredicate::comparison("title", QWPredicate::Operator::Equal,
                                                                  "untitled", QWPredicate::CaseInsensitive));
    EXPECT_THAT(store.keys(untitled), ElementsAre(unnamed.key));
}

TEST_F(Migration, An_attribute_may_become_required_without_default_when_every_row_has_a_value) {
    const auto emma = migrated(declareBook).insert("Book", {{"title", "Emma"}});
    OpenStore& store = migrated(
        [](Model& model) { model.addEntity("Book").addAttribute("title", Type::String).setOptional(false); });
    EXPECT_EQ(store.value(now(emma, "Book"), "title"), QVariant("Emma"));
}

TEST_F(Migration, A_required_attribute_may_become_optional) {
    const auto emma = migrated([](Model& model) {
                          model.addEntity("Book").addAttribute("title", Type::String).setOptional(false);
                      }).insert("Book", {{"title", "Emma"}});
    EXPECT_EQ(migrated(declareBook).value(now(emma, "Book"), "title"), QVariant("Emma"));
}

TEST_F(Migration, Indexes_come_and_go) {
    const auto emma = migrated(declareBook).insert("Book", {{"title", "EMMA"}});
    const auto indexed = [](Model& model) {
        model.addEntity("Book").addAttribute("title", Type::String).setIndexed().setIndexedFolded();
    };
    OpenStore& store = migrated(indexed);
    const QWFetchRequest emmas("Book", QWPredicate::comparison("title", QWPredicate::Operator::Equal, "emma",
                                                               QWPredicate::CaseInsensitive));
    EXPECT_THAT(store.keys(emmas), ElementsAre(emma.key));
    EXPECT_EQ(store->distinctValues(QWFetchRequest("Book"), "title", nullptr), QVariantList({"EMMA"}));
    EXPECT_THAT(migrated(declareBook).keys(emmas), ElementsAre(emma.key));
}

// Entities --------------------------------------------------------------------------------------------------

TEST_F(Migration, An_added_entity_is_empty_and_the_others_stay) {
    const auto emma = migrated(declareBook).insert("Book", {{"title", "Emma"}});
    OpenStore& store = migrated([](Model& model) {
        model.addEntity("Author").addAttribute("name", Type::String);
        declareBook(model);
    });
    EXPECT_EQ(store.value(now(emma, "Book"), "title"), QVariant("Emma"));
    EXPECT_EQ(store->count(QWFetchRequest("Author"), nullptr), 0);
    store.insert("Author", {{"name", "Austen"}});
    EXPECT_EQ(store->count(QWFetchRequest("Author"), nullptr), 1);
    EXPECT_EQ(store->count(QWFetchRequest("Book"), nullptr), 1);
}

TEST_F(Migration, A_removed_entity_takes_its_rows_and_the_relationships_to_it_along) {
    const auto emma = [&] {
        OpenStore& store = migrated([](Model& model) {
            auto& book = model.addEntity("Book");
            book.addAttribute("title", Type::String);
            book.addToOne("author", "Author");
            model.addEntity("Author");
        });
        return store.insert("Book", {{"title", "Emma"}, {"author", store.insert("Author").key}});
    }();
    OpenStore& store = migrated(declareBook);
    EXPECT_EQ(store.value(now(emma, "Book"), "title"), QVariant("Emma"));
}

TEST_F(Migration, A_renamed_entity_keeps_its_rows_versions_and_links) {
    const auto declare = [](const QString& name, const QString& from) {
        return [=](Model& model) {
            auto& book = model.addEntity("Book");
            book.addToOne("author", name).setInverse("books");
            book.addToMany("fans", name);
            auto& author = model.addEntity(name);
            author.setRenamedFrom(from);
            author.addAttribute("name", Type::String);
            author.addOrderedToMany("books", "Book").setInverse("author");
        };
    };
    OpenStore& before = migrated(declare("Author", {}));
    const auto austen = before.insert("Author", {{"name", "Austen"}});
    const auto emma = before.insert("Book", {{"author", austen.key}});
    const auto persuasion = before.insert("Book", {{"author", austen.key}});
    before.setMembers(austen, "books", {persuasion, emma});
    before.setMembers(emma, "fans", {austen});
    ASSERT_EQ(before.update(austen, 1, {{"name", "Jane Austen"}}), QWSQLiteStore::Write::Done);

    OpenStore& store = migrated(declare("Person", "Author"));
    EXPECT_EQ(store.value(now(austen, "Person"), "name"), QVariant("Jane Austen"));
    EXPECT_EQ(store.row(now(austen, "Person"))->version, 2);
    EXPECT_EQ(store.value(now(emma, "Book"), "author"), QVariant(austen.key));
    EXPECT_THAT(memberKeys("Person", "books", austen.key), ElementsAre(persuasion.key, emma.key));
    EXPECT_THAT(memberKeys("Book", "fans", emma.key), ElementsAre(austen.key));
    EXPECT_EQ(store->count(QWFetchRequest("Person"), nullptr), 1);
    EXPECT_GT(store.insert("Person").key, austen.key);
}

TEST_F(Migration, Two_entities_can_swap_their_names) {
    const auto declare = [](bool swapped) {
        return [=](Model& model) {
            auto& a = model.addEntity("A");
            a.addAttribute(swapped ? "b" : "a", Type::String);
            auto& b = model.addEntity("B");
            b.addAttribute(swapped ? "a" : "b", Type::String);
            if (swapped) {
                a.setRenamedFrom("B");
                b.setRenamedFrom("A");
            }
        };
    };
    OpenStore& before = migrated(declare(false));
    const auto a = before.insert("A", {{"a", "was a"}}), b = before.insert("B", {{"b", "was b"}});
    OpenStore& store = migrated(declare(true));
    EXPECT_EQ(store.value(now(a, "B"), "a"), QVariant("was a"));
    EXPECT_EQ(store.value(now(b, "A"), "b"), QVariant("was b"));
}

TEST_F(Migration, Keys_are_never_given_twice_although_the_table_was_made_anew) {
    OpenStore& before = migrated(declareBook);
    const auto last = before.insert("Book");
    before.save([&] { before->remove(last, 1, nullptr); });
    OpenStore& store = migrated([](Model& model) { model.addEntity("Book"); });
    EXPECT_GT(store.insert("Book").key, last.key);
}

TEST_F(Migration, Another_order_of_declaration_is_no_change) {
    migrated([](Model& model) {
        auto& book = model.addEntity("Book");
        book.addAttribute("title", Type::String);
        book.addAttribute("pages", Type::Integer);
        model.addEntity("Author");
    }).insert("Book", {{"title", "Emma"}, {"pages", 9}});
    OpenStore& store = open(
        [](Model& model) {
            model.addEntity("Author");
            auto& book = model.addEntity("Book");
            book.addAttribute("pages", Type::Integer);
            book.addAttribute("title", Type::String);
        },
        {QWSynchronous::Normal, false});
    ASSERT_TRUE(store) << store.message();
    EXPECT_EQ(store.rows(QWFetchRequest("Book")).front()["title"], QVariant("Emma"));
    EXPECT_EQ(store.rows(QWFetchRequest("Book")).front()["pages"], QVariant(9));
}
