#include "supervisor/OneDesktop.h"
#include "support/EngineTest.h"

// Where only a new start helps.

namespace {

using namespace std::chrono_literals;

struct RestartAlone : OneDesktop {
    RestartAlone() : OneDesktop(Desktop::Alone) {}
};

struct Restart : OneDesktop {
    Restart() : OneDesktop(Desktop::Supervised) {
        QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, &supervisor(),
                         [this](quint64 status) {
                             if (status != QWDropboxSyncStatusDisabled)
                                 return;
                             restarts.push_back(seconds());
                             requestsOut += supervisor().requestsOut();
                         });
    }

    std::vector<double> restarts; // when
    qint64 requestsOut = 0;       // at those moments
};

// A file goes after it was announced, before it is asked for.
void vanishes(OneDesktop& test, const QString& fileName) {
    test.desktop.client->on(QWRestRequest::LoadFile)
        .where([&test, fileName, isThere = true](const QWRestRequest& request) mutable {
            if (request.path.contains(fileName, Qt::CaseInsensitive) && std::exchange(isThere, false))
                test.cloud.remove(fileName);
            return false;
        });
}

void receiveWithVanishedFile(OneDesktop& test) {
    test.begin();
    test.cloud.putRecord("Book!!!GONE.data", OneDesktop::book("Gone"));
    test.cloud.putRecord("Book!!!HERE.data", OneDesktop::book("Here"));
    vanishes(test, "Book!!!GONE.data");
    test.desktop.askForChanges();
    test.pass(300);
}

// The record is edited while its upload is out.
void editInFlight(OneDesktop& test) {
    test.begin();
    test.desktop.client->on(QWRestRequest::Upload).delaysAnswer(5s);
    const auto book = test.desktop.add("Book", {{"title", "Old"}});
    test.desktop.save();
    test.pass(1);
    book->setValueForKey("title", "New");
    test.desktop.save();
    test.pass(600);
}

} // namespace

// A file that vanishes --------------------------------------------------------------------------------------

TEST_F(RestartAlone, A_file_that_vanishes_before_its_download_holds_its_batch_open_for_ever) {
    receiveWithVanishedFile(*this);
    cloud.putRecord("Book!!!LATER.data", book("Later"));
    desktop.advance(24h);
    EXPECT_FALSE(engine().deltaEntriesToImport().isEmpty());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_FALSE(desktop.find("HERE"));
    EXPECT_FALSE(desktop.find("LATER"));
}

TEST_F(Restart, A_file_that_vanishes_before_its_download_makes_the_batch_come_again) {
    receiveWithVanishedFile(*this);
    EXPECT_EQ(restarts.size(), 1u);
    EXPECT_TRUE(desktop.find("HERE"));
    EXPECT_FALSE(desktop.find("GONE"));
    EXPECT_TRUE(desktop.isIdle());
    cloud.putRecord("Book!!!LATER.data", book("Later"));
    pass(600);
    EXPECT_TRUE(desktop.find("LATER"));
    EXPECT_EQ(restarts.size(), 1u);
}

// A file that is refused ------------------------------------------------------------------------------------

namespace {

void receiveWithRefusedFile(OneDesktop& test) {
    test.begin();
    test.desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.contains("TAKEN"); })
        .answersWith(409);
    test.cloud.putRecord("Book!!!TAKEN.data", OneDesktop::book("Taken"));
    test.cloud.putRecord("Book!!!X.data", OneDesktop::book("X"));
    test.desktop.askForChanges();
    test.pass(300);
}

} // namespace

TEST_F(RestartAlone, A_file_that_is_refused_for_good_holds_its_batch_open_for_ever) {
    receiveWithRefusedFile(*this);
    desktop.add("Book");
    desktop.save();
    desktop.advance(24h);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_EQ(count(QWRestRequest::Upload), 0);
}

TEST_F(Restart, A_file_that_is_refused_for_good_is_left_out_and_comes_when_it_changes) {
    QStringList failed;
    QObject::connect(&supervisor(), &QWSyncSupervisor::fileFailed, &supervisor(),
                     [&](const QString& fileName) { failed.append(fileName); });
    receiveWithRefusedFile(*this);
    EXPECT_TRUE(desktop.isIdle());
    EXPECT_TRUE(desktop.find("X"));
    EXPECT_FALSE(desktop.find("TAKEN"));
    EXPECT_EQ(failed, QStringList({"Book!!!TAKEN.data", "Book!!!TAKEN.data", "Book!!!TAKEN.data"}));
    EXPECT_TRUE(restarts.empty());
    desktop.client->removeFaults();
    cloud.putRecord("Book!!!TAKEN.data", book("Given back"));
    pass(600);
    EXPECT_TRUE(desktop.find("TAKEN"));
}

