// The client against a whole service: the stand-in, as a process of its own.
#include "dropbox/http/HTTPClientFixture.h"
#include "support/StandIn.h"
#include "testing/QWLogCapture.h"

#include <QRegularExpression>
#include <set>

namespace {

class HTTPStandIn : public HTTPClientTest {
protected:
    void start(const QStringList& arguments = {}) {
        standIn = std::make_unique<StandIn>(arguments);
        auto with = options();
        with.apiHost = with.contentHost = standIn->url();
        with.pieceSize = 1000;
        useClient(with);
    }
    DBMetadata uploaded(const QString& name, const QByteArray& bytes, const QString& parentRev = {}) {
        client->uploadFile(name, "/F", parentRev, localFile("staged", bytes));
        EXPECT_TRUE(answers()[0].startsWith("uploaded /F/"));
        return delegate.metadata.back();
    }
    // All changes since the cursor, deleted ones with "-" before them.
    QStringList changes(const QString& cursor = {}) {
        client->loadDelta(cursor);
        EXPECT_TRUE(answers()[0].startsWith("delta of "));
        QStringList result;
        for (const auto& entry : delegate.pages.back().entries)
            result += (entry->metadata ? "" : "-") + entry->lowercasePath;
        return result;
    }

    std::unique_ptr<StandIn> standIn;
};

TEST_F(HTTPStandIn, Keeps_a_file_and_gives_it_back) {
    start();
    const DBMetadata written = uploaded("Ä \U0001F30D.data", "bytes");
    EXPECT_EQ(written.path, "/F/Ä \U0001F30D.data");
    client->loadFile(written.path, directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("loaded /F/Ä \U0001F30D.data"));
    EXPECT_EQ(bytesAt("download"), "bytes");
    EXPECT_EQ(delegate.metadata.back(), written);
    client->loadMetadata("/f/Ä \U0001F30D.DATA");
    EXPECT_EQ(answers(), QStringList("metadata of /F/Ä \U0001F30D.data"));
    EXPECT_EQ(delegate.metadata.back(), written);
    client->deletePath(written.path);
    EXPECT_EQ(answers(), QStringList("deleted /F/Ä \U0001F30D.data"));
    client->deletePath(written.path);
    EXPECT_EQ(answers(), QStringList("delete 404 /F/Ä \U0001F30D.data"));
    client->loadFile(written.path, directory.filePath("download"));
    EXPECT_EQ(answers(), QStringList("load 404 /F/Ä \U0001F30D.data"));
    client->loadMetadata("/F/missing");
    EXPECT_EQ(answers(), QStringList("metadata 404 /F/missing"));
}

TEST_F(HTTPStandIn, Replaces_a_current_revision_and_copies_any_other) {
    start();
    const QString first = uploaded("a.data", "one").rev;
    EXPECT_EQ(uploaded("a.data", "two", first).path, "/F/a.data");
    EXPECT_EQ(uploaded("a.data", "three", first).path, "/F/a (Owner's conflicted copy).data");
    EXPECT_EQ(uploaded("a.data", "two").path, "/F/a.data");
    EXPECT_EQ(uploaded("a.data", "four").path, "/F/a (Owner's conflicted copy) (1).data");
    EXPECT_EQ(uploaded("a.data", "five", "not a revision").path, "/F/a (Owner's conflicted copy) (2).data");
}

TEST_F(HTTPStandIn, Takes_large_files_in_pieces_and_gives_them_back_whole) {
    start();
    QByteArray bytes;
    for (int number = 0; bytes.size() < 123'456; ++number)
        bytes += QByteArray::number(number * number) + ' ';
    EXPECT_EQ(uploaded("large.image", bytes).totalBytes, bytes.size());
    EXPECT_EQ(standIn->requests("files/upload_session/append_v2"), int(bytes.size() / 1000) - 1);
    client->loadFile("/F/large.image", directory.filePath("download"));
    answers();
    EXPECT_EQ(bytesAt("download"), bytes);
}

TEST_F(HTTPStandIn, Tells_of_changes_over_many_pages) {
    start({"--page", "2"});
    QStringList paths{"/f"};
    for (int number = 0; number < 9; ++number) {
        uploaded(QString::number(number), "x");
        paths += QString("/f/%1").arg(number);
    }
    EXPECT_EQ(changes(), paths);
    const QString cursor = delegate.pages.back().cursor;
    EXPECT_EQ(changes(cursor), QStringList());
    client->deletePath("/F");
    answers();
    EXPECT_EQ(changes(cursor), paths.replaceInStrings(QRegularExpression("^"), "-"));
}

TEST_F(HTTPStandIn, Lists_afresh_when_it_has_lost_the_cursor) {
    start({"--page", "2", "--fail", "reset:route=files/list_folder/continue,count=1"});
    for (const char* name : {"a", "b", "c"})
        uploaded(name, "x");
    EXPECT_EQ(changes(), QStringList({"/f", "/f/a", "/f/b", "/f/c"}));
    EXPECT_TRUE(delegate.pages.back().reset);
    EXPECT_EQ(changes("of another service"), QStringList({"/f", "/f/a", "/f/b", "/f/c"}));
    EXPECT_TRUE(delegate.pages.back().reset);
}

TEST_F(HTTPStandIn, Refuses_another_token_than_its_own) {
    start({"--token", "another"});
    client->loadDelta({});
    EXPECT_EQ(answers(), QStringList("delta 401"));
    EXPECT_FALSE(message().contains(token));
    client->setAccessToken("another");
    EXPECT_EQ(changes(), QStringList());
}

TEST_F(HTTPStandIn, Is_not_asked_again_before_the_time_that_it_names) {
    start({"--fail", "429:route=files/upload,nth=1,retry-after=30"});
    client->uploadFile("a", "/F", {}, localFile("staged", "bytes"));
    const QWLogCapture log;
    ASSERT_TRUE(wait([&] { return log.texts("qwlibrary.dropbox").size() == 1; }));
    world.runLoop->advance(std::chrono::seconds(29));
    EXPECT_EQ(standIn->requests("files/upload"), 1);
    world.runLoop->advance(std::chrono::seconds(1));
    EXPECT_EQ(answers(), QStringList("uploaded /F/a"));
}

TEST_F(HTTPStandIn, That_loses_an_answer_after_it_has_acted_does_no_harm) {
    start({"--fail", "lost:every=2"});
    const QString rev = uploaded("a", "one").rev;
    EXPECT_EQ(uploaded("a", "two", rev).path, "/F/a");
    EXPECT_EQ(changes(), QStringList({"/f", "/f/a"}));
}

// What an engine does: whatever failed is asked for again. In the end everything is there, once.
TEST_F(HTTPStandIn, On_a_bad_day_gets_everything_in_the_end) {
    start({"--page", "3", "--fail", "500:rate=0.1,seed=1", "--fail", "drop:rate=0.1,seed=2", "--fail",
           "lost:rate=0.05,seed=3", "--fail", "cut:rate=0.05,seed=4", "--fail", "html:rate=0.05,seed=5",
           "--fail", "empty:rate=0.05,seed=6", "--fail", "429:rate=0.05,seed=7,retry-after=2"});
    const int files = 40;
    int answered = 0, asked = 0;
    std::set<int> missing;
    for (int number = 0; number < files; ++number)
        missing.insert(number);
    while (!missing.empty() && asked < 100 * files) {
        for (const int number : missing) {
            const QString name = QString::number(number);
            client->uploadFile(name, "/F", {}, localFile("staged" + name, name.toUtf8().repeated(700)));
            ++asked;
        }
        QStringList lines;
        ASSERT_TRUE(waitWhileTimePasses([&] {
            lines += std::exchange(delegate.lines, {});
            return answered + lines.size() == asked;
        })) << asked - answered - lines.size()
            << " not answered";
        answered += int(lines.size());
        for (const QString& line : lines) {
            if (line.startsWith("uploaded /F/"))
                missing.erase(line.section('/', -1).toInt());
        }
    }
    QStringList listed;
    for (int attempt = 0; attempt < 100 && listed.isEmpty(); ++attempt) {
        client->loadDelta({});
        ASSERT_TRUE(waitWhileTimePasses([&] { return !delegate.lines.isEmpty(); }));
        if (std::exchange(delegate.lines, {})[0].startsWith("delta of"))
            listed += QString::number(delegate.pages.back().entries.size());
    }
    EXPECT_EQ(listed, QStringList(QString::number(files + 1)));
}

} // namespace
