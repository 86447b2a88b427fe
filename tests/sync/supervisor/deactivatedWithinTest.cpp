#include "supervisor/OneDesktop.h"

// A host that deactivates sync when it is told of something: the engine's status or count, a change of its records, a file
// that was sent or received.

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

// Within other notices --------------------------------------------------------------------------------------

namespace {

// The book X comes from the cloud, or is sent there.
struct DeactivatedWithinNotice : OneDesktop {
    DeactivatedWithinNotice() : OneDesktop(Desktop::Supervised) { begin(); }

    bool isDone = false;
    QWObservation observation;
    void receiveBook() {
        cloud.putRecord("Book!!!X.data", book("T"));
        supervisor().syncNow();
    }
    void once(const std::function<void()>& what) {
        if (!std::exchange(isDone, true))
            what();
    }
    void expectInactiveUntilActivated() {
        EXPECT_TRUE(isDone);
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
        const auto before = desktop.client->requests().size();
        pass(2000);
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
        EXPECT_EQ(desktop.client->requests().size(), before);
        desktop.activate();
        pass(100);
        EXPECT_TRUE(supervisor().isInStep());
        EXPECT_TRUE(desktop.find("X"));
        EXPECT_TRUE(cloud.fileNames().contains("Book!!!X.data"));
    }
};

} // namespace

TEST_F(DeactivatedWithinNotice, The_change_of_records_by_a_batch_ends_it) {
    observation = desktop.context->observeObjectsDidChange(
        [&](const auto&) { once([&] { engine().deactivateSync(); }); });
    receiveBook();
    pass(5);
    expectInactiveUntilActivated();
}

TEST_F(DeactivatedWithinNotice, A_new_activation_in_the_change_of_records_by_a_batch_asks_for_changes_once) {
    observation = desktop.context->observeObjectsDidChange([&](const auto&) {
        once([&] {
            engine().deactivateSync();
            desktop.activate();
        });
    });
    receiveBook();
    const int before = count(QWRestRequest::LoadDelta);
    pass(100);
    EXPECT_TRUE(isDone);
    EXPECT_LE(count(QWRestRequest::LoadDelta), before + 1);
    EXPECT_TRUE(supervisor().isInStep());
    EXPECT_TRUE(desktop.find("X"));
}

TEST_F(DeactivatedWithinNotice, The_merge_of_a_batch_ends_it) {
    observation =
        desktop.context->observeDidMerge([&](const auto&) { once([&] { engine().deactivateSync(); }); });
    receiveBook();
    pass(5);
    expectInactiveUntilActivated();
}

TEST_F(DeactivatedWithinNotice, The_report_of_a_received_file_ends_its_batch) {
    QObject::connect(&supervisor(), &QWSyncSupervisor::fileReceived, &desktop,
                     [&] { once([&] { engine().deactivateSync(); }); });
    receiveBook();
    pass(5);
    expectInactiveUntilActivated();
}

TEST_F(DeactivatedWithinNotice, The_report_of_a_sent_file_sends_no_more) {
    QObject::connect(&supervisor(), &QWSyncSupervisor::fileSent, &desktop,
                     [&] { once([&] { engine().deactivateSync(); }); });
    desktop.add("Book", {{"title", "T"}})->setUuid("X");
    desktop.save();
    pass(5);
    expectInactiveUntilActivated();
}

TEST_F(DeactivatedWithinNotice, Any_count_leaves_nothing_that_goes_on) {
    for (const int atCall : {1, 2, 3, 4}) {
        int calls = 0;
        const auto connection =
            QObject::connect(&engine(), &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, &desktop, [&] {
                if (++calls == atCall)
                    engine().deactivateSync();
            });
        const QString uuid = QString("X%1").arg(atCall);
        desktop.add("Book", {{"title", "T"}})->setUuid(uuid);
        desktop.add("Book", {{"title", "T2"}})->setUuid(uuid + "B");
        cloud.putRecord("Book!!!R" + uuid + ".data", book("T"));
        desktop.save();
        supervisor().syncNow();
        pass(30);
        if (calls >= atCall) {
            EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled) << atCall;
        }
        QObject::disconnect(connection);
        desktop.activate();
        pass(100);
        EXPECT_TRUE(supervisor().isInStep());
        EXPECT_TRUE(desktop.find("R" + uuid));
        EXPECT_TRUE(cloud.fileNames().contains("Book!!!" + uuid + ".data"));
    }
}

TEST_F(DeactivatedWithinNotice, The_status_at_the_end_of_a_batch_asks_for_nothing) {
    observation = desktop.context->observeDidMerge([&](const auto&) {
        QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &desktop, [&](quint64 status) {
            if (status == QWDropboxSyncStatusIdle)
                once([&] { engine().deactivateSync(); });
        });
    });
    receiveBook();
    pass(5);
    expectInactiveUntilActivated();
}
