#include "PredicateTable.h"

#include "store/QWStoreError.h"

#include <cmath>
#include <limits>

namespace {

using Operator = QWPredicate::Operator;
using Keys = QList<qint64>;

constexpr int C = QWPredicate::CaseInsensitive;
constexpr int D = QWPredicate::DiacriticInsensitive;

class Predicate : public ::testing::Test {
protected:
    // What the predicate selects, which must be the same in memory and in SQL.
    Keys matches(const QWPredicate& predicate) {
        const Keys keys = table.matchesInMemory(table.bound(predicate));
        EXPECT_EQ(table.matchesInSQL(predicate), keys) << predicate.text().toStdString();
        return keys;
    }
    Keys matches(const QString& text, const QVariantList& arguments = {}) {
        QWError error;
        const auto predicate = QWPredicate::parse(text, arguments, &error);
        EXPECT_TRUE(predicate) << error.message.toStdString();
        return predicate ? matches(*predicate) : Keys();
    }
    void addTitles(const QStringList& titles) {
        for (const QString& title : titles)
            table.add({{"title", title}});
    }
    QWError refusal(const QString& text, const QVariantList& arguments = {}) {
        QWError error;
        const auto predicate = QWPredicate::parse(text, arguments, &error);
        EXPECT_TRUE(predicate) << error.message.toStdString();
        EXPECT_FALSE(predicate && predicate->check(table.book(), &error)) << text.toStdString();
        EXPECT_EQ(error.userInfo.value("entity"), "Book");
        return error;
    }
    QString plan(const QString& text, const QVariantList& arguments = {}) {
        return table.plan(QWPredicate::parse(text, arguments).value());
    }

    PredicateTable table;
};

QDateTime utc(qint64 milliseconds) {
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}

} // namespace

// Missing values --------------------------------------------------------------------------------------------

TEST_F(Predicate, The_default_holds_for_every_record) {
    addTitles({"a", "b"});
    EXPECT_EQ(matches(QWPredicate()), (Keys{1, 2}));
    EXPECT_EQ(matches(QWPredicate::disjunction({})), Keys());
}

TEST_F(Predicate, No_value_equals_no_value_and_differs_from_every_value) {
    table.add({{"title", "a"}, {"pages", 1}});
    table.add({{"pages", 2}});
    table.add({{"title", ""}});
    EXPECT_EQ(matches("title == nil"), Keys{2});
    EXPECT_EQ(matches("title != nil"), (Keys{1, 3}));
    EXPECT_EQ(matches("title != 'a'"), (Keys{2, 3}));
    EXPECT_EQ(matches("pages != 1"), (Keys{2, 3}));
    EXPECT_EQ(matches("title == ''"), Keys{3});
}

TEST_F(Predicate, A_comparison_with_a_missing_value_is_false_and_its_negation_true) {
    table.add({{"title", "a"}, {"pages", 1}});
    table.add({});
    for (const char* comparison :
         {"title == 'a'", "title <= 'a'", "title >= 'a'", "title BEGINSWITH ''", "title CONTAINS[cd] 'A'",
          "title IN 'a'", "title IN {'a'}", "pages < 2", "pages > 0.5", "pages IN {1, 2}"}) {
        EXPECT_EQ(matches(comparison), Keys{1}) << comparison;
        EXPECT_EQ(matches(QStringLiteral("NOT %1").arg(comparison)), Keys{2}) << comparison;
    }
    EXPECT_EQ(matches("NOT (title == 'b' OR pages == 3)"), (Keys{1, 2}));
    EXPECT_EQ(matches("NOT (NOT title == 'a' AND pages == nil)"), Keys{1});
}

TEST_F(Predicate, An_order_or_a_part_of_no_value_is_false) {
    addTitles({"a"});
    table.add({});
    for (const char* comparison : {"title < nil", "title >= nil", "title BEGINSWITH nil", "nil IN title"})
        EXPECT_EQ(matches(comparison), Keys()) << comparison;
}

