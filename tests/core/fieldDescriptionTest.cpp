#include "core/QWManagedObjectFieldDescription.h"
#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "support/RecordingVisitor.h"

#include <QCoreApplication>
#include <QTranslator>

namespace {

using Description = QWManagedObjectFieldDescription;

struct FieldDescription : testing::Test {
    QStringList visit(const Description& description, QWManagedObject& object) {
        RecordingVisitor visitor;
        description.performAcceptVisitor(visitor, object);
        return visitor.calls;
    }

    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    const QWDateFormatterRef formatter = std::make_shared<QWPatternDateFormatter>("yyyy", QLocale::c());
};

// Translates one text and counts how often any is asked for.
struct OneTranslation : QTranslator {
    explicit OneTranslation(const char* from, QString to = {}) : source(from), translation(std::move(to)) {
        QCoreApplication::installTranslator(this);
    }
    bool isEmpty() const override { return false; }
    QString translate(const char*, const char* text, const char*, int) const override {
        asked << QString::fromUtf8(text);
        return QString::fromUtf8(text) == source ? translation : QString();
    }
    QString source, translation;
    mutable QStringList asked;
};

template <class Type, class... Arguments>
constexpr bool canBeMade = std::is_constructible_v<Type, Arguments...>;

} // namespace

TEST_F(FieldDescription, Each_type_calls_the_one_operation_that_matches_it) {
    const QVariantList values = {1, 2};
    const QStringList names = {"One", "Two"};
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionString("k", "s", "n"), *book),
              QStringList{"string Book(k, s, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionStringArray("k", "s", "n"), *book),
              QStringList{"stringArray Book(k, s, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionLongString("k", "n", true), *book),
              QStringList{"longString Book(k, YES, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionBool("k", "n"), *book), QStringList{"bool Book(k, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionNumber("k", true, "n"), *book),
              QStringList{"number Book(k, YES, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionDate("k", "n", formatter), *book),
              QStringList{"date Book(k, n, 1970)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionEnum("k", "nk", "n", values, names), *book),
              QStringList{"enum Book(k, nk, n, 1|2, One|Two)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionLevel("k", "n", true, 5), *book),
              QStringList{"level Book(k, YES, 5, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionImageURL("k", "n"), *book),
              QStringList{"image Book(k, n)"});
}

TEST_F(FieldDescription, Each_type_hands_over_the_name_for_the_records_class_and_flags_that_are_off) {
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionString("k", "s", "*C*N"), *book),
              QStringList{"string Book(k, s, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionStringArray("k", "s", "*C*N"), *book),
              QStringList{"stringArray Book(k, s, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionLongString("k", "*C*N", false), *book),
              QStringList{"longString Book(k, NO, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionBool("k", "*C*N"), *book),
              QStringList{"bool Book(k, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionNumber("k", false, "*C*N"), *book),
              QStringList{"number Book(k, NO, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionDate("k", "*C*N", formatter), *book),
              QStringList{"date Book(k, BookN, 1970)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionEnum("k", "nk", "*C*N", {1}, {"One"}), *book),
              QStringList{"enum Book(k, nk, BookN, 1, One)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionLevel("k", "*C*N", false, 7), *book),
              QStringList{"level Book(k, NO, 7, BookN)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionImageURL("k", "*C*N"), *book),
              QStringList{"image Book(k, BookN)"});
}

TEST_F(FieldDescription, Settings_that_are_left_out_are_off) {
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionString("k", "n"), *book),
              QStringList{"string Book(k, null, n)"});
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionStringArray("k", "n"), *book),
              QStringList{"stringArray Book(k, null, n)"});
    EXPECT_FALSE(QWManagedObjectFieldDescriptionLongString("k", "n").isRichText());
    EXPECT_FALSE(QWManagedObjectFieldDescriptionNumber("k", "n").acceptFloat());
}

TEST_F(FieldDescription, Types_that_need_their_settings_cannot_be_made_without) {
    static_assert(!canBeMade<QWManagedObjectFieldDescriptionDate, QString, QString>);
    static_assert(!canBeMade<QWManagedObjectFieldDescriptionEnum, QString, QString>);
    static_assert(!canBeMade<QWManagedObjectFieldDescriptionLevel, QString, QString>);
    static_assert(!canBeMade<QWManagedObjectFieldDescriptionRelationship, QString, QString>);
    static_assert(canBeMade<QWManagedObjectFieldDescriptionBool, QString, QString>);
}

TEST_F(FieldDescription, The_base_calls_no_operation) {
    const auto failure = assertionFailure([&] { visit(Description("k", "n"), *book); });
    EXPECT_EQ(failure.expression, "NO");
    EXPECT_EQ(failure.operation, "-[QWManagedObjectFieldDescription performAcceptVisitor:onObject:]");
    EXPECT_EQ(failure.file, "QWManagedObjectFieldDescription.cpp");
}

TEST_F(FieldDescription, A_date_without_formatter_is_a_programming_error_of_its_own_class) {
    const auto failure = assertionFailure([] { QWManagedObjectFieldDescriptionDate("k", "n", nullptr); });
    EXPECT_EQ(failure.expression, "formatter");
    EXPECT_EQ(failure.file, "QWManagedObjectFieldDescriptionDate.cpp");
}

TEST_F(FieldDescription, A_dates_formatter_may_be_replaced) {
    QWManagedObjectFieldDescriptionDate date("k", "n", formatter);
    date.setDateFormatter(std::make_shared<QWPatternDateFormatter>("MM/yyyy", QLocale::c()));
    EXPECT_EQ(visit(date, *book), QStringList{"date Book(k, n, 01/1970)"});
}

// Names -----------------------------------------------------------------------------------------------------

TEST_F(FieldDescription, A_name_without_the_marker_is_returned_unchanged_and_not_looked_up) {
    const OneTranslation translation("Title", "Titel");
    EXPECT_EQ(Description("k", "Title").nameWithObjectToManage(book.data()), "Title");
    EXPECT_TRUE(translation.asked.isEmpty());
}

TEST_F(FieldDescription, The_marker_becomes_the_class_and_the_whole_is_translated) {
    const OneTranslation translation("BookTitle of Book", "Buchtitel");
    EXPECT_EQ(Description("k", "*C*Title of *C*").nameWithObjectToManage(book.data()), "Buchtitel");
}

TEST_F(FieldDescription, A_name_without_translation_is_its_key) {
    EXPECT_EQ(Description("k", "*C*Title").nameWithObjectToManage(book.data()), "BookTitle");
}

TEST_F(FieldDescription, Without_a_record_the_marker_is_removed_and_the_rest_looked_up) {
    const OneTranslation translation("Title", "Titel");
    EXPECT_EQ(Description("k", "*C*Title").nameWithObjectToManage(nullptr), "Titel");
}

TEST_F(FieldDescription, A_marker_in_a_name_that_is_set_later_stays_as_it_is) {
    Description description("k", "Title");
    description.setName("*C*Title");
    EXPECT_EQ(description.nameWithObjectToManage(book.data()), "*C*Title");
}

TEST_F(FieldDescription, A_name_that_replaces_one_with_the_marker_is_still_translated) {
    const OneTranslation translation("Title", "Titel");
    Description description("k", "*C*Title");
    description.setName("Title");
    EXPECT_EQ(description.nameWithObjectToManage(book.data()), "Titel");
}

// Relationships ---------------------------------------------------------------------------------------------

TEST_F(FieldDescription, A_to_many_visits_its_destinations_in_their_order_and_closes) {
    library.insertChapter(*book, "One");
    library.insertChapter(*book, "Two");
    struct OneLevel final : RecordingVisitor {
        bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                        const QString& name, const QString& destination,
                                                        bool isToMany) override {
            exploresRelationships = object.entity().name() == "Book";
            return RecordingVisitor::visitObjectShouldExploreRelationshipForKey(object, key, name,
                                                                                destination, isToMany);
        }
        void visitObjectStringForKey(QWManagedObject& object, const QString& key, const QString&,
                                     const QString&) override {
            calls << object.valueForKey(key).toString();
        }
    } visitor;
    QWManagedObjectFieldDescriptionRelationship("chapters", "*C*Chapters", "Chapter", true)
        .performAcceptVisitor(visitor, *book);
    EXPECT_EQ(visitor.calls,
              (QStringList{"explore Book(chapters, BookChapters, Chapter, YES)", "begin Chapter()", "One",
                           "explore Chapter(book, Book, Book, NO)", "end Chapter()", "begin Chapter()", "Two",
                           "explore Chapter(book, Book, Book, NO)", "end Chapter()",
                           "close Book(chapters, BookChapters)"}));
}

TEST_F(FieldDescription, A_to_one_visits_its_destination_and_closes) {
    book->setRelatedObject("author", library.insertAuthor().data());
    const QWManagedObjectFieldDescriptionRelationship author("author", "Author", "Author", false);
    EXPECT_EQ(visit(author, *book), (QStringList{"explore Book(author, Author, Author, NO)", "begin Author()",
                                                 "string Author(name, null, Name)",
                                                 "date Author(dateModified, dateModified, 01.01.1970 00:00)",
                                                 "end Author()", "close Book(author, Author)"}));
}

TEST_F(FieldDescription, A_visitor_that_says_NO_sees_neither_destinations_nor_the_close) {
    library.insertChapter(*book, "One");
    RecordingVisitor visitor;
    visitor.exploresRelationships = false;
    QWManagedObjectFieldDescriptionRelationship("chapters", "Chapters", "Chapter", true)
        .performAcceptVisitor(visitor, *book);
    EXPECT_EQ(visitor.calls, QStringList{"explore Book(chapters, Chapters, Chapter, YES)"});
}

TEST_F(FieldDescription, A_visitor_that_does_not_answer_relationships_is_not_asked) {
    library.insertChapter(*book, "One");
    RecordingVisitor visitor;
    visitor.answersRelationships = false;
    QWManagedObjectFieldDescriptionRelationship("chapters", "Chapters", "Chapter", true)
        .performAcceptVisitor(visitor, *book);
    EXPECT_TRUE(visitor.calls.isEmpty());
}

TEST_F(FieldDescription, An_empty_relationship_is_opened_and_closed) {
    EXPECT_EQ(
        visit(QWManagedObjectFieldDescriptionRelationship("chapters", "Chapters", "Chapter", true), *book),
        (QStringList{"explore Book(chapters, Chapters, Chapter, YES)", "close Book(chapters, Chapters)"}));
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionRelationship("author", "Author", "Author", false), *book),
              (QStringList{"explore Book(author, Author, Author, NO)", "close Book(author, Author)"}));
}

TEST_F(FieldDescription, Destinations_that_do_not_accept_visitors_are_passed_over) {
    const auto shelf = library.insert<Shelf>("Shelf");
    shelf->setRelatedObject("sticker", library.context->insertObject("Sticker").data());
    shelf->setRelatedObject("pen", library.insert<Pen>("Pen").data());
    shelf->addRelatedObject("stickers", *library.context->insertObject("Sticker"));
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionRelationship("stickers", "n", "Sticker", true), *shelf),
              (QStringList{"explore Shelf(stickers, n, Sticker, YES)", "close Shelf(stickers, n)"}));
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionRelationship("sticker", "n", "Sticker", false), *shelf),
              (QStringList{"explore Shelf(sticker, n, Sticker, NO)", "close Shelf(sticker, n)"}));
    EXPECT_EQ(visit(QWManagedObjectFieldDescriptionRelationship("pen", "n", "Pen", false), *shelf),
              (QStringList{"explore Shelf(pen, n, Pen, NO)", "close Shelf(pen, n)"}));
}

