#include "core/QWAttributedStringToHTMLConvertion.h"
#include "core/QWJSON.h"
#include "core/QWManagedObjectToJSONConverter.h"
#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "testing/QWLogCapture.h"

#include <QFile>
#include <QTextDocument>

using qw::json::null;

namespace {

struct ImageBytes final : QWImageConvertionManager {
    explicit ImageBytes(QByteArray converted) : bytes(std::move(converted)) {}
    QByteArray convertedImageDataFromURL(const QUrl& url) override {
        asked << url;
        return bytes;
    }
    QByteArray bytes;
    QList<QUrl> asked;
};

struct JSONConverter : testing::Test {
    // The record as its JSON says.
    QVariantMap exported(QWManagedObjectWithSyncSupport& object) {
        object.acceptVisitor(converter);
        const auto data = converter.jsonData();
        EXPECT_TRUE(data);
        return qw::json::read(data.value_or("{}")).value_or(QVariant()).toMap();
    }
    QUrl imageFile() {
        QFile file(library.path("cover.png"));
        EXPECT_TRUE(file.open(QFile::WriteOnly));
        return QUrl::fromLocalFile(file.fileName());
    }

    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    QWManagedObjectToJSONConverter converter;
};

} // namespace

TEST_F(JSONConverter, A_record_becomes_a_dictionary_of_plain_values_under_its_keys) {
    book = library.insertBook({{"title", "The Long Road"},
                               {"sortTitle", "Long Road"},
                               {"tags", "dust, heat"},
                               {"summary", "They walk."},
                               {"read", true},
                               {"pages", 412},
                               {"price", 9.5},
                               {"added", utc("2013-05-04 18:22:10 +0200")},
                               {"dateModified", utc("2013-05-05 00:00:00 +0000")},
                               {"rating", 4},
                               {"format", 2},
                               {"formatName", "Paperback"}});
    library.insertChapter(*book, "One");
    library.insertChapter(*book, "Two");
    const QVariantMap expected = {
        {"title", "The Long Road"},
        {"sortTitle", "Long Road"},
        {"tags", "dust, heat"},
        {"sortTags", null()},
        {"summary", "They walk."},
        {"notes", null()},
        {"read", true},
        {"pages", qlonglong(412)},
        {"price", 9.5},
        {"added", "2013-05-04 16:22:10 +0000"},
        {"dateModified", "2013-05-05 00:00:00 +0000"},
        {"rating", qlonglong(4)},
        {"format", qlonglong(2)},
        {"author", QVariantList()},
        {"chapters", QVariantList{QVariantMap{{"heading", "One"}}, QVariantMap{{"heading", "Two"}}}},
        {"related", QVariantList()},
    };
    EXPECT_EQ(exported(*book), expected);
}

TEST_F(JSONConverter, An_empty_record_has_null_for_each_key_an_array_for_each_relationship_and_no_image) {
    const QVariantMap expected = {
        {"title", null()},
        {"sortTitle", null()},
        {"tags", null()},
        {"sortTags", null()},
        {"summary", null()},
        {"notes", null()},
        {"read", null()},
        {"pages", null()},
        {"price", null()},
        {"added", null()},
        {"dateModified", null()},
        {"rating", null()},
        {"format", null()},
        {"author", QVariantList()},
        {"chapters", QVariantList()},
        {"related", QVariantList()},
    };
    EXPECT_EQ(exported(*book), expected);
}

TEST_F(JSONConverter, A_to_one_becomes_an_array_of_one_dictionary) {
    book->setRelatedObject("author", library.insertAuthor({{"name", "Ann"}}).data());
    EXPECT_EQ(exported(*book)["author"],
              QVariant(QVariantList{QVariantMap{{"name", "Ann"}, {"dateModified", null()}}}));
}

TEST_F(JSONConverter, A_destination_has_nothing_of_the_one_before) {
    converter.setImageConvertionManager(std::make_shared<ImageBytes>("x"));
    const auto plain = library.insertBook();
    const auto shelf = library.insert<Shelf>("Shelf");
    book->image = imageFile();
    shelf->addRelatedObject("books", *book);
    shelf->addRelatedObject("books", *plain);
    const auto books = exported(*shelf)["books"].toList();
    ASSERT_EQ(books.size(), 2);
    EXPECT_TRUE(books[0].toMap().contains("imageURL"));
    EXPECT_FALSE(books[1].toMap().contains("imageURL"));
}

TEST_F(JSONConverter, Relationships_of_destinations_are_not_followed) {
    const auto chapter = library.insertChapter(*book, "One");
    EXPECT_EQ(exported(*book)["chapters"], QVariant(QVariantList{QVariantMap{{"heading", "One"}}}));

    converter.beginVisitOfObject(*book);
    EXPECT_FALSE(
        converter.visitObjectShouldExploreRelationshipForKey(*chapter, "book", "Book", "Book", false));
    EXPECT_TRUE(
        converter.visitObjectShouldExploreRelationshipForKey(*book, "author", "Author", "Author", false));
}

TEST_F(JSONConverter, Opening_a_relationship_inside_of_another_is_a_programming_error) {
    const auto open = [&](const QString& key) {
        converter.visitObjectShouldExploreRelationshipForKey(*book, key, key, "Author", false);
    };
    converter.beginVisitOfObject(*book);
    open("author");
    const auto failure = assertionFailure([&] { open("editor"); });
    EXPECT_EQ(failure.expression, "!subElements");
    EXPECT_EQ(failure.file, "QWManagedObjectToJSONConverter.cpp");
}