TEST_F(Predicate, A_list_with_nil_holds_records_without_value) {
    table.add({{"pages", 1}});
    table.add({});
    table.add({{"pages", 2}});
    EXPECT_EQ(matches("pages IN {nil, 1}"), (Keys{1, 2}));
    EXPECT_EQ(matches("NOT pages IN {nil, 1}"), Keys{3});
    EXPECT_EQ(matches("pages IN {nil}"), Keys{2});
    EXPECT_EQ(matches("pages IN {}"), Keys());
}

// Strings ---------------------------------------------------------------------------------------------------

TEST_F(Predicate, Without_options_strings_compare_by_code_points) {
    addTitles({"é", "e\u0301", "E", "e", "\uFB01", "🙂"});
    EXPECT_EQ(matches("title == 'é'"), Keys{1});
    EXPECT_EQ(matches("title < 'f'"), (Keys{2, 3, 4}));
    EXPECT_EQ(matches("title > '\\uFB01'"), Keys{6});
    EXPECT_EQ(matches("title BEGINSWITH 'e'"), (Keys{2, 4}));
}

TEST_F(Predicate, Case_is_ignored_with_c_in_whole_Unicode) {
    addTitles({"ΟΔΟΣ", "οδος", "οδοσ", "STRASSE", "straße", "É", "e\u0301", "e"});
    EXPECT_EQ(matches("title ==[c] 'Οδός'"), Keys());
    EXPECT_EQ(matches("title ==[c] 'Οδος'"), (Keys{1, 2, 3}));
    EXPECT_EQ(matches("title ==[c] 'Straße'"), (Keys{4, 5}));
    EXPECT_EQ(matches("title ==[c] 'é'"), (Keys{6, 7}));
    EXPECT_EQ(matches("title >[c] 'T'"), (Keys{1, 2, 3, 6, 7}));
    EXPECT_EQ(matches("title BEGINSWITH[c] 'STRASS'"), (Keys{4, 5}));
    EXPECT_EQ(matches("title IN[c] {'É', 'E'}"), (Keys{6, 7, 8}));
}

TEST_F(Predicate, Marks_are_ignored_with_d_and_both_with_cd) {
    addTitles({"Ēxampλέ", "example", "EXAMPLE", "Exampλε", "か", "が"});
    EXPECT_EQ(matches("title ==[d] 'Exampλε'"), (Keys{1, 4}));
    EXPECT_EQ(matches("title ==[cd] 'exampΛΕ'"), (Keys{1, 4}));
    EXPECT_EQ(matches("title BEGINSWITH[cd] 'É'"), (Keys{1, 2, 3, 4}));
    EXPECT_EQ(matches("title CONTAINS[cd] 'XÁM'"), (Keys{1, 2, 3, 4}));
    EXPECT_EQ(matches("title ==[cd] 'か'"), Keys{5});
}

TEST_F(Predicate, Wildcards_and_quotes_are_plain_characters) {
    addTitles({"100%", "a_b", "axb", "it's \"x\"", "\\"});
    EXPECT_EQ(matches("title CONTAINS '%'"), Keys{1});
    EXPECT_EQ(matches("title BEGINSWITH[c] 'A_'"), Keys{2});
    EXPECT_EQ(matches("title == %@", {"it's \"x\""}), Keys{4});
    EXPECT_EQ(matches("title CONTAINS '\\\\'"), Keys{5});
}

TEST_F(Predicate, Every_value_begins_with_and_contains_the_empty_text) {
    addTitles({"", "a", QString()});
    table.add({});
    for (const char* comparison : {"title BEGINSWITH ''", "title BEGINSWITH[c] ''", "title CONTAINS ''",
                                   "title CONTAINS[cd] ''", "uuid == nil AND title BEGINSWITH[d] ''"})
        EXPECT_EQ(matches(comparison), (Keys{1, 2, 3})) << comparison;
    EXPECT_EQ(matches("title IN ''"), (Keys{1, 3}));
}

