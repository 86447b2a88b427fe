// What the program does with damaged files, a full disk and a cloud folder that holds nonsense.

#include "AtlasProcess.h"

#include "dropbox/folder/QWAppFolder.h"

#include <csignal>
#include <sqlite3.h>
#include <sys/resource.h>

using namespace testing;

namespace {

class AtlasProcessInput : public AtlasProcessTest {
protected:
    using AtlasProcessTest::AtlasProcessTest;

    void startInStep() {
        a_.importISO(iso_);
        connect(a_);
        connect(b_);
        syncBoth();
        digest_ = a_.digest();
    }
    // Puts a file of the sync folder into the cloud, as some other program would.
    void put(const QString& name, const QByteArray& bytes) {
        QWError error;
        const auto cloud = QWAppFolder::inDirectory(cloudPath(), world_.environment());
        ASSERT_TRUE(cloud->upload("/SyncCache.dbSync/" + name, bytes,
                                  QWWriteMode::update("0", QWWriteMode::Rename), &error))
            << qPrintable(error.message);
    }
    // Both sync and are in step; the log of the first.
    std::string syncWithLog() {
        const AtlasRun run = b_.run({"sync", "--once", "--timeout", "60"});
        EXPECT_EQ(run.exitCode, 0) << qPrintable(run.err);
        EXPECT_EQ(a_.run({"sync", "--once", "--timeout", "60"}).exitCode, 0);
        return run.err.toStdString();
    }
    void overwrite(const QString& file, qint64 offset, const QByteArray& bytes) {
        QFile target(file);
        ASSERT_TRUE(target.open(QIODevice::ReadWrite));
        target.seek(offset);
        target.write(bytes);
    }
    static void setFormat(const QString& file, int format) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(qPrintable(file), &database), SQLITE_OK);
        sqlite3_exec(database, ("PRAGMA user_version = " + QByteArray::number(format)).constData(), nullptr,
                     nullptr, nullptr);
        sqlite3_close(database);
    }
    static QByteArray contents(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QWVirtualWorld world_;
    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
    const QString newUUID_ = "0F0F0F0F-0000-4000-8000-000000000001";
    QString digest_;
};

class AtlasProcessCloudInput : public AtlasProcessInput, public WithParamInterface<const char*> {
protected:
    AtlasProcessCloudInput() : AtlasProcessInput(GetParam()) {}
};

} // namespace

INSTANTIATE_TEST_SUITE_P(Cloud, AtlasProcessCloudInput, everyCloud);

// Files in the cloud
// ----------------------------------------------------------------------------------------

TEST_P(AtlasProcessCloudInput, Records_that_are_no_dictionary_leave_what_is_here) {
    startInStep();
    const QByteArray nested = QByteArray(200'000, '[') + QByteArray(200'000, ']');
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("{\"name\": "), QByteArray("[1, 2]"), QByteArray(1000, '\0'), nested,
          QByteArray("{\"name\":") + nested + '}', QByteArray("<plist><dict>")}) {
        put("Country!!!" + france_ + ".data", bytes);
        syncWithLog();
        EXPECT_EQ(a_.digest(), digest_) << bytes.left(20).toStdString();
        EXPECT_EQ(b_.digest(), digest_) << bytes.left(20).toStdString();
    }
}

