#include "editing/CompletionFixture.h"
#include "editing/QWComboBoxAutocompleteDatasource.h"

namespace {

class ComboBoxDatasource : public CompletionTest {
protected:
    ComboBoxDatasource() { field.path = "selection.kind"; }

    FieldDouble field;
    std::unique_ptr<QWComboBoxAutocompleteDatasource> source =
        QWComboBoxAutocompleteDatasource::create(context, "Note");
};

TEST_F(ComboBoxDatasource, Lists_the_distinct_values_in_the_users_order) {
    save("kind", {"apple", "Banana", "apple"});
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple", "Banana"}));
    EXPECT_EQ(source->numberOfItemsInComboBox(field), 2);
    EXPECT_EQ(source->comboBoxObjectValueForItemAtIndex(field, 0), "apple");
    EXPECT_EQ(source->comboBoxObjectValueForItemAtIndex(field, 1), "Banana");
}

TEST_F(ComboBoxDatasource, Completes_to_the_first_item_that_begins_with_what_is_typed) {
    save("kind", {"Alba", "Banana", "bandage", "Éclair", "eclipse"});
    EXPECT_EQ(source->comboBoxCompletedString(field, "BA"), "Banana");
    EXPECT_EQ(source->comboBoxCompletedString(field, "band"), "bandage");
    EXPECT_EQ(source->comboBoxCompletedString(field, "ec"), "Éclair");
    EXPECT_TRUE(source->comboBoxCompletedString(field, "x").isNull());
    EXPECT_TRUE(source->comboBoxCompletedString(field, "").isNull());
}

TEST_F(ComboBoxDatasource, Records_without_value_add_no_item_and_an_empty_text_is_one) {
    insert("tags", "red");
    save("kind", {"b", ""});
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"", "b"}));
}

TEST_F(ComboBoxDatasource, Needs_a_context_and_a_name) {
    EXPECT_FALSE(QWComboBoxAutocompleteDatasource::create(nullptr, "Note"));
    EXPECT_FALSE(QWComboBoxAutocompleteDatasource::create(context, QString()));
    ASSERT_TRUE(source);
    const auto nameless = QWComboBoxAutocompleteDatasource::create(context, "");
    ASSERT_TRUE(nameless) << "an empty name is that of an unknown entity";
    EXPECT_EQ(nameless->itemsForComboBox(field), QStringList());
}

TEST_F(ComboBoxDatasource, An_item_is_found_by_its_exact_text) {
    save("kind", {"apple", "Banana"});
    EXPECT_EQ(source->comboBoxIndexOfItemWithStringValue(field, "Banana"), 1);
    EXPECT_EQ(source->comboBoxIndexOfItemWithStringValue(field, "banana"),
              QWComboBoxAutocompleteDatasource::notFound);
    EXPECT_EQ(QWComboBoxAutocompleteDatasource::notFound, std::numeric_limits<qint64>::max());
}

TEST_F(ComboBoxDatasource, The_list_of_one_attribute_is_kept_until_another_is_asked_for) {
    save("kind", {"apple"});
    EXPECT_FALSE(source->cacheIsValidForKey("kind"));
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple"}));
    EXPECT_TRUE(source->cacheIsValidForKey("kind"));
    EXPECT_FALSE(source->cacheIsValidForKey("tags"));

    save("kind", {"Banana"});
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple"}));
    FieldDouble tags;
    EXPECT_EQ(source->itemsForComboBox(tags), QStringList());
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple", "Banana"}));

    save("kind", {"cherry"});
    source->updateCacheForComboBoxWithKey("kind");
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple", "Banana", "cherry"}));
}

TEST_F(ComboBoxDatasource, Unsaved_values_are_never_listed) {
    save("kind", {"apple"});
    insert("kind", "Banana");
    EXPECT_EQ(source->itemsForComboBox(field), QStringList({"apple"}));
}

TEST_F(ComboBoxDatasource, The_attribute_is_the_last_piece_of_the_bound_path_or_the_name_of_an_unbound_box) {
    EXPECT_EQ(source->fieldKeyForComboBox(field), "kind");
    field.path = QString();
    field.name = "tags";
    EXPECT_EQ(source->fieldKeyForComboBox(field), "tags");
}

TEST_F(ComboBoxDatasource, What_cannot_be_read_is_an_empty_list) {
    save("kind", {"apple"});
    field.path = "unknown";
    EXPECT_EQ(source->itemsForComboBox(field), QStringList());
    field.path = field.name = QString();
    EXPECT_EQ(source->itemsForComboBox(field), QStringList());
    EXPECT_FALSE(source->cacheIsValidForKey(QString()));
}

TEST_F(ComboBoxDatasource, The_request_asks_for_saved_records_with_a_value_sorted_as_users_sort) {
    const QWFetchRequest request = source->fetchRequestToSuggestComboBoxWithKey("kind");
    EXPECT_EQ(request.entityName, "Note");
    EXPECT_EQ(request.predicate.text(), QWPredicate::parse("kind != nil")->text());
    EXPECT_FALSE(request.includesPendingChanges);
    ASSERT_EQ(request.sortDescriptors.size(), 1);
    EXPECT_EQ(request.sortDescriptors.first().key, "kind");
    EXPECT_TRUE(request.sortDescriptors.first().ascending);
    EXPECT_EQ(request.sortDescriptors.first().comparison,
              QWSortDescriptor::Comparison::LocalizedCaseInsensitive);
    EXPECT_EQ(request.limit, 0);
}

} // namespace