TEST_F(Predicate, A_prefix_may_end_with_the_last_characters_of_Unicode) {
    const QString last = QString::fromUcs4(U"\U0010FFFF");
    addTitles({"a" + last, "a" + last + "b", "b", last, last + last, "\uE000", "\uD7FFx"});
    EXPECT_EQ(matches("title BEGINSWITH %@", {"a" + last}), (Keys{1, 2}));
    EXPECT_EQ(matches("title BEGINSWITH %@", {last}), (Keys{4, 5}));
    EXPECT_EQ(matches("title BEGINSWITH '\\uD7FF'"), Keys{7});
}

TEST_F(Predicate, A_text_contains_the_values_that_are_its_parts) {
    addTitles({"Rom", "rom", "me", "x", ""});
    EXPECT_EQ(matches("title IN 'Rome'"), (Keys{1, 3, 5}));
    EXPECT_EQ(matches("title IN[c] 'ROME'"), (Keys{1, 2, 3, 5}));
}

TEST_F(Predicate, A_folded_attribute_answers_as_any_other) {
    for (const char* uuid : {"AB-é", "ab-É", "ab-e"})
        table.add({{"uuid", uuid}});
    table.add({});
    EXPECT_EQ(matches("uuid ==[c] 'ab-É'"), (Keys{1, 2}));
    EXPECT_EQ(matches("uuid == 'ab-É'"), Keys{2});
    EXPECT_EQ(matches("uuid ==[cd] 'AB-E'"), (Keys{1, 2, 3}));
    EXPECT_EQ(matches("uuid BEGINSWITH[c] 'AB'"), (Keys{1, 2, 3}));
    EXPECT_EQ(matches("uuid IN[c] {'AB-E', 'AB-É'}"), (Keys{1, 2, 3}));
    EXPECT_EQ(matches("NOT uuid ==[c] 'ab-e'"), (Keys{1, 2, 4}));
}

// Numbers, dates, data --------------------------------------------------------------------------------------

TEST_F(Predicate, Numbers_compare_by_value_whatever_their_type) {
    table.add({{"pages", 1}, {"price", 1.0}, {"read", true}});
    table.add({{"pages", 2}, {"price", 1.5}, {"read", false}});
    EXPECT_EQ(matches("pages == 1.0 AND price == 1 AND read == 1"), Keys{1});
    EXPECT_EQ(matches("pages == YES"), Keys{1});
    EXPECT_EQ(matches("read == 0.0"), Keys{2});
    EXPECT_EQ(matches("read == 2"), Keys());
    EXPECT_EQ(matches("read < 0.5"), Keys{2});
    EXPECT_EQ(matches("pages < 1.5"), Keys{1});
    EXPECT_EQ(matches("pages == 1.5"), Keys());
    EXPECT_EQ(matches("pages != 1.5"), (Keys{1, 2}));
    EXPECT_EQ(matches("pages IN {1.5, 2.0, NO}"), Keys{2});
    EXPECT_EQ(matches("pages < 1e999 AND pages > -1e999"), (Keys{1, 2}));
}

TEST_F(Predicate, Whole_numbers_beyond_two_to_53_stay_apart) {
    const qint64 big = 9007199254740993; // 2^53 + 1, which no double holds
    table.add({{"pages", big - 1}, {"price", 9007199254740992.0}});
    table.add({{"pages", big}, {"price", 9007199254740994.0}});
    table.add({{"pages", std::numeric_limits<qint64>::max()}, {"price", 9223372036854775808.0}});
    EXPECT_EQ(matches("pages == 9007199254740993"), Keys{2});
    EXPECT_EQ(matches("pages == 9007199254740992.0"), Keys{1});
    EXPECT_EQ(matches("price == 9007199254740993"), Keys());
    EXPECT_EQ(matches("price < 9007199254740993"), Keys{1});
    EXPECT_EQ(matches("price >= 9007199254740993"), (Keys{2, 3}));
    EXPECT_EQ(matches("price <= 9223372036854775807"), (Keys{1, 2}));
    EXPECT_EQ(matches("pages < 9223372036854775808"), (Keys{1, 2, 3}));
    EXPECT_EQ(matches("pages == 9223372036854775807"), Keys{3});
    EXPECT_EQ(matches("price IN {9007199254740993, 9007199254740994}"), Keys{2});
}

