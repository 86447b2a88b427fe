#include "store/QWManagedObjectModel.h"

#include "store/QWPersistentStoreCoordinator.h"
#include "store/QWStoreError.h"

#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <limits>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Type = QWAttributeType;

namespace {

// Why the model is refused; empty when it is not.
std::vector<std::string> contradictions(const std::function<void(QWManagedObjectModel&)>& declare) {
    QWManagedObjectModel model;
    declare(model);
    QWError error;
    const bool completed = model.complete(&error);
    EXPECT_EQ(completed, model.isComplete());
    EXPECT_EQ(completed, !error.isError());
    std::vector<std::string> reasons;
    for (const QString& reason : error.userInfo["reasons"].toStringList()) {
        EXPECT_EQ(QWStoreErrorCode(error.code), QWStoreErrorCode::InvalidModel);
        EXPECT_TRUE(error.message.contains(reason));
        reasons.push_back(reason.toStdString());
    }
    return reasons;
}

QVariant converted(Type type, const QVariant& value) {
    QWManagedObjectModel model;
    return model.addEntity("E").addAttribute("a", type).converted(value).value_or("misfit");
}

} // namespace

TEST(Model, Inherited_properties_come_first_and_keep_their_places) {
    QWManagedObjectModel model;
    auto& novel = model.addEntity("Novel").setParent("Book");
    novel.addAttribute("genre", Type::String);
    auto& book = model.addEntity("Book");
    book.addAttribute("title", Type::String);
    book.addToOne("author", "Book");
    ASSERT_TRUE(model.complete());
    EXPECT_EQ(novel.properties().size(), 3u);
    EXPECT_EQ(novel.property("title"), book.property("title"));
    EXPECT_EQ(novel.property("title")->index(), 0);
    EXPECT_EQ(novel.property("genre")->index(), 2);
    EXPECT_EQ(book.property("genre"), nullptr);
    EXPECT_EQ(&novel.root(), &book);
    EXPECT_EQ(&book.root(), &book);
    EXPECT_THAT(book.children(), ElementsAre(&novel));
    EXPECT_TRUE(novel.isKindOf(book));
    EXPECT_FALSE(book.isKindOf(novel));
    EXPECT_EQ(model.entity("Novel"), &novel);
    EXPECT_EQ(model.entity("Nothing"), nullptr);
    EXPECT_EQ(novel.index(), 0);
}

TEST(Model, Relationships_know_their_destination_and_inverse_also_when_one_end_alone_names_it) {
    QWManagedObjectModel model;
    auto& book = model.addEntity("Book");
    book.addToOne("author", "Author").setInverse("books");
    book.addToMany("likes", "Book");
    auto& author = model.addEntity("Author");
    author.addOrderedToMany("books", "Book");
    ASSERT_TRUE(model.complete());
    EXPECT_EQ(book.property("author")->destination(), &author);
    EXPECT_EQ(book.property("author")->inverse(), author.property("books"));
    EXPECT_EQ(author.property("books")->inverse(), book.property("author"));
    EXPECT_EQ(book.property("likes")->inverse(), nullptr);
    EXPECT_TRUE(author.property("books")->isOrdered());
    EXPECT_TRUE(book.property("likes")->isToMany());
    EXPECT_FALSE(book.property("author")->isToMany());
}

TEST(Model, Defaults_take_the_attributes_own_type) {
    QWManagedObjectModel model;
    auto& book = model.addEntity("Book");
    book.addAttribute("pages", Type::Integer).setDefault(3);
    book.addAttribute("price", Type::Double).setDefault(3);
    ASSERT_TRUE(model.complete());
    EXPECT_EQ(book.property("pages")->defaultValue().typeId(), QMetaType::LongLong);
    EXPECT_EQ(book.property("price")->defaultValue().typeId(), QMetaType::Double);
}

