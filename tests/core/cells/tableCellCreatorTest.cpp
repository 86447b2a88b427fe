#include "core/cells/QWTableCellCreatorForManagedObjectFields.h"
#include "support/AssertionProbe.h"
#include "support/BookLibrary.h"
#include "support/ScopedLocale.h"
#include "testing/QWLogCapture.h"
#include "views/ImageAnd2TextsCell.h"
#include "views/QWCheckBoxCell.h"
#include "views/QWLevelIndicatorCell.h"
#include "views/QWTextFieldCell.h"

namespace {

using Creator = QWTableCellCreatorForManagedObjectFields;

struct TableCellCreator : testing::Test {
    ~TableCellCreator() override { Creator::setStringKeysForImageAnd2TextCell({}); }

    std::shared_ptr<QWTableCell> cellFor(const QWManagedObjectFieldDescription& field) {
        field.performAcceptVisitor(creator, *book);
        return creator.cell();
    }
    // The cell, if it is exactly of that class.
    template <class Cell>
    static std::shared_ptr<Cell> as(const std::shared_ptr<QWTableCell>& cell) {
        return cell && typeid(*cell.get()) == typeid(Cell) ? std::static_pointer_cast<Cell>(cell) : nullptr;
    }
    template <class Cell>
    std::shared_ptr<Cell> cellFor(const QWManagedObjectFieldDescription& field) {
        return as<Cell>(cellFor(field));
    }

