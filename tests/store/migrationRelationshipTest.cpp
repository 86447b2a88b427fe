#include "store/MigrationFixture.h"

// Relationships and hierarchies that change while their rows and links stay.

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Relationships ---------------------------------------------------------------------------------------------

TEST_F(Migration, Added_relationships_are_empty_and_removed_ones_are_gone) {
    const auto emma = migrated(library(nothing, nothing)).insert("Book");
    OpenStore& linked = migrated(library(authorWithInverse, books));
    const auto austen = linked.insert("Author");
    EXPECT_FALSE(linked.value(now(emma, "Book"), "author").isValid());
    EXPECT_EQ(linked.update(now(emma, "Book"), 1, {{"author", austen.key}}), QWSQLiteStore::Write::Done);
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(emma.key));
    EXPECT_TRUE(migrated(library(nothing, nothing)).row(now(emma, "Book")));
}

TEST_F(Migration, Renamed_relationships_keep_their_links) {
    OpenStore& before = migrated(library(
        [](QWEntityDescription& book) {
            book.addToOne("author", "Author").setInverse("books");
            book.addOrderedToMany("editors", "Author");
        },
        books));
    const auto austen = before.insert("Author"), other = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}});
    before.setMembers(emma, "editors", {other, austen});
    OpenStore& store = migrated(library(
        [](QWEntityDescription& book) {
            book.addToOne("writer", "Author").setInverse("works").setRenamedFrom("author");
            book.addOrderedToMany("helpers", "Author").setRenamedFrom("editors");
        },
        [](QWEntityDescription& author) { author.addToMany("works", "Book").setRenamedFrom("books"); }));
    EXPECT_EQ(store.value(now(emma, "Book"), "writer"), QVariant(austen.key));
    EXPECT_THAT(memberKeys("Author", "works", austen.key), ElementsAre(emma.key));
    EXPECT_THAT(memberKeys("Book", "helpers", emma.key), ElementsAre(other.key, austen.key));
}

TEST_F(Migration, A_to_one_becomes_a_to_many_with_that_one_member) {
    OpenStore& before = migrated(library(toOneAuthor, nothing));
    const auto austen = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}}), anonymous = before.insert("Book");
    OpenStore& store = migrated(library(
        [](QWEntityDescription& book) { book.addToMany("authors", "Author").setRenamedFrom("author"); },
        nothing));
    EXPECT_TRUE(store);
    EXPECT_THAT(memberKeys("Book", "authors", emma.key), ElementsAre(austen.key));
    EXPECT_THAT(memberKeys("Book", "authors", anonymous.key), IsEmpty());
}

TEST_F(Migration, A_many_to_one_becomes_a_many_to_many) {
    OpenStore& before = migrated(library(authorWithInverse, [](QWEntityDescription& author) {
        author.addOrderedToMany("books", "Book").setInverse("author");
    }));
    const auto austen = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}});
    const auto persuasion = before.insert("Book", {{"author", austen.key}});
    before.setMembers(austen, "books", {persuasion, emma});
    migrated(library(
        [](QWEntityDescription& book) { book.addToMany("author", "Author").setInverse("books"); },
        [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book").setInverse("author"); }));
    EXPECT_THAT(memberKeys("Book", "author", emma.key), ElementsAre(austen.key));
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(persuasion.key, emma.key));
}

TEST_F(Migration, A_to_many_becomes_ordered_and_unordered_again) {
    const auto ordered = library(
        [](QWEntityDescription& book) {
            authorWithInverse(book);
            book.addOrderedToMany("fans", "Author");
        },
        [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book"); });
    const auto unordered = library(
        [](QWEntityDescription& book) {
            authorWithInverse(book);
            book.addToMany("fans", "Author");
        },
        books);
    OpenStore& before = migrated(unordered);
    const auto austen = before.insert("Author"), fan = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}});
    const auto persuasion = before.insert("Book", {{"author", austen.key}});
    before.setMembers(emma, "fans", {fan, austen});

    OpenStore& store = migrated(ordered);
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(emma.key, persuasion.key));
    EXPECT_THAT(memberKeys("Book", "fans", emma.key), ElementsAre(austen.key, fan.key));
    store.setMembers(now(austen, "Author"), "books", {now(persuasion, "Book"), now(emma, "Book")});
    store.setMembers(now(emma, "Book"), "fans", {now(fan, "Author"), now(austen, "Author")});
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(persuasion.key, emma.key));
    EXPECT_THAT(memberKeys("Book", "fans", emma.key), ElementsAre(fan.key, austen.key));

    migrated(unordered);
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(emma.key, persuasion.key));
    EXPECT_THAT(memberKeys("Book", "fans", emma.key), ElementsAre(austen.key, fan.key));
}

TEST_F(Migration, Orders_survive_other_changes_of_their_tables) {
    const auto declare = [](const QString& farEnd, const QString& renamedFrom, const QString& attribute) {
        return library(
            [=](QWEntityDescription& book) {
                authorWithInverse(book);
                book.addOrderedToMany("tags", "Author").setInverse(farEnd);
                book.addAttribute(attribute, Type::String);
            },
            [=](QWEntityDescription& author) {
                author.addOrderedToMany("books", "Book");
                author.addOrderedToMany(farEnd, "Book").setRenamedFrom(renamedFrom);
            });
    };
    OpenStore& before = migrated(declare("tagged", {}, "title"));
    const auto austen = before.insert("Author"), fan = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}});
    const auto persuasion = before.insert("Book", {{"author", austen.key}});
    before.setMembers(austen, "books", {persuasion, emma});
    before.setMembers(emma, "tags", {fan, austen});
    before.setMembers(persuasion, "tags", {austen});
    before.setMembers(austen, "tagged", {persuasion, emma});
    migrated(declare("allTagged", "tagged", "name"));
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(persuasion.key, emma.key));
    EXPECT_THAT(memberKeys("Book", "tags", emma.key), ElementsAre(fan.key, austen.key));
    EXPECT_THAT(memberKeys("Author", "allTagged", austen.key), ElementsAre(persuasion.key, emma.key));
}