TEST(Model, Every_contradiction_is_listed) {
    EXPECT_THAT(contradictions([](QWManagedObjectModel& model) {
                    auto& book = model.addEntity("Book");
                    book.addAttribute("title", Type::String).setDefault(1);
                    book.addAttribute("title", Type::String);
                    book.addAttribute("pages", Type::Integer).setIndexedFolded();
                    book.addToOne("author", "Nobody");
                    book.addToOne("sequel", "Book").setDefault(1);
                    model.addEntity("Book");
                }),
                UnorderedElementsAre("two entities are named Book", "the default of Book.title does not fit",
                                     "two properties are named Book.title",
                                     "Book.pages is indexed folded but is no string",
                                     "Book.author has the unknown destination Nobody",
                                     "the default of Book.sequel does not fit"));
}

TEST(Model, A_child_may_not_declare_what_it_inherits) {
    EXPECT_THAT(contradictions([](QWManagedObjectModel& model) {
                    model.addEntity("Book").addAttribute("title", Type::String);
                    model.addEntity("Novel").setParent("Book").addAttribute("title", Type::String);
                }),
                ElementsAre("two properties are named Novel.title"));
}

TEST(Model, Parents_must_exist_and_may_not_form_a_circle) {
    EXPECT_THAT(
        contradictions([](QWManagedObjectModel& model) { model.addEntity("Book").setParent("Item"); }),
        ElementsAre("Book has the unknown parent Item"));
    EXPECT_THAT(contradictions([](QWManagedObjectModel& model) {
                    model.addEntity("A").setParent("B");
                    model.addEntity("B").setParent("A");
                }),
                ElementsAre("A is its own ancestor", "B is its own ancestor"));
}

TEST(Model, Inverses_must_match) {
    const auto with = [](const QString& inverseOfAuthor, const QString& inverseOfBooks,
                         const QString& destination) {
        return contradictions([=](QWManagedObjectModel& model) {
            auto& book = model.addEntity("Book");
            book.addToOne("author", "Author").setInverse(inverseOfAuthor);
            book.addToOne("editor", "Author");
            model.addEntity("Author").addToMany("books", destination).setInverse(inverseOfBooks);
        });
    };
    EXPECT_THAT(with("books", "author", "Book"), IsEmpty());
    EXPECT_THAT(with("books", "editor", "Book"),
                ElementsAre("Book.author and its inverse Author.books do not match"));
    EXPECT_THAT(with("nothing", {}, "Book"),
                ElementsAre("Book.author and its inverse Author.nothing do not match"));
    EXPECT_THAT(with("books", {}, "Author"),
                ElementsAre("Book.author and its inverse Author.books do not match"));
}

TEST(Model, One_relationship_cannot_be_the_inverse_of_two) {
    EXPECT_THAT(contradictions([](QWManagedObjectModel& model) {
                    auto& book = model.addEntity("Book");
                    book.addToOne("author", "Author").setInverse("books");
                    book.addToOne("editor", "Author").setInverse("books");
                    model.addEntity("Author").addToMany("books", "Book");
                }),
                ElementsAre("Book.editor and its inverse Author.books do not match"));
}

TEST(Model, A_relationship_may_be_its_own_inverse) {
    QWManagedObjectModel model;
    auto& person = model.addEntity("Person");
    person.addToMany("friends", "Person").setInverse("friends");
    ASSERT_TRUE(model.complete());
    EXPECT_EQ(person.property("friends")->inverse(), person.property("friends"));
}

TEST(Model, A_model_that_was_mended_completes) {
    QWManagedObjectModel model;
    model.addEntity("Book").addToOne("author", "Author");
    EXPECT_FALSE(model.complete());
    model.addEntity("Author");
    EXPECT_TRUE(model.complete());
    EXPECT_TRUE(model.complete());
}

