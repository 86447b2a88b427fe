#include "WidgetFixture.h"

#include <QAccessible>
#include <QClipboard>
#include <QLabel>
#include <QSignalSpy>

namespace {

class TokenField : public TokenFieldTest {};

// Value -----------------------------------------------------------------------------------------------------

TEST_F(TokenField, Its_value_is_the_tokens_joined_by_the_separator_and_a_space) {
    QSignalSpy changes(field, &QWTokenFieldWidget::tokensChanged);
    field->setTokens({"red", "dark blue"});
    EXPECT_EQ(field->value(), "red, dark blue");
    field->setValue("red, dark blue");
    EXPECT_EQ(changes.size(), 1) << "equal tokens are no change";
    field->setSeparator(";");
    EXPECT_EQ(field->value(), "red; dark blue");
    field->setValue(" green ;; a, b;");
    EXPECT_EQ(field->tokens(), QStringList({"green", "a, b"}));
    EXPECT_EQ(changes.size(), 2);
    field->setValue("");
    EXPECT_EQ(field->tokens(), QStringList());
    EXPECT_EQ(field->value(), "");
}

TEST_F(TokenField, A_separator_is_one_character) {
    field->setSeparator("");
    field->setSeparator("--");
    EXPECT_EQ(field->separator(), ",");
}

TEST_F(TokenField, Its_properties_are_those_that_bindings_and_forms_use) {
    EXPECT_TRUE(field->setProperty("value", "red, blue"));
    EXPECT_EQ(field->property("tokens").toStringList(), QStringList({"red", "blue"}));
    EXPECT_STREQ(field->metaObject()->userProperty().name(), "value");
    EXPECT_TRUE(field->metaObject()->userProperty().hasNotifySignal());
}

TEST_F(TokenField, Says_its_attribute_by_path_by_identifier_or_by_its_name) {
    EXPECT_EQ(field->fieldKey(), "tags");
    field->setObservedKeyPath(QString());
    EXPECT_TRUE(field->fieldKey().isNull());
    field->setObjectName("kind");
    EXPECT_EQ(field->fieldKey(), "kind");
    field->setProperty("identifier", "size");
    EXPECT_EQ(field->fieldKey(), "size");
}

// Typing ----------------------------------------------------------------------------------------------------

TEST_F(TokenField, Return_the_separator_and_leaving_the_field_make_a_token_of_what_is_typed) {
    QSignalSpy finished(field, &QWTokenFieldWidget::editingFinished);
    type(" red ");
    press(Qt::Key_Return);
    type("dark blue,");
    type("green");
    EXPECT_EQ(field->tokens(), QStringList({"red", "dark blue"}));
    EXPECT_EQ(field->objectValue(), QStringList({"red", "dark blue", "green"}));
    EXPECT_EQ(finished.size(), 0);
    other.setFocus();
    EXPECT_EQ(field->tokens(), QStringList({"red", "dark blue", "green"}));
    EXPECT_EQ(edit().text(), "");
    EXPECT_EQ(finished.size(), 1);
}

TEST_F(TokenField, Blanks_alone_make_no_token) {
    type("  ,");
    type(" ");
    other.setFocus();
    EXPECT_EQ(field->tokens(), QStringList());
}

TEST_F(TokenField, Pasted_text_is_taken_apart_at_separators_and_line_ends) {
    QApplication::clipboard()->setText("red, dark blue\ngreen,\n , yellow");
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(field->tokens(), QStringList({"red", "dark blue", "green", "yellow"}));
    QApplication::clipboard()->setText("pink");
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(field->tokens().size(), 4);
    EXPECT_EQ(edit().text(), "pink") << "may still be changed";
}

TEST_F(TokenField, Pasted_tokens_replace_what_is_selected) {
    QApplication::clipboard()->setText("x, y");
    field->setTokens({"red"});
    press(Qt::Key_Left);
    press(Qt::Key_Return);
    EXPECT_EQ(edit().selectedText(), "red");
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(field->tokens(), QStringList({"x", "y"}));
    save("tags", {"reading"});
    type("re");
    EXPECT_EQ(edit().text(), "reading");
    press(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(field->tokens(), QStringList({"x", "y", "re", "x", "y"}))
        << "what is typed is a token of its own";
    EXPECT_TRUE(listed().isEmpty());
}

TEST_F(TokenField, Undoing_does_not_bring_back_the_text_of_a_token) {
    type("red");
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(edit().text(), "");
    type("red");
    press(Qt::Key_Return);
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(edit().text(), "");
    EXPECT_EQ(field->tokens(), QStringList({"red"}));
}

// Chips -----------------------------------------------------------------------------------------------------

TEST_F(TokenField, Backspace_and_the_arrow_at_the_start_of_the_text_go_to_the_chips) {
    field->setTokens({"red", "green", "blue"});
    type("x");
    press(Qt::Key_Left);
    EXPECT_TRUE(currentChip().isNull());
    press(Qt::Key_Left);
    EXPECT_EQ(currentChip(), "blue");
    press(Qt::Key_Left);
    EXPECT_EQ(currentChip(), "green");
    press(Qt::Key_Home);
    EXPECT_EQ(currentChip(), "red");
    press(Qt::Key_Left);
    EXPECT_EQ(currentChip(), "red");
    press(Qt::Key_Right);
    EXPECT_EQ(currentChip(), "green");
    press(Qt::Key_End);
    EXPECT_TRUE(edit().hasFocus());
    press(Qt::Key_Backspace);
    EXPECT_EQ(currentChip(), "blue");
    EXPECT_EQ(field->tokens().size(), 3) << "the first press only goes there";
}

TEST_F(TokenField, Delete_and_backspace_remove_the_chip_with_the_focus) {
    field->setTokens({"a", "b", "c", "d"});
    press(Qt::Key_Left);
    press(Qt::Key_Left);
    press(Qt::Key_Left);
    EXPECT_EQ(currentChip(), "b");
    press(Qt::Key_Delete);
    EXPECT_EQ(currentChip(), "c");
    press(Qt::Key_Backspace);
    EXPECT_EQ(currentChip(), "a");
    press(Qt::Key_Backspace);
    EXPECT_EQ(currentChip(), "d");
    press(Qt::Key_Delete);
    EXPECT_TRUE(edit().hasFocus());
    EXPECT_EQ(field->tokens(), QStringList());
}

TEST_F(TokenField, The_cross_of_a_chip_removes_it_and_the_rest_of_it_does_not) {
    field->setTokens({"red", "blue"});
    QAbstractButton* red = chips().first();
    QTest::mouseClick(red, Qt::LeftButton, {}, {6, red->height() / 2});
    EXPECT_EQ(currentChip(), "red");
    EXPECT_EQ(field->tokens().size(), 2);
    QTest::mouseClick(red, Qt::LeftButton, {}, {red->width() - 10, red->height() / 2});
    EXPECT_EQ(field->tokens(), QStringList({"blue"}));
}

TEST_F(TokenField, Clicks_in_one_place_remove_one_chip_after_the_other) {
    field->setTokens({"a", "b", "c"});
    QAbstractButton* chip = chips().first();
    QPoint cross(chip->width() - 10, chip->height() / 2);
    QTest::mouseClick(chip, Qt::LeftButton, {}, cross);
    chip = chips().first(); // now in the same place, so that the next press is that of a double click
    cross.setX(chip->width() - 10);
    QTest::mouseDClick(chip, Qt::LeftButton, {}, cross);
    QTest::mouseRelease(chip, Qt::LeftButton, {}, cross);
    EXPECT_EQ(field->tokens(), QStringList({"c"}));
    EXPECT_EQ(edit().text(), "");
}

TEST_F(TokenField, A_chip_with_the_focus_has_the_fields_place_in_the_tab_order) {
    QWidget form;
    QLineEdit before(&form);
    QWTokenFieldWidget between(&form);
    QLineEdit after(&form);
    between.setTokens({"red", "blue"});
    form.show();
    QApplication::setActiveWindow(&form);
    between.setFocus();
    press(Qt::Key_Left);
    press(Qt::Key_Tab);
    EXPECT_TRUE(after.hasFocus());
    press(Qt::Key_Backtab);
    press(Qt::Key_Left);
    press(Qt::Key_Backtab);
    EXPECT_TRUE(before.hasFocus());
    between.setFocus();
    press(Qt::Key_Left);
    between.setTokens({"green"});
    EXPECT_TRUE(between.hasFocus()) << "the chip is gone, the focus stays in the field";
}

TEST_F(TokenField, Return_and_a_double_click_edit_a_chip) {
    field->setTokens({"red", "blue"});
    press(Qt::Key_Left);
    press(Qt::Key_Return);
    EXPECT_EQ(edit().text(), "blue");
    EXPECT_EQ(field->tokens(), QStringList({"red"}));
    QTest::mouseDClick(chips().first(), Qt::LeftButton, {}, {6, 6});
    EXPECT_EQ(edit().text(), "red");
    EXPECT_EQ(field->tokens(), QStringList({"blue"})) << "what was being typed is a token now";
    EXPECT_EQ(field->objectValue(), QStringList({"blue", "red"}));
    type("rose");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"blue", "rose"}));
}

