#include "editing/QWNSStringNSArrayTransformer.h"
#include "editing/QWOrderedSetArrayValueTransformer.h"
#include "store/StoreFixture.h"
#include "testing/QWLogCapture.h"

namespace {

struct StringArrayTransformer : testing::Test {
    void TearDown() override { QWNSStringNSArrayTransformer::setSeparatorSting(";"); }
    QString joined(const QStringList& tokens) const {
        return transformer.reverseTransformedValue(tokens).toString();
    }
    const QWNSStringNSArrayTransformer transformer;
};

TEST_F(StringArrayTransformer, Makes_arrays_and_goes_both_ways) {
    EXPECT_EQ(transformer.transformedValueClass(), QMetaType::fromType<QStringList>());
    EXPECT_TRUE(transformer.allowsReverseTransformation());
}

TEST_F(StringArrayTransformer, Passes_a_stored_value_on_as_it_is) {
    EXPECT_EQ(transformer.transformedValue("a; b;c"), QVariant("a; b;c"));
    EXPECT_EQ(transformer.transformedValue(""), QVariant(""));
    EXPECT_EQ(transformer.transformedValue({}), QVariant());
}

TEST_F(StringArrayTransformer, Joins_tokens_by_the_separator_and_one_blank) {
    EXPECT_EQ(joined({"a", "b", "c"}), "a; b; c");
    EXPECT_EQ(joined({"", "b", ""}), "; b; ");
    EXPECT_EQ(transformer.reverseTransformedValue(QVariantList{"a", 5}), QVariant("a; 5"));
}

TEST_F(StringArrayTransformer, Gives_a_single_token_alone_and_no_token_as_the_empty_text) {
    EXPECT_EQ(joined({"only"}), "only");
    EXPECT_EQ(transformer.reverseTransformedValue(QStringList()), QVariant(""));
    EXPECT_EQ(transformer.reverseTransformedValue({}), QVariant(""));
}

TEST_F(StringArrayTransformer, Takes_a_percent_sign_in_tokens_and_separator_literally) {
    EXPECT_EQ(joined({"100 %1", "%@"}), "100 %1; %@");
    QWNSStringNSArrayTransformer::setSeparatorSting("%");
    EXPECT_EQ(joined({"a", "b"}), "a% b");
}

TEST_F(StringArrayTransformer, Refuses_what_is_no_list) {
    const QWLogCapture log;
    EXPECT_FALSE(transformer.reverseTransformedValue(QVariantMap{{"a", 1}}).isValid());
    EXPECT_EQ(log.texts("qwlibrary.editing"),
              QStringList{"QWNSStringNSArrayTransformer: expected a list of strings, given QVariantMap"});
}

TEST_F(StringArrayTransformer, Has_one_separator_for_all) {
    EXPECT_EQ(QWNSStringNSArrayTransformer::separatorString(), ";");
    QWNSStringNSArrayTransformer::setSeparatorSting(",");
    EXPECT_EQ(joined({"a", "b"}), "a, b");
    EXPECT_EQ(QWNSStringNSArrayTransformer().reverseTransformedValue(QStringList{"a", "b"}),
              QVariant("a, b"));
}

class IgnoredSeparator : public StringArrayTransformer, public testing::WithParamInterface<const char*> {};

TEST_P(IgnoredSeparator, Leaves_the_old_one_in_force) {
    QWNSStringNSArrayTransformer::setSeparatorSting(GetParam());
    EXPECT_EQ(joined({"a", "b"}), "a; b");
}

INSTANTIATE_TEST_SUITE_P(NotOneCharacter, IgnoredSeparator,
                         testing::Values("", ", ", ",,", "\xf0\x9f\x8c\x8d"));

struct OrderedSetTransformer : StoreTest {
    const QWOrderedSetArrayValueTransformer transformer;
};

TEST_F(OrderedSetTransformer, Makes_arrays_and_goes_both_ways) {
    EXPECT_EQ(transformer.transformedValueClass(), QMetaType::fromType<QVariantList>());
    EXPECT_TRUE(transformer.allowsReverseTransformation());
}

TEST_F(OrderedSetTransformer, Gives_the_members_of_a_relationship_in_their_order) {
    const auto book = insert("Book");
    const auto first = insert("Chapter"), second = insert("Chapter");
    book->setRelatedObjects("chapters", {second, first});
    const QVariantList array = transformer.transformedValue(book->valueForKey("chapters")).toList();
    ASSERT_EQ(array.size(), 2);
    EXPECT_EQ(array[0].value<Ref>(), second);
    EXPECT_EQ(array[1].value<Ref>(), first);
}

TEST_F(OrderedSetTransformer, Passes_null_on_as_null_and_no_members_as_an_empty_array) {
    EXPECT_FALSE(transformer.transformedValue({}).isValid());
    const QVariant none = transformer.transformedValue(insert("Book")->valueForKey("chapters"));
    EXPECT_TRUE(none.isValid());
    EXPECT_TRUE(none.toList().isEmpty());
}

TEST_F(OrderedSetTransformer, Turns_an_array_into_the_members_of_a_relationship_without_later_duplicates) {
    const auto book = insert("Book");
    const auto first = insert("Chapter"), second = insert("Chapter");
    QVariantList array;
    for (const auto& chapter : {second, first, second, first})
        array << QVariant::fromValue(chapter);
    const QVariant members = transformer.reverseTransformedValue(array);
    EXPECT_EQ(members.value<QList<Ref>>(), (QList<Ref>{second, first}));
    QWError error;
    EXPECT_TRUE(book->setValueForKey("chapters", members, &error)) << error.message.toStdString();
    EXPECT_EQ(book->relatedObjects("chapters"), (QList<Ref>{second, first}));
}

TEST_F(OrderedSetTransformer, Turns_an_empty_array_and_no_value_into_no_members) {
    const auto book = insert("Book");
    for (const QVariant& nothing : {QVariant(QVariantList()), QVariant()}) {
        book->setRelatedObjects("chapters", {insert("Chapter")});
        const QVariant members = transformer.reverseTransformedValue(nothing);
        EXPECT_EQ(members, QVariant::fromValue(QList<Ref>()));
        EXPECT_TRUE(book->setValueForKey("chapters", members));
        EXPECT_TRUE(book->relatedObjects("chapters").isEmpty());
    }
}

// It would otherwise pass for an array without records, and the record would lose its members.
TEST_F(OrderedSetTransformer, Refuses_what_is_no_array) {
    const QWLogCapture log;
    EXPECT_FALSE(transformer.reverseTransformedValue(5).isValid());
    EXPECT_FALSE(transformer.reverseTransformedValue(QVariant::fromValue(insert("Chapter"))).isValid());
    const QStringList texts = log.texts("qwlibrary.editing");
    ASSERT_EQ(texts.size(), 2);
    EXPECT_EQ(texts[0], "QWOrderedSetArrayValueTransformer: expected an array of records, given int");
}

TEST_F(OrderedSetTransformer, Refuses_an_array_of_anything_else) {
    const QWLogCapture log;
    EXPECT_FALSE(transformer.reverseTransformedValue(QVariantList{"text"}).isValid());
    EXPECT_FALSE(transformer.reverseTransformedValue(QVariantList{QVariant()}).isValid());
    EXPECT_EQ(log.texts("qwlibrary.editing"),
              (QStringList{"QWOrderedSetArrayValueTransformer: expected records, given QString",
                           "QWOrderedSetArrayValueTransformer: expected records, given no value"}));
}

// Upper case, as a host's own would be.
struct ShoutingTransformer final : QWValueTransformer {
    QMetaType transformedValueClass() const override { return QMetaType::fromType<QString>(); }
    bool allowsReverseTransformation() const override { return false; }
    QVariant transformedValue(const QVariant& value) const override { return value.toString().toUpper(); }
    QVariant reverseTransformedValue(const QVariant&) const override { return {}; }
};

TEST(ValueTransformerByName, Knows_those_of_the_library_by_their_class) {
    const auto joining = QWValueTransformer::valueTransformerForName("QWNSStringNSArrayTransformer");
    ASSERT_TRUE(joining);
    EXPECT_EQ(joining->reverseTransformedValue(QStringList{"a", "b"}), QVariant("a; b"));
    const auto ordered = QWValueTransformer::valueTransformerForName("QWOrderedSetArrayValueTransformer");
    ASSERT_TRUE(ordered);
    EXPECT_EQ(ordered->transformedValueClass(), QMetaType::fromType<QVariantList>());
}

TEST(ValueTransformerByName, Knows_a_hosts_own_until_it_is_forgotten) {
    EXPECT_FALSE(QWValueTransformer::valueTransformerForName("Shouting"));
    QWValueTransformer::setValueTransformer(std::make_shared<ShoutingTransformer>(), "Shouting");
    EXPECT_EQ(QWValueTransformer::valueTransformerForName("Shouting")->transformedValue("a"), QVariant("A"));
    QWValueTransformer::setValueTransformer(nullptr, "Shouting");
    EXPECT_FALSE(QWValueTransformer::valueTransformerForName("Shouting"));
}

} // namespace
