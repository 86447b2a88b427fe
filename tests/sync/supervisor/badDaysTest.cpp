// Desktops and a server that is no good for a while, over HTTP: nothing is lost, little is asked, and
// everything goes through once the day is better.

#include "dropbox/http/ScriptedServer.h"
#include "dropbox/http/TestCertificate.h"
#include "support/HTTPCloud.h"

using namespace std::chrono_literals;

namespace {

class BadDays : public testing::Test {
protected:
    ~BadDays() override { EXPECT_FALSE(reasons_.join(u'\n').contains(cloud_.token)); }

    Desktop& addDesktop() {
        desktops_.push_back(std::make_unique<Desktop>(cloud_, desktops_.size() + 1, Desktop::Supervised));
        Desktop& desktop = *desktops_.back();
        // Its clock goes by virtual time, from the time that the server has.
        desktop.world.clock->setOffset(realClockOffset_);
        desktop.didStart = [this, &desktop] { listen(*desktop.supervisor); };
        desktop.didStart();
        return desktop;
    }
    // Begins anew, with the cloud as it is told of now.
    static void restart(Desktop& desktop) {
        desktop.crash();
        desktop.start();
    }

    // Until the condition holds. An answer takes real time, in which the virtual one stands still; everything
    // else takes virtual time.
    template <class Condition>
    bool waitUntil(Condition condition, QWRunLoop::Duration limit = 1h) {
        QWVirtualRunLoop& loop = *cloud_.world.runLoop;
        const auto end = loop.now() + limit;
        loop.after(limit, [] {}); // so that no step leads beyond
        const auto isOver = [&] { return condition() || loop.now() >= end; };
        EXPECT_TRUE(runEventLoopUntil([&] {
            loop.runDue();
            while (!isOver() && !isRequestOut())
                loop.runNext();
            return isOver();
        }));
        return condition();
    }
    void pass(QWRunLoop::Duration duration) {
        waitUntil([] { return false; }, duration);
    }
    bool isInStep() {
        return std::all_of(desktops_.begin(), desktops_.end(), [&](const auto& desktop) {
            return desktop->isIdle() && desktop->contents() == desktops_.front()->contents();
        });
    }
    void sync() {
        for (const auto& desktop : desktops_) {
            desktop->save();
            if (desktop->engine->status() >= QWDropboxSyncStatusDisabled)
                desktop->activate();
            else
                desktop->askForChanges();
            EXPECT_TRUE(waitUntil([&] { return desktop->isIdle(); }));
        }
    }

    HTTPCloud cloud_;
    const std::chrono::milliseconds realClockOffset_{
        cloud_.world.clock->now().msecsTo(QDateTime::currentDateTimeUtc())};
    QStringList reasons_; // of all failures
    std::vector<std::unique_ptr<Desktop>> desktops_;
    Desktop &a_ = addDesktop(), &b_ = addDesktop();

private:
    void listen(const QWSyncSupervisor& supervisor) {
        QObject::connect(&supervisor, &QWSyncSupervisor::queryFailed, &supervisor,
                         [this](const QString& reason) { reasons_ += reason; });
        QObject::connect(&supervisor, &QWSyncSupervisor::fileFailed, &supervisor,
                         [this](const QString&, const QString& reason) { reasons_ += reason; });
    }
    bool isRequestOut() {
        return std::any_of(desktops_.begin(), desktops_.end(),
                           [](const auto& desktop) { return desktop->supervisor->requestsOut() > 0; });
    }
};

struct Day {
    const char* failure; // of every request; null: nobody listens
    std::chrono::minutes length;
    const char* reason;

    friend void PrintTo(const Day& day, std::ostream* out) {
        *out << (day.failure ? day.failure : "nobody listens");
    }
};

class BadDay : public BadDays, public testing::WithParamInterface<Day> {};

} // namespace

