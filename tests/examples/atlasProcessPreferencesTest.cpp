// The preferences of a library, and how two desktops that share a cloud share them.

#include "AtlasProcess.h"

#include "dropbox/folder/QWAppFolder.h"

using namespace testing;

namespace {

class AtlasPreferences : public AtlasProcessTest {
protected:
    AtlasPreferences() { a_.tell({"add", "Visit"}); }
};

class AtlasProcessPreferences : public AtlasProcessTest, public WithParamInterface<const char*> {
protected:
    AtlasProcessPreferences() : AtlasProcessTest(GetParam()) {
        for (const Desktop* desktop : {&a_, &b_}) {
            connect(*desktop);
            desktop->tell({"prefs", "share", "homeCountry", "distanceUnit", "theme"});
        }
    }

    static void sync(const Desktop& desktop) { desktop.tell({"sync", "--once", "--timeout", "60"}); }
    static void set(const Desktop& desktop, const QString& key, const QString& value) {
        desktop.tell({"prefs", "set", key, value});
    }
    static QString preferences(const Desktop& desktop) {
        return desktop.tell({"prefs", "get"}).replace('\t', '=').replace('\n', ' ');
    }
};

} // namespace

// One library -----------------------------------------------------------------------------------------------

TEST_F(AtlasPreferences, A_value_is_JSON_and_text_where_it_is_no_JSON) {
    const QList<QPair<QString, QString>> rows = {{"5", "5"},
                                                 {"\"5\"", "\"5\""},
                                                 {"true", "true"},
                                                 {"0.5", "0.5"},
                                                 {"[1,2]", "[1,2]"},
                                                 {"[]", "[]"},
                                                 {"{\"a\":1}", "{\"a\":1}"},
                                                 {"IT", "\"IT\""},
                                                 {"1,2", "\"1,2\""},
                                                 {"", "\"\""},
                                                 {"] [", "\"] [\""},
                                                 {"NaN", "\"NaN\""},
                                                 {"Kyōto", "\"Kyōto\""}};
    for (const auto& [argument, printed] : rows) {
        a_.tell({"prefs", "set", "key", argument});
        EXPECT_EQ(a_.tell({"prefs", "get", "key"}), printed) << qPrintable(argument);
    }
    a_.tell({"prefs", "set", "key", "--", "-5"});
    EXPECT_EQ(a_.tell({"prefs", "get", "key"}), "-5");
}

TEST_F(AtlasPreferences, A_value_is_unset_by_its_own_command_and_by_null) {
    for (const QStringList& command :
         {QStringList{"prefs", "unset", "key"}, {"prefs", "set", "key", "null"}}) {
        a_.tell({"prefs", "set", "key", "1"});
        a_.tell(command);
        EXPECT_THAT(a_.fails({"prefs", "get", "key"}), HasSubstr("no preference key"));
    }
}

TEST_F(AtlasPreferences, Without_a_key_those_that_are_shared_are_printed) {
    a_.tell({"prefs", "set", "theme", "dark"});
    a_.tell({"prefs", "set", "own", "1"});
    EXPECT_EQ(a_.tell({"prefs", "get"}), "");
    a_.tell({"prefs", "share", "theme", "homeCountry"});
    EXPECT_EQ(a_.tell({"prefs", "get"}), "homeCountry\tnull\ntheme\t\"dark\"");
    EXPECT_TRUE(a_.status()["preferencesWait"].toBool());
}

TEST_F(AtlasPreferences, What_cannot_be_a_preference_is_refused) {
    for (const QStringList& command : {QStringList{"prefs", "set", "key"},
                                       {"prefs", "get", "a", "b"},
                                       {"prefs", "share"},
                                       {"prefs", "forget", "a"}})
        EXPECT_THAT(a_.fails(command), HasSubstr("usage: atlas --library DIR prefs set KEY VALUE"));
    for (const char* key : {"", "LastTimeTokenExpired", "NeedToUploadPrefKey"})
        EXPECT_THAT(a_.fails({"prefs", "share", "theme", key}), HasSubstr("no preference can be called"));
    EXPECT_EQ(a_.tell({"prefs", "get"}), "");
}

TEST_F(AtlasPreferences, The_token_is_none_of_them) {
    a_.tell({"connect", "--cloud", "http://127.0.0.1:1", "--token", TestCloud::token});
    for (const char* key : {"AtlasAccessToken", "AtlasCloud"})
        EXPECT_THAT(a_.fails({"prefs", "get", key}), HasSubstr("no preference"));
}

// Two desktops ----------------------------------------------------------------------------------------------

INSTANTIATE_TEST_SUITE_P(Cloud, AtlasProcessPreferences, everyCloud);

TEST_P(AtlasProcessPreferences, Are_exchanged_also_after_one_was_offline) {
    set(a_, "homeCountry", "IT");
    set(a_, "distanceUnit", "5");
    sync(a_);
    sync(b_);
    EXPECT_EQ(preferences(b_), "distanceUnit=5 homeCountry=\"IT\" theme=null");

    // Neither hears of the other until it syncs.
    set(a_, "theme", "dark");
    set(b_, "distanceUnit", "\"5\"");
    b_.tell({"prefs", "unset", "homeCountry"});
    sync(a_);
    sync(b_);
    sync(a_);
    EXPECT_EQ(preferences(a_), "distanceUnit=\"5\" homeCountry=null theme=\"dark\"");
    EXPECT_EQ(preferences(b_), preferences(a_));
    EXPECT_FALSE(a_.status()["preferencesWait"].toBool());
}

TEST_P(AtlasProcessPreferences, Are_exchanged_also_after_the_remote_file_was_deleted) {
    set(a_, "theme", "dark");
    sync(a_);
    sync(b_);
    {
        const auto folder =
            QWAppFolder::inDirectory(cloudPath(), std::make_shared<QWEnvironment>(QWEnvironment::Parts{}));
        ASSERT_TRUE(folder->remove("/PreferencesSync.data"));
        sync(b_);
        const auto file = folder->read("/PreferencesSync.data");
        ASSERT_TRUE(file);
        EXPECT_EQ(file->bytes, R"({"distanceUnit":null,"homeCountry":null,"theme":"dark"})");
    }
    set(b_, "theme", "light");
    sync(b_);
    sync(a_);
    EXPECT_EQ(preferences(a_), "distanceUnit=null homeCountry=null theme=\"light\"");
}