TEST_F(Predicate, Minus_zero_is_zero) {
    table.add({{"price", 0.0}});
    table.add({{"price", -0.0}});
    EXPECT_EQ(matches("price == 0"), (Keys{1, 2}));
    EXPECT_EQ(matches("price == %@", {-0.0}), (Keys{1, 2}));
    EXPECT_EQ(matches("price IN {0, 1}"), (Keys{1, 2}));
}

TEST_F(Predicate, Dates_compare_by_instant_in_any_zone_and_as_text) {
    table.add({{"added", utc(1367684530000)}});
    table.add({{"added", utc(1367684530500)}});
    table.add({{"added", utc(-62135769600000)}});
    EXPECT_EQ(matches("added == '2013-05-04 18:22:10 +0200'"), Keys{1});
    EXPECT_EQ(matches("added > '2013-05-04 16:22:10 Z'"), Keys{2});
    EXPECT_EQ(matches("added <= %@", {utc(1367684530000).toOffsetFromUtc(7200)}), (Keys{1, 3}));
    EXPECT_EQ(matches("added IN {'2013-05-04 16:22:10 Z', DATE(1367684530500)}"), (Keys{1, 2}));
}

TEST_F(Predicate, Data_and_documents_are_equal_by_bytes_and_text_is_no_data) {
    table.add({{"cover", QByteArray("ab")}, {"notes", QByteArray("ab")}});
    table.add({{"cover", QByteArray()}, {"notes", "ab"}});
    table.add({});
    EXPECT_EQ(matches("cover == %@", {QByteArray("ab")}), Keys{1});
    EXPECT_EQ(matches("cover == %@", {QByteArray()}), Keys{2});
    EXPECT_EQ(matches("cover != DATA('6162')"), (Keys{2, 3}));
    EXPECT_EQ(matches("notes == 'ab'"), Keys{2});
    EXPECT_EQ(matches("notes == DATA('6162')"), Keys{1});
    EXPECT_EQ(matches("notes IN {'ab', DATA('6162')}"), (Keys{1, 2}));
    EXPECT_EQ(matches("notes == nil"), Keys{3});
}

// Records ---------------------------------------------------------------------------------------------------

TEST_F(Predicate, A_to_one_relationship_compares_with_an_identity) {
    table.add({{"author", 7}});
    table.add({{"author", 8}});
    table.add({});
    const auto id = [&](qint64 key) { return QVariant::fromValue(table.authorID(key)); };
    EXPECT_EQ(matches("author == %@", {id(7)}), Keys{1});
    EXPECT_EQ(matches("author != %@", {id(7)}), (Keys{2, 3}));
    EXPECT_EQ(matches("author == nil"), Keys{3});
    EXPECT_EQ(matches("author == %@", {QVariant::fromValue(QWManagedObjectID())}), Keys{3});
    EXPECT_EQ(matches("author IN %@", {QVariant(QVariantList{id(7), id(9)})}), Keys{1});
    EXPECT_EQ(matches("author IN %@", {QVariant(QVariantList{id(8), QVariant()})}), (Keys{2, 3}));
}

