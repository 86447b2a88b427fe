// In the middle of a transfer the server fails, or the machine sleeps: the sync carries on, and everything is in
// step in the end.

#include "AccidentTest.h"
#include "ShiftedClock.h"

using namespace testing;

namespace {

// A sync that is held in the middle of its transfer.
class HeldTransfer : public AccidentTest, public WithParamInterface<const char*> {
protected:
    HeldTransfer() {
        a_.importISO(iso_);
        connect(a_);
        connect(b_);
        if (isDownload())
            a_.tell(syncOnce);
        cloud_.start({"--fail", QStringLiteral("delay:route=%1,nth=5,ms=600000").arg(GetParam())});
        held().setVariables(clock_.variables());
        process_ = held().start(syncOnce);
        while (cloud_.server().requests(GetParam()) < 5 && !process_->waitForFinished(1))
            continue;
        EXPECT_EQ(process_->state(), QProcess::Running) << "it has ended before it was held";
    }

    bool isDownload() const { return QLatin1String(GetParam()) == QLatin1String("files/download"); }
    // Whose sync is held.
    Desktop& held() { return isDownload() ? b_ : a_; }
    void signal(int signal) const { ::kill(static_cast<pid_t>(process_->processId()), signal); }
    void expectCarriesOn() {
        const AtlasRun run = Desktop::finish(*process_);
        EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
        expectInStep();
    }

    ShiftedClock clock_;
    std::unique_ptr<QProcess> process_;
};

} // namespace

TEST_P(HeldTransfer, Of_a_server_that_is_killed_and_started_again_is_made_up_for) {
    cloud_.kill();
    cloud_.start();
    expectCarriesOn();
}

TEST_P(HeldTransfer,
       Of_a_process_that_is_suspended_while_others_go_on_and_the_clock_is_set_back_is_made_up_for) {
    signal(SIGSTOP);
    clock_.shift(-24h); // it wakes up with another time, too
    cloud_.start();
    const Desktop third(path("D"));
    connect(third);
    third.tell(syncOnce);
    third.tell({"add", "Visit", "title=meanwhile"});
    third.tell(syncOnce);
    signal(SIGCONT);
    expectCarriesOn();
    EXPECT_EQ(held().count("Visit"), 1);
}

using HeldWindow = AccidentTest;

TEST_F(HeldWindow, That_is_suspended_in_the_middle_of_a_download_while_others_go_on_carries_on) {
    a_.importISO(iso_);
    connect(a_);
    connect(b_);
    a_.tell(syncOnce);
    const QString route = "files/download";
    cloud_.start({"--fail", "delay:route=" + route + ",nth=5,ms=500"});
    const auto window = b_.startWindow();
    const auto waitForDownloads = [&](int count) {
        while (cloud_.server().requests(route) < count && !window->waitForFinished(1))
            continue;
        EXPECT_EQ(window->state(), QProcess::Running);
    };
    waitForDownloads(5);
    ::kill(static_cast<pid_t>(window->processId()), SIGSTOP);
    const Desktop third(path("D"));
    connect(third);
    third.tell({"add", "Visit", "title=meanwhile"});
    third.tell(syncOnce);
    const int already = cloud_.server().requests(route);
    ::kill(static_cast<pid_t>(window->processId()), SIGCONT);
    waitForDownloads(already + 1);
    window->terminate(); // its user closes it
    EXPECT_EQ(Desktop::finish(*window).exitCode, 0);
    expectInStep();
    EXPECT_EQ(b_.count("Visit"), 1);
}

INSTANTIATE_TEST_SUITE_P(Route, HeldTransfer, Values("files/upload", "files/download"));
