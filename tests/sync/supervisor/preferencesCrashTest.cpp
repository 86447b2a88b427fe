#include "support/PreferencesTest.h"

#include <QJsonDocument>

// A process that dies between two steps of a change of the preferences: the next one takes it up.

namespace {

struct PreferencesCrash : PreferencesTest {
    PreferencesCrash() : PreferencesTest(Desktop::Supervised) { activateSharing({{"theme", "dark"}}); }

    void activateAgain() {
        activate();
        client->forget();
        page({}, "cursor-1");
        pass(5.1);
    }

    // The process dies while it receives a file, of which it has written `note` down. What it has placed, the test does
    // before.
    void crashReceiving(const QJsonObject& own, const QJsonObject& received) {
        const QJsonDocument note(QJsonObject{{"own", own}, {"received", received}});
        engine().metadataWithKey("PreferencesReceiving")->setValue(note.toJson());
        engine().saveCacheContext();
        crash();
    }
};

} // namespace

TEST_F(PreferencesCrash, A_change_of_which_only_the_default_was_saved_is_sent) {
    defaults().setObject("theme", "light");
    crash(); // neither the local copy nor the flag was saved
    EXPECT_EQ(shared()["theme"], "light");
    EXPECT_TRUE(waits());
    activateAgain();
    EXPECT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(localFile(), R"({"theme":"light"})");
}

TEST_F(PreferencesCrash, A_removal_of_which_only_the_default_was_saved_is_sent) {
    defaults().remove("theme");
    crash();
    activateAgain();
    EXPECT_EQ(localFile(), R"({"theme":null})");
    EXPECT_EQ(client->log(), QStringList{upload});
}

TEST_F(PreferencesCrash, A_change_back_to_what_the_cloud_holds_survives) {
    defaults().setObject("theme", "light");
    pass(5.1);
    defaults().setObject("theme", "dark");
    crash(); // before the local copy was written again
    EXPECT_EQ(defaults().object("theme"), "dark");
    EXPECT_EQ(shared()["theme"], "dark");
    EXPECT_TRUE(waits());
}

TEST_F(PreferencesCrash, A_received_file_that_was_placed_but_not_applied_is_applied) {
    receive({changedThere()});
    desktop.world.files->write(localPath(),
                               R"({"theme":"light","unit":null})"); // as it is before the engine has it
    crashReceiving({{"theme", "dark"}}, {{"theme", "light"}, {"unit", QJsonValue()}});
    EXPECT_EQ(defaults().object("theme"), "light");
    client->forget();
    activate();
    page({changedThere()}, "cursor-1"); // it comes again
    ASSERT_EQ(client->log(), QStringList({"delta", load}));
    arrived(R"({"theme":"light","unit":null})");
    EXPECT_EQ(defaults().object("theme"), "light");
    client->forget();
    pass(60);
    EXPECT_EQ(client->log(), QStringList()) << "nothing was changed here";
}

TEST_F(PreferencesCrash, A_received_file_that_was_noted_but_not_placed_is_applied) {
    crashReceiving({{"theme", "dark"}}, {{"theme", "light"}});
    EXPECT_EQ(defaults().object("theme"), "light");
    activate();
    client->forget();
    page({}, "cursor-1");
    pass(60);
    EXPECT_EQ(client->log(), QStringList()) << "nothing was changed here";
}

TEST_F(PreferencesCrash, What_a_dead_process_has_received_gives_way_to_what_the_cloud_holds_next) {
    for (const char* set : {"dark", "light"}) { // before the received value was set, and after
        desktop.world.files->write(localPath(), R"({"theme":"light"})");
        defaults().setObject("theme", set);
        crashReceiving({{"theme", "dark"}}, {{"theme", "light"}});
        EXPECT_EQ(defaults().object("theme"), "light") << set;
        activate();
        const QString rev = QStringLiteral("rev after %1").arg(set);
        page({changedThere(rev)}, "cursor-1");
        arrived(R"({"theme":"dark"})", rev); // which another desktop has set back
        EXPECT_EQ(defaults().object("theme"), "dark") << set;
        client->forget();
        pass(60);
        EXPECT_EQ(client->count(QWRestRequest::Upload), 0) << set;
    }
}

TEST_F(PreferencesCrash, A_value_that_was_set_here_while_a_file_was_received_is_sent) {
    defaults().setObject("theme", "blue"); // neither what it was nor what has come
    crashReceiving({{"theme", "dark"}}, {{"theme", "light"}});
    EXPECT_EQ(defaults().object("theme"), "blue");
    activateAgain();
    EXPECT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(localFile(), R"({"theme":"blue"})");
}

TEST_F(PreferencesCrash, The_first_file_that_was_ever_received_is_applied_too) {
    engine().metadataWithKey("Preferences")->setValue({});
    crashReceiving({{"theme", "dark"}}, {{"theme", "light"}, {"unit", "km"}});
    EXPECT_EQ(defaults().object("theme"), "light");
    EXPECT_EQ(defaults().object("unit"), "km");
}

TEST_F(PreferencesCrash, A_received_file_that_was_not_placed_yet_comes_again) {
    receive({changedThere()});
    desktop.world.files->write(client->requests.back().localPath, R"({"theme":"light"})");
    crash();
    EXPECT_EQ(defaults().object("theme"), "dark");
    activate();
    client->forget();
    page({changedThere()}, "cursor-1");
    arrived(R"({"theme":"light"})");
    EXPECT_EQ(defaults().object("theme"), "light");
}

TEST_F(PreferencesCrash, A_change_made_before_a_received_file_was_applied_survives) {
    receive({changedThere()});
    defaults().setObject("theme", "blue");
    crash();
    activate();
    client->forget();
    page({changedThere()}, "cursor-1");
    arrived(R"({"theme":"dark","unit":"mile"})");
    EXPECT_EQ(defaults().object("theme"), "blue");
    EXPECT_EQ(defaults().object("unit"), "mile");
    pass(5.1);
    EXPECT_EQ(localFile(), R"({"theme":"blue","unit":"mile"})");
}

TEST_F(PreferencesCrash, A_change_that_was_kept_beside_a_received_one_is_sent) {
    defaults().setObject("theme", "blue");
    receive({changedThere()});
    arrived(R"({"theme":"dark","unit":"mile"})");
    EXPECT_EQ(localFile(), R"({"theme":"blue","unit":"mile"})");
    crash();
    EXPECT_TRUE(waits());
    activateAgain();
    EXPECT_EQ(client->log(), QStringList{upload});
    EXPECT_EQ(localFile(), R"({"theme":"blue","unit":"mile"})");
}

TEST_F(PreferencesCrash, An_upload_that_was_sent_but_not_answered_is_sent_again) {
    defaults().setObject("theme", "light");
    pass(5.1);
    crash();
    EXPECT_TRUE(waits());
    activateAgain();
    EXPECT_EQ(client->log(), QStringList{upload});
    sent("rev2");
    EXPECT_TRUE(desktop.supervisor->isInStep());
}
