// The program's commands on versions that lost.

#include "AtlasProcess.h"

using namespace testing;

namespace {

class AtlasHistory : public AtlasProcessTest {
protected:
    // A visit of which A has lost a version to B.
    QString visitOfLostVersion() const {
        const QString uuid = visitOfTwoVersions();
        a_.tell({"sync", "--once", "--timeout", "60"});
        EXPECT_EQ(a_.show(uuid)["title"], "Theirs");
        return uuid;
    }
    static QJsonArray history(const Desktop& desktop, const QStringList& arguments = {}) {
        return QJsonDocument::fromJson(
                   desktop.tell(QStringList{"history"} + arguments + QStringList{"--json"}).toUtf8())
            .array();
    }
};

} // namespace

TEST_F(AtlasHistory, History_lists_the_versions_that_lost) {
    const QString uuid = visitOfLostVersion();
    EXPECT_EQ(a_.tell({"history", uuid}), uuid + "\t1\t2030-01-01 10:00:00 +0000\there\tearlier\tMine");
    EXPECT_EQ(a_.tell({"history"}), a_.tell({"history", uuid}));
    const QJsonObject version = history(a_, {uuid}).at(0).toObject();
    EXPECT_EQ(version["uuid"], uuid);
    EXPECT_EQ(version["entity"], "Visit");
    EXPECT_EQ(version["version"], 1);
    EXPECT_EQ(version["dateModified"], "2030-01-01 10:00:00 +0000");
    EXPECT_EQ(version["origin"], "here");
    EXPECT_EQ(version["why"], "earlier");
    EXPECT_EQ(version["title"], "Mine");
    EXPECT_EQ(version["record"]["title"], "Mine");
    EXPECT_FALSE(version["archivedAt"].toString().isEmpty());
}

TEST_F(AtlasHistory, A_record_that_has_not_lost_has_no_history) {
    const QString uuid = a_.tell({"add", "Visit", "title=Only"});
    EXPECT_EQ(a_.tell({"history", uuid}), "");
    EXPECT_EQ(history(a_), QJsonArray());
}

TEST_F(AtlasHistory, Restore_brings_a_version_back_on_both_desktops) {
    const QString uuid = visitOfLostVersion();
    a_.tell({"restore", uuid, "1"});
    EXPECT_EQ(a_.show(uuid)["title"], "Mine");
    EXPECT_EQ(a_.waiting(), 1);
    syncBoth();
    EXPECT_EQ(b_.show(uuid)["title"], "Mine");
    EXPECT_EQ(a_.digest(), b_.digest());
    const QJsonArray versions = history(a_, {uuid});
    ASSERT_EQ(versions.size(), 2);
    EXPECT_EQ(versions[0]["title"], "Theirs");
    EXPECT_EQ(versions[0]["why"], "restored");
}

TEST_F(AtlasHistory, Restore_makes_a_deleted_record_again_on_both_desktops) {
    connect(a_);
    connect(b_);
    const QString uuid = a_.tell({"add", "Visit", "title=Gone", "notes=two\nlines", "rating=4"});
    syncBoth();
    const QJsonObject before = a_.show(uuid);
    b_.tell({"delete", uuid});
    b_.tell({"sync", "--once", "--timeout", "60"});
    a_.tell({"sync", "--once", "--timeout", "60"});
    a_.fails({"show", uuid});
    EXPECT_EQ(history(a_).at(0)["why"], "deleted");
    a_.tell({"restore", uuid, "1"});
    syncBoth();
    QJsonObject after = b_.show(uuid);
    after["dateModified"] = before["dateModified"];
    EXPECT_EQ(after, before);
}

TEST_F(AtlasHistory, A_flag_that_lost_is_listed_and_brought_back_on_both_desktops) {
    const QString france = atlas::importedUUID("Country", "FR");
    a_.importISO(ISOFixture());
    connect(a_);
    connect(b_);
    syncBoth();
    a_.ageFlags();
    const QJsonValue before = a_.show(france)["flag"];
    write("flag", images::encoded(images::twoHalves(), "png"));
    b_.tell({"set", france, "flag=@" + path("flag")});
    b_.tell({"sync", "--once", "--timeout", "60"});
    a_.tell({"sync", "--once", "--timeout", "60"});
    ASSERT_NE(a_.show(france)["flag"], before);
    QString number;
    for (const QJsonValue& version : history(a_, {france})) {
        if (!version["image"].isObject())
            continue;
        number = QString::number(version["version"].toInt());
        EXPECT_EQ(version["title"], "image of 18 bytes");
        EXPECT_EQ(version["image"]["bytes"], 18);
        QFile file(version["image"]["file"].toString());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), "the flag of France");
    }
    a_.tell({"repair"}); // takes it over
    a_.tell({"restore", france, number});
    EXPECT_EQ(a_.show(france)["flag"], before);
    syncBoth();
    EXPECT_EQ(b_.show(france)["flag"], before);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_F(AtlasHistory, A_record_or_a_version_that_there_is_not_is_refused_with_the_reason) {
    const QString uuid = visitOfLostVersion();
    EXPECT_THAT(a_.fails({"history", "NOBODY"}), HasSubstr("no record NOBODY"));
    EXPECT_THAT(a_.fails({"restore", "NOBODY", "1"}), HasSubstr("no record NOBODY"));
    for (const char* version : {"2", "0", "one", "1.0"})
        EXPECT_THAT(a_.fails({"restore", uuid, version}),
                    AllOf(HasSubstr(std::string("no version ") + version), HasSubstr("history")));
    EXPECT_EQ(a_.show(uuid)["title"], "Theirs");
    EXPECT_EQ(a_.waiting(), 0);
}

TEST_F(AtlasHistory, Repair_keeps_the_versions_that_it_can_read) {
    const QString uuid = visitOfLostVersion();
    a_.tell({"repair"});
    EXPECT_EQ(history(a_, {uuid}).at(0)["title"], "Mine");
    QFile cache(a_.file("cache/DropboxCache.sqlite"));
    ASSERT_TRUE(cache.open(QIODevice::WriteOnly));
    cache.write(QByteArray(8192, 'x'));
    cache.close();
    const AtlasRun repair = a_.run({"repair"});
    EXPECT_EQ(repair.exitCode, 0);
    EXPECT_THAT(repair.err.toStdString(), HasSubstr("lost versions"));
    EXPECT_EQ(a_.tell({"history", uuid}), "");
}
