#include "platform/QWUserDefaults.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace {

struct UserDefaultsFile : testing::Test {
    QTemporaryDir folder;
    QString path = folder.filePath("settings.ini");
};

struct ValueRow {
    const char* name;
    QJsonValue value;
};

std::vector<ValueRow> values() {
    return {{"Integer", 5},
            {"Fraction", 0.5},
            {"True", true},
            {"False", false},
            {"NumberAsText", "5"},
            {"WordTrue", "true"},
            {"EmptyText", ""},
            {"TextWithSeparators", "a,b;c=\"d\"\n@Invalid()\\x"},
            {"OtherScripts", "日本 é 👍"},
            {"LargeInteger", qint64(9007199254740993)},
            {"MixedArray", QJsonArray{1, "a"}},
            {"ArrayOfOne", QJsonArray{"a"}},
            {"EmptyArray", QJsonArray{}},
            {"EmptyObject", QJsonObject{}},
            {"Nested", QJsonObject{{"a", QJsonArray{true, QJsonObject{{"b", 1.5}}}}}},
            {"Null", QJsonValue::Null}};
}

class StoredValue : public UserDefaultsFile, public testing::WithParamInterface<ValueRow> {};

TEST_P(StoredValue, Comes_back_with_its_type_in_another_instance) {
    QWSettingsUserDefaults writer(path);
    writer.setObject("key", GetParam().value);
    writer.synchronize();
    QWSettingsUserDefaults reader(path);
    EXPECT_EQ(reader.object("key").type(), GetParam().value.type());
    EXPECT_EQ(reader.object("key"), GetParam().value);
}