TEST_F(Restart, It_starts_anew_once_a_minute_at_most) {
    begin();
    desktop.client->on(QWRestRequest::LoadFile).answersWith(404);
    cloud.putRecord("Book!!!X.data", book("X"));
    supervisor().syncNow();
    pass(600);
    ASSERT_GE(restarts.size(), 9u);
    ASSERT_LE(restarts.size(), 11u);
    for (std::size_t index = 1; index < restarts.size(); ++index)
        EXPECT_GE(restarts[index] - restarts[index - 1], 59.999);
    EXPECT_FALSE(supervisor().isAtRest());
    desktop.client->removeFaults();
    pass(120);
    EXPECT_TRUE(desktop.find("X"));
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(Restart, It_starts_anew_only_when_no_request_is_out) {
    begin();
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.contains("SLOW"); })
        .first(1)
        .delaysAnswer(40s);
    vanishes(*this, "Book!!!GONE.data");
    cloud.putRecord("Book!!!GONE.data", book("Gone"));
    cloud.putRecord("Book!!!SLOW.data", book("Slow"));
    supervisor().syncNow();
    pass(39);
    EXPECT_TRUE(restarts.empty());
    EXPECT_FALSE(supervisor().isAtRest());
    pass(2);
    EXPECT_EQ(restarts.size(), 1u);
    EXPECT_EQ(requestsOut, 0);
    pass(10);
    EXPECT_TRUE(desktop.find("SLOW"));
}

TEST_F(Restart, A_restart_that_is_due_is_dropped_at_a_deactivation) {
    begin();
    desktop.client->on(QWRestRequest::LoadFile).answersWith(404);
    cloud.putRecord("Book!!!X.data", book("X"));
    supervisor().syncNow();
    pass(10);
    ASSERT_EQ(restarts.size(), 1u);
    engine().deactivateSync();
    desktop.client->forgetRequests();
    desktop.advance(24h);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_TRUE(desktop.client->requests().empty());
}

// A row that repeats ----------------------------------------------------------------------------------------

TEST_F(RestartAlone, A_record_edited_while_it_is_sent_is_sent_again_and_again) {
    editInFlight(*this);
    EXPECT_GT(count(QWRestRequest::Upload), 100);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 1);
}

TEST_F(Restart, A_record_edited_while_it_is_sent_is_sent_once_more_and_again_only_after_the_restart) {
    editInFlight(*this);
    EXPECT_EQ(count(QWRestRequest::Upload), 3);
    EXPECT_EQ(restarts.size(), 1u);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(Restart, Each_new_edit_of_a_record_in_flight_is_sent) {
    begin();
    desktop.client->on(QWRestRequest::Upload).delaysAnswer(5s);
    const auto book = desktop.add("Book", {{"title", "0"}});
    QStringList sent;
    desktop.client->on(QWRestRequest::Upload).where([&](const QWRestRequest& request) {
        sent.append(QString::fromUtf8(desktop.world.files->read(request.localPath).value_or("")));
        return true;
    });
    for (int edit = 1; edit <= 4; ++edit) {
        desktop.save();
        pass(4.5);
        book->setValueForKey("title", QString::number(edit));
    }
    desktop.save();
    pass(4.5);
    ASSERT_EQ(sent.size(), 5);
    EXPECT_TRUE(sent.last().contains(R"("title":"4")"));
    EXPECT_TRUE(restarts.empty());
}

TEST_F(Restart, A_repetition_is_held_while_another_upload_is_out) {
    begin();
    desktop.client->on(QWRestRequest::Upload)
        .where([](const QWRestRequest& request) { return request.path.contains("Author"); })
        .first(1)
        .delaysAnswer(120s);
    desktop.client->on(QWRestRequest::Upload).delaysAnswer(1s);
    desktop.add("Author", {{"name", "Slow"}});
    const auto book = desktop.add("Book", {{"title", "Old"}});
    desktop.save();
    pass(0.5);
    book->setValueForKey("title", "New");
    desktop.save();
    pass(100);
    EXPECT_EQ(count(QWRestRequest::Upload), 3) << "the author, the book, the book's edit";
    EXPECT_TRUE(restarts.empty());
    pass(100);
    EXPECT_EQ(restarts.size(), 1u);
    EXPECT_EQ(requestsOut, 0);
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 0);
}

// A file that cannot be sent --------------------------------------------------------------------------------

namespace {

struct RestartAnswered : EngineTest {
    RestartAnswered() : EngineTest(Desktop::Supervised) { activateIdle(); }

    void failed(const QWRestRequest& request, int status) {
        delegate().restClientUploadFileFailedWithError(*client, failure(status, info(request)));
    }
};

} // namespace

