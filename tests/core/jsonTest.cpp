#include "core/QWJSON.h"

#include <QStringEncoder>

using namespace qw;

namespace {

QByteArray encoded(QStringConverter::Encoding encoding, const QString& text, bool mark) {
    QStringEncoder encoder(encoding,
                           mark ? QStringConverter::Flag::WriteBom : QStringConverter::Flag::Default);
    return encoder(text);
}

QByteArray nested(int depth) {
    return QByteArray(depth, '[') + QByteArray(depth, ']');
}

const QVariantMap oneTwo = {{"a", qlonglong(1)}, {"b", "zwei"}};

} // namespace

TEST(JSON, A_dictionary_and_an_array_are_read) {
    EXPECT_EQ(json::read(R"({"a":1,"b":"zwei"})"), QVariant(oneTwo));
    EXPECT_EQ(json::read("[true,null]"), QVariant(QVariantList{true, json::null()}));
}

TEST(JSON, Anything_but_one_whole_dictionary_or_array_is_nothing) {
    for (const auto* text : {"", "5", "\"x\"", "null", "{} x", "{", "[1,]", "{\"a\":1e400}", "[\"\xff\"]"})
        EXPECT_EQ(json::read(text), std::nullopt) << text;
}

TEST(JSON, Every_Unicode_encoding_is_read_with_and_without_a_byte_order_mark) {
    const QString text = QStringLiteral(R"({"b":"zwei","a":1})");
    using enum QStringConverter::Encoding;
    for (const auto encoding : {Utf8, Utf16LE, Utf16BE, Utf32LE, Utf32BE}) {
        for (const bool mark : {true, false})
            EXPECT_EQ(json::read(encoded(encoding, text, mark)), QVariant(oneTwo)) << encoding << mark;
    }
}

TEST(JSON, A_broken_surrogate_pair_makes_the_text_unreadable) {
    EXPECT_EQ(json::read(encoded(QStringConverter::Utf16LE, "[\"", true) + QByteArray("\x00\xd8", 2)
                         + encoded(QStringConverter::Utf16LE, "\"]", false)),
              std::nullopt);
}

TEST(JSON, Of_equal_keys_the_last_counts) {
    EXPECT_EQ(json::read(R"({"a":1,"a":2})"), QVariant(QVariantMap{{"a", qlonglong(2)}}));
}

TEST(JSON, Nesting_is_read_down_to_512_and_no_deeper) {
    EXPECT_TRUE(json::read(nested(512)));
    EXPECT_FALSE(json::read(nested(513)));
    EXPECT_FALSE(json::read(QByteArray(1'000'000, '[')));
}

TEST(JSON, Nesting_is_written_down_to_512_and_no_deeper) {
    const auto tree = [](int depth, auto contain) {
        QVariant value = QVariantList();
        for (int i = 1; i < depth; ++i)
            value = contain(value);
        return value;
    };
    const auto inList = [](const QVariant& value) { return QVariant(QVariantList{value}); };
    const auto inMap = [](const QVariant& value) { return QVariant(QVariantMap{{"a", value}}); };
    EXPECT_TRUE(json::write(tree(512, inList)));
    EXPECT_TRUE(json::write(tree(512, inMap)));
    EXPECT_FALSE(json::write(tree(513, inList)));
    EXPECT_FALSE(json::write(tree(513, inMap)));
}

TEST(JSON, Brackets_inside_of_strings_are_not_nesting) {
    EXPECT_TRUE(json::read("[\"\\\"" + QByteArray(600, '[') + "\"]"));
}

TEST(JSON, Whole_numbers_keep_all_their_digits) {
    const QVariantList numbers = {qlonglong(9007199254740993), std::numeric_limits<qlonglong>::min()};
    EXPECT_EQ(json::write(numbers), "[9007199254740993,-9223372036854775808]");
    EXPECT_EQ(json::read(*json::write(numbers)), QVariant(numbers));
}

TEST(JSON, Large_fractions_are_written_as_the_whole_numbers_that_they_are) {
    EXPECT_EQ(json::write(QVariantList{1.2345678901234567e17, -9007199254740994.0, 9223372036854774784.0}),
              "[123456789012345664,-9007199254740994,9223372036854774784]");
}

TEST(JSON, Booleans_and_numbers_stay_different) {
    EXPECT_EQ(json::write(QVariantList{true, 1, 1.5}), "[true,1,1.5]");
}

TEST(JSON, Only_trees_of_dictionaries_arrays_strings_numbers_booleans_and_null_are_valid) {
    EXPECT_TRUE(json::isValid(QVariantMap{{"list", QVariantList{"text", 1, 1.5, false, json::null()}}}));
    EXPECT_TRUE(json::isValid(QStringList{"a", "b"}));
    EXPECT_TRUE(json::isValid(QVariantList{1U, 1LL, 1ULL, 1.0F}));

    EXPECT_FALSE(json::isValid("text"));
    EXPECT_FALSE(json::isValid(QVariant()));
    EXPECT_FALSE(json::isValid(json::null()));
    const QVariantList misfits = {
        QDateTime::currentDateTimeUtc(),          QByteArray("bytes"),
        std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
        std::numeric_limits<qulonglong>::max(),   QVariant(),
    };
    for (const auto& misfit : misfits) {
        EXPECT_FALSE(json::isValid(QVariantMap{{"key", QVariantList{misfit}}})) << misfit.typeName();
        EXPECT_EQ(json::write(QVariantList{misfit}), std::nullopt) << misfit.typeName();
    }
}

TEST(JSON, Indented_text_has_lines_and_compact_text_has_none) {
    EXPECT_EQ(json::write(oneTwo, json::Format::Indented), "{\n    \"a\": 1,\n    \"b\": \"zwei\"\n}\n");
    EXPECT_EQ(json::write(oneTwo), R"({"a":1,"b":"zwei"})");
}
