#include "editing/CompletionFixture.h"
#include "editing/NSString_QueryAdditions.h"
#include "editing/QWTokenFieldSubstringCompletion.h"
#include "platform/text/QWText.h"
#include "support/AssertionProbe.h"

#include <random>
#include <rapidcheck/gtest.h>

namespace {

class TokenCompletion : public CompletionTest {
protected:
    QStringList suggestions(const QString& typed) {
        qsizetype selected = 0;
        const QStringList found = completion.tokenFieldCompletionsForSubstring(field, typed, 0, &selected);
        EXPECT_EQ(selected, 0) << "the selected index is the field's";
        return found;
    }

    FieldDouble field;
    QWTokenFieldSubstringCompletion completion{context, "Note", ","};
};

TEST_F(TokenCompletion, Suggests_the_tokens_that_begin_with_what_is_typed_in_the_users_order) {
    save("tags", {"Red, reading, bread"});
    EXPECT_EQ(suggestions("re"), QStringList({"reading", "Red"}));
    EXPECT_EQ(suggestions("RE"), QStringList({"reading", "Red"}));
    EXPECT_EQ(suggestions("bre"), QStringList({"bread"}));
    EXPECT_EQ(suggestions("x"), QStringList());
}

TEST_F(TokenCompletion, Accents_do_not_count) {
    save("tags", {"élan, Eric, e\u0301tude"});
    EXPECT_EQ(suggestions("e"), QStringList({"élan", "Eric", "e\u0301tude"}));
    EXPECT_EQ(suggestions("É"), QStringList({"élan", "Eric", "e\u0301tude"}));
}

TEST_F(TokenCompletion, A_token_in_the_field_is_not_suggested_again_but_the_one_being_typed_is) {
    save("tags", {"red, reading", "Red"});
    field.tokens = {"red", "re"};
    EXPECT_EQ(suggestions("re"), QStringList({"reading", "Red"}))
        << "only exactly equal tokens are in the field";
    field.tokens = {"red"};
    EXPECT_EQ(suggestions("red"), QStringList({"Red", "red"})) << "it is itself among the tokens";
    field.tokens = {"red", "red", "blue"};
    EXPECT_EQ(suggestions("red"), QStringList({"Red", "red"})) << "every one of them";
}

TEST_F(TokenCompletion, A_token_of_several_records_is_suggested_once) {
    save("tags", {"red, blue", "red", "green, red", "red, blue"});
    EXPECT_EQ(suggestions("r"), QStringList({"red"}));
}

TEST_F(TokenCompletion, An_empty_text_suggests_nothing) {
    save("tags", {"red", ""});
    EXPECT_EQ(suggestions(""), QStringList());
}

TEST_F(TokenCompletion, Tokens_are_joined_by_the_separator_and_a_space_and_are_not_trimmed) {
    save("tags", {"red,reading", "ring,  rose", "round; rope"});
    EXPECT_EQ(suggestions("r"), QStringList({"red,reading", "ring", "round; rope"}));
    EXPECT_EQ(suggestions(" r"), QStringList({" rose"}));
    QWTokenFieldSubstringCompletion semicolon(context, "Note", ";");
    EXPECT_EQ(semicolon.tokenFieldCompletionsForSubstring(field, "ro", 0, nullptr),
              QStringList({"rope", "round"}));
}

TEST_F(TokenCompletion, Unsaved_tokens_are_not_suggested_and_tokens_saved_a_moment_ago_are) {
    save("tags", {"red"});
    completion.tokenFieldDidBeginEditing(field);
    auto note = insert("tags", "rose");
    EXPECT_EQ(suggestions("r"), QStringList({"red"}));
    ASSERT_TRUE(context->save());
    EXPECT_EQ(suggestions("r"), QStringList({"red", "rose"}));
    note->setValueForKey("tags", "ruby");
    ASSERT_TRUE(context->save());
    EXPECT_EQ(suggestions("r"), QStringList({"red", "ruby"}));
    completion.tokenFieldDidEndEditing(field);
    EXPECT_EQ(suggestions("r"), QStringList({"red", "ruby"}));
}

TEST_F(TokenCompletion, The_attribute_is_the_last_piece_of_the_bound_path_or_the_name_of_an_unbound_field) {
    EXPECT_EQ(completion.fieldKeyFromTokenField(field), "tags");
    field.path = "kind";
    EXPECT_EQ(completion.fieldKeyFromTokenField(field), "kind");
    field.path = "arrangedObjects.selection.kind";
    field.name = "tags";
    EXPECT_EQ(completion.fieldKeyFromTokenField(field), "kind");
    field.path = QString();
    EXPECT_EQ(completion.fieldKeyFromTokenField(field), "tags");
    save("tags", {"red"});
    save("kind", {"rough"});
    EXPECT_EQ(suggestions("r"), QStringList({"red"}));
    field.name = "kind";
    EXPECT_EQ(suggestions("r"), QStringList({"rough"}));
}

TEST_F(TokenCompletion, A_field_without_path_and_name_is_a_programming_error) {
    field.path = QString();
    const auto failure = assertionFailure([&] { suggestions("r"); });
    EXPECT_EQ(failure.expression, "fieldKey");
    EXPECT_EQ(failure.operation, "-[QWTokenFieldSubstringCompletion "
                                 "tokenField:completionsForSubstring:indexOfToken:indexOfSelectedItem:]");
}

TEST_F(TokenCompletion, A_context_a_name_and_a_separator_of_one_character_are_required_in_this_order) {
    const auto make = [](std::shared_ptr<QWManagedObjectContext> with, const QString& name,
                         const QString& separator) {
        return assertionFailure([&] { QWTokenFieldSubstringCompletion(with, name, separator); });
    };
    EXPECT_EQ(make(nullptr, "", "").expression, "context");
    EXPECT_EQ(make(context, "", "").expression, "[name length]>0");
    EXPECT_EQ(make(context, "Note", "").expression, "[character length]==1");
    const auto failure = make(context, "Note", ", ");
    EXPECT_EQ(failure.expression, "[character length]==1");
    EXPECT_EQ(failure.operation, "-[QWTokenFieldSubstringCompletion "
                                 "initWithManagedObjectContext:entityName:separatorCharacter:]");
    EXPECT_EQ(failure.file, "QWTokenFieldSubstringCompletion.cpp");
    EXPECT_TRUE(make(context, "Note", ";").expression.isNull());
}

TEST_F(TokenCompletion, What_cannot_be_read_suggests_nothing) {
    save("tags", {"red"});
    field.path = "unknown";
    EXPECT_EQ(suggestions("r"), QStringList());
    field.path = "size";
    EXPECT_EQ(suggestions("r"), QStringList());
    QWTokenFieldSubstringCompletion unknown(context, "Page", ",");
    EXPECT_EQ(unknown.tokenFieldCompletionsForSubstring(field, "r", 0, nullptr), QStringList());
}

TEST_F(TokenCompletion, The_request_looks_for_the_lowercase_text_anywhere_in_saved_values) {
    const QWFetchRequest request = completion.fetchRequestToSuggestTokenFieldWithKey("tags", "RE\"İ");
    EXPECT_EQ(request.entityName, "Note");
    EXPECT_EQ(request.predicate.text(), QWPredicate::parse("%@ IN[cd] tags", {"re\"i\u0307"})->text());
    EXPECT_FALSE(request.includesPendingChanges);
    EXPECT_TRUE(request.sortDescriptors.isEmpty());
    EXPECT_EQ(request.limit, 0);
}

QString anyToken(std::mt19937& random) {
    static const QStringList pieces{"a", "A",      "é",  "E\u0301", "e", "ß", "ss", "S", "İ",
                                    "i", "ı",      "か", "が",      "ø", "o", ",",  " ", ", ",
                                    ";", "\u0301", "한", "🙂",    "Σ", "ς", "1",  "-"};
    QString token;
    for (auto count = random() % 4; count > 0; --count)
        token += pieces[int(random() % size_t(pieces.size()))];
    return token;
}

// The suggestions written down a second time, from all records.
QStringList plainly(QWManagedObjectContext& context, const QString& typed, const QStringList& inField) {
    QStringList present = inField;
    present.removeAll(typed);
    QStringList found;
    const auto predicate = QWPredicate::parse("%@ IN[cd] tags", {qw::text::lowercase(typed)});
    const QWManagedObjectSet notes = context.fetch(QWFetchRequest("Note", *predicate)).value();
    for (const auto& note : notes)
        for (const QString& piece : note->valueForKey("tags").toString().split(", "))
            if (hasDiatricAndCaseInsensitivePrefix(piece, typed) && !present.contains(piece)
                && !found.contains(piece))
                found << piece;
    std::sort(found.begin(), found.end(), [](const QString& left, const QString& right) {
        const int order = qw::text::compareLocalizedCaseInsensitive(left, right);
        return order != 0 ? order < 0 : qw::text::compareCodePoints(left, right) < 0;
    });
    return found;
}

RC_GTEST_FIXTURE_PROP(TokenCompletion, Suggestions_are_what_their_definition_says_over_any_records, ()) {
    std::mt19937 random(*rc::gen::noShrink(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<quint32>())));
    completion.tokenFieldDidBeginEditing(field);
    for (int round = 0; round < 4; ++round) {
        QStringList values;
        for (int count = 0; count < 12; ++count)
            values << QStringList{anyToken(random), anyToken(random), anyToken(random)}.join(", ");
        save("tags", values);
        for (int typing = 0; typing < 12; ++typing) {
            const QString typed = anyToken(random);
            field.tokens = {anyToken(random), anyToken(random), typed};
            RC_ASSERT(suggestions(typed) == plainly(*context, typed, field.tokens));
        }
    }
}

} // namespace
