#include "core/QWJSON.h"
#include "support/BookLibrary.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "testing/QWLogCapture.h"

#include <limits>

using qw::json::null;

namespace {

using Importer = QWDropboxSyncManagedObjectDictionaryImporter;
using Synced = QWManagedObjectWithSyncSupport;

const QStringList names = {"Author", "Book", "Chapter", "Shelf"};

QVariantMap reference(const QString& uuid, const QString& entityName) {
    return {{"uuid", uuid}, {"entityName", entityName}};
}

struct RecordImporter : testing::Test {
    RecordImporter() { library.save(); }

    void apply(const QVariantMap& dictionary) { importer.updateObject(*book, dictionary, "Book!!!U.data"); }
    // The one line that is logged when the dictionary is applied.
    std::string logLine(const QVariantMap& dictionary) {
        const QWLogCapture log;
        apply(dictionary);
        const auto lines = log.texts("qwlibrary.sync");
        EXPECT_EQ(lines.size(), 1) << lines.join('\n').toStdString();
        return lines.value(0).toStdString();
    }
    bool needsUpdate(const QVariantMap& dictionary) {
        return importer.needsToUpdateObject(*book, dictionary);
    }

    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    Importer importer{names};
};

// Its date's own form could read the shared one, with month and day the other way round; its writer may be of
// an entity below the one that the field names.
class Letter final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override {
        static const auto fields = fieldList(
            {new QWManagedObjectFieldDescriptionDate(
                 "day", "Day",
                 std::make_shared<QWPatternDateFormatter>("yyyy-dd-MM HH:mm:ss '+0000'", QLocale::c())),
             new QWManagedObjectFieldDescriptionRelationship("writer", "Writer", "Person", false)});
        return &fields;
    }
};

struct LetterImporter : testing::Test {
    static std::shared_ptr<QWManagedObjectModel> model() {
        auto model = std::make_shared<QWManagedObjectModel>();
        auto& letter = model->addEntity<Letter>("Letter");
        addSyncAttributes(letter);
        letter.addAttribute("day", QWAttributeType::Date);
        letter.addToOne("writer", "Person");
        addSyncAttributes(model->addEntity<Author>("Person"));
        model->addEntity<Author>("Poet").setParent("Person");
        return model;
    }
    LetterImporter() {
        QWError error;
        EXPECT_TRUE(coordinator->addStore(folder.filePath("letters.sqlite"), {}, &error))
            << error.message.toStdString();
    }
    void apply(const QVariantMap& dictionary) {
        importer.updateObject(static_cast<Synced&>(*letter), dictionary);
    }

    QWVirtualWorld world;
    QTemporaryDir folder;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator =
        std::make_shared<QWPersistentStoreCoordinator>(model(), world.environment());
    QWManagedObjectContext context{coordinator};
    QWRef<QWManagedObject> letter = context.insertObject("Letter");
    Importer importer{{"Person", "Letter"}};
};

} // namespace

// Which version wins ----------------------------------------------------------------------------------------

TEST_F(RecordImporter, A_later_date_is_an_update) {
    book->setDateModified(utc("2013-05-04 16:22:10 +0000"));
    EXPECT_TRUE(needsUpdate({{"dateModified", "2013-05-04 18:22:11 +0200"}}));
}

TEST_F(RecordImporter, An_earlier_date_is_none) {
    book->setDateModified(utc("2013-05-04 16:22:10 +0000"));
    EXPECT_FALSE(needsUpdate({{"dateModified", "2013-05-04 18:22:09 +0200"}}));
}

TEST_F(RecordImporter, Equal_dates_are_none_and_logged) {
    book->setDateModified(utc("2013-05-04 16:22:10 +0000"));
    const QWLogCapture log;
    EXPECT_FALSE(needsUpdate({{"dateModified", "2013-05-04 18:22:10 +0200"}}));
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList{"No...Update Needed"});
}

