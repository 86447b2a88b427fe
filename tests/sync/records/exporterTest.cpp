#include "core/QWJSON.h"
#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"

#include <QFile>

using qw::json::null;

namespace {

using Exporter = QWDropboxSyncManagedObjectDictionaryExporter;

QVariantMap reference(const QWManagedObjectWithSyncSupport& object) {
    return {{"uuid", object.uuid()}, {"entityName", object.entity().name()}};
}

struct RecordExporter : testing::Test {
    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    Exporter exporter{{"Author", "Book", "Chapter", "Shelf"}};

    QVariantMap exported(QWManagedObjectWithSyncSupport& object) {
        return exporter.dictionaryToInsertOrUpdateObjectToSync(object);
    }
};

struct NoBytes final : QWImageConvertionManager {
    QByteArray convertedImageDataFromURL(const QUrl&) override { return QByteArray("\x01\x02"); }
};

} // namespace

TEST_F(RecordExporter, Each_field_has_the_form_of_its_type) {
    book = library.insertBook({{"title", "The Long Road"},
                               {"sortTitle", "Long Road"},
                               {"tags", "dust, heat"},
                               {"summary", "They walk."},
                               {"notes", QByteArray("<p>One <b>two</b></p>")},
                               {"read", true},
                               {"pages", 412},
                               {"price", 9.5},
                               {"added", utc("2013-05-04 18:22:10 +0200")},
                               {"dateModified", utc("2013-05-05 00:00:00 +0000")},
                               {"rating", 4},
                               {"format", 2},
                               {"formatName", "Paperback"}});
    const auto author = library.insertAuthor();
    book->setRelatedObject("author", author.data());
    const QVariantMap expected = {
        {"title", "The Long Road"},
        {"sortTitle", "Long Road"},
        {"tags", "dust, heat"},
        {"sortTags", null()},
        {"summary", "They walk."},
        {"notes", "One two"},
        {"read", true},
        {"pages", qlonglong(412)},
        {"price", 9.5},
        {"added", "2013-05-04 16:22:10 +0000"},
        {"dateModified", "2013-05-05 00:00:00 +0000"},
        {"rating", qlonglong(4)},
        {"format", qlonglong(2)},
        {"author", reference(*author)},
        {"related", QVariantList()},
    };
    EXPECT_EQ(exported(*book), expected);
    EXPECT_TRUE(qw::json::isValid(exported(*book)));
}

TEST_F(RecordExporter, A_missing_destination_is_null) {
    EXPECT_EQ(exported(*book).value("author"), null());
    EXPECT_FALSE(Exporter::dictionaryToSaveRelationshipOfObject(nullptr).isValid());
}

TEST_F(RecordExporter, A_relationship_to_an_entity_listed_later_is_left_out) {
    library.insertChapter(*book, "One");
    EXPECT_FALSE(exported(*book).contains("chapters"));
}

TEST_F(RecordExporter, The_side_that_is_listed_later_carries_the_relationship) {
    const auto chapter = library.insertChapter(*book, "One");
    EXPECT_EQ(exported(*chapter), (QVariantMap{{"heading", "One"}, {"book", reference(*book)}}));
}

TEST_F(RecordExporter, A_relationship_within_one_entity_is_carried) {
    const auto other = library.insertBook();
    book->addRelatedObject("related", *other);
    EXPECT_EQ(exported(*book).value("related"), QVariant(QVariantList{reference(*other)}));
}

TEST_F(RecordExporter, A_relationship_to_an_unlisted_entity_is_left_out) {
    Exporter partial({"Book"});
    book->setRelatedObject("author", library.insertAuthor().data());
    EXPECT_FALSE(partial.dictionaryToInsertOrUpdateObjectToSync(*book).contains("author"));
}