TEST_F(Migration, A_new_inverse_is_filled_from_the_links_there_are) {
    OpenStore& oneWay = migrated(
        library(nothing, [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book"); }));
    const auto austen = oneWay.insert("Author");
    const auto emma = oneWay.insert("Book"), persuasion = oneWay.insert("Book");
    oneWay.setMembers(austen, "books", {persuasion, emma});

    OpenStore& store = migrated(library(
        authorWithInverse, [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book"); }));
    EXPECT_EQ(store.value(now(emma, "Book"), "author"), QVariant(austen.key));
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(persuasion.key, emma.key));
}

TEST_F(Migration, A_relationship_that_loses_its_inverse_keeps_its_links) {
    OpenStore& before = migrated(library(
        authorWithInverse, [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book"); }));
    const auto austen = before.insert("Author");
    const auto emma = before.insert("Book", {{"author", austen.key}});
    const auto persuasion = before.insert("Book", {{"author", austen.key}});
    before.setMembers(austen, "books", {persuasion, emma});
    migrated(library(nothing, [](QWEntityDescription& author) { author.addOrderedToMany("books", "Book"); }));
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(persuasion.key, emma.key));
}

// Hierarchies -----------------------------------------------------------------------------------------------

TEST_F(Migration, A_parent_and_a_sibling_are_added_above_and_beside_an_entity) {
    const auto shelf = [](Model& model, const QString& destination) {
        model.addEntity("Shelf").addToMany("items", destination);
    };
    OpenStore& before = migrated([&](Model& model) {
        declareBook(model);
        shelf(model, "Book");
    });
    const auto emma = before.insert("Book", {{"title", "Emma"}});
    const auto board = before.insert("Shelf");
    before.setMembers(board, "items", {emma});

    OpenStore& store = migrated([&](Model& model) {
        model.addEntity("Item").addAttribute("title", Type::String); // moved up
        model.addEntity("Book").setParent("Item").addAttribute("pages", Type::Integer);
        model.addEntity("Film").setParent("Item");
        shelf(model, "Item");
    });
    EXPECT_EQ(store.value(now(emma, "Book"), "title"), QVariant("Emma"));
    EXPECT_EQ(store.row(now(emma, "Book"))->entity->name(), "Book");
    const auto film = store.insert("Film", {{"title", "Clueless"}});
    EXPECT_GT(film.key, emma.key);
    EXPECT_THAT(store.keys(QWFetchRequest("Item")), ElementsAre(emma.key, film.key));
    EXPECT_THAT(memberKeys("Shelf", "items", board.key), ElementsAre(emma.key));
}

TEST_F(Migration, Properties_move_down_a_hierarchy) {
    const auto media = [](bool down) {
        return [=](Model& model) {
            auto& item = model.addEntity("Item");
            auto& film = model.addEntity("Film").setParent("Item");
            model.addEntity("Book").setParent("Item");
            (down ? film : item).addAttribute("length", Type::Integer);
        };
    };
    OpenStore& before = migrated(media(false));
    const auto film = before.insert("Film", {{"length", 90}}),
               emma = before.insert("Book", {{"length", 500}});
    OpenStore& store = migrated(media(true));
    EXPECT_EQ(store.value(now(film, "Film"), "length"), QVariant(90));
    EXPECT_TRUE(store.row(now(emma, "Book")));
}

TEST_F(Migration, An_entity_leaves_its_hierarchy_with_its_rows) {
    const auto media = [](bool apart) {
        return [=](Model& model) {
            model.addEntity("Item").addAttribute("name", Type::String);
            auto& film = model.addEntity("Film");
            if (apart)
                film.addAttribute("name", Type::String);
            else
                film.setParent("Item");
        };
    };
    OpenStore& before = migrated(media(false));
    const auto item = before.insert("Item", {{"name", "i"}}), film = before.insert("Film", {{"name", "f"}});
    OpenStore& store = migrated(media(true));
    EXPECT_EQ(store.value(now(film, "Film"), "name"), QVariant("f"));
    EXPECT_THAT(store.keys(QWFetchRequest("Item")), ElementsAre(item.key));
    EXPECT_GT(store.insert("Film").key, film.key);
}

TEST_F(Migration, A_removed_child_takes_its_rows_and_the_links_to_them_along) {
    const auto media = [](bool withFilms) {
        return [=](Model& model) {
            model.addEntity("Item");
            model.addEntity("Shelf").addToMany("items", "Item");
            model.addEntity("Note").addToOne("item", "Item");
            if (withFilms)
                model.addEntity("Film").setParent("Item");
        };
    };
    OpenStore& before = migrated(media(true));
    const auto item = before.insert("Item"), film = before.insert("Film"), shelf = before.insert("Shelf");
    const auto note = before.insert("Note", {{"item", film.key}});
    before.setMembers(shelf, "items", {item, film});
    OpenStore& store = migrated(media(false));
    EXPECT_THAT(store.keys(QWFetchRequest("Item")), ElementsAre(item.key));
    EXPECT_EQ(store->count(QWFetchRequest("Item"), nullptr), 1);
    EXPECT_THAT(memberKeys("Shelf", "items", shelf.key), ElementsAre(item.key));
    EXPECT_FALSE(store.value(now(note, "Note"), "item").isValid());
}
