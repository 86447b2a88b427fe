// The program's commands on one desktop.

#include "AtlasProcess.h"

#include "util/images/QWImageImporter.h"

#include <QCryptographicHash>
#include <QLockFile>
#include <csignal>

using namespace testing;

namespace {

class AtlasProcess : public AtlasProcessTest {
protected:
    QJsonArray list(const QStringList& arguments) const {
        return QJsonDocument::fromJson(
                   a_.tell(QStringList{"list"} + arguments + QStringList{"--json"}).toUtf8())
            .array();
    }
    QStringList names(const QStringList& arguments) const {
        QStringList names;
        for (const QJsonValue& record : list(arguments))
            names << record["name"].toString();
        return names;
    }

    const ISOFixture iso_;
    const QString france_ = atlas::importedUUID("Country", "FR");
};

const char* const allOfAVisit[] = {"title=Été, = à Paris",
                                   "city=Paris",
                                   "tags=museums ,  food,,",
                                   "notes=two\nlines",
                                   "favourite=true",
                                   "cost=-12.25",
                                   "start=2024-05-04 18:22:10 +0200",
                                   "minutes=300",
                                   "pace=330",
                                   "status=booked",
                                   "rating=5"};

} // namespace

TEST_F(AtlasProcess, Help_names_every_command_and_ends_well) {
    const AtlasRun run = a_.run({"--help"});
    EXPECT_EQ(run.exitCode, 0);
    for (const char* command : {"connect", "import", "add", "set", "delete", "show", "list", "history",
                                "restore", "sync", "status", "digest", "repair"})
        EXPECT_THAT(run.out.toStdString(), HasSubstr(std::string("\n  ") + command));
}

TEST_F(AtlasProcess, What_is_no_command_is_refused_with_the_reason) {
    EXPECT_THAT(a_.fails({}), HasSubstr("connect"));
    EXPECT_THAT(a_.fails({"fly"}), HasSubstr("no such command: fly"));
    EXPECT_THAT(a_.fails({"status", "--once"}), HasSubstr("status does not take --once"));
    EXPECT_THAT(a_.fails({"status", "--fast"}), HasSubstr("fast"));
    EXPECT_THAT(a_.fails({"set", "UUID"}), HasSubstr("set UUID key=value"));
    EXPECT_THAT(a_.fails({"import", "moon"}), HasSubstr("iso"));
    EXPECT_FALSE(QFile::exists(a_.library()));
}

TEST_F(AtlasProcess, Reading_a_library_that_is_not_there_makes_none) {
    for (const QStringList& command : {QStringList{"list", "Country"},
                                       {"show", "X"},
                                       {"set", "X", "a=b"},
                                       {"delete", "X"},
                                       {"history"},
                                       {"restore", "X", "1"},
                                       {"status"},
                                       {"digest"},
                                       {"repair"},
                                       {"sync", "--once"}})
        EXPECT_THAT(a_.fails(command), HasSubstr("no library there"));
    EXPECT_FALSE(QFile::exists(a_.library()));
}

// Import
// ----------------------------------------------------------------------------------------------------

TEST_F(AtlasProcess, Import_adds_and_queues_the_records) {
    a_.importISO(iso_);
    EXPECT_EQ(a_.count("Country"), 3);
    EXPECT_EQ(a_.count("Region"), 4);
    EXPECT_EQ(a_.count("Language"), 2);
    EXPECT_EQ(a_.count("Currency"), 2);
    EXPECT_EQ(a_.waiting(), 11);
    EXPECT_EQ(a_.show(france_)["dateModified"], "2000-01-01 00:00:00 +0000");
}

TEST_F(AtlasProcess, A_second_import_changes_nothing) {
    a_.importISO(iso_);
    a_.tell({"set", france_, "name=Hexagon"});
    const QString digest = a_.digest();
    a_.importISO(iso_);
    EXPECT_EQ(a_.digest(), digest);
    EXPECT_EQ(a_.waiting(), 11);
}

