#include "support/PreferencesTest.h"

// A host that sets a shared preference when it is told of one: what it sets stays, and is sent.

namespace {

struct PreferencesWithinNotifications : PreferencesTest {
    PreferencesWithinNotifications() : PreferencesTest(Desktop::Supervised) {}

    // When `key` becomes "red", the host sets `other` to "blue".
    QWObservation setWhenRed(const QString& key, const QString& other) {
        return defaults().observe(key, [=, this](const QJsonValue& value) {
            if (value == "red")
                defaults().setObject(other, "blue");
        });
    }
    void expectSent(const QByteArray& bytes) {
        pass(5.1);
        ASSERT_EQ(client->count(QWRestRequest::Upload), 1);
        EXPECT_EQ(localFile(), bytes);
        sent("rev3");
        pass(60);
        EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
        EXPECT_TRUE(desktop.supervisor->isInStep());
    }
};

} // namespace

TEST_F(PreferencesWithinNotifications, One_that_the_host_sets_when_another_is_received_stays_and_is_sent) {
    activateSharing({{"a", "dark"}, {"b", "grey"}});
    const auto observation = setWhenRed("a", "b");
    receive({changedThere()});
    arrived(R"({"a":"red","b":"grey"})");
    EXPECT_EQ(defaults().object("b"), "blue");
    expectSent(R"({"a":"red","b":"blue"})");
}

TEST_F(PreferencesWithinNotifications,
       Those_that_are_received_with_it_and_are_set_so_stay_whichever_comes_first) {
    activateSharing({{"a", "dark"}, {"b", "dark"}, {"c", "dark"}});
    const auto first = setWhenRed("b", "a"), last = setWhenRed("b", "c");
    receive({changedThere()});
    arrived(R"({"a":"red","b":"red","c":"red"})");
    EXPECT_EQ(defaults().object("a"), "blue");
    EXPECT_EQ(defaults().object("c"), "blue");
    expectSent(R"({"a":"blue","b":"red","c":"blue"})");
}

TEST_F(PreferencesWithinNotifications, One_that_the_host_sets_again_before_it_is_shared_is_shared_as_it_is) {
    const auto observation = setWhenRed("a", "a"); // told before the engine
    activateSharing({{"a", "dark"}});
    defaults().setObject("a", "red");
    EXPECT_EQ(defaults().object("a"), "blue");
    expectSent(R"({"a":"blue"})");
}

TEST_F(PreferencesWithinNotifications, One_that_the_host_sets_again_when_it_is_received_is_sent) {
    const auto observation = setWhenRed("a", "a");
    activateSharing({{"a", "dark"}});
    receive({changedThere()});
    arrived(R"({"a":"red"})");
    EXPECT_EQ(defaults().object("a"), "blue");
    expectSent(R"({"a":"blue"})");
}