TEST(Model, The_coordinator_says_what_is_wrong_with_a_model_when_the_store_is_added) {
    QTemporaryDir folder;
    const auto model = std::make_shared<QWManagedObjectModel>();
    model->addEntity("Book").setParent("Item");
    QWVirtualWorld world;
    QWPersistentStoreCoordinator coordinator(model, world.environment());
    QWError error;
    EXPECT_FALSE(coordinator.addStore(folder.filePath("a.store"), {}, &error));
    EXPECT_EQ(QWStoreErrorCode(error.code), QWStoreErrorCode::InvalidModel);
    EXPECT_FALSE(coordinator.hasStore());
    EXPECT_FALSE(QFile::exists(folder.filePath("a.store")));
}

TEST(Model, The_coordinator_keeps_the_path_of_the_store_that_it_opened) {
    QTemporaryDir folder;
    const auto model = std::make_shared<QWManagedObjectModel>();
    model->addEntity("Book");
    QWVirtualWorld world;
    QWPersistentStoreCoordinator coordinator(model, world.environment());
    EXPECT_TRUE(coordinator.model().isComplete());
    EXPECT_TRUE(coordinator.addStore(folder.filePath("a.store")));
    EXPECT_TRUE(coordinator.hasStore());
    EXPECT_EQ(coordinator.storePath(), folder.filePath("a.store"));
}

// Conversion ------------------------------------------------------------------------------------------------

TEST(AttributeConversion, No_value_stays_no_value) {
    for (const Type type :
         {Type::String, Type::Integer, Type::Double, Type::Boolean, Type::Date, Type::Data, Type::Document}) {
        EXPECT_FALSE(converted(type, QVariant()).isValid());
        EXPECT_FALSE(converted(type, QVariant::fromValue(nullptr)).isValid());
    }
}

TEST(AttributeConversion, Numbers_convert_when_they_do_so_exactly) {
    EXPECT_EQ(converted(Type::Integer, 1.0), QVariant(qlonglong(1)));
    EXPECT_EQ(converted(Type::Integer, true), QVariant(qlonglong(1)));
    EXPECT_EQ(converted(Type::Integer, 7u).typeId(), QMetaType::LongLong);
    EXPECT_EQ(converted(Type::Integer, 1.5), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Integer, 9223372036854775808.0), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Integer, std::numeric_limits<qulonglong>::max()), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Integer, std::numeric_limits<double>::quiet_NaN()), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Double, 3), QVariant(3.0));
    EXPECT_EQ(converted(Type::Double, (1LL << 53) + 1), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Double, std::numeric_limits<qlonglong>::max()), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Boolean, 1.0), QVariant(true));
    EXPECT_EQ(converted(Type::Boolean, 0), QVariant(false));
    EXPECT_EQ(converted(Type::Boolean, 2), QVariant("misfit"));
}

TEST(AttributeConversion, Nothing_but_numbers_converts) {
    EXPECT_EQ(converted(Type::Integer, "1"), QVariant("misfit"));
    EXPECT_EQ(converted(Type::String, 1), QVariant("misfit"));
    EXPECT_EQ(converted(Type::String, QByteArray("x")), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Data, "x"), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Date, "2013-05-04 18:22:10 +0200"), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Date, QVariant::fromValue(QDateTime())), QVariant("misfit"));
    EXPECT_EQ(converted(Type::Document, 1), QVariant("misfit"));
}

TEST(AttributeConversion, Dates_become_utc_and_documents_stay_as_given) {
    const QDateTime local(QDate(2013, 5, 4), QTime(18, 22, 10), Qt::OffsetFromUTC, 7200);
    EXPECT_EQ(converted(Type::Date, local).toDateTime().timeSpec(), Qt::UTC);
    EXPECT_EQ(converted(Type::Date, local).toDateTime(), local);
    EXPECT_EQ(converted(Type::Document, QByteArray("x")), QVariant(QByteArray("x")));
    EXPECT_EQ(converted(Type::Document, "x"), QVariant("x"));
}
