#include "supervisor/OneDesktop.h"
#include "testing/QWLogCapture.h"

// What the host's model refuses does not hold back the rest. Labels must have a text and ribbons a badge; a badge that a
// label bears must not be deleted.

using namespace std::chrono_literals;

namespace {

const QString date = "2025-01-01 00:00:00 +0000", later = "2025-02-02 00:00:00 +0000";

QVariantMap reference(const QString& entityName, const QString& uuid) {
    return {{"uuid", uuid}, {"entityName", entityName}};
}

QString uuidAt(const desktop::Record& record, const QString& key) {
    const auto other = record ? record->relatedObject(key) : QWRef<QWManagedObject>();
    return other ? other->valueForKey("uuid").toString() : "none";
}

struct ModelRefusals : OneDesktop {
    ModelRefusals() : OneDesktop(Desktop::Supervised) { begin(); }

    void putLabel(const QString& uuid, const QVariantMap& values, const QString& dateModified = date) {
        QVariantMap record = values;
        record["dateModified"] = dateModified;
        cloud.putRecord("Label!!!" + uuid + ".data", record);
    }
    // Whatever else the cloud brings with what is refused.
    void receiveWithBook(const QString& title) {
        cloud.putRecord("Book!!!" + title + ".data", book(title));
        supervisor().syncNow();
        pass(30);
        EXPECT_TRUE(desktop.find(title));
        EXPECT_TRUE(supervisor().isInStep());
        EXPECT_EQ(presented(), 0);
    }
    int presented() { return static_cast<int>(desktop.world.errorPresenter->errors().size()); }
    static QStringList refusals(const QWLogCapture& log) { return log.texts().filter("the model refuses"); }
    desktop::Record label(const QString& uuid) { return desktop.find(uuid, "Label"); }
};

struct ModelRefusalsOfTwo : TwoDesktops {
    ModelRefusalsOfTwo() : TwoDesktops(Desktop::Supervised) {}

    void rest() {
        for (int round = 0; round < 4; ++round) {
            a.sync();
            b.sync();
        }
    }
    desktop::Record addBadge(const QString& uuid) {
        const auto badge = a.add("Badge", {{"text", "B"}});
        badge->setUuid(uuid);
        rest();
        return badge;
    }
    // Of the badge B, which desktop B has sent when A deletes that.
    void addBearer(const QString& entityName, const QVariantMap& values = {}) {
        const auto bearer = b.add(entityName, values);
        bearer->setUuid("BEARER");
        bearer->setRelatedObject("badge", b.find("B", "Badge").data());
        b.save();
        b.advance(5s);
    }
    void expectBadgeIsBack(const QString& bearerEntity) {
        EXPECT_TRUE(b.find("X"));
        EXPECT_TRUE(a.find("B", "Badge"));
        EXPECT_EQ(uuidAt(a.find("BEARER", bearerEntity), "badge"), "B");
        EXPECT_TRUE(areInStep());
    }
    void receiveUnsavedAtB() {
        b.supervisor->syncNow();
        b.advance(60s);
        EXPECT_TRUE(b.context->hasChanges());
    }
    void deleteAtA(const QString& uuid) {
        a.context->deleteObject(*a.find(uuid, "Badge"));
        a.add("Book", {{"title", "T"}})->setUuid("X");
        a.save();
        a.advance(5s);
    }
};

} // namespace

TEST_F(ModelRefusals, A_record_that_lacks_what_is_required_is_left_out_until_its_file_changes) {
    const QWLogCapture log;
    putLabel("L", {});
    receiveWithBook("One");
    EXPECT_FALSE(label("L"));
    EXPECT_EQ(refusals(log).size(), 1);
    EXPECT_TRUE(refusals(log).value(0).contains("text: Label!!!L.data"));
    receiveWithBook("Two");
    EXPECT_EQ(refusals(log).size(), 1) << "it has not changed";
    putLabel("L", {{"text", "Written"}}, later);
    receiveWithBook("Three");
    EXPECT_EQ(label("L")->valueForKey("text"), "Written");
}

