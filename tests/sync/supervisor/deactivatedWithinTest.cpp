#include "supervisor/OneDesktop.h"

// A host that deactivates sync when it is told of the engine's status or count.

namespace {

struct DeactivatedWithin : OneDesktop {
    DeactivatedWithin() : OneDesktop(Desktop::Supervised) { begin(); }

    // By a slot that comes before the supervisor's, which then hears of the end first.
    void connectBeforeSupervisor(quint64 status) {
        desktop.supervisor.reset();
        deactivateAt(status);
        desktop.supervisor = QWSyncSupervisor::create(engine(), desktop.client);
    }
    void deactivateAt(quint64 status) {
        QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &desktop,
                         [this, status](quint64 present) {
                             if (present == status && !std::exchange(isDone, true))
                                 engine().deactivateSync();
                         });
    }
    void addBooks() {
        desktop.add("Book", {{"title", "1"}});
        desktop.add("Book", {{"title", "2"}});
        desktop.save();
    }
    void expectInactiveAfter(int requests) {
        EXPECT_TRUE(isDone);
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
        EXPECT_EQ(desktop.client->requests().size(), size_t(requests));
    }

    bool isDone = false;
};

} // namespace

TEST_F(DeactivatedWithin, The_beginning_of_a_query_asks_for_nothing) {
    const int before = int(desktop.client->requests().size());
    deactivateAt(QWDropboxSyncStatusCheckingForUpdates);
    supervisor().syncNow();
    pass(5);
    expectInactiveAfter(before);
}

TEST_F(DeactivatedWithin, The_beginning_of_an_upload_sends_nothing) {
    const int before = int(desktop.client->requests().size());
    deactivateAt(QWDropboxSyncStatusUploading);
    addBooks();
    pass(5);
    expectInactiveAfter(before);
    desktop.activate();
    pass(5);
    EXPECT_EQ(cloud.fileNames().size(), 2);
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(DeactivatedWithin, A_status_that_the_supervisor_hears_of_when_it_has_ended_is_none) {
    connectBeforeSupervisor(QWDropboxSyncStatusCheckingForUpdates);
    desktop.activate();
    pass(5);
    EXPECT_TRUE(isDone);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    supervisor().syncNow();
    pass(5);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    desktop.activate();
    pass(5);
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(DeactivatedWithin, A_query_that_the_host_has_made_by_a_new_activation_is_one) {
    const int before = count(QWRestRequest::LoadDelta);
    QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &desktop, [this](quint64 status) {
        if (status != QWDropboxSyncStatusCheckingForUpdates || std::exchange(isDone, true))
            return;
        engine().deactivateSync();
        desktop.activate();
    });
    supervisor().syncNow();
    pass(5);
    EXPECT_EQ(count(QWRestRequest::LoadDelta), before + 1);
    EXPECT_TRUE(supervisor().isInStep());
}
