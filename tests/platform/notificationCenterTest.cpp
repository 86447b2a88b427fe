#include "platform/QWNotificationCenter.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

struct NotificationCenter : testing::Test {
    void note(const QString& entry) { log.push_back(entry.toStdString()); }

    QWNotificationCenter center;
    std::vector<std::string> log;
};

TEST_F(NotificationCenter, Delivers_by_name_in_the_order_of_registration) {
    const auto first = center.observe("saved", [&](const auto&) { note("first"); });
    const auto other = center.observe("closed", [&](const auto&) { note("other"); });
    const auto second = center.observe("saved", [&](const auto&) { note("second"); });
    center.post({.name = "saved"});
    EXPECT_THAT(log, ElementsAre("first", "second"));
}

TEST_F(NotificationCenter, Hands_over_the_object_and_the_facts) {
    int object = 0;
    QWNotification received;
    const auto observation = center.observe("saved", [&](const QWNotification& n) { received = n; });
    center.post({.name = "saved", .object = &object, .userInfo = {{"count", 3}}});
    EXPECT_EQ(received.name, u"saved");
    EXPECT_EQ(received.object, &object);
    EXPECT_EQ(received.userInfo.value("count"), 3);
}

TEST_F(NotificationCenter, An_observer_of_one_object_hears_nothing_of_others) {
    int mine = 0, other = 0;
    const auto observation = center.observe(
        "saved", [&](const auto&) { note("mine"); }, &mine);
    center.post({.name = "saved", .object = &other});
    center.post({.name = "saved"});
    EXPECT_TRUE(log.empty());
    center.post({.name = "saved", .object = &mine});
    EXPECT_THAT(log, ElementsAre("mine"));
}

TEST_F(NotificationCenter, A_dropped_observation_ends_the_delivery) {
    {
        const auto observation = center.observe("saved", [&](const auto&) { note("heard"); });
    }
    center.post({.name = "saved"});
    EXPECT_TRUE(log.empty());
}

TEST_F(NotificationCenter, A_moved_observation_stays_registered_once) {
    auto first = center.observe("saved", [&](const auto&) { note("first"); });
    QWObservation second = center.observe("saved", [&](const auto&) { note("second"); });
    second = std::move(first);
    EXPECT_FALSE(first.isActive());
    EXPECT_TRUE(second.isActive());
    center.post({.name = "saved"});
    EXPECT_THAT(log, ElementsAre("first"));
}

TEST_F(NotificationCenter, An_observer_may_remove_itself_and_others_while_it_is_called) {
    QWObservation self, later;
    self = center.observe("saved", [&](const auto&) {
        note("self");
        later.stop();
        self.stop();
    });
    later = center.observe("saved", [&](const auto&) { note("later"); });
    center.post({.name = "saved"});
    center.post({.name = "saved"});
    EXPECT_THAT(log, ElementsAre("self"));
}

TEST_F(NotificationCenter, An_observer_added_during_a_notification_hears_the_next_one) {
    std::vector<QWObservation> added;
    const auto observation = center.observe("saved", [&](const auto&) {
        for (int index = 0; index < 100; ++index) // many names, so that the table of names grows
            added.push_back(center.observe(QString::number(index), [](const auto&) {}));
        added.push_back(center.observe("saved", [&](const auto&) { note("added"); }));
    });
    center.post({.name = "saved"});
    EXPECT_TRUE(log.empty());
    center.post({.name = "saved"});
    EXPECT_THAT(log, ElementsAre("added"));
}

TEST_F(NotificationCenter, A_notification_posted_by_an_observer_is_delivered_within_it) {
    const auto outer = center.observe("outer", [&](const auto&) {
        note("outer begins");
        center.post({.name = "inner"});
        note("outer ends");
    });
    const auto inner = center.observe("inner", [&](const auto&) { note("inner"); });
    center.post({.name = "outer"});
    EXPECT_THAT(log, ElementsAre("outer begins", "inner", "outer ends"));
}

TEST(Observation, May_outlive_the_center) {
    QWObservation observation;
    {
        QWNotificationCenter center;
        observation = center.observe("saved", [](const auto&) {});
    }
    observation.stop();
    EXPECT_FALSE(observation.isActive());
}

} // namespace
