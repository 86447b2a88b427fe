// What the activity panel lists, with a cloud that fails on purpose.

#include "examples/AtlasFixture.h"

#include "desktop/ActivityPanel.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "testing/QWFaultyRestClient.h"

#include <gmock/gmock.h>

using atlas::ActivityPanel;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Activity : public AtlasTest {
protected:
    Activity()
        : engine_(context_, atlas::entityNames(), QUrl::fromLocalFile(folder_.filePath("cache"))),
          client_(std::make_shared<QWFaultyRestClient>(folderClient_, environment_)),
          supervisor_(QWSyncSupervisor::create(engine_, client_)) {
        panel_.follow(supervisor_.get(), &engine_);
        panel_.show();
    }
    void visit(const QString& title) {
        insert("Visit")->setValueForKey("title", title);
        EXPECT_TRUE(context_->save());
    }
    void pass(std::chrono::milliseconds time) { world_.runLoop->advance(time); }
    // The lines of one of the groups, "what: state", and the group's own title.
    QStringList lines(int group) {
        QStringList texts;
        const auto* item = panel_.topLevelItem(group);
        for (int index = 0; index < item->childCount(); ++index)
            texts << item->child(index)->text(0) + ": " + item->child(index)->text(1);
        return texts;
    }
    QString title(int group) { return panel_.topLevelItem(group)->text(0); }
    enum Group { InFlight, ToSend, ToFetch, Failed };

    const std::shared_ptr<QWEnvironment> environment_ = world_.environment();
    QWDropboxSyncCoreData engine_;
    const std::shared_ptr<QWAppFolder> cloud_ = QWAppFolder::inMemory(environment_);
    QWFolderRestClient folderClient_{cloud_, environment_};
    std::shared_ptr<QWFaultyRestClient> client_;
    std::shared_ptr<QWSyncSupervisor> supervisor_;
    ActivityPanel panel_;
};

TEST_F(Activity, Lists_what_waits_by_the_names_of_the_records) {
    visit("Rome in spring");
    pass(std::chrono::seconds(1));
    EXPECT_EQ(title(ToSend), "Waiting to be sent (1)");
    EXPECT_EQ(lines(ToSend), QStringList{"Rome in spring (Visit): to be sent"});
    EXPECT_THAT(lines(InFlight), IsEmpty());
}

TEST_F(Activity, Lists_what_is_in_flight) {
    for (int number = 0; number < 7; ++number)
        visit(QString::number(number));
    client_->on(QWRestRequest::Upload).staysUnanswered();
    supervisor_->activate();
    pass(std::chrono::seconds(3));
    EXPECT_EQ(title(InFlight), "In flight (5)");
    EXPECT_EQ(lines(InFlight).first(), "0 (Visit): being sent");
    EXPECT_EQ(title(ToSend), "Waiting to be sent (2)");
    EXPECT_EQ(lines(ToSend), QStringList({"5 (Visit): to be sent", "6 (Visit): to be sent"}));
}

TEST_F(Activity, Counts_what_is_too_much_to_be_listed) {
    for (int number = 0; number < ActivityPanel::mostListed + 20; ++number)
        insert("Visit");
    EXPECT_TRUE(context_->save());
    pass(std::chrono::seconds(1));
    EXPECT_EQ(title(ToSend), "Waiting to be sent (120)");
    EXPECT_EQ(lines(ToSend).size(), ActivityPanel::mostListed + 1);
    EXPECT_EQ(lines(ToSend).last(), "… and 20 more: ");
}

TEST_F(Activity, Lists_what_is_to_be_fetched) {
    for (const char* uuid : {"0E1D2C3B-0000-4000-8000-000000000001", "0E1D2C3B-0000-4000-8000-000000000002"})
        EXPECT_TRUE(cloud_->upload(QString("/SyncCache.dbSync/Visit!!!%1.data").arg(uuid),
                                   R"({"title":"Oslo","dateModified":"2026-01-01 00:00:00 +0000"})",
                                   QWWriteMode::add()));
    client_->on(QWRestRequest::LoadFile).staysUnanswered();
    supervisor_->activate();
    pass(std::chrono::seconds(3));
    EXPECT_EQ(title(ToFetch), "Waiting to be fetched (2)");
    EXPECT_EQ(lines(ToFetch), QStringList({"Visit: to be fetched", "Visit: to be fetched"}));
}

TEST_F(Activity, Lists_a_deletion_by_the_kind_of_what_is_gone) {
    visit("Rome in spring");
    supervisor_->activate();
    pass(std::chrono::seconds(30));
    ASSERT_EQ(title(ToSend), "Waiting to be sent (0)");
    client_->on(QWRestRequest::Delete).staysUnanswered();
    context_->deleteObject(*context_->fetch(QWFetchRequest("Visit"))->front());
    EXPECT_TRUE(context_->save());
    pass(std::chrono::seconds(1));
    EXPECT_EQ(lines(InFlight), QStringList{"Visit: being deleted"});
}

TEST_F(Activity, Says_what_has_failed_and_why_until_it_has_succeeded) {
    visit("Rome in spring");
    client_->on(QWRestRequest::Upload).answersWith(503);
    supervisor_->activate();
    pass(std::chrono::seconds(3));
    ASSERT_EQ(lines(Failed).size(), 1);
    EXPECT_THAT(lines(Failed).first().toStdString(), HasSubstr("Rome in spring (Visit): "));
    EXPECT_GT(lines(Failed).first().size(), QString("Rome in spring (Visit): ").size()); // the reason
    EXPECT_EQ(title(Failed), "Failed, to be tried again (1)");
    EXPECT_EQ(title(InFlight), "In flight (0)");
    EXPECT_THAT(lines(InFlight), IsEmpty());
    client_->removeFaults();
    pass(std::chrono::seconds(30));
    EXPECT_THAT(lines(Failed), IsEmpty());
    EXPECT_THAT(lines(ToSend), IsEmpty());
}

TEST_F(Activity, Says_why_the_cloud_could_not_be_asked_until_it_answers) {
    client_->on(QWRestRequest::LoadDelta).answersWith(500);
    supervisor_->activate();
    pass(std::chrono::seconds(3));
    ASSERT_EQ(lines(Failed).size(), 1);
    EXPECT_TRUE(lines(Failed).first().startsWith("Asking for changes: "));
    client_->removeFaults();
    pass(std::chrono::seconds(30));
    EXPECT_THAT(lines(Failed), IsEmpty());
}

TEST_F(Activity, Follows_nothing_when_it_is_told_so_and_when_what_it_follows_has_gone) {
    visit("Rome in spring");
    panel_.follow(nullptr, nullptr);
    EXPECT_EQ(title(ToSend), "Waiting to be sent (0)");
    visit("Oslo");
    pass(std::chrono::seconds(1));
    EXPECT_THAT(lines(ToSend), IsEmpty());
}

TEST_F(Activity, Looks_when_it_is_shown) {
    panel_.hide();
    visit("Rome in spring");
    pass(std::chrono::seconds(1));
    EXPECT_THAT(lines(ToSend), IsEmpty());
    panel_.show();
    EXPECT_EQ(lines(ToSend).size(), 1);
}

} // namespace