TEST_F(RecordImporter, A_later_local_date_is_logged_too) {
    book->setDateModified(utc("2013-05-04 16:22:11 +0000"));
    const QWLogCapture log;
    EXPECT_FALSE(needsUpdate({{"dateModified", "2013-05-04 18:22:10 +0200"}}));
    EXPECT_EQ(log.texts("qwlibrary.sync"), QStringList{"No...Update Needed"});
}

TEST_F(RecordImporter, A_local_date_with_a_fraction_is_later_than_its_own_text) {
    book->setDateModified(utc("2013-05-04 16:22:10 +0000").addMSecs(700));
    EXPECT_FALSE(needsUpdate({{"dateModified", "2013-05-04 16:22:10 +0000"}}));
}

TEST_F(RecordImporter, A_record_that_was_never_saved_is_always_updated) {
    book = library.insertBook({{"dateModified", utc("2020-01-01 00:00:00 +0000")}});
    EXPECT_TRUE(needsUpdate({{"dateModified", "2013-05-04 18:22:10 +0200"}}));
    EXPECT_TRUE(needsUpdate({}));
}

TEST_F(RecordImporter, A_record_without_a_date_is_always_updated) {
    EXPECT_TRUE(needsUpdate({{"dateModified", "2013-05-04 18:22:10 +0200"}}));
    EXPECT_TRUE(needsUpdate({}));
}

TEST_F(RecordImporter, A_received_date_that_is_missing_or_unreadable_is_not_newer) {
    book->setDateModified(utc("2013-05-04 16:22:10 +0000"));
    for (const QVariant& date :
         {QVariant(), null(), QVariant("soon"), QVariant(1e12), QVariant(QVariantList{})})
        EXPECT_FALSE(needsUpdate({{"dateModified", date}})) << date.typeName();
    EXPECT_FALSE(needsUpdate({}));
}

// Values ----------------------------------------------------------------------------------------------------

TEST_F(RecordImporter, Every_described_field_takes_the_received_value) {
    apply({{"title", "The Long Road"},
           {"sortTitle", "Long Road"},
           {"tags", "dust, heat"},
           {"sortTags", "dust"},
           {"summary", "They walk."},
           {"notes", "One two"},
           {"read", true},
           {"pages", qlonglong(412)},
           {"price", 9.5},
           {"added", "2013-05-04 18:22:10 +0200"},
           {"dateModified", "2013-05-05 00:00:00 +0000"},
           {"rating", qlonglong(4)},
           {"format", qlonglong(2)}});
    EXPECT_EQ(book->valueForKey("title"), "The Long Road");
    EXPECT_EQ(book->valueForKey("sortTitle"), "Long Road");
    EXPECT_EQ(book->valueForKey("tags"), "dust, heat");
    EXPECT_EQ(book->valueForKey("sortTags"), "dust");
    EXPECT_EQ(book->valueForKey("summary"), "They walk.");
    EXPECT_EQ(book->valueForKey("notes"), "One two");
    EXPECT_EQ(book->valueForKey("read"), true);
    EXPECT_EQ(book->valueForKey("pages"), 412);
    EXPECT_EQ(book->valueForKey("price"), 9.5);
    EXPECT_EQ(book->valueForKey("added").toDateTime(), utc("2013-05-04 16:22:10 +0000"));
    EXPECT_EQ(book->dateModified(), utc("2013-05-05 00:00:00 +0000"));
    EXPECT_EQ(book->valueForKey("rating"), 4);
    EXPECT_EQ(book->valueForKey("format"), 2);
}

TEST_F(RecordImporter, A_received_date_survives_the_next_pass_of_the_engine) {
    apply({{"dateModified", "2013-05-05 00:00:00 +0000"}});
    EXPECT_TRUE(book->doNotUpdateDateModifiedDuringNextSave());
}

