// How a sync ends, with a cloud that fails on purpose.

#include "AtlasFixture.h"

#include "cli/SyncSession.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "testing/QWFaultyRestClient.h"

using Outcome = SyncSession::Outcome;

namespace {

class AtlasSyncSession : public ::testing::Test {
protected:
    AtlasSyncSession() {
        folderClient_ =
            QWFolderRestClient::open("folder:" + folder_.filePath("cloud"), library_->environment());
        client_ = std::make_shared<QWFaultyRestClient>(*folderClient_, library_->environment());
        library_->context().insertObject("Visit");
        EXPECT_TRUE(library_->save());
    }

    QTemporaryDir folder_;
    std::unique_ptr<atlas::AtlasLibrary> library_ = atlas::AtlasLibrary::open(folder_.filePath("A"));
    std::unique_ptr<QWFolderRestClient> folderClient_;
    std::shared_ptr<QWFaultyRestClient> client_;
};

} // namespace

TEST_F(AtlasSyncSession, Ends_in_step_after_an_empty_cloud_was_filled_and_asked) {
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce({}), Outcome::InStep);
    const auto& requests = session.supervisor().requests();
    EXPECT_EQ(requests.uploads, 1);
    EXPECT_EQ(requests.queries, 2); // the folder's metadata, and one delta
    EXPECT_EQ(requests.total(), 3);
    EXPECT_EQ(client_->requests().size(), 3u);
    EXPECT_EQ(session.supervisor().requestsOut(), 0);
    EXPECT_EQ(library_->engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(AtlasSyncSession, Ends_when_the_token_is_refused_and_keeps_what_waits) {
    client_->on(QWRestRequest::Upload).answersWith(401);
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce({}), Outcome::TokenRefused);
    EXPECT_EQ(library_->engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(AtlasSyncSession, Watching_ends_when_the_token_is_refused) {
    client_->onAny().answersWith(401);
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.watch(), Outcome::TokenRefused);
}

TEST_F(AtlasSyncSession, Ends_when_its_time_is_over) {
    client_->onAny().staysUnanswered();
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce(std::chrono::seconds(0)), Outcome::TimedOut);
    EXPECT_EQ(library_->engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(AtlasSyncSession, Waits_for_a_preference_alone_for_a_while_only) {
    client_->on(QWRestRequest::Upload)
        .where([](const QWRestRequest& request) { return request.path == "/PreferencesSync.data"; })
        .staysUnanswered();
    library_->engine().syncPreferenceWithKey("theme");
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce({}, std::chrono::seconds(0)), Outcome::TimedOut);
    EXPECT_TRUE(session.supervisor().isPreferenceWaiting());
    EXPECT_EQ(library_->engine().numberOfObjectsWaitingSync(), 0) << "the records went first";
}

TEST_F(AtlasSyncSession, What_could_not_be_noted_is_noted_later_and_the_cloud_asked_again) {
    client_->on(QWRestRequest::Upload).where([this](const QWRestRequest&) {
        library_->environment()->errorPresenter().presentError(
            {QStringLiteral("store"), 13, QStringLiteral("database or disk is full")});
        return false;
    });
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce({}, std::chrono::seconds(30), std::chrono::seconds(0)), Outcome::InStep);
    EXPECT_EQ(client_->requests(QWRestRequest::LoadDelta).size(), 2u);
    EXPECT_TRUE(library_->save()) << "which fails for what the engine could not note";
}

TEST_F(AtlasSyncSession, Does_not_end_in_step_while_there_is_something_that_cannot_be_noted) {
    int queries = 0;
    client_->on(QWRestRequest::LoadDelta)
        .where([&](const QWRestRequest&) {
            library_->environment()->errorPresenter().presentError(
                {QStringLiteral("store"), 13, QStringLiteral("database or disk is full")});
            return ++queries == 5;
        })
        .answersWith(401);
    SyncSession session(*library_, client_);
    EXPECT_EQ(session.runOnce({}, std::chrono::seconds(30), std::chrono::seconds(0)), Outcome::TokenRefused);
    EXPECT_EQ(queries, 5);
}

TEST_F(AtlasSyncSession, Each_outcome_has_its_exit_code) {
    EXPECT_EQ(SyncSession::exitCode(Outcome::InStep), 0);
    EXPECT_EQ(SyncSession::exitCode(Outcome::TokenRefused), 3);
    EXPECT_EQ(SyncSession::exitCode(Outcome::TimedOut), 4);
    EXPECT_EQ(SyncSession::exitCode(Outcome::Interrupted), 1);
}