TEST_P(AtlasProcessCloudInput, A_huge_record_is_taken) {
    startInStep();
    put("Visit!!!" + newUUID_ + ".data",
        R"({"dateModified": "2026-01-01 00:00:00 +0000", "title": ")" + QByteArray(20'000'000, 'x') + "\"}");
    syncWithLog();
    EXPECT_EQ(a_.show(newUUID_)["title"].toString().size(), 20'000'000);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_P(AtlasProcessCloudInput,
       Values_of_the_wrong_type_keep_the_local_ones_are_logged_and_the_rest_is_applied) {
    startInStep();
    put("Country!!!" + france_ + ".data",
        R"({"dateModified": "2030-01-01 00:00:00 +0000", "name": 5, "sortName": "france",
        "alpha2": "FR", "alpha3": ["FRA"], "number": "many", "visited": true, "officialName": {"a": 1}})");
    const std::string log = syncWithLog();
    for (const char* key : {"name", "alpha3", "number", "officialName"})
        EXPECT_THAT(log, HasSubstr(key));
    const QJsonObject france = b_.show(france_);
    EXPECT_EQ(france["name"], "France");
    EXPECT_EQ(france["number"], 250);
    EXPECT_EQ(france["officialName"], "French Republic");
    EXPECT_EQ(france["visited"], true);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_P(AtlasProcessCloudInput, Files_whose_names_belong_to_no_record_are_named_in_the_log_and_stop_nothing) {
    startInStep();
    const QStringList names = {"notes.data",
                               "Country.data",
                               "Country!!!.data",
                               "Planet!!!" + newUUID_ + ".data",
                               "Country!!!.." + newUUID_ + ".data",
                               "..!!!...data",
                               "sub/Country!!!" + newUUID_ + ".data",
                               "Country!!!" + QString(240, 'x') + ".data",
                               "Region!!!" + newUUID_ + ".image",
                               QString::fromUtf8("Ländér!!!") + newUUID_ + ".data"};
    for (const QString& name : names)
        put(name, R"({"name": "stray", "dateModified": "2026-01-01 00:00:00 +0000"})");
    a_.tell({"set", france_, "name=Hexagon"});
    syncBoth();
    EXPECT_EQ(b_.show(france_)["name"], "Hexagon");
    EXPECT_FALSE(QFile::exists(path("Country!!!.." + newUUID_ + ".data")));
    EXPECT_EQ(QDir(b_.file("cache")).entryList({"Download-*"}).size(), 0);
    EXPECT_EQ(b_.waiting(), 0);
    EXPECT_EQ(a_.digest(), b_.digest());
}

// Files of the library
// --------------------------------------------------------------------------------------