TEST_F(ModelRefusals, The_record_here_stays_as_it_is_and_an_edit_of_it_is_sent) {
    putLabel("L", {{"text", "Old"}});
    receiveWithBook("One");
    const QWLogCapture log;
    putLabel("L", {}, later);
    receiveWithBook("Two");
    EXPECT_EQ(label("L")->valueForKey("text"), "Old");
    label("L")->setValueForKey("text", "New");
    desktop.sync();
    EXPECT_TRUE(cloud.bytes("Label!!!L.data").contains("New"));
}

TEST_F(ModelRefusals, A_version_that_is_corrected_before_the_batch_comes_again_is_received) {
    for (const int corrections : {1, 2}) {
        const QWLogCapture log;
        const QString uuid = QString::number(corrections);
        putLabel(uuid, {});
        supervisor().syncNow();
        pass(5);
        ASSERT_EQ(refusals(log).size(), 1);
        if (corrections == 2) {
            putLabel(uuid, {{"isOwned", true}}, later);
            pass(10);
            ASSERT_EQ(refusals(log).size(), 2) << "that is another version, and no better";
        }
        putLabel(uuid, {{"text", "Written"}}, "2025-03-03 00:00:00 +0000");
        receiveWithBook("With" + uuid);
        ASSERT_TRUE(label(uuid)) << corrections;
        EXPECT_EQ(label(uuid)->valueForKey("text"), "Written");
        EXPECT_EQ(refusals(log).size(), corrections);
    }
}

TEST_F(ModelRefusals, A_conflicted_copy_that_is_refused_keeps_nothing_else_away) {
    putLabel("L", {{"text", "Old"}});
    receiveWithBook("One");
    cloud.putRecord("Label!!!L (Ann's conflicted copy).data", {{"dateModified", later}});
    supervisor().syncNow();
    pass(5);
    putLabel("L", {{"text", "Written"}}, "2025-03-03 00:00:00 +0000");
    receiveWithBook("Two");
    EXPECT_EQ(label("L")->valueForKey("text"), "Written");
}

TEST_F(ModelRefusals, All_that_are_refused_in_one_batch_are_left_out) {
    const QWLogCapture log;
    for (const char* uuid : {"K", "L", "M"})
        putLabel(uuid, {});
    putLabel("N", {{"text", "Written"}});
    receiveWithBook("One");
    EXPECT_EQ(refusals(log).size(), 3);
    EXPECT_TRUE(label("N"));
}

TEST_F(ModelRefusals, A_reference_to_a_record_that_has_not_come_makes_one_with_an_empty_value) {
    putLabel("ONE", {{"text", "One"}, {"next", reference("Label", "TWO")}});
    receiveWithBook("One");
    ASSERT_TRUE(label("TWO"));
    EXPECT_EQ(label("TWO")->valueForKey("text"), "");
    EXPECT_FALSE(label("TWO")->dateModified().isValid());
    EXPECT_EQ(uuidAt(label("ONE"), "next"), "TWO");
    EXPECT_FALSE(cloud.fileNames().contains("Label!!!TWO.data"));
    putLabel("TWO", {{"text", "Two"}});
    receiveWithBook("Two");
    EXPECT_EQ(label("TWO")->valueForKey("text"), "Two");
}

TEST_F(ModelRefusals, A_reference_to_one_that_must_refer_to_another_in_turn_is_left_out) {
    cloud.putRecord("Badge!!!B.data", {{"text", "B"}, {"dateModified", date}});
    cloud.putRecord(
        "Ribbon!!!ONE.data",
        {{"badge", reference("Badge", "B")}, {"next", reference("Ribbon", "TWO")}, {"dateModified", date}});
    receiveWithBook("One");
    const auto ribbon = desktop.find("ONE", "Ribbon");
    ASSERT_TRUE(ribbon);
    EXPECT_EQ(uuidAt(ribbon, "badge"), "B");
    EXPECT_EQ(uuidAt(ribbon, "next"), "none");
    EXPECT_FALSE(desktop.find("TWO", "Ribbon"));
}

TEST_F(ModelRefusalsOfTwo, A_deletion_that_a_rule_denies_is_refused_and_the_record_comes_back_where_it_was) {
    addBadge("B");
    addBearer("Label", {{"text", "L"}});
    const QWLogCapture log;
    deleteAtA("B");
    rest();
    EXPECT_EQ(log.texts().filter("the model refuses").size(), 1);
    expectBadgeIsBack("Label");
}