TEST_F(RecordExporter, A_record_of_an_unlisted_entity_keeps_all_its_relationships) {
    Exporter partial({"Chapter"});
    library.insertChapter(*book, "One");
    const auto dictionary = partial.dictionaryToInsertOrUpdateObjectToSync(*book);
    EXPECT_TRUE(dictionary.contains("author"));
    EXPECT_EQ(dictionary.value("chapters").toList().size(), 1);
}

TEST_F(RecordExporter, An_ordered_to_many_is_written_in_its_order) {
    const auto shelf = library.insert<Shelf>("Shelf");
    const auto second = library.insertBook(), third = library.insertBook();
    shelf->setRelatedObjects("books",
                             {QWRef<QWManagedObject>(third.data()), QWRef<QWManagedObject>(book.data()),
                              QWRef<QWManagedObject>(second.data())});
    EXPECT_EQ(exported(*shelf).value("books"),
              QVariant(QVariantList{reference(*third), reference(*book), reference(*second)}));
}

TEST_F(RecordExporter, Never_asks_for_destinations_and_passes_over_records_that_are_not_exported) {
    const auto other = library.insertBook();
    exporter.beginVisitOfObject(*book);
    EXPECT_FALSE(exporter.visitObjectShouldExploreRelationshipForKey(*other, "author", "n", "Author", false));
    EXPECT_EQ(exporter.jsonData(), "{\n}\n");
    EXPECT_FALSE(exporter.visitObjectShouldExploreRelationshipForKey(*book, "author", "n", "Author", false));
    EXPECT_FALSE(exporter.visitObjectShouldExploreRelationshipForKey(*book, "related", "n", "Book", true));
    EXPECT_EQ(exporter.jsonData(), "{\n    \"author\": null,\n    \"related\": [\n    ]\n}\n");
}

TEST_F(RecordExporter, Answers_the_question_about_relationships) {
    EXPECT_TRUE(exporter.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
}

TEST_F(RecordExporter, A_destination_that_is_no_synced_record_is_a_programming_error) {
    const auto shelf = library.insert<Shelf>("Shelf");
    const auto sticker = library.context->insertObject("Sticker");
    Exporter all({"Sticker", "Pen", "Book", "Shelf"});
    const auto exporting = [&] { all.dictionaryToInsertOrUpdateObjectToSync(*shelf); };

    shelf->addRelatedObject("stickers", *sticker);
    const auto failure = assertionFailure(exporting);
    EXPECT_EQ(failure.expression, "[referencedObject isKindOfClass:[QWManagedObjectWithSyncSupport class]]");
    EXPECT_EQ(failure.file, "QWDropboxSyncManagedObjectDictionaryExporter.cpp");
}

TEST_F(RecordExporter, So_is_one_at_the_end_of_a_to_one) {
    const auto shelf = library.insert<Shelf>("Shelf");
    shelf->setRelatedObject("sticker", library.context->insertObject("Sticker").data());
    Exporter all({"Sticker", "Pen", "Book", "Shelf"});
    EXPECT_EQ(failedAssertion([&] { all.dictionaryToInsertOrUpdateObjectToSync(*shelf); }),
              "!referencedObject || [referencedObject isKindOfClass:[QWManagedObjectWithSyncSupport class]]");
}

TEST_F(RecordExporter, An_image_travels_only_with_a_manager) {
    QFile file(library.path("cover.png"));
    ASSERT_TRUE(file.open(QFile::WriteOnly));
    book->image = QUrl::fromLocalFile(file.fileName());
    EXPECT_FALSE(exported(*book).contains("imageURL"));
    exporter.setImageConvertionManager(std::make_shared<NoBytes>());
    EXPECT_EQ(exported(*book).value("imageURL"), "0102");
}

TEST_F(RecordExporter, One_exporter_serves_one_record_after_the_other) {
    exported(*book);
    EXPECT_EQ(exported(*library.insertAuthor({{"name", "Ann"}})),
              (QVariantMap{{"name", "Ann"}, {"dateModified", null()}}));
}