TEST_F(AtlasProcessInput, A_damaged_cache_is_refused_and_repair_puts_it_aside_and_queues_every_record) {
    startInStep();
    const QString cache = b_.file("cache/DropboxCache.sqlite");
    b_.tell({"set", france_, "name=Hexagon"});
    for (const QByteArray& damage :
         {QByteArray(5000, 'x'), contents(cache).left(100), QByteArray("no database at all")}) {
        QFile::remove(cache);
        overwrite(cache, 0, damage);
        for (const QStringList& command :
             {QStringList{"list", "Country"}, {"add", "Visit"}, {"sync", "--once"}, {"status"}})
            EXPECT_THAT(b_.fails(command), AllOf(HasSubstr(cache.toStdString()), HasSubstr("DIR repair")));
        EXPECT_EQ(contents(cache), damage);
        const QString aside = b_.tell({"repair"});
        EXPECT_EQ(contents(aside), damage);
        EXPECT_EQ(b_.waiting(), 11);
    }
    syncBoth();
    EXPECT_EQ(a_.show(france_)["name"], "Hexagon");
    EXPECT_EQ(a_.count("Country"), 3);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_F(AtlasProcessInput, A_cache_of_a_later_version_is_refused_and_stays_as_it_is) {
    startInStep();
    setFormat(b_.file("cache/DropboxCache.sqlite"), 1000);
    EXPECT_THAT(b_.fails({"sync", "--once"}), AllOf(HasSubstr("DropboxCache.sqlite"), HasSubstr("version")));
    b_.tell({"repair"});
    syncBoth();
    EXPECT_EQ(b_.digest(), digest_);
}

TEST_F(AtlasProcessInput, Repair_of_a_sound_library_loses_and_doubles_nothing) {
    startInStep();
    b_.tell({"repair"});
    syncBoth();
    EXPECT_EQ(a_.digest(), digest_);
    EXPECT_EQ(b_.digest(), digest_);
}

TEST_F(AtlasProcessInput, Damaged_records_are_refused_and_stay_as_they_are) {
    startInStep();
    const QString records = a_.file("Atlas.sqlite");
    overwrite(records, 0, QByteArray(4096, 'x'));
    const QByteArray before = contents(records);
    for (const QStringList& command :
         {QStringList{"list", "Country"}, {"add", "Visit"}, {"sync", "--once"}, {"repair"}})
        EXPECT_THAT(a_.fails(command), HasSubstr(records.toStdString()));
    EXPECT_EQ(contents(records), before);
}

TEST_F(AtlasProcessInput, Records_of_a_later_version_are_refused) {
    a_.importISO(iso_);
    setFormat(a_.file("Atlas.sqlite"), 1000);
    EXPECT_THAT(a_.fails({"list", "Country"}), AllOf(HasSubstr("Atlas.sqlite"), HasSubstr("version")));
}

// The disk
// --------------------------------------------------------------------------------------------------

TEST_F(AtlasProcessInput, A_library_where_nothing_can_be_written_is_refused) {
    write("file", "");
    for (const QString& folder : {path("file"), path("file/library"), QString("/proc/atlas")})
        EXPECT_THAT(Desktop(folder).fails({"add", "Visit"}), HasSubstr(folder.toStdString()));
}

TEST_F(AtlasProcessInput, A_flag_that_cannot_be_written_changes_nothing) {
    a_.tell({"import", "iso", "--only", "languages", "--tables", iso_.path()});
    const QString country = a_.tell({"add", "Country", "name=France"});
    const QString digest = a_.digest();
    QDir(a_.file("images")).removeRecursively();
    write("A/images", "a file where the folder should be");
    write("flag", images::encoded(images::twoHalves(), "png"));
    EXPECT_THAT(a_.fails({"set", country, "name=Hexagon", "flag=@" + path("flag")}), HasSubstr("images"));
    EXPECT_EQ(a_.digest(), digest);
}

TEST_F(AtlasProcessInput, A_flag_that_is_no_image_is_refused_and_changes_nothing) {
    a_.importISO(iso_);
    const QString country = atlas::importedUUID("Country", "FR");
    const QByteArray image = images::encoded(images::twoHalves(), "png");
    write("flag", image);
    a_.tell({"set", country, "flag=@" + path("flag")});
    const QString digest = a_.digest(), file = a_.file("images/Country-" + country);
    const QByteArray before = contents(file);
    write("notes.txt", "no image");
    write("empty", "");
    write("truncated", before.chopped(20));
    write("bomb", images::claimingSize(image, "png", 60000));
    for (const QString name : {"notes.txt", "empty", "truncated", "bomb"}) {
        const QString value = '@' + path(name);
        EXPECT_THAT(a_.fails({"set", country, "name=Hexagon", "flag=" + value}),
                    HasSubstr(QStringLiteral("flag: \"%1\": not an image").arg(value).toStdString()));
        EXPECT_EQ(a_.digest(), digest);
        EXPECT_EQ(contents(file), before);
    }
}

TEST_F(AtlasProcessInput, A_full_disk_is_reported_and_loses_nothing) {
    b_.importISO(iso_);
    a_.tell({"add", "Visit", "title=before"});
    for (const rlim_t limit : {8'000, 20'000, 33'000, 50'000, 70'000, 100'000}) {
        const AtlasRun run =
            a_.run({"import", "iso", "--tables", iso_.path(), "--flags", iso_.flagsPath()},
                   [limit](QProcess& process) {
                       process.setChildProcessModifier([limit] {
                           std::signal(SIGXFSZ, SIG_IGN); // a write beyond the limit fails as on a full disk
                           const rlimit size{limit, limit};
                           setrlimit(RLIMIT_FSIZE, &size);
                       });
                   });
        EXPECT_TRUE(run.exitCode == 0 || (run.exitCode == 1 && run.err.contains("atlas: ")))
            << limit << qPrintable(run.err);
    }
    EXPECT_EQ(a_.count("Visit"), 1);
    a_.importISO(iso_);
    EXPECT_EQ(a_.waiting(), 12);
    a_.tell({"delete", a_.tell({"list", "Visit"}).section('\t', 0, 0)});
    EXPECT_EQ(a_.digest(), b_.digest());
}
