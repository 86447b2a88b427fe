#include "sync/QWSyncedPreferences_p.h"

#include <QJsonArray>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace qw::sync;

namespace {

struct Row {
    const char* name;
    QJsonValue value, carried;
};

class TravellingPreference : public testing::TestWithParam<Row> {};

QJsonValue nested(int depth) {
    QJsonValue value = 1;
    for (int level = 0; level < depth; ++level)
        value = QJsonArray{value};
    return value;
}

} // namespace

TEST_P(TravellingPreference, Comes_back_with_its_type) {
    const auto value = travellingPreference(GetParam().value);
    ASSERT_TRUE(value);
    EXPECT_EQ(value->type(), GetParam().carried.type());
    EXPECT_EQ(*value, GetParam().carried);
}

INSTANTIATE_TEST_SUITE_P(
    Table, TravellingPreference,
    testing::Values(Row{"Integer", 5, 5}, Row{"WholeFraction", 5.0, 5}, Row{"Fraction", 0.5, 0.5},
                    Row{"LargeInteger", qint64(9007199254740993), qint64(9007199254740993)},
                    Row{"True", true, true}, Row{"False", false, false}, Row{"Text", "5", "5"},
                    Row{"EmptyText", "", ""}, Row{"OtherScripts", "日本 é 👍", "日本 é 👍"},
                    Row{"Array", QJsonArray{1.0, "a", QJsonValue()}, QJsonArray{1, "a", QJsonValue()}},
                    Row{"EmptyArray", QJsonArray{}, QJsonArray{}},
                    Row{"Object", QJsonObject{{"a", QJsonArray{true}}}, QJsonObject{{"a", QJsonArray{true}}}},
                    Row{"EmptyObject", QJsonObject{}, QJsonObject{}}, Row{"Null", QJsonValue(), QJsonValue()},
                    Row{"NoValue", QJsonValue(QJsonValue::Undefined), QJsonValue()},
                    Row{"Deep", nested(511), nested(511)}),
    [](const auto& row) { return row.param.name; });

TEST(TravellingPreferences, A_number_that_is_not_finite_cannot_be_carried_at_any_depth) {
    for (const double number :
         {std::nan(""), std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
        EXPECT_FALSE(travellingPreference(number));
        EXPECT_FALSE(travellingPreference(QJsonArray{1, number}));
        EXPECT_FALSE(travellingPreference(QJsonObject{{"a", QJsonArray{number}}}));
    }
}

TEST(TravellingPreferences, A_value_nested_deeper_than_readers_go_cannot_be_carried) {
    EXPECT_FALSE(travellingPreference(nested(512)));
}

TEST(TravellingPreferences, The_file_is_one_compact_object) {
    const QJsonObject preferences{{"b", QJsonValue()}, {"a", QJsonArray{true, 1}}};
    EXPECT_EQ(preferencesFileBytes(preferences), R"({"a":[true,1],"b":null})");
    EXPECT_EQ(preferencesFileBytes({}), "{}");
    EXPECT_EQ(preferencesFromFileBytes(preferencesFileBytes(preferences)), preferences);
}

TEST(TravellingPreferences, What_is_no_object_holds_no_preferences) {
    for (const char* bytes : {"", "[1]", "5", "{", "{} x", "null"})
        EXPECT_FALSE(preferencesFromFileBytes(bytes)) << bytes;
    EXPECT_EQ(preferencesFromFileBytes("\xEF\xBB\xBF{}"), QJsonObject());
}