TEST_F(ModelRefusalsOfTwo, A_deletion_that_would_take_from_a_record_what_it_requires_is_refused) {
    addBadge("B");
    addBearer("Ribbon");
    const QWLogCapture log;
    deleteAtA("B");
    rest();
    expectBadgeIsBack("Ribbon");
}

// The host edits on after that, and can save it.
struct ModelRefusalsOfUnsaved : ModelRefusalsOfTwo, testing::WithParamInterface<const char*> {
    static QVariantMap valuesOfBearer() {
        return GetParam() == QString("Label") ? QVariantMap{{"text", "L"}} : QVariantMap();
    }
    // At B, just before it hears of what A has done.
    void edit() {
        const auto bearer = b.find("BEARER", GetParam());
        bearer->setRelatedObject("next", bearer.data());
        b.supervisor->syncNow();
        b.advance(60s);
        EXPECT_TRUE(b.find("X"));
        b.save();
        rest();
        EXPECT_TRUE(areInStep());
    }
};

TEST_P(ModelRefusalsOfUnsaved,
       A_deletion_of_what_a_record_must_not_lose_is_refused_before_the_host_has_saved_that) {
    const QString bearerEntity = GetParam();
    addBadge("B");
    const auto bearer = b.add(bearerEntity, valuesOfBearer());
    bearer->setUuid("BEARER");
    bearer->setRelatedObject("badge", b.find("B", "Badge").data());
    deleteAtA("B");
    receiveUnsavedAtB();
    ASSERT_EQ(uuidAt(bearer, "badge"), "B");
    EXPECT_TRUE(b.find("X"));
    b.save();
    rest();
    expectBadgeIsBack(bearerEntity);
    EXPECT_TRUE(b.world.errorPresenter->errors().empty());
}

TEST_P(ModelRefusalsOfUnsaved, What_an_edited_record_must_not_lose_goes_with_the_record) {
    addBadge("B");
    addBearer(GetParam(), valuesOfBearer());
    rest();
    a.context->deleteObject(*a.find("BEARER", GetParam()));
    deleteAtA("B");
    edit();
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    for (Desktop* desktop : {&a, &b}) {
        EXPECT_FALSE(desktop->find("B", "Badge"));
        EXPECT_FALSE(desktop->find("BEARER", GetParam()));
    }
}

TEST_P(ModelRefusalsOfUnsaved, What_only_an_overtaken_edit_of_a_record_must_not_lose_goes) {
    addBadge("B");
    addBadge("C");
    addBearer(GetParam(), valuesOfBearer());
    rest();
    a.world.clock->setOffset(1h);
    a.find("BEARER", GetParam())->setRelatedObject("badge", a.find("C", "Badge").data());
    deleteAtA("B");
    edit();
    for (Desktop* desktop : {&a, &b}) {
        EXPECT_FALSE(desktop->find("B", "Badge"));
        EXPECT_EQ(uuidAt(desktop->find("BEARER", GetParam()), "badge"), "C");
    }
}

INSTANTIATE_TEST_SUITE_P(Each, ModelRefusalsOfUnsaved, testing::Values("Ribbon", "Label"));

TEST_F(ModelRefusalsOfTwo, A_deletion_of_what_an_unsaved_edit_has_made_required_is_refused) {
    addBadge("B");
    addBadge("C");
    addBearer("Ribbon");
    rest();
    const auto ribbon = b.find("BEARER", "Ribbon");
    ribbon->setRelatedObject("badge", b.find("C", "Badge").data());
    deleteAtA("C");
    receiveUnsavedAtB();
    ASSERT_EQ(uuidAt(ribbon, "badge"), "C");
    b.save();
    rest();
    EXPECT_EQ(uuidAt(a.find("BEARER", "Ribbon"), "badge"), "C");
    EXPECT_TRUE(areInStep());
}

TEST_F(ModelRefusalsOfTwo, A_deletion_of_what_an_unsaved_record_may_lose_is_taken_over) {
    addBadge("B");
    const auto label = b.add("Label", {{"text", "L"}});
    label->setRelatedObject("next", b.find("B", "Badge").data());
    deleteAtA("B");
    receiveUnsavedAtB();
    EXPECT_FALSE(b.find("B", "Badge"));
    b.save();
    rest();
    EXPECT_FALSE(a.find("B", "Badge"));
    EXPECT_TRUE(areInStep());
}
