#include "store/QWPredicate.h"

#include "store/QWManagedObjectModel.h"
#include "store/QWStoreError.h"

#include <QDateTime>
#include <gtest/gtest.h>

namespace {

// The text of what was read; the error's message when nothing was.
QString reread(const QString& text, const QVariantList& arguments = {}) {
    QWError error;
    const auto predicate = QWPredicate::parse(text, arguments, &error);
    return predicate ? predicate->text() : error.message;
}

int errorColumn(const QString& text, const QVariantList& arguments = {}) {
    QWError error;
    EXPECT_FALSE(QWPredicate::parse(text, arguments, &error)) << text.toStdString();
    EXPECT_EQ(error.domain, "store");
    EXPECT_EQ(error.code, int(QWStoreErrorCode::InvalidPredicate));
    EXPECT_EQ(error.userInfo.value("text").toString(), text);
    return error.userInfo.value("column").toInt();
}

QString repeated(const QString& piece, int times) {
    return piece.repeated(times);
}

} // namespace

TEST(PredicateText, Every_operator_has_one_written_form) {
    EXPECT_EQ(reread("a = 1"), "a == 1");
    EXPECT_EQ(reread("a==1"), "a == 1");
    EXPECT_EQ(reread("a <> 1"), "a != 1");
    EXPECT_EQ(reread("a!=1"), "a != 1");
    EXPECT_EQ(reread("a<1"), "a < 1");
    EXPECT_EQ(reread("a <= 1"), "a <= 1");
    EXPECT_EQ(reread("a>1"), "a > 1");
    EXPECT_EQ(reread("a >= 1"), "a >= 1");
    EXPECT_EQ(reread("a beginswith 'x'"), "a BEGINSWITH \"x\"");
    EXPECT_EQ(reread("a Contains 'x'"), "a CONTAINS \"x\"");
    EXPECT_EQ(reread("a in {1, 2}"), "a IN {1, 2}");
    EXPECT_EQ(reread("a IN {}"), "a IN {}");
}

TEST(PredicateText, Text_in_a_key_is_containment_and_a_key_in_text_is_the_reverse) {
    EXPECT_EQ(reread("\"ro\" IN[c] name"), "name CONTAINS[c] \"ro\"");
    EXPECT_EQ(reread("name IN[c] \"rome\""), "name IN[c] \"rome\"");
    EXPECT_EQ(QWPredicate::comparison("name", QWPredicate::Operator::ContainedIn, "rome").text(),
              "name IN \"rome\"");
}

TEST(PredicateText, Options_follow_the_operator) {
    EXPECT_EQ(reread("a ==[c] 'x'"), "a ==[c] \"x\"");
    EXPECT_EQ(reread("a ==[d]'x'"), "a ==[d] \"x\"");
    EXPECT_EQ(reread("a BEGINSWITH[cd] 'x'"), "a BEGINSWITH[cd] \"x\"");
    EXPECT_EQ(reread("a BEGINSWITH [dc] 'x'"), "a BEGINSWITH[cd] \"x\"");
    EXPECT_EQ(reread("a IN[c] {'x', nil}"), "a IN[c] {\"x\", nil}");
}

TEST(PredicateText, AND_binds_closer_than_OR_and_NOT_closer_than_both) {
    EXPECT_EQ(reread("a == 1 OR b == 2 AND NOT c == 3"), "a == 1 OR (b == 2 AND NOT c == 3)");
    EXPECT_EQ(reread("(a == 1 or b == 2) and not (c == 3)"), "(a == 1 OR b == 2) AND NOT c == 3");
    EXPECT_EQ(reread("a == 1 || b == 2 && !c == 3"), "a == 1 OR (b == 2 AND NOT c == 3)");
    EXPECT_EQ(reread("NOT (a == 1 AND b == 2)"), "NOT (a == 1 AND b == 2)");
}

TEST(PredicateText, Joins_of_one_kind_are_one_list_and_two_negations_none) {
    EXPECT_EQ(reread("a == 1 AND (b == 2 AND (c == 3))"), "a == 1 AND b == 2 AND c == 3");
    EXPECT_EQ(reread("NOT NOT !!a == 1"), "a == 1");
    EXPECT_EQ(reread("NOT NOT NOT a == 1"), "NOT a == 1");
}