TEST_F(RecordImporter, A_key_that_is_missing_or_null_clears_its_field) {
    for (const QVariantMap& dictionary :
         {QVariantMap(), QVariantMap{{"title", null()}, {"sortTitle", null()}}}) {
        book = library.insertBook({{"title", "Old"}, {"sortTitle", "Old"}, {"pages", 5}, {"read", true}});
        apply(dictionary);
        for (const auto* key : {"title", "sortTitle", "pages", "read"})
            EXPECT_FALSE(book->valueForKey(key).isValid()) << key;
    }
}

TEST_F(RecordImporter, A_file_that_could_not_be_read_clears_every_field_and_relationship) {
    book = library.insertBook({{"title", "Old"}, {"added", utc("2013-05-04 16:22:10 +0000")}});
    book->setRelatedObject("author", library.insertAuthor().data());
    book->addRelatedObject("related", *library.insertBook());
    ASSERT_TRUE(needsUpdate({}));
    apply({});
    EXPECT_FALSE(book->valueForKey("title").isValid());
    EXPECT_FALSE(book->valueForKey("added").isValid());
    EXPECT_FALSE(book->relatedObject("author"));
    EXPECT_TRUE(book->relatedObjects("related").isEmpty());
    EXPECT_EQ(book->dateModified(), library.world.clock->now()) << "a date is never cleared";
}

TEST_F(RecordImporter, Keys_that_no_field_describes_are_left_alone) {
    book->setValueForKey("formatName", "Hardcover");
    const auto uuid = book->uuid();
    apply({{"formatName", "Paperback"}, {"uuid", "other"}, {"unknown", 5}});
    EXPECT_EQ(book->valueForKey("formatName"), "Hardcover");
    EXPECT_EQ(book->uuid(), uuid);
}

TEST_F(RecordImporter, An_image_is_left_to_its_own_file) {
    book->image = QUrl("file:///cover.png");
    apply({{"imageURL", "0aff"}});
    EXPECT_EQ(book->imageURL(), QUrl("file:///cover.png"));
}

TEST_F(RecordImporter, A_date_is_read_by_the_fields_own_formatter_when_the_shared_one_cannot) {
    apply({{"added", "04.05.2013 16:22"}});
    EXPECT_EQ(book->valueForKey("added").toDateTime(), utc("2013-05-04 16:22:00 +0000"));
}

TEST_F(LetterImporter, A_date_that_both_formatters_can_read_is_read_by_the_shared_one) {
    apply({{"day", "2013-05-04 16:22:10 +0000"}});
    EXPECT_EQ(letter->valueForKey("day").toDateTime(), utc("2013-05-04 16:22:10 +0000"));
}

TEST_F(RecordImporter, A_date_text_for_a_field_without_formatter_is_null) {
    book->setValueForKey("added", utc("2013-05-04 16:22:10 +0000"));
    importer.visitObjectDateForKey(*book, "added", "Added", nullptr);
    EXPECT_FALSE(book->valueForKey("added").isValid());
}

TEST_F(RecordImporter, A_date_text_that_nobody_can_read_is_null_and_not_logged) {
    book->setValueForKey("added", utc("2013-05-04 16:22:10 +0000"));
    const QWLogCapture log;
    apply({{"added", "soon"}});
    EXPECT_FALSE(book->valueForKey("added").isValid());
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RecordImporter, A_date_and_bytes_of_a_property_list_are_taken_as_they_are) {
    apply({{"added", utc("2013-05-04 16:22:10 +0000")}, {"notes", QByteArray("<p>x</p>")}});
    EXPECT_EQ(book->valueForKey("added").toDateTime(), utc("2013-05-04 16:22:10 +0000"));
    EXPECT_EQ(book->valueForKey("notes"), QByteArray("<p>x</p>"));
}

// Misfits ---------------------------------------------------------------------------------------------------

