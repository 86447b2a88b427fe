#include "store/MigrationFixture.h"

// What cannot be inferred is refused with its reasons, and the file stays as it was.

using ::testing::ElementsAre;
using ::testing::IsSupersetOf;
using ::testing::UnorderedElementsAre;

TEST_F(Migration, Another_type_is_refused) {
    migrated(declareBook).insert("Book", {{"title", "Emma"}});
    EXPECT_THAT(refusal([](Model& model) { model.addEntity("Book").addAttribute("title", Type::Document); }),
                ElementsAre("Book.title changes its type from String to Document"));
    EXPECT_EQ(migrated(declareBook).rows(QWFetchRequest("Book")).front()["title"], QVariant("Emma"));
}

TEST_F(Migration, An_attribute_that_becomes_a_relationship_is_refused) {
    migrated(declareBook);
    EXPECT_THAT(refusal([](Model& model) { model.addEntity("Book").addToOne("title", "Book"); }),
                ElementsAre("Book.title changes between attribute and relationship"));
}

TEST_F(Migration, Required_without_default_is_refused_where_a_row_has_no_value) {
    migrated(declareBook).insert("Book");
    const auto required = [](Model& model) {
        auto& book = model.addEntity("Book");
        book.addAttribute("title", Type::String).setOptional(false);
        book.addAttribute("pages", Type::Integer).setOptional(false);
        book.addToOne("sequel", "Book").setOptional(false);
    };
    EXPECT_THAT(refusal(required),
                UnorderedElementsAre("Book.title is required, and saved records have no value for it",
                                     "Book.pages is required, and saved records have no value for it",
                                     "Book.sequel is required, and saved records have no value for it"));
    OpenStore& store = migrated(declareBook);
    store.save([&] {
        store->remove({&store.entity("Book"), store.keys(QWFetchRequest("Book"))[0]}, 1, nullptr);
    });
    migrated(required);
}

TEST_F(Migration, To_many_to_to_one_is_refused) {
    migrated(library(nothing, books));
    EXPECT_THAT(
        refusal(library(nothing, [](QWEntityDescription& author) { author.addToOne("books", "Book"); })),
        ElementsAre("Author.books changes from to-many to to-one"));
}

TEST_F(Migration, Hierarchies_that_merge_are_refused) {
    migrated([](Model& model) {
        model.addEntity("Film");
        model.addEntity("Record");
    });
    EXPECT_THAT(refusal([](Model& model) {
                    model.addEntity("Item");
                    model.addEntity("Film").setParent("Item");
                    model.addEntity("Record").setParent("Item");
                }),
                ElementsAre("Record joins the hierarchy of Film, which it was no part of"));
}

TEST_F(Migration, Another_destination_is_refused) {
    migrated(library(toOneAuthor, nothing));
    EXPECT_THAT(refusal(library([](QWEntityDescription& book) { book.addToOne("author", "Book"); }, nothing)),
                ElementsAre("Book.author changes its destination from Author to Book"));
}

TEST_F(Migration, Another_inverse_is_refused) {
    const auto two = [](const QString& inverse) {
        return library(
            [=](QWEntityDescription& book) { book.addToOne("author", "Author").setInverse(inverse); },
            [](QWEntityDescription& author) {
                author.addToMany("books", "Book");
                author.addToMany("drafts", "Book");
            });
    };
    migrated(two("books"));
    EXPECT_THAT(refusal(two("drafts")), IsSupersetOf({"Book.author changes its inverse"}));
}

TEST_F(Migration, A_new_inverse_that_cannot_hold_the_links_there_are_is_refused) {
    OpenStore& store = migrated(library(nothing, books));
    const auto emma = store.insert("Book"), austen = store.insert("Author"), other = store.insert("Author");
    store.setMembers(austen, "books", {emma});
    store.setMembers(other, "books", {emma});
    EXPECT_THAT(refusal(library(authorWithInverse, books)),
                ElementsAre("Book.author is to-one, and saved records belong to several"));
    migrated(library(nothing, books));
    EXPECT_THAT(memberKeys("Author", "books", austen.key), ElementsAre(emma.key));
}

TEST_F(Migration, Two_properties_that_claim_one_origin_are_refused) {
    migrated(declareBook);
    EXPECT_THAT(refusal([](Model& model) {
                    auto& book = model.addEntity("Book");
                    book.addAttribute("name", Type::String).setRenamedFrom("title");
                    book.addAttribute("label", Type::String).setRenamedFrom("title");
                }),
                ElementsAre("Book.label and another claim to have been title"));
}

TEST_F(Migration, Every_reason_is_listed) {
    migrated([](Model& model) {
        declareBook(model);
        auto& author = model.addEntity("Author");
        author.addToMany("books", "Book");
        author.addAttribute("born", Type::Date);
    });
    EXPECT_THAT(refusal([](Model& model) {
                    model.addEntity("Book").addAttribute("title", Type::Data);
                    auto& author = model.addEntity("Author");
                    author.addToOne("books", "Book");
                    author.addAttribute("born", Type::Integer);
                }),
                UnorderedElementsAre("Book.title changes its type from String to Data",
                                     "Author.books changes from to-many to to-one",
                                     "Author.born changes its type from Date to Integer"));
}

TEST_F(Migration, Nothing_migrates_when_the_host_has_switched_it_off) {
    migrated(declareBook);
    OpenStore& store = open([](Model& model) { model.addEntity("Book"); }, {QWSynchronous::Normal, false});
    EXPECT_FALSE(store);
    EXPECT_EQ(QWStoreErrorCode(store.error.code), QWStoreErrorCode::CannotMigrate);
    EXPECT_TRUE(open(declareBook, {QWSynchronous::Normal, false}));
}
