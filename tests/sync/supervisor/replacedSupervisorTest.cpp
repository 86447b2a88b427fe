#include "supervisor/OneDesktop.h"
#include "support/EngineTest.h"

// Supervisors of one engine that follow each other.

using namespace std::chrono_literals;

namespace {

struct ReplacedSupervisor : OneDesktop {
    ReplacedSupervisor() : OneDesktop(Desktop::Supervised) { begin(); }

    // By one with the same client.
    void replace() {
        desktop.supervisor = QWSyncSupervisor::create(engine(), desktop.client);
        desktop.activate();
    }
};

struct ReplacedInAnswer : EngineTest, QWDropboxSyncCoreDataDelegate {
    ReplacedInAnswer() : EngineTest(Desktop::Supervised) {
        activateIdle();
        engine().setDelegate(this, &desktop);
    }
    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport&) override { return true; }
    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override {
        desktop.supervisor = QWSyncSupervisor::create(engine(), nextClient);
        desktop.supervisor->activate();
    }

    const std::shared_ptr<SilentClient> nextClient = std::make_shared<SilentClient>();
};

} // namespace

TEST_F(ReplacedInAnswer, Lives_until_the_answer_has_been_dealt_with) {
    const std::weak_ptr<QWSyncSupervisor> first = desktop.supervisor;
    desktop.supervisor->syncNow();
    delegate().restClientLoadDeltaFailedWithError(*client, failure(401));
    EXPECT_FALSE(first.expired());
    EXPECT_NE(desktop.supervisor, first.lock());
    turn();
    EXPECT_TRUE(first.expired());
    EXPECT_EQ(nextClient->log(), QStringList{"metadata /SyncCache.dbSync"});
}

TEST_F(ReplacedSupervisor, Leaves_its_client_to_the_next_one) {
    engine().deactivateSync();
    pass(60);
    replace();
    pass(60);
    EXPECT_TRUE(desktop.client->delegate());
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(ReplacedSupervisor, Takes_the_client_from_nobody_when_it_goes_later) {
    auto first = desktop.supervisor;
    replace();
    first.reset();
    pass(60);
    EXPECT_TRUE(desktop.client->delegate());
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(ReplacedSupervisor, Leaves_answers_that_count_for_nothing) {
    for (const auto kind : {QWRestRequest::Upload, QWRestRequest::Delete, QWRestRequest::LoadFile}) {
        desktop.client->on(kind).first(1).delaysAnswer(10s);
        desktop.add("Book", {{"title", "T"}});
        if (const auto book = desktop.find("X"))
            desktop.context->deleteObject(*book);
        desktop.save();
        cloud.putRecord(QStringLiteral("Book!!!%1.data").arg(kind), book("T"));
        supervisor().syncNow();
        pass(2);
        const auto first = desktop.supervisor;
        replace();
        pass(120);
        EXPECT_EQ(supervisor().requestsOut(), 0) << kind;
        EXPECT_TRUE(supervisor().isInStep()) << kind;
    }
}

TEST_F(ReplacedSupervisor, Leaves_a_transfer_of_the_preferences_that_counts_for_nothing) {
    desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(30s);
    desktop.world.userDefaults->setObject("a", "dark");
    engine().syncPreferenceWithKeys({"a"});
    pass(10);
    ASSERT_EQ(supervisor().requestsOut(), 1);
    replace();
    pass(120);
    EXPECT_EQ(supervisor().requestsOut(), 0);
    EXPECT_TRUE(supervisor().isInStep());
}
