// The program and a server on a bad day: it says what it waits for, loses nothing, and is in step in the end.

#include "AtlasProcess.h"

using namespace testing;

namespace {

class AtlasProcessServer : public AtlasProcessTest {
protected:
    AtlasProcessServer() : AtlasProcessTest("http") {
        a_.importISO(iso_);
        connect(a_);
        connect(b_);
    }

    // Syncs again and again, until it comes through without a failure.
    static void syncStubbornly(const Desktop& desktop) {
        AtlasRun run;
        for (int attempt = 0; attempt < 100 && run.exitCode != 0; ++attempt)
            run = desktop.syncUntilFailure();
        EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
    }
    void syncBothStubbornly() const {
        for (const Desktop* desktop : {&a_, &b_, &a_, &b_})
            syncStubbornly(*desktop);
    }
    static QStringList failing(const QStringList& rules) {
        QStringList options;
        for (const QString& rule : rules)
            options << "--fail" << rule;
        return options;
    }

    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
};

struct BadDay {
    const char* rule; // of the server, for every request; null: nobody listens
    const char* reason;

    friend void PrintTo(const BadDay& day, std::ostream* out) {
        *out << (day.rule ? day.rule : "nobody listens");
    }
};

class AtlasProcessBadDay : public AtlasProcessServer, public WithParamInterface<BadDay> {};
class AtlasProcessBadLine : public AtlasProcessServer, public WithParamInterface<int> {};

} // namespace

TEST_P(AtlasProcessBadDay, Is_named_loses_nothing_and_ends) {
    const auto [rule, reason] = GetParam();
    const auto begin = [this, rule = rule] {
        cloud_.stop();
        if (rule)
            cloud_.start({"--fail", rule});
    };
    const auto waits =
        AllOf(HasSubstr("the cloud fails, trying again: "), HasSubstr(reason),
              HasSubstr("interrupted before the library was in step"), Not(HasSubstr(TestCloud::token)));
    const QString digest = a_.digest();
    begin();
    EXPECT_THAT(a_.syncUntilFailure().err.toStdString(), waits);
    EXPECT_EQ(a_.digest(), digest);
    EXPECT_EQ(a_.waiting(), 11);
    cloud_.start();
    syncBoth();
    EXPECT_EQ(b_.digest(), digest);

    a_.tell({"set", france_, "name=Hexagon"});
    begin();
    EXPECT_THAT(b_.syncUntilFailure().err.toStdString(), waits);
    EXPECT_EQ(b_.digest(), digest);
    cloud_.start();
    syncBoth();
    EXPECT_EQ(b_.show(france_)["name"], "Hexagon");
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(a_.waiting() + b_.waiting(), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, AtlasProcessBadDay,
                         Values(BadDay{"html", "what the service does not say"},
                                BadDay{"empty", "what the service does not say"}, BadDay{"307", "307"},
                                BadDay{"500", "500"}, BadDay{"drop", "no answer came"},
                                BadDay{"lost", "no answer came"}, BadDay{"cut", "answer came"},
                                BadDay{nullptr, "Connection refused"}));

TEST_P(AtlasProcessBadLine, That_fails_one_request_in_five_leaves_two_desktops_in_step) {
    const int seed = GetParam();
    cloud_.start(failing({QStringLiteral("drop:rate=0.1,seed=%1").arg(seed),
                          QStringLiteral("500:rate=0.1,seed=%1").arg(seed + 1000)}));
    syncBothStubbornly();
    write("flag", images::encoded(images::twoHalves(), "png"));
    a_.tell({"set", france_, "flag=@" + path("flag"), "name=A", "dateModified=2026-01-01 00:00:00 +0000"});
    b_.tell({"set", france_, "name=B", "dateModified=2026-01-01 00:00:02 +0000"});
    b_.tell({"delete", atlas::importedUUID("Language", "fra")});
    const QString visit = a_.tell({"add", "Visit", "title=Trip"});
    syncBothStubbornly();
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(a_.show(france_)["name"], "B");
    EXPECT_EQ(b_.show(visit)["title"], "Trip");
    EXPECT_EQ(a_.count("Language"), 1);
    EXPECT_EQ(a_.waiting() + b_.waiting(), 0);
}

INSTANTIATE_TEST_SUITE_P(Seed, AtlasProcessBadLine, Range(1, 4));

TEST_F(AtlasProcessServer, A_refused_token_ends_a_sync_with_3_until_another_is_given) {
    cloud_.start({"--token", "another"});
    for (const char* how : {"--once", "--watch"}) {
        const AtlasRun run = a_.run({"sync", how});
        EXPECT_EQ(run.exitCode, 3);
        EXPECT_THAT(run.err.toStdString(), HasSubstr("refused the token: connect again"));
    }
    EXPECT_EQ(a_.waiting(), 11);
    QStringList again = cloud_.connecting();
    again.last() = "another";
    a_.tell(again);
    b_.tell(again);
    syncBoth();
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(a_.waiting(), 0);
}

TEST_F(AtlasProcessServer, The_token_is_never_printed) {
    const auto logsEverything = [](QProcess& process) { setVariable(process, "QT_LOGGING_RULES", "*=true"); };
    for (const QStringList& options : {QStringList(), QStringList{"--token", "another"}}) {
        cloud_.start(options);
        for (const QStringList& command :
             {QStringList{"sync", "--once"}, {"sync", "--once", "--json"}, {"status"}, cloud_.connecting()}) {
            const AtlasRun run = a_.run(command, logsEverything);
            EXPECT_FALSE((run.out + run.err).contains(TestCloud::token)) << qPrintable(command.join(' '));
        }
    }
}
