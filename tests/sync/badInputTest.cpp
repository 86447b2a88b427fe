#include "support/EngineTest.h"

#include <QDir>

// Files of the sync folder that no engine has written: each is logged once and finished, and nothing stops.

namespace {

struct BadInput : EngineTest {
    QStringList lines; // of the log about the file while its batch was worked off

    BadInput() { activateIdle(); }

    // The file stands in the cloud beside a good record; answers as the cloud would.
    void import(const QString& fileName, const QByteArray& bytes) {
        const QWLogCapture log;
        receive({changed(fileName), changed("Author!!!GOOD.data")});
        for (std::size_t index = 0; index < client->requests.size(); ++index) {
            const auto request = client->requests[index];
            loaded(request, request.path.endsWith("GOOD.data") ? QByteArray(R"({"name":"Good"})") : bytes);
        }
        lines = log.texts("qwlibrary.sync").filter("ignored");
    }
    void expectFinished() {
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
        EXPECT_EQ(desktop.savedCursor(), "cursor-1");
        EXPECT_TRUE(desktop.find("GOOD", "Author"));
        EXPECT_EQ(QDir(desktop.path("cache")).entryList({"Download-*"}), QStringList());
    }
    qint64 count(const QString& entityName) { return *desktop.context->count(QWFetchRequest(entityName)); }
};

} // namespace

TEST_F(BadInput, A_file_that_belongs_to_no_entity_is_logged_and_noted) {
    for (const QString name :
         {"Planet!!!X.data", "Planet!!!X.image", "Sticker!!!X.data", "BookAuthor!!!X.data", "notes.txt",
          "Book!!!.data", "Book.data", "Book!!! copy.data"}) {
        import(name, record("T", "2026-01-01 00:00:00 +0000"));
        ASSERT_EQ(lines.size(), 1) << name.toStdString();
        EXPECT_EQ(lines[0], "ignored, because it belongs to no entity: /SyncCache.dbSync/" + name);
        EXPECT_TRUE(desktop.fileMetadata(name)) << name.toStdString();
        EXPECT_EQ(count("Book"), 0) << name.toStdString();
        expectFinished();
        client->forget();
        engine().fileMetadataManager().deleteDropboxFileMetadataWithName("Author!!!GOOD.data");
    }
}

TEST_F(BadInput, The_deletion_of_such_a_file_removes_nothing) {
    for (const QString name : {"Planet!!!X.data", "notes.data", "Sticker!!!X.data"})
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(metadata(name));
    desktop.context->insertObject("Sticker");
    desktop.save();
    receive({deleted("Planet!!!X.data"), deleted("notes.data"), deleted("Sticker!!!X.data")});
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(count("Sticker"), 1);
}

TEST_F(BadInput, A_name_that_no_disk_takes_is_logged_and_not_downloaded) {
    const QString name = "Book!!!" + QString(250, 'X') + ".data";
    import(name, "{}");
    EXPECT_EQ(lines.size(), 1);
    EXPECT_EQ(client->count(QWRestRequest::LoadFile), 1);
    EXPECT_TRUE(desktop.fileMetadata(name));
    expectFinished();
}

TEST_F(BadInput, An_image_of_an_entity_without_images_is_logged_and_makes_no_record) {
    import("Author!!!X.image", "image");
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0].contains("Author!!!X.image"));
    EXPECT_FALSE(desktop.find("X", "Author"));
    EXPECT_TRUE(desktop.fileMetadata("Author!!!X.image"));
    expectFinished();
}

TEST_F(BadInput, An_image_of_a_record_without_image_leaves_the_record_alone) {
    const auto author = desktop.add("Author");
    author->setUuid("X");
    saveAndTurn();
    forgetQueue();
    engine().deactivateSync();
    activateIdle();
    import("Author!!!X.image", "image");
    EXPECT_TRUE(desktop.find("X", "Author"));
    expectFinished();
}

TEST_F(BadInput, A_name_that_leads_out_of_the_folder_does_not) {
    DBMetadata evil;
    evil.path = "/SyncCache.dbSync/..\\..\\Book!!!X.data";
    evil.rev = "r";
    receive({DBMakeDeltaEntry(evil.path.toLower(), evil)});
    ASSERT_EQ(client->count(QWRestRequest::LoadFile), 1);
    EXPECT_EQ(client->requests[0].localPath, desktop.path("cache/Download-book!!!x.data"));
}

TEST_F(BadInput, A_record_file_that_cannot_be_read_makes_an_empty_record_and_changes_none) {
    const auto book = desktop.add("Book", {{"title", "Local"}});
    book->setUuid("LOCAL");
    saveAndTurn();
    forgetQueue();
    engine().deactivateSync();
    activateIdle();
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("{\"title\":"), QByteArray("[1,2]"), QByteArray("\xff\xfe"),
          QByteArray(100'000, '['), QByteArray(1'000'000, 'x')}) {
        const QString rev = QString::number(bytes.size());
        const QWLogCapture log;
        client->forget();
        receive({changed("Book!!!LOCAL.data", rev), changed("Book!!!NEW.data", rev)});
        loaded(client->requests[0], bytes, rev);
        loaded(client->requests[1], bytes, rev);
        EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
        EXPECT_EQ(book->valueForKey("title"), "Local");
        ASSERT_TRUE(desktop.find("NEW"));
        EXPECT_FALSE(desktop.find("NEW")->valueForKey("title").isValid());
    }
}

TEST_F(BadInput, A_value_of_the_wrong_type_keeps_its_key_and_the_rest_is_applied) {
    const QWLogCapture log;
    receive({changed("Book!!!X.data")});
    loaded(
        client->requests[0],
        R"({"title":5,"pages":12.0,"notes":"plain","dateModified":"2026-01-01 00:00:00 +0000","author":"Ann"})");
    const auto book = desktop.find("X");
    EXPECT_FALSE(book->valueForKey("title").isValid());
    EXPECT_EQ(book->valueForKey("pages"), 12);
    EXPECT_EQ(book->valueForKey("notes"), "plain");
    EXPECT_FALSE(book->relatedObject("author"));
    lines = log.texts("qwlibrary.sync");
    EXPECT_EQ(lines.filter("Book!!!X.data").size(), 2) << lines.join('\n').toStdString();
    EXPECT_EQ(lines.filter("title").size(), 1);
    EXPECT_EQ(lines.filter("author").size(), 1);
}
