// The program on two desktops that share a cloud.

#include "AtlasProcess.h"

using namespace testing;

namespace {

class AtlasProcessSync : public AtlasProcessTest, public WithParamInterface<const char*> {
protected:
    AtlasProcessSync() : AtlasProcessTest(GetParam()) {}

    // Both hold the tables.
    void startInStep() {
        a_.importISO(iso_);
        connect(a_);
        connect(b_);
        syncBoth();
        a_.ageFlags();
        b_.ageFlags();
    }
    // What a sync that must end in step reports.
    QJsonObject sync(const Desktop& desktop) {
        return QJsonDocument::fromJson(desktop.tell({"sync", "--once", "--timeout", "60", "--json"}).toUtf8())
            .object();
    }

    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Cloud, AtlasProcessSync, everyCloud);

// Connect
// ---------------------------------------------------------------------------------------------------

TEST_P(AtlasProcessSync, Another_cloud_gets_everything_and_takes_nothing_away) {
    startInStep();
    const QString digest = a_.digest();
    const TestCloud other(path("other"), GetParam());
    a_.tell(other.connecting());
    EXPECT_EQ(a_.waiting(), 11);
    EXPECT_EQ(sync(a_)["status"], 0);
    EXPECT_EQ(a_.digest(), digest);
    const Desktop third(path("C"));
    third.tell(other.connecting());
    sync(third);
    EXPECT_EQ(third.digest(), digest);
}

TEST_P(AtlasProcessSync, Connecting_to_the_same_cloud_again_queues_nothing) {
    startInStep();
    connect(a_);
    EXPECT_EQ(a_.waiting(), 0);
}

// In step
// ---------------------------------------------------------------------------------------------------

TEST_P(AtlasProcessSync, A_second_desktop_gets_all_records_and_flags) {
    a_.importISO(iso_);
    connect(a_);
    connect(b_);
    const QJsonObject sent = sync(a_);
    EXPECT_EQ(sent["requests"], 1 + 11 + 2 + 1); // the folder, records, flags, what is new
    EXPECT_EQ(sent["waiting"], 0);
    EXPECT_EQ(sent["inFlight"], 0);
    EXPECT_EQ(sent["toDownload"], 0);
    EXPECT_THAT(sent["lastQuery"].toString().toStdString(),
                MatchesRegex("[0-9-]{10} [0-9:]{8} [+-][0-9]{4}"));
    EXPECT_EQ(sync(b_)["requests"], 1 + 1 + 11 + 2);
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(b_.show(france_)["flag"], a_.show(france_)["flag"]);
    EXPECT_EQ(sync(a_)["requests"], 1);
    EXPECT_EQ(sync(b_)["requests"], 1);
}

TEST_P(AtlasProcessSync, Two_desktops_that_import_the_same_tables_are_in_step) {
    a_.importISO(iso_);
    b_.importISO(iso_);
    EXPECT_EQ(a_.digest(), b_.digest());
    connect(a_);
    connect(b_);
    syncBoth();
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(a_.count("Country"), 3);
}

TEST_P(AtlasProcessSync, Additions_edits_flags_and_deletions_travel_both_ways) {
    startInStep();
    write("flag", images::encoded(images::twoHalves(), "png"));
    const QString visit = a_.tell({"add", "Visit", "title=Trip", "country=" + france_, "tags=a,b"});
    a_.tell({"set", france_, "flag=@" + path("flag")});
    b_.tell({"set", atlas::importedUUID("Language", "fra"), "name=Français"});
    b_.tell({"delete", atlas::importedUUID("Country", "JP")});
    EXPECT_NE(a_.digest(), b_.digest());
    syncBoth();
    EXPECT_EQ(a_.digest(), b_.digest());
    EXPECT_EQ(b_.show(visit)["country"], france_);
    EXPECT_EQ(b_.show(france_)["flag"], a_.show(france_)["flag"]);
    EXPECT_EQ(a_.show(atlas::importedUUID("Language", "fra"))["name"], "Français");
    EXPECT_EQ(a_.count("Country"), 2);
    EXPECT_FALSE(QFile::exists(a_.file("images/Country-" + atlas::importedUUID("Country", "JP"))));
}

TEST_P(AtlasProcessSync, Of_two_edits_of_one_record_the_later_wins_whole_whoever_syncs_first) {
    startInStep();
    const QString euro = atlas::importedUUID("Currency", "EUR"), yen = atlas::importedUUID("Currency", "JPY");
    a_.tell({"set", euro, "name=A", "number=1", "dateModified=2026-01-01 00:00:00 +0000"});
    b_.tell({"set", euro, "name=B", "dateModified=2026-01-01 00:00:02 +0000"});
    a_.tell({"set", yen, "name=A", "dateModified=2026-01-01 00:00:02 +0000"});
    b_.tell({"set", yen, "name=B", "number=1", "dateModified=2026-01-01 00:00:00 +0000"});
    syncBoth();
    for (const Desktop* desktop : {&a_, &b_}) {
        EXPECT_EQ(desktop->show(euro)["name"], "B");
        EXPECT_EQ(desktop->show(euro)["number"], 978);
        EXPECT_EQ(desktop->show(yen)["name"], "A");
        EXPECT_EQ(desktop->show(yen)["number"], 392);
    }
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_P(AtlasProcessSync, A_flag_that_was_cleared_is_cleared_on_the_other_desktop) {
    startInStep();
    a_.tell({"set", france_, "flag="});
    syncBoth();
    EXPECT_TRUE(b_.show(france_)["flag"].isNull());
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_P(AtlasProcessSync, A_country_that_only_gained_a_visit_is_not_sent) {
    startInStep();
    a_.tell({"add", "Visit", "country=" + france_});
    EXPECT_EQ(a_.waiting(), 1);
    EXPECT_EQ(a_.show(france_)["dateModified"], "2000-01-01 00:00:00 +0000");
}

TEST_P(AtlasProcessSync, Rich_text_arrives_as_plain_text) {
    startInStep();
    write("notes.html", "<p>Two <b>words</b></p>");
    const QString visit = a_.tell({"add", "Visit", "notes=@" + path("notes.html")});
    syncBoth();
    EXPECT_EQ(b_.show(visit)["notes"], "Two words");
    EXPECT_EQ(a_.digest(), b_.digest());
}

// How a sync ends
// -----------------------------------------------------------------------------------------

TEST_P(AtlasProcessSync, Sync_that_runs_out_of_time_ends_with_4_and_keeps_what_waits) {
    a_.importISO(iso_);
    connect(a_);
    EXPECT_EQ(a_.run({"sync", "--once", "--timeout", "0"}).exitCode, 4);
    sync(a_);
    EXPECT_EQ(a_.waiting(), 0);
}

TEST_P(AtlasProcessSync, A_cloud_that_was_emptied_is_filled_again) {
    startInStep();
    const QString digest = a_.digest();
    cloud_.empty();
    syncBoth();
    EXPECT_EQ(a_.digest(), digest);
    EXPECT_EQ(b_.digest(), digest);
    const Desktop third(path("C"));
    connect(third);
    sync(third);
    EXPECT_EQ(third.digest(), digest);
}

TEST_P(AtlasProcessSync, Watching_says_when_it_is_in_step_and_ends_cleanly_when_interrupted) {
    a_.importISO(iso_);
    connect(a_);
    connect(b_);
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto process = a_.start({"sync", "--watch"});
        ASSERT_TRUE(process->waitForReadyRead(60'000));
        EXPECT_EQ(process->readLine(), "in step\n");
        ::kill(static_cast<pid_t>(process->processId()), signal);
        EXPECT_EQ(Desktop::finish(*process).exitCode, 0);
        EXPECT_FALSE(QFile::exists(a_.file("lock")));
    }
    sync(b_);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_P(AtlasProcessSync, Status_as_text_has_the_values_of_the_JSON) {
    a_.tell({"add", "Visit"});
    EXPECT_EQ(a_.status(), QJsonObject({{"status", 3},
                                        {"waiting", 1},
                                        {"inFlight", 0},
                                        {"toDownload", 0},
                                        {"preferencesWait", false},
                                        {"requests", 0},
                                        {"lastQuery", QJsonValue()}}));
    EXPECT_THAT(a_.tell({"status"}).toStdString(), AllOf(HasSubstr("status: 3"), HasSubstr("waiting: 1")));
}
