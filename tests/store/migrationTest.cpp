#include "store/StoreRows.h"

#include "store/QWStoreError.h"

#include <QFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::UnorderedElementsAre;

namespace {

using Model = QWManagedObjectModel;
using Type = QWAttributeType;

class Migration : public ::testing::Test {
protected:
    using Declare = std::function<void(Model&)>;

    QTemporaryDir folder;
    const QString path = folder.filePath("a.store");

    // Opens the file with the model that `declare` describes; the store before is closed.
    OpenStore& open(const Declare& declare, const QWStoreOptions& options = {QWSynchronous::Normal}) {
        store_.reset();
        model_ = std::make_unique<Model>();
        declare(*model_);
        QWError error;
        EXPECT_TRUE(model_->complete(&error)) << error.message.toStdString();
        store_ = std::make_unique<OpenStore>(path, *model_, options);
        return *store_;
    }
    OpenStore& migrated(const Declare& declare) {
        OpenStore& opened = open(declare);
        EXPECT_TRUE(opened) << opened.message();
        return opened;
    }
    // The reasons why the file cannot be migrated; checks that it is as it was.
    std::vector<std::string> refusal(const Declare& declare) {
        store_.reset();
        const QByteArray before = content();
        OpenStore& opened = open(declare);
        EXPECT_FALSE(opened);
        EXPECT_EQ(QWStoreErrorCode(opened.error.code), QWStoreErrorCode::CannotMigrate);
        EXPECT_EQ(opened.error.userInfo["path"], QVariant(path));
        EXPECT_TRUE(content() == before);
        EXPECT_FALSE(QFile::exists(path + "-wal"));
        std::vector<std::string> reasons;
        for (const QString& reason : opened.error.userInfo["reasons"].toStringList()) {
            EXPECT_TRUE(opened.error.message.contains(reason));
            reasons.push_back(reason.toStdString());
        }
        return reasons;
    }
    QByteArray content() const {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    // An id of the present model for a record of an earlier one.
    QWManagedObjectID now(const QWManagedObjectID& id, const QString& entity) const {
        return {model_->entity(entity), id.key};
    }
    std::vector<qint64> memberKeys(const QString& entity, const QString& relationship, qint64 owner) {
        std::vector<qint64> keys;
        for (const auto& id : (*store_)->members(store_->property(entity, relationship), owner))
            keys.push_back(id.key);
        return keys;
    }

private:
    std::unique_ptr<Model> model_;
    std::unique_ptr<OpenStore> store_;
};

void declareBook(Model& model) {
    model.addEntity("Book").addAttribute("title", Type::String);
}

} // namespace

// Attributes ---------------------------------------------------------------------------------------------------

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

// Entities -----------------------------------------------------------------------------------------------------

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

// Relationships ------------------------------------------------------------------------------------------------

namespace {

// Books and authors; the arguments declare the properties that differ.
std::function<void(Model&)> library(const std::function<void(QWEntityDescription&)>& book,
                                    const std::function<void(QWEntityDescription&)>& author) {
    return [=](Model& model) {
        book(model.addEntity("Book"));
        author(model.addEntity("Author"));
    };
}
void nothing(QWEntityDescription&) {}
void toOneAuthor(QWEntityDescription& entity) {
    entity.addToOne("author", "Author");
}
void authorWithInverse(QWEntityDescription& entity) {
    entity.addToOne("author", "Author").setInverse("books");
}
void books(QWEntityDescription& entity) {
    entity.addToMany("books", "Book");
}

} // namespace

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

// Hierarchies --------------------------------------------------------------------------------------------------

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

// Refusals -----------------------------------------------------------------------------------------------------

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
