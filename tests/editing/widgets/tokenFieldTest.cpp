#include "WidgetFixture.h"

#include <QAccessible>
#include <QClipboard>
#include <QLabel>
#include <QSignalSpy>
#include <gmock/gmock.h>

using ::testing::ElementsAre;

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

// Completion ------------------------------------------------------------------------------------------------

TEST_F(TokenField, Lists_what_the_store_suggests_and_proposes_the_first_behind_the_typed_letters) {
    save("tags", {"Red, reading, bread", "Réunion"});
    type("rE");
    EXPECT_THAT(listed(), ElementsAre("reading", "Red", "Réunion"));
    EXPECT_EQ(edit().text(), "rEading");
    EXPECT_EQ(edit().selectedText(), "ading");
    EXPECT_EQ(field->objectValue(), QStringList({"rE"}));
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"reading"})) << "in the letters of the store";
    EXPECT_EQ(edit().text(), "");
    EXPECT_TRUE(listed().isEmpty());
}

TEST_F(TokenField, The_arrows_choose_in_the_list) {
    save("tags", {"Red, reading"});
    type("re");
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"Red"}));
    type("re");
    EXPECT_THAT(listed(), ElementsAre("reading")) << "what is in the field is not suggested again";
}

TEST_F(TokenField, Escape_takes_list_and_proposal_away) {
    save("tags", {"reading"});
    type("re");
    press(Qt::Key_Escape);
    EXPECT_TRUE(listed().isEmpty());
    EXPECT_EQ(edit().text(), "re");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"re"}));
}

TEST_F(TokenField, Nothing_is_proposed_after_a_deletion_and_the_separator_keeps_to_what_is_typed) {
    save("tags", {"reading"});
    type("re");
    press(Qt::Key_Backspace); // the proposal
    EXPECT_EQ(edit().text(), "re");
    EXPECT_THAT(listed(), ElementsAre("reading"));
    type("a");
    EXPECT_EQ(edit().text(), "reading");
    press(Qt::Key_Comma);
    EXPECT_EQ(field->tokens(), QStringList({"rea"}));
}

TEST_F(TokenField, A_proposal_behind_an_accent_begins_after_it) {
    save("tags", {"Éclair", "e\u0301tude"});
    type("ec");
    EXPECT_EQ(edit().text(), "eclair");
    press(Qt::Key_Return);
    type("et");
    EXPECT_EQ(edit().text(), "etude");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"Éclair", "e\u0301tude"}));
}

TEST_F(TokenField, Works_without_a_delegate_and_when_it_is_gone) {
    auto passing = std::make_unique<QWTokenFieldSubstringCompletion>(context, "Note", ",");
    field->setDelegate(passing.get());
    passing.reset();
    EXPECT_FALSE(field->delegate());
    type("re,");
    EXPECT_EQ(field->tokens(), QStringList({"re"}));
}

// What a field tells its delegate.
struct DelegateLog : QWTokenFieldDelegate {
    QStringList tokenFieldCompletionsForSubstring(const QWTokenField& asking, const QString& substring,
                                                  qsizetype index, qsizetype* selected) override {
        calls
            << QStringLiteral("%1 at %2 of %3").arg(substring).arg(index).arg(asking.objectValue().join('+'));
        EXPECT_EQ(*selected, 0);
        *selected = select;
        return {"xa", "xb"};
    }
    void tokenFieldDidBeginEditing(const QWTokenField&) override { calls << "begin"; }
    void tokenFieldDidEndEditing(const QWTokenField&) override { calls << "end"; }
    QStringList calls;
    qsizetype select = 0;
};

TEST_F(TokenField, Tells_its_delegate_of_the_focus_and_of_each_change_of_the_text) {
    DelegateLog log;
    other.setFocus();
    field->setDelegate(&log);
    field->setTokens({"a"});
    field->setFocus();
    type("x");
    press(Qt::Key_Escape);
    press(Qt::Key_Home);
    press(Qt::Key_Left);
    EXPECT_EQ(currentChip(), "a");
    other.setFocus();
    EXPECT_EQ(log.calls, QStringList({"begin", "x at 1 of a+x", "end"}));
}

TEST_F(TokenField, A_delegate_that_comes_or_goes_while_the_field_has_the_focus_is_told) {
    DelegateLog first, second;
    field->setDelegate(&first);
    field->setDelegate(&second);
    EXPECT_EQ(first.calls, QStringList({"begin", "end"}));
    delete field;
    EXPECT_EQ(second.calls, QStringList({"begin", "end"}));
}

TEST_F(TokenField, Proposes_the_completion_that_the_delegate_selects_or_none) {
    DelegateLog log;
    field->setDelegate(&log);
    log.select = 1;
    type("x");
    EXPECT_EQ(edit().text(), "xb");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"xb"}));
    log.select = -1;
    type("x");
    EXPECT_EQ(edit().text(), "x");
    EXPECT_EQ(listed().size(), 2);
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"xb", "x"}));
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
    other.setFocus();
    field->setAccessibleName("Subjects");
    field->setFocus();
    EXPECT_EQ(QAccessible::queryAccessibleInterface(&edit())->text(QAccessible::Name), "Subjects");
}

} // namespace