TEST_F(AtlasProcess, Import_takes_only_what_it_is_told) {
    a_.tell({"import", "iso", "--only", "languages,currencies", "--tables", iso_.path()});
    EXPECT_EQ(a_.count("Country") + a_.count("Region"), 0);
    EXPECT_EQ(a_.count("Language") + a_.count("Currency"), 4);
    EXPECT_THAT(a_.fails({"import", "iso", "--only", "planets"}),
                AllOf(HasSubstr("planets"), HasSubstr("regions")));
}

TEST_F(AtlasProcess, A_broken_table_is_named_and_nothing_is_imported) {
    ISOFixture broken;
    broken.write("iso_3166-2.json", R"({"3166-2": [{"code": "FR-1", "name": 5, "type": "b"}]})");
    EXPECT_THAT(a_.fails({"import", "iso", "--tables", broken.path(), "--flags", broken.flagsPath()}),
                AllOf(HasSubstr("iso_3166-2.json"), HasSubstr("\"name\""), HasSubstr("found 5")));
    EXPECT_EQ(a_.count("Currency"), 0);
}

// Edits
// -----------------------------------------------------------------------------------------------------

TEST_F(AtlasProcess, Add_prints_the_uuid_and_show_prints_every_described_key_in_its_own_type) {
    QStringList command{"add", "Visit"};
    for (const char* assignment : allOfAVisit)
        command << QString::fromUtf8(assignment);
    a_.importISO(iso_);
    const QString uuid = a_.tell(command << "country=" + france_ << "dateModified=2024-01-02 03:04:05 +0000");
    EXPECT_THAT(uuid.toStdString(),
                MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
    EXPECT_EQ(a_.show(uuid), QJsonObject({{"uuid", uuid},
                                          {"dateModified", "2024-01-02 03:04:05 +0000"},
                                          {"title", "Été, = à Paris"},
                                          {"city", "Paris"},
                                          {"tags", QJsonArray{"museums", "food"}},
                                          {"notes", "two\nlines"},
                                          {"favourite", true},
                                          {"cost", -12.25},
                                          {"start", "2024-05-04 16:22:10 +0000"},
                                          {"minutes", 300},
                                          {"pace", 330},
                                          {"status", "booked"},
                                          {"rating", 5},
                                          {"country", france_},
                                          {"region", QJsonValue()}}));
    EXPECT_THAT(a_.tell({"show", uuid}).toStdString(), HasSubstr("tags: museums, food\n"));
}

TEST_F(AtlasProcess, A_record_without_values_shows_null_for_each_and_no_tags) {
    const QJsonObject visit = a_.show(a_.tell({"add", "Visit"}));
    for (const QString& key : visit.keys())
        EXPECT_TRUE(key == "uuid" || key == "dateModified" || key == "tags" || visit[key].isNull())
            << qPrintable(key);
    EXPECT_EQ(visit["tags"].toArray().size(), 0);
}

TEST_F(AtlasProcess, Set_changes_what_it_is_told_and_an_empty_value_clears) {
    a_.importISO(iso_);
    a_.tell({"set", france_.toLower(), "visited=true", "officialName="});
    const QJsonObject france = a_.show(france_);
    EXPECT_EQ(france["visited"], true);
    EXPECT_TRUE(france["officialName"].isNull());
    EXPECT_EQ(france["name"], "France");
    EXPECT_GT(france["dateModified"].toString(), "2000-01-01 00:00:00 +0000");
}

TEST_F(AtlasProcess, A_value_can_come_from_a_file) {
    write("notes.html", "<p>Two <b>words</b></p>");
    write("title.txt", "A title from a file");
    const QString visit =
        a_.tell({"add", "Visit", "notes=@" + path("notes.html"), "title=@" + path("title.txt")});
    EXPECT_EQ(a_.show(visit)["notes"], "Two words");
    EXPECT_EQ(a_.show(visit)["title"], "A title from a file");
    EXPECT_THAT(a_.fails({"set", visit, "notes=@" + path("none")}), HasSubstr(path("none").toStdString()));
    write("bytes", "\xff\xfe\xfd");
    EXPECT_THAT(a_.fails({"set", visit, "notes=@" + path("bytes")}),
                HasSubstr("notes: the file is not UTF-8"));
}

TEST_F(AtlasProcess, A_flag_is_shown_by_its_hash_stamps_its_country_and_can_be_cleared) {
    a_.importISO(iso_);
    const QByteArray image = images::encoded(images::twoHalves(), "png");
    write("flag", image);
    a_.tell({"set", france_, "flag=@" + path("flag")});
    QJsonObject france = a_.show(france_);
    const QByteArray jpeg = QWImageImporter::jpegFromImageData(image); // whatever the file was
    EXPECT_EQ(france["flag"],
              QString::fromLatin1(QCryptographicHash::hash(jpeg, QCryptographicHash::Sha256).toHex()));
    EXPECT_GT(france["dateModified"].toString(), "2000-01-01 00:00:00 +0000");
    a_.tell({"set", france_, "flag=", "dateModified=2030-01-01 00:00:00 +0000"});
    france = a_.show(france_);
    EXPECT_TRUE(france["flag"].isNull());
    EXPECT_EQ(france["dateModified"], "2030-01-01 00:00:00 +0000");
    EXPECT_THAT(a_.fails({"set", france_, "flag=blue"}), HasSubstr("flag: expected @"));
}

TEST_F(AtlasProcess, A_wrong_value_is_named_with_its_key_and_changes_nothing) {
    const QString visit = a_.tell({"add", "Visit", "title=Trip"});
    const auto refused = [&](const QString& assignment) {
        return a_.fails({"set", visit, "title=Other", assignment});
    };
    EXPECT_THAT(refused("favourite=yes"), HasSubstr("favourite: expected true or false, found \"yes\""));
    EXPECT_THAT(refused("cost=1,5"), HasSubstr("cost: expected a number, found \"1,5\""));
    EXPECT_THAT(refused("cost=nan"), HasSubstr("cost: expected a number"));
    EXPECT_THAT(refused("minutes=1.5"), HasSubstr("minutes: expected a whole number"));
    EXPECT_THAT(refused("start=tomorrow"), HasSubstr("start: expected a date"));
    EXPECT_THAT(refused("rating=6"), HasSubstr("rating: expected a whole number from 0 to 5"));
    EXPECT_THAT(refused("status=lost"),
                HasSubstr("status: expected one of planned, booked, done, found \"lost\""));
    EXPECT_THAT(refused("country=" + visit), HasSubstr("country: expected the uuid of a Country"));
    EXPECT_THAT(refused("colour=red"), AllOf(HasSubstr("Visit has no colour"), HasSubstr("rating")));
    EXPECT_THAT(refused("title=Third"), HasSubstr("title: given twice"));
    EXPECT_THAT(refused("nonsense"), HasSubstr("\"nonsense\": expected key=value"));
    EXPECT_EQ(a_.show(visit)["title"], "Trip");
}

TEST_F(AtlasProcess, Unknown_entities_and_uuids_are_named) {
    EXPECT_THAT(a_.fails({"add", "Planet", "name=Mars"}), AllOf(HasSubstr("Planet"), HasSubstr("Country")));
    a_.tell({"add", "Visit"});
    EXPECT_THAT(a_.fails({"list", "Planet"}), AllOf(HasSubstr("Planet"), HasSubstr("Country")));
    for (const QStringList& command :
         {QStringList{"show", "X-1"}, {"set", "X-1", "name=a"}, {"delete", "X-1"}})
        EXPECT_THAT(a_.fails(command), HasSubstr("no record X-1"));
}

TEST_F(AtlasProcess, Delete_removes_the_record_and_its_flag) {
    a_.importISO(iso_);
    EXPECT_TRUE(QFile::exists(a_.file("images/Country-" + france_)));
    a_.tell({"delete", france_});
    EXPECT_EQ(a_.count("Country"), 2);
    EXPECT_FALSE(QFile::exists(a_.file("images/Country-" + france_)));
    EXPECT_THAT(a_.fails({"show", france_}), HasSubstr("no record"));
}

// Lists
// -----------------------------------------------------------------------------------------------------

TEST_F(AtlasProcess, List_filters_and_sorts) {
    a_.importISO(iso_);
    EXPECT_EQ(names({"Country", "--where", "name contains[cd] \"LAN\"", "--sort", "name"}),
              QStringList({"Åland Islands"}));
    EXPECT_EQ(names({"Country", "--sort", "name"}), QStringList({"Åland Islands", "France", "Japan"}));
    EXPECT_EQ(names({"Country", "--sort", "number"}), QStringList({"Åland Islands", "France", "Japan"}));
    EXPECT_EQ(
        names({"Region", "--where", "kind == \"Prefecture\" OR code BEGINSWITH \"FR-I\"", "--sort", "code"}),
        QStringList({"Île-de-France", "Tokyo"}));
    EXPECT_THAT(a_.tell({"list", "Language", "--sort", "code"}).toStdString(),
                MatchesRegex("[0-9A-F-]{36}\tFrench\n[0-9A-F-]{36}\tSwiss German"));
}

TEST_F(AtlasProcess, A_condition_that_cannot_be_read_is_shown_with_its_column) {
    a_.importISO(iso_);
    EXPECT_THAT(a_.fails({"list", "Country", "--where", "name contians \"e\""}),
                HasSubstr("\n  name contians \"e\"\n       ^"));
    EXPECT_THAT(a_.fails({"list", "Country", "--where", "size > 3"}), HasSubstr("size"));
    EXPECT_THAT(a_.fails({"list", "Country", "--where", "number == \"a\""}), HasSubstr("number"));
    EXPECT_THAT(a_.fails({"list", "Country", "--sort", "size"}), HasSubstr("size"));
}

// One process at a time
// ---------------------------------------------------------------------------------------

TEST_F(AtlasProcess, A_library_that_another_process_has_open_is_refused) {
    a_.tell({"add", "Visit"});
    QLockFile lock(a_.file("lock"));
    ASSERT_TRUE(lock.lock());
    for (const QStringList& command :
         {QStringList{"list", "Visit"}, {"add", "Visit"}, {"status"}, {"repair"}, {"digest"}})
        EXPECT_THAT(a_.fails(command),
                    AllOf(HasSubstr("another process has the library open"),
                          HasSubstr(QString::number(QCoreApplication::applicationPid()).toStdString())));
    lock.unlock();
    EXPECT_EQ(a_.count("Visit"), 1);
}

TEST_F(AtlasProcess, The_lock_of_a_killed_process_is_taken_over) {
    connect(a_);
    const auto process = a_.start({"sync", "--watch"});
    ASSERT_TRUE(process->waitForReadyRead(60'000));
    EXPECT_THAT(a_.fails({"status"}), HasSubstr("another process has the library open (atlas"));
    process->kill();
    ASSERT_TRUE(process->waitForFinished());
    EXPECT_TRUE(QFile::exists(a_.file("lock")));
    a_.tell({"status"});
}

TEST_F(AtlasProcess, The_lock_of_a_process_that_was_killed_while_it_made_it_is_taken_over) {
    a_.tell({"add", "Visit"});
    write("A/lock", "");
    QFile lock(a_.file("lock"));
    ASSERT_TRUE(lock.open(QIODevice::ReadWrite));
    ASSERT_TRUE(lock.setFileTime(atlas::importedDate(), QFileDevice::FileModificationTime));
    lock.close();
    EXPECT_EQ(a_.count("Visit"), 1);
}