TEST_P(BadDay, Loses_nothing_asks_little_and_is_over_by_itself) {
    const Day day = GetParam();
    const auto book = a_.add("Book", {{"title", "Old"}});
    const auto gone = a_.add("Author", {{"name", "Ann"}});
    a_.setImage(*book, "cover");
    sync();
    sync();
    EXPECT_TRUE(isInStep());
    pass(5s);

    // Each edits, one deletes, and a third is new.
    cloud_.stop();
    if (day.failure)
        cloud_.start(day.failure);
    book->setValueForKey("title", "New");
    a_.setImage(*book, "another cover");
    a_.context->deleteObject(*gone);
    b_.add("Chapter", {{"heading", "One"}});
    Desktop& third = addDesktop();
    third.add("Author", {{"name", "Bob"}});
    for (const auto& desktop : desktops_) {
        desktop->save();
        desktop->client->forgetRequests();
        desktop->activate();
    }
    const QStringList ofA = a_.contents(), ofB = b_.contents(), ofThird = third.contents();
    pass(day.length);
    EXPECT_EQ(a_.contents(), ofA);
    EXPECT_EQ(b_.contents(), ofB);
    EXPECT_EQ(third.contents(), ofThird);
    const auto mostOfOneKind = std::size_t(day.length / 10s) + 1;
    for (const auto& desktop : desktops_) {
        EXPECT_LE(desktop->client->requests(QWRestRequest::LoadDelta).size(), mostOfOneKind);
        EXPECT_LE(desktop->client->requests(QWRestRequest::LoadMetadata).size(), 11u); // by growing pauses
        EXPECT_LE(desktop->client->requests(QWRestRequest::Upload).size(), 2 * mostOfOneKind);
    }
    ASSERT_FALSE(reasons_.isEmpty());
    for (const QString& reason : reasons_)
        EXPECT_TRUE(reason.contains(day.reason)) << reason.toStdString();

    cloud_.start();
    EXPECT_TRUE(waitUntil([&] { return isInStep(); })) << third.contents().join('\n').toStdString();
    EXPECT_EQ(third.contents().size(), 3);
    EXPECT_EQ(third.find(book->uuid())->valueForKey("title"), "New");
    EXPECT_EQ(third.image(*third.find(book->uuid())), "another cover");
    EXPECT_EQ(cloud_.fileNames().size(), 4); // and no conflicted copy
}

INSTANTIATE_TEST_SUITE_P(Table, BadDay,
                         testing::Values(Day{"500", 60min, "status 500"}, Day{"307", 2min, "status 307"},
                                         Day{"html", 2min, "what the service does not say"},
                                         Day{"empty", 2min, "what the service does not say"},
                                         Day{"drop", 2min, "no answer came"},
                                         Day{"lost", 2min, "no answer came"}, Day{"cut", 2min, "answer came"},
                                         Day{nullptr, 2min, "Connection refused"}));

TEST_F(BadDays, A_server_whose_certificate_is_for_another_host_gets_nothing_and_holds_nothing_up) {
    cloud_.certificates = testCertificate;
    const ScriptedServer impostor(serverWithTestCertificate(), QHostAddress("127.0.0.2"));
    const QUrl right = std::exchange(cloud_.url, impostor.url("https"));
    restart(a_);
    a_.add("Book", {{"title", "T"}});
    a_.save();
    a_.activate();
    pass(10min);
    ASSERT_FALSE(reasons_.isEmpty());
    EXPECT_TRUE(reasons_[0].contains("SSL: ")) << reasons_[0].toStdString();
    EXPECT_TRUE(impostor.requests().empty());
    EXPECT_EQ(a_.rows("ObjectWaitingSync"), 1);
    cloud_.url = right;
    restart(a_);
    sync();
    EXPECT_TRUE(isInStep());
    EXPECT_EQ(b_.contents().size(), 1);
}

TEST_F(BadDays, A_token_that_cannot_be_sent_counts_as_refused_until_another_is_given) {
    const QString right = std::exchange(cloud_.token, QString("sl.two\nlines"));
    restart(a_);
    a_.add("Book", {{"title", "T"}});
    a_.save();
    a_.activate();
    EXPECT_TRUE(waitUntil([&] { return a_.engine->status() == QWDropboxSyncStatusTokenInvalid; }));
    EXPECT_EQ(a_.refusedTokens, 1);
    EXPECT_EQ(a_.rows("ObjectWaitingSync"), 1);
    EXPECT_EQ(cloud_.standIn->requests(), 0);
    dynamic_cast<QWHTTPRestClient&>(*a_.cloudClient).setAccessToken(right);
    sync();
    EXPECT_TRUE(isInStep());
    EXPECT_EQ(b_.contents().size(), 1);
}

// What was edited while it was behind is dated before what the others know, and the later date wins.
TEST_F(BadDays, A_clock_that_is_set_back_holds_nothing_up_and_leaves_no_two_versions) {
    const auto book = a_.add("Book", {{"title", "Old"}});
    sync();
    cloud_.start("500");
    a_.world.clock->setOffset(realClockOffset_ - 24h);
    book->setValueForKey("title", "New");
    a_.add("Author", {{"name", "Ann"}});
    a_.save();
    pass(1min);
    EXPECT_EQ(a_.rows("ObjectWaitingSync"), 2);
    cloud_.start();
    pass(1min);
    EXPECT_EQ(a_.rows("ObjectWaitingSync"), 0);
    sync();
    sync();
    EXPECT_TRUE(isInStep());
    EXPECT_EQ(b_.contents().size(), 2);
    EXPECT_EQ(cloud_.fileNames().size(), 2);
}