TEST_F(TokenField, A_chips_text_is_copied_and_cut_and_letters_go_to_the_text) {
    field->setTokens({"red & white", "blue"});
    press(Qt::Key_Left);
    press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "blue");
    press(Qt::Key_Left);
    press(Qt::Key_X, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), "red & white");
    EXPECT_EQ(field->tokens(), QStringList({"blue"}));
    EXPECT_EQ(currentChip(), "blue");
    press(Qt::Key_Z);
    EXPECT_TRUE(edit().hasFocus());
    EXPECT_EQ(edit().text(), "z");
}

TEST_F(TokenField, In_a_right_to_left_window_the_arrows_are_mirrored) {
    window.setLayoutDirection(Qt::RightToLeft);
    field->setTokens({"אחד", "שתיים"});
    press(Qt::Key_Right);
    EXPECT_EQ(currentChip(), "שתיים");
    press(Qt::Key_Right);
    EXPECT_EQ(currentChip(), "אחד");
    EXPECT_GT(chips().first()->x(), chips().last()->x()) << "the first is the rightmost";
    press(Qt::Key_Left);
    press(Qt::Key_Left);
    EXPECT_TRUE(edit().hasFocus());
    QAbstractButton* first = chips().first();
    QTest::mouseClick(first, Qt::LeftButton, {}, {10, first->height() / 2});
    EXPECT_EQ(field->tokens(), QStringList({"שתיים"})) << "the cross is on the left";
}

// Names -----------------------------------------------------------------------------------------------------

TEST_F(TokenField, Screen_readers_are_told_the_fields_name_and_each_token_as_a_button) {
    auto* label = new QLabel("&Tags", &window);
    label->setBuddy(field);
    other.setFocus();
    field->setTokens({"red & white"});
    field->setFocus();
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&edit())->text(QAccessible::Name), "Tags");
    QAccessibleInterface* chip = QAccessible::queryAccessibleInterface(chips().first());
    EXPECT_EQ(chip->role(), QAccessible::Button);
    EXPECT_EQ(chip->text(QAccessible::Name), "red & white");
    EXPECT_FALSE(chip->text(QAccessible::Description).isEmpty());
    qobject_cast<QAbstractButton*>(chip->object())->click(); // as a reader's press does
    EXPECT_EQ(currentChip(), "red & white");
    other.setFocus();
    field->setAccessibleName("Subjects");
    field->setFocus();
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&edit())->text(QAccessible::Name), "Subjects");
}

} // namespace