TEST_F(JSONConverter, Answers_the_operations_of_relationships) {
    EXPECT_TRUE(converter.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
    EXPECT_TRUE(converter.respondsToSelector(QWVisitCloseRelationshipSelector));
    EXPECT_TRUE(converter.respondsToSelector("beginVisitOfObject:"));
    EXPECT_FALSE(converter.respondsToSelector("visitObject:"));
}

TEST_F(JSONConverter, A_converter_starts_afresh_with_each_record) {
    exported(*book);
    EXPECT_EQ(exported(*library.insertAuthor({{"name", "Ann"}})),
              (QVariantMap{{"name", "Ann"}, {"dateModified", null()}}));
}

TEST_F(JSONConverter, The_result_stays_until_the_next_export_begins) {
    exported(*library.insertAuthor({{"name", "Ann"}}));
    const auto first = converter.jsonData();
    EXPECT_EQ(converter.jsonData(), first);
    converter.beginVisitOfObject(*book);
    EXPECT_EQ(converter.jsonData(), "{\n}\n");
}

TEST_F(JSONConverter, JSON_is_indented_and_stable) {
    exported(*library.insertAuthor({{"name", "A/B"}}));
    EXPECT_EQ(converter.jsonData(), "{\n    \"dateModified\": null,\n    \"name\": \"A/B\"\n}\n");
}

TEST_F(JSONConverter, Dates_are_written_in_the_shared_form_whatever_the_field_shows) {
    EXPECT_EQ(QWManagedObjectToJSONConverter::dateFormatterToConvertDateInJSON()->stringFromDate(
                  utc("2013-05-04 18:22:10 +0200")),
              "2013-05-04 16:22:10 +0000");
}

// Images ----------------------------------------------------------------------------------------------------

TEST_F(JSONConverter, An_image_is_left_out_without_a_manager) {
    book->image = imageFile();
    EXPECT_FALSE(exported(*book).contains("imageURL"));
    EXPECT_FALSE(converter.imageConvertionManager());
}

TEST_F(JSONConverter, An_image_whose_file_is_missing_is_left_out) {
    const auto manager = std::make_shared<ImageBytes>("x");
    converter.setImageConvertionManager(manager);
    book->image = QUrl::fromLocalFile(library.path("missing.png"));
    EXPECT_FALSE(exported(*book).contains("imageURL"));
    book->image = QUrl();
    EXPECT_FALSE(exported(*book).contains("imageURL"));
    EXPECT_TRUE(manager->asked.isEmpty());
}

TEST_F(JSONConverter, An_image_becomes_hexadecimal_text_of_what_the_manager_makes_of_it) {
    const auto manager = std::make_shared<ImageBytes>(QByteArray("\x0a\xff"));
    converter.setImageConvertionManager(manager);
    book->image = imageFile();
    EXPECT_EQ(exported(*book)["imageURL"], "0aff");
    EXPECT_EQ(manager->asked, QList<QUrl>{book->image});
}

TEST_F(JSONConverter, An_image_that_the_manager_makes_nothing_of_is_null) {
    converter.setImageConvertionManager(std::make_shared<ImageBytes>(QByteArray()));
    book->image = imageFile();
    EXPECT_EQ(exported(*book).value("imageURL"), null());
}

// Rich text -------------------------------------------------------------------------------------------------

TEST_F(JSONConverter, Rich_text_becomes_its_plain_characters) {
    book->setValueForKey("notes", QByteArray("<p>One <b>two</b></p>"));
    EXPECT_EQ(exported(*book)["notes"], "One two");
    EXPECT_EQ(converter.richTextConvertionManager().get(), &converter);

    QTextDocument document;
    document.setHtml("<i>x</i>");
    EXPECT_EQ(converter.convertedStringFromRichText(document), "x");
}

TEST_F(JSONConverter, Rich_text_becomes_HTML_with_the_HTML_manager) {
    book->setValueForKey("notes", QByteArray("<p>One <b>two</b></p>"));
    converter.setRichTextConvertionManager(std::make_shared<QWAttributedStringToHTMLConvertion>());
    const auto html = exported(*book)["notes"].toString();
    EXPECT_TRUE(html.startsWith("<p")) << html.toStdString();
    EXPECT_FALSE(html.contains("<body")) << html.toStdString();
}

TEST_F(JSONConverter, Rich_text_that_the_manager_makes_nothing_of_is_null) {
    struct Nothing final : QWRichTextConvertionManager {
        QString convertedStringFromRichText(const QTextDocument&) override { return {}; }
    };
    book->setValueForKey("notes", "text");
    converter.setRichTextConvertionManager(std::make_shared<Nothing>());
    EXPECT_EQ(exported(*book).value("notes"), null());
}

TEST_F(JSONConverter, Rich_text_of_no_characters_is_not_null) {
    book->setValueForKey("notes", "");
    EXPECT_EQ(exported(*book).value("notes"), QVariant(""));
}

TEST_F(JSONConverter, Rich_text_that_cannot_be_read_is_null) {
    book->setValueForKey("notes", QByteArray("\xff"));
    EXPECT_EQ(exported(*book)["notes"], null());
    book->setValueForKey("notes", "text");
    converter.setRichTextConvertionManager(nullptr);
    EXPECT_EQ(exported(*book)["notes"], null());
}

// Failures --------------------------------------------------------------------------------------------------

TEST_F(JSONConverter, A_value_that_is_no_JSON_is_refused_with_a_line_in_the_log) {
    book->setValueForKey("notes", QByteArray("\x01"));
    converter.beginVisitOfObject(*book);
    converter.visitObjectLongStringForKey(*book, "notes", false, "Notes");
    converter.endVisitOfObject(*book);
    const QWLogCapture log;
    EXPECT_EQ(converter.jsonData(), std::nullopt);
    EXPECT_EQ(log.texts("qwlibrary.core").size(), 1);
}