TEST(PredicateText, Constants_vanish_where_they_change_nothing) {
    EXPECT_TRUE(QWPredicate::parse("TRUEPREDICATE AND truepredicate")->isAlwaysTrue());
    EXPECT_TRUE(QWPredicate::conjunction({}).isAlwaysTrue());
    EXPECT_EQ(QWPredicate::disjunction({}).text(), "FALSEPREDICATE");
    EXPECT_EQ(reread("a == 1 AND TRUEPREDICATE"), "a == 1");
    EXPECT_EQ(reread("a == 1 OR FALSEPREDICATE"), "a == 1");
    EXPECT_EQ(reread("NOT FALSEPREDICATE"), "TRUEPREDICATE");
    EXPECT_FALSE(QWPredicate::parse("a == 1 OR TRUEPREDICATE")->isAlwaysTrue());
}

TEST(PredicateText, Values_of_every_type_are_read_back) {
    EXPECT_EQ(reread("a == YES"), "a == YES");
    EXPECT_EQ(reread("a == false"), "a == NO");
    EXPECT_EQ(reread("a == null"), "a == nil");
    EXPECT_EQ(reread("a == -9223372036854775808"), "a == -9223372036854775808");
    EXPECT_EQ(reread("a == 9223372036854775808"), "a == 9223372036854776000.0");
    EXPECT_EQ(reread("a == 1.0"), "a == 1.0");
    EXPECT_EQ(reread("a == -0.1e-7"), "a == -1e-08");
    EXPECT_EQ(reread("a == 1e999"), "a == 1e999");
    EXPECT_EQ(reread("a == 'it\\'s \\\\ \"so\"'"), "a == \"it's \\\\ \\\"so\\\"\"");
    EXPECT_EQ(reread("a == '\\n\\t\\u00e9\\u0001'"), "a == \"\\n\\té\\u0001\"");
    EXPECT_EQ(reread("a == DATA(\"00ff\")"), "a == DATA(\"00ff\")");
    EXPECT_EQ(reread("a == DATE(1)"), "a == DATE(1)");
}

TEST(PredicateText, Dates_are_written_for_people_unless_that_would_lose_a_fraction) {
    const QDateTime date = QDateTime::fromMSecsSinceEpoch(1367684530000, Qt::UTC);
    const auto before = [](const QDateTime& value) {
        return QWPredicate::comparison("added", QWPredicate::Operator::Less, value).text();
    };
    EXPECT_EQ(before(date), "added < \"2013-05-04 16:22:10 +0000\"");
    EXPECT_EQ(before(date.addMSecs(1)), "added < DATE(1367684530001)");
    EXPECT_EQ(before(date.addYears(-3000)),
              "added < DATE(" + QString::number(date.addYears(-3000).toMSecsSinceEpoch()) + ")");
}

TEST(PredicateText, Arguments_are_taken_in_order) {
    EXPECT_EQ(reread("a == %@ AND b IN %@ AND %@ IN c", {1, QStringList{"x", "y"}, "z"}),
              "a == 1 AND b IN {\"x\", \"y\"} AND c CONTAINS \"z\"");
    EXPECT_EQ(reread("a IN {%@, %@}", {1, QVariant()}), "a IN {1, nil}");
    EXPECT_EQ(reread("a IN %@", {"text"}), "a IN \"text\"");
    EXPECT_EQ(reread("a == %@", {QDateTime()}), "a == nil");
    EXPECT_EQ(reread("a == %@", {QByteArray("\x01")}), "a == DATA(\"01\")");
}

TEST(PredicateText, A_key_that_reads_as_something_else_is_marked) {
    EXPECT_EQ(reread("#no == 1"), "#\"no\" == 1");
    EXPECT_EQ(reread("#\"two words\" == 1"), "#\"two words\" == 1");
    EXPECT_EQ(reread("#name == 1"), "name == 1");
    EXPECT_EQ(reread("größe_2 == 1"), "größe_2 == 1");
    EXPECT_EQ(reread("DATE == 1 AND data == 2"), "DATE == 1 AND data == 2");
}

TEST(PredicateText, What_was_written_reads_back_the_same) {
    for (const char* text :
         {"a == 1", "NOT (a == 1 OR b == 2) AND (c == nil OR d != nil)", "a IN {1, 2.5, \"x\", nil}",
          "#\"in\" BEGINSWITH[cd] \"\\\"\\\\\\u0000\"", "FALSEPREDICATE AND a == 1", "a == DATE(-1)",
          "a CONTAINS \"🙂\" AND NOT b IN[d] \"é\""})
        EXPECT_EQ(reread(text), QString::fromUtf8(text));
}