TEST_F(Predicate, SELF_is_one_of_any_number_of_identities_and_of_no_other_entity) {
    addTitles({"a", "b", "c", "d"});
    EXPECT_EQ(matches(QWPredicate::selfIn({})), Keys());
    EXPECT_EQ(matches(QWPredicate::selfIn({table.bookID(3), table.bookID(1), table.bookID(3)})),
              (Keys{1, 3}));
    EXPECT_EQ(matches(QWPredicate::selfIn({table.authorID(1), table.bookID(2), {}})), Keys{2});
    QList<QWManagedObjectID> many;
    for (qint64 key = 3; key < 100'000; ++key)
        many.append(table.bookID(key));
    EXPECT_EQ(matches(QWPredicate::selfIn(many)), (Keys{3, 4}));
    EXPECT_EQ(matches(QWPredicate::selfIn(many).negated()), (Keys{1, 2}));
}

TEST_F(Predicate, Lists_of_any_length_are_one_value) {
    addTitles({"a", "B", "ü\"\\\n", "z"});
    table.add({{"pages", std::numeric_limits<qint64>::min()}, {"added", utc(5)}, {"price", 0.1}});
    QStringList titles = {"B", "ü\"\\\n"};
    QVariantList numbers = {std::numeric_limits<qint64>::min()}, dates = {utc(5)}, reals = {0.1};
    for (int i = 0; i < 1000; ++i) {
        titles.append(QString::number(i));
        numbers.append(i);
        dates.append(utc(1000 + i));
        reals.append(i + 0.7);
    }
    EXPECT_EQ(matches("title IN %@", {titles}), (Keys{2, 3}));
    EXPECT_EQ(matches("title IN[c] %@", {titles}), (Keys{2, 3}));
    EXPECT_EQ(matches("pages IN %@", {QVariant(numbers)}), Keys{5});
    EXPECT_EQ(matches("added IN %@", {QVariant(dates)}), Keys{5});
    EXPECT_EQ(matches("price IN %@", {QVariant(reals)}), Keys{5});
}

TEST_F(Predicate, A_text_with_a_NUL_in_a_long_list_is_taken_whole) {
    addTitles({"a", QString("a") + QChar(0) + "b", ""});
    QVariantList list = {QString("a") + QChar(0) + "b", QString(QChar(0))};
    for (int number = 0; number < 20; ++number)
        list.append(QString::number(number));
    EXPECT_EQ(matches(QWPredicate::comparison("title", Operator::In, list)), Keys{2});
}

// What a condition may be -----------------------------------------------------------------------------------

TEST_F(Predicate, Thousands_of_joined_parts_and_the_deepest_nesting_compile) {
    addTitles({"a", "b"});
    QList<QWPredicate> parts;
    for (int i = 0; i < 3'000; ++i)
        parts.append(QWPredicate::comparison("title", Operator::Equal, QString::number(i)));
    EXPECT_EQ(matches(QWPredicate::disjunction(parts)), Keys());
    EXPECT_EQ(matches(QWPredicate::disjunction(parts).negated()), (Keys{1, 2}));
    parts.append(QWPredicate::comparison("title", Operator::BeginsWith, "a", C));
    EXPECT_EQ(matches(QWPredicate::disjunction(parts)), Keys{1});

    // The nested part last: SQLite's parser then has most to remember.
    const auto notX = QWPredicate::comparison("title", Operator::NotEqual, "x", C | D);
    const auto isX = QWPredicate::comparison("title", Operator::Equal, "x", C | D);
    const QList<QWPredicate> always(24, notX), never(24, isX);
    QWPredicate nested = QWPredicate::comparison("title", Operator::BeginsWith, "a", C | D), deepest = nested;
    for (int i = 0; nested.check(table.book()); ++i) {
        deepest = nested;
        nested = i % 2 ? QWPredicate::disjunction(never + QList{nested})
                       : QWPredicate::conjunction(always + QList{nested});
    }
    EXPECT_EQ(matches(deepest), Keys{1});
    const QWSQLCondition condition = table.compiled(deepest);
    const QByteArray sql = "SELECT _key FROM Book WHERE title IN (?, ?) AND (pages IS NULL AND "
                           + condition.text + ") ORDER BY title LIMIT ? OFFSET ?";
    EXPECT_EQ(table.run(sql, QVariantList{"a", "b"} + condition.bindings + QVariantList{1, 0}).size(), 1);
}

TEST_F(Predicate, More_values_than_a_statement_takes_are_an_error_that_says_so) {
    QList<QWPredicate> parts;
    for (int i = 0; i < 40'000; ++i)
        parts.append(QWPredicate::comparison("title", Operator::Equal, QString::number(i)));
    QWError error;
    EXPECT_FALSE(QWCompilePredicate(QWPredicate::disjunction(parts), table.book(), table.columns(), &error));
    EXPECT_EQ(error.code, int(QWStoreErrorCode::InvalidPredicate));
    EXPECT_TRUE(error.message.contains("40000"));
}

TEST_F(Predicate, Predicates_of_one_shape_have_one_statement) {
    const auto statement = [&](const QString& predicate, const QVariantList& arguments = {}) {
        return table.compiled(QWPredicate::parse(predicate, arguments).value()).text;
    };
    EXPECT_EQ(statement("title == 'a' AND pages < 3"), statement("title == 'b' AND pages < 4"));
    EXPECT_EQ(statement("title BEGINSWITH[cd] 'a'"), statement("title BEGINSWITH[cd] 'bcd'"));
    QStringList ten, hundred;
    for (int i = 0; i < 100; ++i)
        (i < 10 ? ten : hundred).append(QString::number(i));
    EXPECT_EQ(statement("title IN %@", {ten}), statement("title IN %@", {hundred}));
}

TEST_F(Predicate, Equality_on_an_index_searches_and_never_scans) {
    EXPECT_EQ(plan("uuid ==[c] 'X'"), "SEARCH Book USING COVERING INDEX by_uuid_folded (uuid_folded=?)");
    EXPECT_TRUE(plan("uuid == 'X'").contains("by_uuid_folded (uuid_folded=?)"));
    EXPECT_TRUE(plan("code == 'X' AND NOT title CONTAINS[cd] 'a'").contains("by_code (code=?)"));
    EXPECT_TRUE(plan("pages == 3.0").contains("by_pages (pages=?)"));
    EXPECT_TRUE(plan("price < 5").contains("by_price (price<?)"));
    EXPECT_TRUE(plan("added >= '2013-05-04 16:22:10 Z'").contains("by_added (added>?)"));
    EXPECT_TRUE(plan("code BEGINSWITH 'X'").contains("by_code (code>? AND code<?)"));
    EXPECT_TRUE(plan("uuid BEGINSWITH[c] 'X'").contains("by_uuid_folded (uuid_folded>? AND uuid_folded<?)"));
    EXPECT_TRUE(plan("code IN {'X', 'Y'}").contains("by_code (code=?)"));
    EXPECT_TRUE(plan("code IN %@", {QStringList{"1", "2", "3", "4", "5", "6", "7", "8", "9"}})
                    .contains("by_code (code=?)"));
    EXPECT_TRUE(table.plan(QWPredicate::selfIn({table.bookID(1), table.bookID(2)})).contains("PRIMARY KEY"));
}

TEST_F(Predicate, Pending_records_can_be_looked_up_by_an_indexed_equality) {
    const auto lookup = [&](const QString& text) {
        return QWBoundPredicate::bind(QWPredicate::parse(text).value(), table.book(), nullptr)
            ->indexedLookup();
    };
    const auto uuid = lookup("title == 'a' AND (uuid ==[c] 'AB' AND pages > 3)");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->property, table.book().property("uuid")->index());
    EXPECT_EQ(uuid->value, QVariant("ab"));
    EXPECT_TRUE(uuid->folded);
    EXPECT_TRUE(lookup("uuid == 'AB'")->folded);
    EXPECT_EQ(lookup("uuid == 'AB'")->value, QVariant("ab"));
    EXPECT_EQ(lookup("code == 'AB'")->value, QVariant("AB"));
    EXPECT_FALSE(lookup("code == 'AB'")->folded);
    EXPECT_EQ(lookup("pages == 3.0")->value, QVariant(3LL));
    EXPECT_EQ(lookup("price == 3")->value, QVariant(3.0));
    EXPECT_EQ(lookup("added == '2013-05-04 16:22:10 Z'")->value, QVariant(utc(1367684530000)));
    EXPECT_EQ(lookup("code IN {'AB', 'AB'}")->value, QVariant("AB"));
    for (const char* none : {"title == 'a'", "code == 'a' OR pages == 1", "NOT code == 'a'", "code ==[c] 'a'",
                             "uuid ==[cd] 'a'", "code == nil", "pages == 1.5", "pages > 1"})
        EXPECT_FALSE(lookup(none)) << none;
}

// Errors ----------------------------------------------------------------------------------------------------

TEST_F(Predicate, An_unknown_key_is_named) {
    const QWError error = refusal("pages > 1 AND NOT titel == 'a'");
    EXPECT_EQ(error.code, int(QWStoreErrorCode::UnknownKey));
    EXPECT_EQ(error.userInfo.value("key"), "titel");
    EXPECT_EQ(error.message, "Book has no key \"titel\" to compare.");
}

TEST_F(Predicate, A_value_of_the_wrong_type_is_named_with_what_was_expected) {
    struct Case {
        QString text;
        QVariantList arguments;
        QString key, expected, given;
    };
    const QString dates = "a Date or text of the form yyyy-MM-dd HH:mm:ss Z";
    for (const Case& wrong : std::vector<Case>{
             {"title == 1", {}, "title", "String", "1"},
             {"pages == 'x'", {}, "pages", "Integer", "the text \"x\""},
             {"pages IN {1, 'x'}", {}, "pages", "Integer", "the text \"x\""},
             {"pages IN 'x'", {}, "pages", "a String attribute", "Integer"},
             {"price < %@", {std::nan("")}, "price", "Double", "nan"},
             {"price < %@", {std::numeric_limits<quint64>::max()}, "price", "Double", "qulonglong"},
             {"read == 'YES'", {}, "read", "Boolean", "the text \"YES\""},
             {"added < '2013'", {}, "added", dates, "the text \"2013\""},
             {"added < 5", {}, "added", dates, "5"},
             {"cover == 'x'", {}, "cover", "Data", "the text \"x\""},
             {"cover < %@", {QByteArray("x")}, "cover", "values that have an order", "Data"},
             {"notes CONTAINS 'x'", {}, "notes", "a String attribute", "Document"},
             {"pages ==[c] 1", {}, "pages", "a String attribute for [c] and [d]", "Integer"},
             {"title CONTAINS 1", {}, "title", "String", "1"},
             {"title == %@", {QStringList{"a"}}, "title", "String", "a list"},
             {"readers == nil",
              {},
              "readers",
              "an attribute or a to-one relationship",
              "a to-many relationship"},
             {"author == 'x'", {}, "author", "a record of Author", "the text \"x\""},
             {"author == %@",
              {QVariant::fromValue(table.readerID(1))},
              "author",
              "a record of Author",
              "a record of Reader"},
             {"author < %@",
              {QVariant::fromValue(table.authorID(1))},
              "author",
              "values that have an order",
              "a record of Author"},
         }) {
        const QWError error = refusal(wrong.text, wrong.arguments);
        EXPECT_EQ(error.code, int(QWStoreErrorCode::WrongType)) << wrong.text.toStdString();
        EXPECT_EQ(error.userInfo.value("key"), wrong.key) << wrong.text.toStdString();
        EXPECT_EQ(error.userInfo.value("expected"), wrong.expected) << wrong.text.toStdString();
        EXPECT_EQ(error.userInfo.value("given"), wrong.given) << wrong.text.toStdString();
    }
    EXPECT_EQ(refusal("pages == 'x'").message,
              "A comparison of \"pages\" of Book expects Integer, given is the text \"x\".");
}

TEST_F(Predicate, In_wants_a_list) {
    QWError error;
    EXPECT_FALSE(QWPredicate::comparison("title", Operator::In, "x").check(table.book(), &error));
    EXPECT_EQ(error.userInfo.value("expected"), "a list for IN");
}
