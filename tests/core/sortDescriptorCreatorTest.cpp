#include "core/QWSortDescriptorCreatorForManagedObjectFields.h"
#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "testing/QWLogCapture.h"

namespace {

using Comparison = QWSortDescriptor::Comparison;

struct SortDescriptorCreator : testing::Test {
    std::optional<QWSortDescriptor> visit(const QWManagedObjectFieldDescription& field) {
        field.performAcceptVisitor(creator, *book);
        return creator.sortDescriptor();
    }
    // "key", "case" for the user's order with letter case ignored or "value", and the direction.
    QString described(const QWManagedObjectFieldDescription& field) {
        const auto made = visit(field);
        if (!made)
            return "none";
        return QStringList{made->key, made->comparison == Comparison::Natural ? "value" : "case",
                           made->ascending ? "ascending" : "descending"}
            .join(' ');
    }
    // The field `key` of books, sorted by the creator's descriptor.
    QStringList sorted(const QString& key) {
        QWFetchRequest request("Book");
        for (const auto& field : *book->fieldDescriptions())
            if (field->key() == key)
                request.sortDescriptors = {*visit(*field)};
        QStringList values;
        const auto records = library.context->fetch(request);
        for (const auto& record : records.value_or(QWManagedObjectSet()))
            if (record.data() != book.data())
                values << record->valueForKey(key).toString();
        return values;
    }

    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    QWSortDescriptorCreatorForManagedObjectFields creator;
    const QWDateFormatterRef formatter = std::make_shared<QWPatternDateFormatter>("yyyy", QLocale::c());
};

} // namespace

TEST_F(SortDescriptorCreator, Texts_sort_in_the_users_order_and_other_fields_by_value) {
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionString("k", "n")), "k case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionStringArray("k", "n")), "k case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionLongString("k", "n")), "k case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionBool("k", "n")), "k value ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionNumber("k", "n")), "k value ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionDate("k", "n", formatter)), "k value ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionImageURL("k", "n")), "k case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionLevel("k", "n", true, 5)), "k value ascending");
}

TEST_F(SortDescriptorCreator, A_string_sorts_by_its_sort_key_and_by_its_key_when_that_is_empty) {
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionString("k", "s", "n")), "s case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionString("k", "", "n")), "k case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionStringArray("k", "s", "n")), "s case ascending");
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionStringArray("k", "", "n")), "k case ascending");
}

TEST_F(SortDescriptorCreator, A_choice_sorts_by_its_stored_value_and_not_by_its_name) {
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionEnum("k", "nk", "n", {1}, {"One"})),
              "k value ascending");
}

TEST_F(SortDescriptorCreator, A_new_direction_counts_for_the_next_field_and_leaves_the_descriptor_made) {
    EXPECT_TRUE(creator.ascending());
    visit(QWManagedObjectFieldDescriptionNumber("k", "n"));
    creator.setAscending(false);
    EXPECT_FALSE(creator.ascending());
    EXPECT_TRUE(creator.sortDescriptor()->ascending);
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionNumber("k", "n")), "k value descending");
}

TEST_F(SortDescriptorCreator, There_is_no_descriptor_before_the_first_field_and_none_after_a_relationship) {
    EXPECT_FALSE(creator.sortDescriptor());
    visit(QWManagedObjectFieldDescriptionNumber("pages", "n"));
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionRelationship("author", "n", "Author", false)), "none");
    visit(QWManagedObjectFieldDescriptionNumber("pages", "n"));
    EXPECT_EQ(described(QWManagedObjectFieldDescriptionRelationship("chapters", "n", "Chapter", true)),
              "none");
    EXPECT_FALSE(creator.visitObjectShouldExploreRelationshipForKey(*book, "author", "n", "Author", false));
}

TEST_F(SortDescriptorCreator, Answers_both_ends_of_a_relationship) {
    EXPECT_TRUE(creator.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
    EXPECT_TRUE(creator.respondsToSelector(QWVisitCloseRelationshipSelector));
    EXPECT_TRUE(creator.respondsToSelector("beginVisitOfObject:"));
    EXPECT_FALSE(creator.respondsToSelector("visitObject:"));
}

TEST_F(SortDescriptorCreator, The_ends_of_a_relationship_and_of_a_record_change_nothing) {
    const auto made = visit(QWManagedObjectFieldDescriptionNumber("pages", "n"));
    creator.visitObjectCloseRelationshipForKey(*book, "author", "n");
    creator.endVisitOfObject(*book);
    ASSERT_TRUE(creator.sortDescriptor());
    EXPECT_EQ(creator.sortDescriptor()->key, made->key);
}

TEST_F(SortDescriptorCreator, A_descriptor_may_be_saved_by_hand) {
    creator.setAscending(false);
    creator.saveSortDescriptorWithKey("k", Comparison::Natural);
    EXPECT_EQ(creator.sortDescriptor()->key, "k");
    EXPECT_EQ(creator.sortDescriptor()->comparison, Comparison::Natural);
    EXPECT_FALSE(creator.sortDescriptor()->ascending);
}

TEST_F(SortDescriptorCreator, Visiting_a_whole_record_is_logged_and_stops_the_program) {
    QWLogCapture log;
    const auto failure = assertionFailure([this] { book->acceptVisitor(creator); });
    EXPECT_EQ(failure.expression, "NO");
    EXPECT_EQ(failure.operation, "-[QWSortDescriptorCreatorForManagedObjectFields beginVisitOfObject:]");
    EXPECT_EQ(failure.file, "QWSortDescriptorCreatorForManagedObjectFields.cpp");
    EXPECT_EQ(log.texts("qwlibrary.core"),
              QStringList("QWSortDescriptorCreatorForManagedObjectFields cmd: beginVisitOfObject: using the "
                          "class for an array of keys. Probably programmation error"));
}

TEST_F(SortDescriptorCreator, Its_descriptor_sorts_a_fetch) {
    for (const auto* summary : {"b", "A", "é", "d", "C", "F"})
        library.insertBook({{"summary", summary}, {"pages", 10 - int(summary[0]) % 7}});
    EXPECT_EQ(sorted("summary"), QStringList({"A", "b", "C", "d", "é", "F"}));
    library.save();
    EXPECT_EQ(sorted("summary"), QStringList({"A", "b", "C", "d", "é", "F"}));
    creator.setAscending(false);
    EXPECT_EQ(sorted("summary"), QStringList({"F", "é", "d", "C", "b", "A"}));
    QStringList pages = sorted("pages");
    EXPECT_EQ(pages.size(), 6);
    EXPECT_TRUE(std::is_sorted(pages.rbegin(), pages.rend(),
                               [](const auto& a, const auto& b) { return a.toInt() < b.toInt(); }));
}

TEST_F(SortDescriptorCreator, A_title_is_sorted_by_its_sort_form) {
    library.insertBook({{"title", "The Zoo"}, {"sortTitle", "Zoo, The"}});
    library.insertBook({{"title", "A Night"}, {"sortTitle", "Night, A"}});
    library.save();
    EXPECT_EQ(sorted("title"), QStringList({"A Night", "The Zoo"}));
}
