#include "support/PreferencesTest.h"

#include <QJsonArray>
#include <cmath>

// What the engine does with the keys, the defaults and the local copy.

namespace {

struct Preferences : PreferencesTest {
    QStringList refusals(const QWLogCapture& log) { return log.texts("qwlibrary.sync"); }
};

} // namespace

// Keys ------------------------------------------------------------------------------------------------------

TEST_F(Preferences, A_key_is_shared_with_the_value_that_it_has) {
    defaults().setObject("theme", "dark");
    engine().syncPreferenceWithKeys({"theme", "distanceUnit"});
    EXPECT_EQ(shared(), QJsonObject({{"theme", "dark"}, {"distanceUnit", QJsonValue()}}));
    EXPECT_TRUE(waits());
}

TEST_F(Preferences, A_key_that_is_shared_already_is_left_alone) {
    activateSharing({{"theme", "dark"}});
    engine().syncPreferenceWithKey("theme");
    EXPECT_FALSE(waits());
    pass(6);
    EXPECT_EQ(client->log(), QStringList());
    defaults().setObject("theme", "light");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload}) << "it is observed once";
}

TEST_F(Preferences, Values_keep_their_types) {
    const QJsonObject values{
        {"number", 5},          {"text", "5"}, {"yes", true},   {"one", 1},
        {"none", QJsonArray{}}, {"half", 0.5}, {"word", "yes"}, {"object", QJsonObject{}}};
    activateSharing(values);
    EXPECT_EQ(localFile(),
              R"({"half":0.5,"none":[],"number":5,"object":{},"one":1,"text":"5","word":"yes","yes":true})");
    defaults().setObject("one", true);
    EXPECT_EQ(shared()["one"], QJsonValue(true)) << "1 and true are two values";
    EXPECT_TRUE(waits());
}

TEST_F(Preferences, A_change_is_taken_over_and_an_equal_value_is_none) {
    activateSharing({{"theme", "dark"}, {"steps", QJsonArray{1, 2}}});
    defaults().setObject("theme", "dark");
    defaults().setObject("steps", QJsonArray{1.0, 2.0});
    EXPECT_FALSE(waits());
    defaults().setObject("theme", "light");
    EXPECT_EQ(shared()["theme"], "light");
    EXPECT_TRUE(waits());
}

TEST_F(Preferences, A_removed_default_is_null) {
    activateSharing({{"theme", "dark"}});
    defaults().remove("theme");
    EXPECT_EQ(shared(), QJsonObject({{"theme", QJsonValue()}}));
    pass(5.1);
    EXPECT_EQ(localFile(), R"({"theme":null})");
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(Preferences, Other_keys_are_the_hosts_own) {
    activateSharing({{"theme", "dark"}});
    defaults().setObject("windowWidth", 800);
    defaults().setObject("theme.shade", "deep");
    EXPECT_FALSE(waits());
    EXPECT_EQ(shared().keys(), QStringList{"theme"});
}

// Values that JSON cannot carry -----------------------------------------------------------------------------

TEST_F(Preferences, A_value_that_JSON_cannot_carry_is_refused_when_it_is_shared_and_the_others_travel) {
    defaults().setObject("scale", std::nan(""));
    defaults().setObject("theme", "dark");
    {
        const QWLogCapture log;
        engine().syncPreferenceWithKeys({"scale", "theme"});
        EXPECT_EQ(refusals(log), QStringList{"a value that JSON cannot carry is not shared: scale"});
    }
    EXPECT_EQ(shared(), QJsonObject({{"theme", "dark"}}));
    defaults().setObject("scale", 2);
    EXPECT_EQ(shared(), QJsonObject({{"theme", "dark"}, {"scale", 2}})) << "its first value that can travel";
}

TEST_F(Preferences, Each_change_to_a_value_that_JSON_cannot_carry_is_refused_and_the_last_good_one_stays) {
    activateSharing({{"scale", 2}, {"theme", "dark"}});
    {
        const QWLogCapture log;
        defaults().setObject("scale", HUGE_VAL);
        defaults().setObject("scale", QJsonArray{std::nan("")});
        EXPECT_EQ(refusals(log), QStringList({"a value that JSON cannot carry is not shared: scale",
                                              "a value that JSON cannot carry is not shared: scale"}));
    }
    EXPECT_FALSE(waits());
    defaults().setObject("theme", "light");
    pass(5.1);
    EXPECT_EQ(localFile(), R"({"scale":2,"theme":"light"})");
    EXPECT_EQ(client->log(), QStringList{upload});
}

// Local copy ------------------------------------------------------------------------------------------------

TEST_F(Preferences, The_local_copy_and_the_flag_are_saved_before_an_upload) {
    activateIdle();
    defaults().setObject("theme", "dark");
    engine().syncPreferenceWithKey("theme");
    bool isSaved = false;
    client->isAsked = [&](const QWRestRequest&) {
        isSaved = localFile() == R"({"theme":"dark"})" && persistedFlag();
    };
    pass(5.1);
    EXPECT_TRUE(isSaved);
}

TEST_F(Preferences, The_end_of_the_application_saves_the_local_copy_and_the_flag) {
    activateSharing({{"theme", "dark"}});
    EXPECT_TRUE(persistedFlag()) << "the flag is saved with the next copy";
    desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    EXPECT_FALSE(persistedFlag());
    defaults().setObject("theme", "light");
    EXPECT_FALSE(persistedFlag());
    desktop.world.notificationCenter->post({NSApplicationWillTerminateNotification, nullptr, {}});
    EXPECT_TRUE(persistedFlag());
    EXPECT_EQ(localFile(), R"({"theme":"light"})");
}

TEST_F(Preferences, The_next_process_knows_the_keys_and_observes_them) {
    activateSharing({{"theme", "dark"}});
    crash();
    EXPECT_EQ(shared(), QJsonObject({{"theme", "dark"}}));
    engine().syncPreferenceWithKey("theme");
    defaults().setObject("theme", "light");
    EXPECT_EQ(shared(), QJsonObject({{"theme", "light"}}));
}

TEST_F(Preferences, A_local_copy_that_is_missing_or_unreadable_holds_nothing) {
    EXPECT_EQ(shared(), QJsonObject());
    for (const char* bytes : {"[1]", "{\"theme\":", ""}) {
        desktop.world.files->write(localPath(), bytes);
        crash();
        EXPECT_EQ(shared(), QJsonObject()) << bytes;
    }
}

TEST_F(Preferences, A_local_copy_that_cannot_be_written_is_passed_over) {
    ASSERT_TRUE(desktop.world.files->makeFolder(localPath()));
    activateIdle();
    engine().syncPreferenceWithKey("theme");
    pass(5.1);
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(Preferences, Nothing_is_observed_or_sent_after_the_engine_has_gone) {
    activateIdle();
    engine().syncPreferenceWithKey("theme");
    desktop.engine.reset();
    defaults().setObject("theme", "dark");
    pass(60);
    EXPECT_EQ(client->log(), QStringList());
}