TEST_F(RecordImporter, Numbers_that_convert_exactly_fit) {
    const QWLogCapture log;
    apply({{"pages", 412.0}, {"price", qlonglong(9)}, {"read", qlonglong(1)}, {"rating", true}});
    EXPECT_EQ(book->valueForKey("pages"), QVariant(qlonglong(412)));
    EXPECT_EQ(book->valueForKey("price"), QVariant(9.0));
    EXPECT_EQ(book->valueForKey("read"), QVariant(true));
    EXPECT_EQ(book->valueForKey("rating"), QVariant(qlonglong(1)));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(RecordImporter, A_value_of_another_type_keeps_the_local_one_is_logged_and_the_rest_is_applied) {
    book->setValueForKey("pages", 412);
    using testing::HasSubstr;
    const auto line = logLine({{"pages", "many"}, {"title", "New"}});
    EXPECT_THAT(line, testing::AllOf(HasSubstr("Book!!!U.data"), HasSubstr("pages"), HasSubstr("Integer"),
                                     HasSubstr("QString")));
    EXPECT_EQ(book->valueForKey("pages"), 412);
    EXPECT_EQ(book->valueForKey("title"), "New");
}

TEST_F(RecordImporter, Every_misfit_keeps_the_local_value) {
    book = library.insertBook({{"title", "Old"},
                               {"pages", 5},
                               {"read", true},
                               {"price", 1.5},
                               {"notes", "text"},
                               {"added", utc("2013-05-04 16:22:10 +0000")}});
    const QVariantMap misfits = {
        {"title", qlonglong(5)}, {"pages", 1.5},          {"read", qlonglong(2)},
        {"price", "cheap"},      {"notes", qlonglong(1)}, {"added", qlonglong(5)},
    };
    for (auto misfit = misfits.begin(); misfit != misfits.end(); ++misfit) {
        const auto local = book->valueForKey(misfit.key());
        auto dictionary =
            QWDropboxSyncManagedObjectDictionaryExporter(names).dictionaryToInsertOrUpdateObjectToSync(*book);
        dictionary[misfit.key()] = *misfit;
        EXPECT_THAT(logLine(dictionary), testing::HasSubstr(misfit.key().toStdString()));
        EXPECT_EQ(book->valueForKey(misfit.key()), local) << misfit.key().toStdString();
    }
}

// Relationships ---------------------------------------------------------------------------------------------

TEST_F(RecordImporter, A_reference_is_resolved_in_the_records_context_whatever_the_letter_case) {
    const auto author = library.insertAuthor();
    apply({{"author", reference(author->uuid().toLower(), "Author")}});
    EXPECT_EQ(book->relatedObject("author").data(), author.data());
    EXPECT_EQ(library.count("Author"), 1);
}

TEST_F(RecordImporter, A_reference_to_an_unknown_record_makes_a_bare_one) {
    apply({{"author", reference("ABC", "Author")}});
    const auto author = Synced::fetchObjectWithUUID("ABC", "Author", *library.context);
    ASSERT_TRUE(author);
    EXPECT_EQ(book->relatedObject("author").data(), author.data());
    EXPECT_FALSE(author->valueForKey("name").isValid());
    EXPECT_TRUE(importer.needsToUpdateObject(*author, {}));
}

TEST_F(RecordImporter, An_array_links_known_records_and_bare_new_ones) {
    const auto known = library.insertBook();
    apply({{"related", QVariantList{reference(known->uuid(), "Book"), reference("ABC", "Book"),
                                    reference("abc", "Book")}}});
    const auto related = book->relatedObjects("related");
    EXPECT_EQ(related.size(), 2);
    EXPECT_TRUE(related.contains(QWRef<QWManagedObject>(known.data())));
    EXPECT_TRUE(related.contains(
        QWRef<QWManagedObject>(Synced::fetchObjectWithUUID("ABC", "Book", *library.context).data())));
}

TEST_F(RecordImporter, An_ordered_relationship_is_applied_as_a_set_members_that_stay_keep_their_places) {
    const auto shelf = library.insert<Shelf>("Shelf");
    const auto second = library.insertBook();
    shelf->addRelatedObject("books", *book);
    shelf->addRelatedObject("books", *second);
    importer.updateObject(*shelf,
                          {{"books", QVariantList{reference("NEW", "Book"), reference(second->uuid(), "Book"),
                                                  reference(book->uuid(), "Book")}}});
    const auto books = shelf->relatedObjects("books");
    ASSERT_EQ(books.size(), 3);
    EXPECT_EQ(books[0].data(), book.data());
    EXPECT_EQ(books[1].data(), second.data());
    EXPECT_EQ(static_cast<Book&>(*books[2]).uuid(), "NEW");
}

TEST_F(RecordImporter, A_missing_or_null_reference_unlinks) {
    for (const QVariantMap& dictionary :
         {QVariantMap(), QVariantMap{{"author", null()}, {"related", null()}}}) {
        book->setRelatedObject("author", library.insertAuthor().data());
        book->addRelatedObject("related", *library.insertBook());
        apply(dictionary);
        EXPECT_FALSE(book->relatedObject("author"));
        EXPECT_TRUE(book->relatedObjects("related").isEmpty());
    }
}

TEST_F(RecordImporter, A_relationship_to_an_entity_listed_later_is_not_touched) {
    const auto chapter = library.insertChapter(*book, "One");
    apply({{"chapters", QVariantList{reference("ABC", "Chapter")}}});
    EXPECT_EQ(book->relatedObjects("chapters").size(), 1);
    apply({});
    EXPECT_EQ(book->relatedObjects("chapters").size(), 1);
    EXPECT_EQ(library.count("Chapter"), 1);
}

TEST_F(RecordImporter, A_malformed_reference_keeps_the_local_one_is_logged_and_the_rest_is_applied) {
    const auto author = library.insertAuthor();
    library.insertChapter(*book, "One");
    book->setRelatedObject("author", author.data());
    struct Row {
        QVariant given;
        const char* described;
    };
    const Row malformed[] = {
        {"ABC", "text"},
        {qlonglong(5), "a number"},
        {5.5, "a number"},
        {true, "a boolean"},
        {QVariantList{reference("ABC", "Author")}, "an array"},
        {QVariantMap(), "a dictionary without uuid or entityName"},
        {QVariantMap{{"uuid", "ABC"}}, "a dictionary without uuid or entityName"},
        {QVariantMap{{"entityName", "Author"}}, "a dictionary without uuid or entityName"},
        {QVariantMap{{"uuid", 5}, {"entityName", "Author"}}, "a reference to \"Author\""},
        {reference("", "Author"), "a reference to \"Author\""},
        {reference("ABC", "Nobody"), "a reference to \"Nobody\""},
        {reference("ABC", "Chapter"), "a reference to \"Chapter\""},
    };
    int title = 0;
    for (const auto& [given, described] : malformed) {
        const auto newTitle = QString::number(++title);
        const auto line = logLine({{"title", newTitle}, {"author", given}});
        EXPECT_THAT(line, testing::HasSubstr("Book!!!U.data"));
        EXPECT_THAT(line, testing::EndsWith("Book.author expected a reference to \"Author\", given "
                                            + std::string(described)));
        EXPECT_EQ(book->relatedObject("author").data(), author.data());
        EXPECT_EQ(book->valueForKey("title"), newTitle);
    }
    EXPECT_EQ(library.count("Author"), 1);
    EXPECT_EQ(library.count("Chapter"), 1);
}

TEST_F(RecordImporter, A_log_line_shows_the_beginning_of_a_long_name) {
    const auto line = logLine({{"author", reference("ABC", QString(1'000'000, 'x'))}});
    EXPECT_LT(line.size(), 300U);
}

TEST_F(RecordImporter, One_malformed_reference_keeps_the_whole_local_array_and_makes_no_bare_records) {
    const auto other = library.insertBook();
    book->addRelatedObject("related", *other);
    for (const QVariant& given :
         QVariantList{QVariantList{reference("ABC", "Book"), "x"}, reference("ABC", "Book"), "x"}) {
        EXPECT_THAT(logLine({{"related", given}}),
                    testing::HasSubstr("Book.related expected an array of references to \"Book\", given "));
        EXPECT_EQ(book->relatedObjects("related"), QList{QWRef<QWManagedObject>(other.data())});
    }
    EXPECT_EQ(library.count("Book"), 2);
}

TEST_F(RecordImporter, A_reference_that_names_nothing_resolves_to_nothing) {
    EXPECT_FALSE(Importer::objectReferencedByDictionary({}, *library.context));
    EXPECT_FALSE(Importer::objectReferencedByDictionary(reference("ABC", "Nobody"), *library.context));
    EXPECT_FALSE(Importer::objectReferencedByDictionary(reference("ABC", "Sticker"), *library.context));
    EXPECT_TRUE(Importer::objectReferencedByDictionary(reference("ABC", "Pen"), *library.context));
}

TEST_F(RecordImporter, Asks_for_no_destination_and_forgets_the_dictionary_after_the_update) {
    EXPECT_TRUE(importer.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
    EXPECT_TRUE(importer.respondsToSelector(QWVisitCloseRelationshipSelector));
    EXPECT_FALSE(importer.visitObjectShouldExploreRelationshipForKey(*book, "author", "n", "Author", false));
    importer.visitObjectCloseRelationshipForKey(*book, "author", "n");
    apply({{"title", "New"}});
    EXPECT_FALSE(importer.updatedValueForKey("title").isValid());
}

TEST_F(LetterImporter, A_reference_may_name_an_entity_below_the_destination) {
    apply({{"writer", reference("ABC", "Poet")}});
    ASSERT_TRUE(letter->relatedObject("writer"));
    EXPECT_EQ(letter->relatedObject("writer")->entity().name(), "Poet");
}

// Both ways -------------------------------------------------------------------------------------------------

TEST_F(RecordImporter, What_one_desktop_exports_another_imports_unchanged) {
    book = library.insertBook({{"title", "Ø"},
                               {"pages", 412},
                               {"price", 0.1},
                               {"read", false},
                               {"added", utc("2013-05-04 16:22:10 +0000")},
                               {"notes", QStringLiteral("a\u00a0b\nc")},
                               {"dateModified", utc("2013-05-05 00:00:00 +0000")}});
    book->setRelatedObject("author", library.insertAuthor().data());
    QWDropboxSyncManagedObjectDictionaryExporter exporter(names);
    const auto sent = exporter.dictionaryToInsertOrUpdateObjectToSync(*book);

    BookLibrary other;
    const auto received = other.insertBook();
    importer.updateObject(*received, sent);
    EXPECT_EQ(exporter.dictionaryToInsertOrUpdateObjectToSync(*received), sent);
}

TEST_F(RecordImporter, Every_fraction_travels_exactly) {
    QWDropboxSyncManagedObjectDictionaryExporter exporter(names);
    using Limits = std::numeric_limits<double>;
    for (const double price :
         {0.1, -0.1, 1e15, 1.2345678901234567e17, 9223372036854775808.0, -9223372036854775808.0,
          1.2345678901234567e19, 1e22, 1e300, Limits::min(), Limits::denorm_min(), Limits::max(),
          Limits::lowest(), Limits::infinity(), -Limits::infinity()}) {
        const auto sender = library.insertBook({{"price", price}});
        const auto file = qw::sync::recordFileBytes(exporter.dictionaryToInsertOrUpdateObjectToSync(*sender));
        ASSERT_TRUE(file) << price;
        const QWLogCapture log;
        apply(qw::sync::recordFromFileBytes(*file).value_or(QVariantMap()));
        EXPECT_EQ(book->valueForKey("price"), QVariant(price)) << file->toStdString();
        EXPECT_TRUE(log.lines().empty());
    }
}