// A later version has come, and the rest of its batch has not.
TEST_F(RestartAnswered, An_edit_in_flight_whose_row_an_import_has_dropped_is_sent_once_more) {
    const auto book = desktop.add("Book", {{"title", "First"}});
    saveAndTurn();
    const auto upload = client->requests.back();
    book->setValueForKey("title", "Second");
    saveAndTurn();
    pass(QWDBTimeScheduleDeltaDownloadInterval);
    ASSERT_EQ(client->log().last(), "delta");
    client->forget();
    page({changed(dataFile(*book), "rev5"), changed("Chapter!!!C.data")}, "cursor-1");
    const auto lastOfBatch = client->requests.at(1);
    loaded(client->requests.at(0), record("Remote", "2040-01-01 00:00:00 +0000"), "rev5");
    ASSERT_FALSE(desktop.row(*book));
    client->forget();
    uploaded(upload, "rev6");
    ASSERT_EQ(client->log(), QStringList{"upload " + remote(dataFile(*book))});
    uploaded(client->requests.back(), "rev7");
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1);
    loaded(lastOfBatch, R"({"heading":"C"})");
    turn();
    EXPECT_EQ(desktop.find(book->uuid())->valueForKey("title"), "Remote");
}

TEST_F(RestartAnswered, An_upload_whose_local_file_has_gone_starts_anew_with_a_file) {
    const auto author = desktop.add("Author", {{"name", "Ann"}});
    saveAndTurn();
    const auto upload = client->requests.at(0);
    client->forget();
    ASSERT_TRUE(desktop.world.files->remove(upload.localPath));
    const QWLogCapture log;
    failed(upload, 0);
    EXPECT_FALSE(desktop.supervisor->isAtRest());
    EXPECT_EQ(client->log(), QStringList());
    turn();
    ASSERT_EQ(client->log(), QStringList{"delta"}) << "it is activated again";
    page({}, "cursor-1");
    turn();
    ASSERT_EQ(client->log(), QStringList({"delta", "upload " + remote(dataFile(*author))}));
    EXPECT_TRUE(desktop.world.files->exists(upload.localPath));
    uploaded(client->requests[1]);
    EXPECT_FALSE(desktop.row(*author));
    pass(100);
    EXPECT_EQ(client->count(QWRestRequest::Upload), 1) << "nothing else repeats it";
}

// Such a one comes by a reference of another program.
TEST_F(Restart, A_record_whose_uuid_is_in_lower_case_is_sent_and_lets_others_be_sent) {
    begin();
    for (const char* uuid : {"a", "b", "c", "d", "e"})
        desktop.add("Author")->setUuid(uuid);
    desktop.save();
    pass(1);
    desktop.add("Author")->setUuid("OTHER");
    desktop.save();
    EXPECT_TRUE(desktop.world.runLoop->runUntil([this] { return desktop.isIdle(); }, 5min));
    EXPECT_TRUE(cloud.fileNames().contains("Author!!!OTHER.data"));
}

TEST_F(Restart,
       An_edit_in_the_second_of_the_version_that_is_being_sent_is_sent_whatever_the_case_of_the_uuid) {
    begin();
    for (const QString uuid : {"UPPER", "lower"}) {
        SCOPED_TRACE(uuid.toStdString());
        desktop.add("Book", {{"title", "1"}})->setUuid(uuid);
        desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(2s);
        desktop.save();
        desktop.advance(100ms);
        desktop.find(uuid)->setValueForKey("title", "2");
        desktop.save();
        pass(200);
        EXPECT_TRUE(cloud.bytes("Book!!!" + uuid + ".data").contains("\"2\""));
    }
}

TEST(RestartOfTwo, A_record_whose_uuid_is_in_lower_case_comes_to_rest_and_goes_from_both) {
    struct Both : TwoDesktops {
        Both() : TwoDesktops(Desktop::Supervised) {}
        void TestBody() override {}
        void synchronise() {
            for (int round = 0; round < 3; ++round) {
                sync();
                a.advance(15s);
            }
        }
    } both;
    both.a.add("Book", {{"title", "T"}})->setUuid("low");
    both.synchronise();
    both.a.find("low")->setValueForKey("title", "A");
    both.synchronise();
    both.b.find("low")->setValueForKey("title", "B");
    both.synchronise();
    EXPECT_EQ(both.a.find("low")->valueForKey("title"), "B");
    const auto before = both.a.client->requests().size();
    both.a.advance(std::chrono::hours(10));
    EXPECT_LE(both.a.client->requests().size(), before + 61) << "polls";
    both.b.context->deleteObject(*both.b.find("low"));
    both.synchronise();
    EXPECT_FALSE(both.a.find("low"));
    EXPECT_EQ(both.cloud.fileNames(), QStringList());
}