TEST_P(StoredValue, Comes_back_from_memory) {
    QWMemoryUserDefaults defaults;
    defaults.setObject("key", GetParam().value);
    EXPECT_EQ(defaults.object("key"), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Types, StoredValue, testing::ValuesIn(values()),
                         [](const auto& row) { return row.param.name; });

struct BooleanRow {
    const char* name;
    QJsonValue value;
    bool answer;
};

class BooleanOf : public testing::TestWithParam<BooleanRow> {};

TEST_P(BooleanOf, Is_yes_only_for_what_says_yes) {
    QWMemoryUserDefaults defaults;
    defaults.setObject("key", GetParam().value);
    EXPECT_EQ(defaults.boolean("key"), GetParam().answer);
}

INSTANTIATE_TEST_SUITE_P(
    Table, BooleanOf,
    testing::Values(BooleanRow{"True", true, true}, BooleanRow{"False", false, false},
                    BooleanRow{"One", 1, true}, BooleanRow{"Fraction", 0.5, true},
                    BooleanRow{"Negative", -1, true}, BooleanRow{"Zero", 0, false},
                    BooleanRow{"TextYes", "YES", true}, BooleanRow{"TextTrue", "true", true},
                    BooleanRow{"TextOne", "1", true}, BooleanRow{"TextNo", "NO", false},
                    BooleanRow{"TextFalse", "false", false}, BooleanRow{"TextZero", "0", false},
                    BooleanRow{"OtherText", "x", false}, BooleanRow{"Array", QJsonArray{1}, false},
                    BooleanRow{"Object", QJsonObject{{"a", 1}}, false},
                    BooleanRow{"Null", QJsonValue::Null, false}),
    [](const auto& row) { return row.param.name; });

TEST_F(UserDefaultsFile, An_absent_key_has_no_value_and_is_not_yes) {
    const QWMemoryUserDefaults memory;
    EXPECT_TRUE(memory.object("key").isUndefined());
    EXPECT_FALSE(memory.boolean("key"));
    const QWSettingsUserDefaults settings(path);
    EXPECT_TRUE(settings.object("key").isUndefined());
    EXPECT_FALSE(settings.boolean("key"));
}

TEST_F(UserDefaultsFile, No_is_a_value) {
    QWSettingsUserDefaults defaults(path);
    defaults.setBoolean("key", false);
    EXPECT_EQ(defaults.object("key"), QJsonValue(false));
}

TEST_F(UserDefaultsFile, A_removed_key_is_absent_in_another_instance) {
    QWSettingsUserDefaults writer(path);
    writer.setObject("key", 1);
    writer.synchronize();
    QWSettingsUserDefaults reader(path);
    writer.remove("key");
    writer.synchronize();
    reader.synchronize();
    EXPECT_TRUE(reader.object("key").isUndefined());
}

TEST_F(UserDefaultsFile, Two_instances_keep_each_others_keys) {
    QWSettingsUserDefaults first(path), second(path);
    first.setObject("a", 1);
    second.setObject("b", 2);
    first.synchronize();
    second.synchronize();
    QWSettingsUserDefaults reader(path);
    EXPECT_EQ(reader.object("a"), 1);
    EXPECT_EQ(reader.object("b"), 2);
}

TEST_F(UserDefaultsFile, A_key_with_a_full_stop_is_one_key) {
    QWSettingsUserDefaults defaults(path);
    defaults.setObject("a.b", 1);
    EXPECT_EQ(defaults.object("a.b"), 1);
    EXPECT_TRUE(defaults.object("a").isUndefined());
}

TEST_F(UserDefaultsFile, Keys_are_kept_apart_whatever_is_in_them) {
    const QStringList keys = {"",      "a", "a/b", "a\\b",      "/a", "a/",
                              "a%2Fb", "%", "%25", "General/a", "A",  "日 本=;"};
    {
        QWSettingsUserDefaults defaults(path);
        for (const QString& key : keys)
            defaults.setObject(key, key);
    }
    for (const QString& key : keys) {
        QWSettingsUserDefaults defaults(path);
        EXPECT_EQ(defaults.object(key), key) << qPrintable(key);
        defaults.remove(key);
        for (const QString& other : keys)
            EXPECT_EQ(!defaults.object(other).isUndefined(), other != key) << qPrintable(key + " " + other);
        defaults.setObject(key, key);
    }
}

TEST_F(UserDefaultsFile, A_value_that_someone_else_wrote_without_a_type_is_no_value) {
    QSettings(path, QSettings::IniFormat).setValue("key", "hello");
    EXPECT_TRUE(QWSettingsUserDefaults(path).object("key").isUndefined());
}

TEST(MemoryUserDefaults, A_removed_key_is_absent) {
    QWMemoryUserDefaults defaults;
    defaults.setObject("key", 1);
    defaults.remove("key");
    EXPECT_TRUE(defaults.object("key").isUndefined());
}

// Observation -----------------------------------------------------------------------------------------------

// Over both kinds of store.
struct ObservedDefaults : UserDefaultsFile, testing::WithParamInterface<const char*> {
    std::unique_ptr<QWUserDefaults> defaults =
        GetParam() == std::string("Memory")
            ? std::unique_ptr<QWUserDefaults>(std::make_unique<QWMemoryUserDefaults>())
            : std::make_unique<QWSettingsUserDefaults>(path);
    std::vector<QJsonValue> seen;

    QWObservation watch(const QString& key) {
        return defaults->observe(key, [this](const QJsonValue& value) { seen.push_back(value); });
    }
    const QJsonValue none = QJsonValue(QJsonValue::Undefined);
};

TEST_P(ObservedDefaults, Each_value_that_is_set_is_told_an_equal_one_too_and_a_removal_is_no_value) {
    const auto observation = watch("key");
    defaults->setObject("key", 5);
    defaults->setObject("key", 5);
    defaults->setObject("key", "5");
    defaults->remove("key");
    defaults->remove("key");
    defaults->setObject("key", QJsonArray{});
    EXPECT_EQ(seen, (std::vector<QJsonValue>{5, 5, "5", none, none, QJsonArray{}}));
}

TEST_P(ObservedDefaults, The_observer_finds_the_value_in_place_before_the_setter_returns) {
    QJsonValue found;
    const auto observation =
        defaults->observe("key", [&](const QJsonValue&) { found = defaults->object("key"); });
    defaults->setObject("key", true);
    EXPECT_EQ(found, true);
    defaults->remove("key");
    EXPECT_TRUE(found.isUndefined());
}

TEST_P(ObservedDefaults, A_key_is_compared_whole) {
    const auto observation = watch("a.b");
    for (const char* key : {"a", "b", "a.b.c", "A.B"})
        defaults->setObject(key, 1);
    EXPECT_TRUE(seen.empty());
    defaults->setObject("a.b", 2);
    EXPECT_EQ(seen, std::vector<QJsonValue>{2});
}

TEST_P(ObservedDefaults, Setting_no_value_removes_the_key) {
    const auto observation = watch("key");
    defaults->setObject("key", 1);
    defaults->setObject("key", none);
    EXPECT_TRUE(defaults->object("key").isUndefined());
    EXPECT_EQ(seen, (std::vector<QJsonValue>{1, none}));
}

TEST_P(ObservedDefaults, Observers_come_and_go_and_may_do_so_while_they_are_told) {
    QWObservation second, third;
    QWObservation first = defaults->observe("key", [&](const QJsonValue&) {
        first.stop();
        third = watch("other");
    });
    second = watch("key");
    defaults->setObject("key", 1);
    defaults->setObject("other", 2);
    second.stop();
    defaults->setObject("key", 3);
    EXPECT_EQ(seen, (std::vector<QJsonValue>{1, 2}));
}

TEST_P(ObservedDefaults, An_observation_may_outlive_the_defaults) {
    const auto observation = watch("key");
    defaults.reset();
}

INSTANTIATE_TEST_SUITE_P(Store, ObservedDefaults, testing::Values("Memory", "Settings"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(UserDefaultsFile, What_another_object_sets_is_seen_and_not_told) {
    QWSettingsUserDefaults own(path), other(path);
    bool isTold = false;
    const auto observation = own.observe("key", [&](const QJsonValue&) { isTold = true; });
    other.setObject("key", 1);
    other.synchronize();
    own.synchronize();
    EXPECT_EQ(own.object("key"), 1);
    EXPECT_FALSE(isTold);
}

} // namespace
