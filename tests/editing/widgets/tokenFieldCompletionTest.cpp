#include "WidgetFixture.h"

#include <gmock/gmock.h>

using ::testing::ElementsAre;

namespace {

class TokenFieldCompletion : public TokenFieldTest {};

TEST_F(TokenFieldCompletion, Lists_what_the_store_suggests_and_proposes_the_first_behind_the_typed_letters) {
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

TEST_F(TokenFieldCompletion, The_arrows_choose_in_the_list) {
    save("tags", {"Red, reading"});
    type("re");
    press(Qt::Key_Down);
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"Red"}));
    type("re");
    EXPECT_THAT(listed(), ElementsAre("reading")) << "what is in the field is not suggested again";
}

TEST_F(TokenFieldCompletion, Leaving_the_field_takes_what_is_marked_in_the_list) {
    save("tags", {"Red, reading"});
    type("re");
    press(Qt::Key_Down);
    EXPECT_EQ(edit().text(), "red");
    EXPECT_EQ(edit().selectedText(), "d");
    EXPECT_EQ(field->objectValue(), QStringList({"re"}));
    press(Qt::Key_Tab);
    EXPECT_TRUE(other.hasFocus());
    EXPECT_EQ(field->tokens(), QStringList({"Red"}));
    EXPECT_TRUE(listed().isEmpty());
    field->setFocus();
    type("re");
    press(Qt::Key_Up);
    EXPECT_EQ(edit().text(), "re") << "none is marked";
    press(Qt::Key_Tab);
    EXPECT_EQ(field->tokens(), QStringList({"Red", "re"}));
}

TEST_F(TokenFieldCompletion, Escape_takes_list_and_proposal_away) {
    save("tags", {"reading"});
    type("re");
    press(Qt::Key_Escape);
    EXPECT_TRUE(listed().isEmpty());
    EXPECT_EQ(edit().text(), "re");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"re"}));
}

TEST_F(TokenFieldCompletion, Nothing_is_proposed_after_a_deletion_and_the_separator_keeps_to_what_is_typed) {
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

TEST_F(TokenFieldCompletion, A_proposal_behind_an_accent_begins_after_it) {
    save("tags", {"Éclair", "e\u0301tude"});
    type("ec");
    EXPECT_EQ(edit().text(), "eclair");
    press(Qt::Key_Return);
    type("et");
    EXPECT_EQ(edit().text(), "etude");
    press(Qt::Key_Return);
    EXPECT_EQ(field->tokens(), QStringList({"Éclair", "e\u0301tude"}));
}

TEST_F(TokenFieldCompletion, Works_without_a_delegate_and_when_it_is_gone) {
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

TEST_F(TokenFieldCompletion, Tells_its_delegate_of_the_focus_and_of_each_change_of_the_text) {
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

TEST_F(TokenFieldCompletion, One_delegate_of_two_fields_is_told_of_the_one_that_is_left_first) {
    DelegateLog log;
    QWTokenFieldWidget second(&window);
    second.show();
    other.setFocus();
    field->setDelegate(&log);
    second.setDelegate(&log);
    field->setFocus();
    second.setFocus();
    field->setFocus();
    EXPECT_EQ(log.calls, QStringList({"begin", "end", "begin", "end", "begin"}));
}

TEST_F(TokenFieldCompletion, A_delegate_that_comes_or_goes_while_the_field_has_the_focus_is_told) {
    DelegateLog first, second;
    field->setDelegate(&first);
    field->setDelegate(&second);
    EXPECT_EQ(first.calls, QStringList({"begin", "end"}));
    delete field;
    EXPECT_EQ(second.calls, QStringList({"begin", "end"}));
}

TEST_F(TokenFieldCompletion, Proposes_the_completion_that_the_delegate_selects_or_none) {
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

} // namespace