TEST(PredicateText, Errors_name_the_column_in_characters) {
    EXPECT_EQ(errorColumn(""), 1);
    EXPECT_EQ(errorColumn("a"), 2);
    EXPECT_EQ(errorColumn("a =="), 5);
    EXPECT_EQ(errorColumn("a == AND"), 6);
    EXPECT_EQ(errorColumn("a == b"), 6);
    EXPECT_EQ(errorColumn("a == 1 b"), 8);
    EXPECT_EQ(errorColumn("a == 1 AND"), 11);
    EXPECT_EQ(errorColumn("(a == 1"), 8);
    EXPECT_EQ(errorColumn("a == 1)"), 7);
    EXPECT_EQ(errorColumn("a LIKE 'x'"), 3);
    EXPECT_EQ(errorColumn("a ==[x] 'x'"), 6);
    EXPECT_EQ(errorColumn("a ==[c 'x'"), 8);
    EXPECT_EQ(errorColumn("a.b == 1"), 2);
    EXPECT_EQ(errorColumn("a == 12abc"), 8);
    EXPECT_EQ(errorColumn("a == 1."), 7);
    EXPECT_EQ(errorColumn("a == 'x"), 6);
    EXPECT_EQ(errorColumn("a == 'x\\q'"), 8);
    EXPECT_EQ(errorColumn("a == '\\u12'"), 7);
    EXPECT_EQ(errorColumn("a == '🙂' x"), 10);
    EXPECT_EQ(errorColumn("a IN {1 2}"), 9);
    EXPECT_EQ(errorColumn("a IN {1"), 8);
    EXPECT_EQ(errorColumn("a IN {1,}"), 9);
    EXPECT_EQ(errorColumn("a IN AND"), 6);
    EXPECT_EQ(errorColumn("1 == a"), 3);
    EXPECT_EQ(errorColumn("'x' IN 'y'"), 8);
    EXPECT_EQ(errorColumn("# == 1"), 2);
    EXPECT_EQ(errorColumn("a == $"), 6);
    EXPECT_EQ(errorColumn("a == DATE('x')"), 11);
    EXPECT_EQ(errorColumn("a == DATA(1)"), 11);
}

TEST(PredicateText, Errors_say_what_was_expected_and_found) {
    EXPECT_EQ(reread("a == 1 AND"), "Column 11 of the predicate: expected a key or a value, found the end.");
    EXPECT_EQ(reread("a LIKE 'x'"), "Column 3 of the predicate: expected an operator, found \"LIKE\".");
    EXPECT_EQ(reread("a == 'x"), "Column 6 of the predicate: this text has no closing quote.");
}

TEST(PredicateText, Arguments_and_their_places_must_be_as_many) {
    EXPECT_EQ(errorColumn("a == %@ AND b == %@", {1}), 18);
    EXPECT_EQ(errorColumn("a == %@", {1, 2}), 8);
}

TEST(PredicateText, Deep_nesting_is_an_error_and_never_a_crash) {
    EXPECT_EQ(reread(repeated("(", 200) + "a == 1" + repeated(")", 200)), "a == 1");
    EXPECT_EQ(errorColumn(repeated("(", 201) + "a == 1" + repeated(")", 201)), 201);
    EXPECT_GT(errorColumn(repeated("(", 1'000'000)), 0);
    EXPECT_GT(errorColumn(repeated("NOT (a == 1 AND ", 150) + "a == 1" + repeated(")", 150)), 0);
    EXPECT_EQ(reread(repeated("NOT ", 1'000'000) + "a == 1"), "a == 1");
}

TEST(PredicateText, Huge_input_is_read) {
    QStringList parts;
    for (int i = 0; i < 100'000; ++i)
        parts.append(QStringLiteral("a == %1").arg(i));
    const QString text = parts.join(" OR ");
    EXPECT_TRUE(reread(text) == text);
    const QString longText = QStringLiteral("a == \"%1\"").arg(repeated("x", 1'000'000));
    EXPECT_TRUE(reread(longText) == longText);
}

TEST(PredicateText, A_predicate_that_code_nests_too_deeply_fits_no_entity) {
    const auto a = QWPredicate::comparison("name", QWPredicate::Operator::Equal, "x");
    QWPredicate nested = a;
    for (int i = 0; i < 100'000; ++i)
        nested = QWPredicate::conjunction({QWPredicate::disjunction({nested, a}), a});
    QWManagedObjectModel model;
    model.addEntity("City").addAttribute("name", QWAttributeType::String);
    ASSERT_TRUE(model.complete());
    QWError error;
    EXPECT_FALSE(nested.check(*model.entity("City"), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::InvalidPredicate));
    EXPECT_TRUE(a.check(*model.entity("City")));
}