// Visitors and records --------------------------------------------------------------------------------------

TEST_F(FieldDescription, A_record_shows_its_fields_in_order_between_begin_and_end) {
    RecordingVisitor visitor;
    library.insertAuthor()->acceptVisitor(visitor);
    EXPECT_EQ(visitor.calls,
              (QStringList{"begin Author()", "string Author(name, null, Name)",
                           "date Author(dateModified, dateModified, 01.01.1970 00:00)", "end Author()"}));
}

TEST_F(FieldDescription, A_visitor_that_answers_the_question_but_not_the_close_is_a_programming_error) {
    struct NeverCloses final : RecordingVisitor {
        void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                                const QString& name) override {
            QWManagedObjectVisitor::visitObjectCloseRelationshipForKey(object, key, name);
        }
    } visitor;
    const QWManagedObjectFieldDescriptionRelationship author("author", "Author", "Author", false);
    EXPECT_EQ(failedAssertion([&] { author.performAcceptVisitor(visitor, *book); }), "unknown operation");
}

TEST_F(FieldDescription, A_visitor_answers_the_required_operations_and_by_default_not_the_optional_ones) {
    RecordingVisitor visitor;
    visitor.answersRelationships = false;
    for (const auto* required : {
             "beginVisitOfObject:",
             "endVisitOfObject:",
             "visitObject:stringForKey:sortKey:name:",
             "visitObject:stringArrayForKey:sortKey:name:",
             "visitObject:longStringForKey:richText:name:",
             "visitObject:boolForKey:name:",
             "visitObject:numberForKey:acceptFloat:name:",
             "visitObject:dateForKey:name:formatter:",
             "visitObject:imageURLForKey:name:",
             "visitObject:levelForKey:isRating:maximum:name:",
             "visitObject:enumForKey:nameKey:name:choiceValues:choiceNames:",
         })
        EXPECT_TRUE(visitor.respondsToSelector(required)) << required;
    EXPECT_FALSE(visitor.respondsToSelector("visitObject:"));
    EXPECT_FALSE(visitor.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
    EXPECT_FALSE(visitor.respondsToSelector(QWVisitCloseRelationshipSelector));
}