    BookLibrary library;
    QWRef<Book> book = library.insertBook();
    Creator creator;
    const QWManagedObjectFieldDescriptionBool read{"read", "Read"};
    const QWManagedObjectFieldDescriptionString title{"title", "sortTitle", "Title"};
};

TEST_F(TableCellCreator, Has_no_cell_before_the_first_field) {
    EXPECT_FALSE(creator.cell());
}

TEST_F(TableCellCreator, Makes_a_plain_text_cell_for_texts_choices_and_locations) {
    for (const std::shared_ptr<QWManagedObjectFieldDescription>& field :
         QList<std::shared_ptr<QWManagedObjectFieldDescription>>{
             std::make_shared<QWManagedObjectFieldDescriptionString>("title", "Title"),
             std::make_shared<QWManagedObjectFieldDescriptionStringArray>("tags", "Tags"),
             std::make_shared<QWManagedObjectFieldDescriptionImageURL>("imageURL", "Cover"),
             std::make_shared<QWManagedObjectFieldDescriptionEnum>(
                 "format", "formatName", "Format", QVariantList{1}, QStringList{"Hardcover"})}) {
        const auto former = creator.cell();
        const auto cell = cellFor<QWTextFieldCell>(*field);
        ASSERT_TRUE(cell) << field->key().toStdString();
        EXPECT_NE(cell, former) << field->key().toStdString();
        EXPECT_FALSE(cell->formatter());
        EXPECT_TRUE(cell->isEditable());
    }
}

TEST_F(TableCellCreator, Makes_a_cell_with_images_and_two_texts_for_the_keys_that_are_set) {
    EXPECT_TRUE(cellFor<QWTextFieldCell>(title)); // none is set
    Creator::setStringKeysForImageAnd2TextCell({"name", "title"});
    EXPECT_TRUE(cellFor<ImageAnd2TextsCell>(title));
    Creator another; // the keys are those of all creators
    title.performAcceptVisitor(another, *book);
    EXPECT_TRUE(as<ImageAnd2TextsCell>(another.cell()));
    Creator::setStringKeysForImageAnd2TextCell({"name"});
    EXPECT_TRUE(cellFor<QWTextFieldCell>(title));
}

TEST_F(TableCellCreator, Heeds_the_keys_for_strings_alone) {
    Creator::setStringKeysForImageAnd2TextCell({"tags", "imageURL"});
    EXPECT_TRUE(cellFor<QWTextFieldCell>(QWManagedObjectFieldDescriptionStringArray("tags", "Tags")));
    EXPECT_TRUE(cellFor<QWTextFieldCell>(QWManagedObjectFieldDescriptionImageURL("imageURL", "Cover")));
}

TEST_F(TableCellCreator, Makes_a_check_box_that_cannot_be_changed_for_yes_or_no) {
    const auto cell = cellFor<QWCheckBoxCell>(read);
    ASSERT_TRUE(cell);
    EXPECT_FALSE(cell->isEnabled());
    EXPECT_FALSE(cell->isEditable());
}

TEST_F(TableCellCreator, Keeps_the_cell_before_it_for_a_long_string) {
    const auto box = cellFor(read);
    EXPECT_EQ(cellFor(QWManagedObjectFieldDescriptionLongString("summary", "Summary")), box);
    EXPECT_TRUE(as<QWCheckBoxCell>(creator.cell()));
}

TEST_F(TableCellCreator, Formats_numbers_as_the_locale_does_with_fractions_where_the_field_accepts_them) {
    const ScopedLocale german("de_DE");
    const auto whole = cellFor<QWTextFieldCell>(QWManagedObjectFieldDescriptionNumber("pages", "Pages"));
    const auto fraction =
        cellFor<QWTextFieldCell>(QWManagedObjectFieldDescriptionNumber("price", true, "Price"));
    ASSERT_TRUE(whole && fraction);
    EXPECT_EQ(whole->formatter()->stringForObjectValue(1234), u"1.234");
    EXPECT_EQ(fraction->formatter()->stringForObjectValue(1234.567), u"1.234,57");
    QVariant value;
    EXPECT_FALSE(whole->formatter()->getObjectValue(&value, "1,5"));
    EXPECT_TRUE(fraction->formatter()->getObjectValue(&value, "1,5"));
    EXPECT_NE(cellFor(QWManagedObjectFieldDescriptionNumber("pages", "Pages"))->formatter(),
              whole->formatter());
}

TEST_F(TableCellCreator, Formats_dates_with_the_formatter_of_the_field) {
    const QWDateFormatterRef formatter = std::make_shared<QWPatternDateFormatter>("yyyy", QLocale::c());
    const auto cell =
        cellFor<QWTextFieldCell>(QWManagedObjectFieldDescriptionDate("added", "Added", formatter));
    ASSERT_TRUE(cell);
    EXPECT_EQ(cell->formatter(), formatter);
}

TEST_F(TableCellCreator, Makes_stars_for_a_rating_and_a_bar_for_another_level) {
    const auto stars =
        cellFor<QWLevelIndicatorCell>(QWManagedObjectFieldDescriptionLevel("rating", "", true, 5));
    ASSERT_TRUE(stars);
    EXPECT_EQ(stars->levelIndicatorStyle(), QWLevelIndicatorCell::Style::Rating);
    EXPECT_EQ(stars->minValue(), 0.0);
    EXPECT_EQ(stars->maxValue(), 5.0);
    const auto bar =
        cellFor<QWLevelIndicatorCell>(QWManagedObjectFieldDescriptionLevel("rating", "", false, 10));
    ASSERT_TRUE(bar);
    EXPECT_EQ(bar->levelIndicatorStyle(), QWLevelIndicatorCell::Style::Bar);
    EXPECT_EQ(bar->maxValue(), 10.0);
}

TEST_F(TableCellCreator, Makes_none_for_a_relationship_and_does_not_follow_it) {
    const auto box = cellFor(read);
    library.insertChapter(*book, "One");
    EXPECT_EQ(cellFor(QWManagedObjectFieldDescriptionRelationship("chapters", "Chapters", "Chapter", true)),
              box);
    EXPECT_FALSE(creator.visitObjectShouldExploreRelationshipForKey(*book, "chapters", "", "Chapter", true));
    EXPECT_TRUE(creator.respondsToSelector(QWVisitShouldExploreRelationshipSelector));
    EXPECT_TRUE(creator.respondsToSelector(QWVisitCloseRelationshipSelector));
    creator.visitObjectCloseRelationshipForKey(*book, "chapters", "");
    creator.endVisitOfObject(*book);
    EXPECT_EQ(creator.cell(), box);
}

TEST_F(TableCellCreator, Makes_a_new_cell_each_time) {
    const auto first = cellFor(read);
    EXPECT_NE(cellFor(read), first);
}

TEST_F(TableCellCreator, Refuses_to_visit_a_whole_record) {
    const QWLogCapture log;
    const auto failure = assertionFailure([&] { book->acceptVisitor(creator); });
    EXPECT_EQ(failure.expression, u"NO");
    EXPECT_EQ(failure.operation, u"-[QWTableCellCreatorForManagedObjectFields beginVisitOfObject:]");
    EXPECT_EQ(failure.file, u"QWTableCellCreatorForManagedObjectFields.cpp");
    EXPECT_EQ(
        log.texts("qwlibrary.core"),
        QStringList("QWTableCellCreatorForManagedObjectFields cmd: beginVisitOfObject: using the class for "
                    "an array of keys. Probably programmation error"));
}

} // namespace
