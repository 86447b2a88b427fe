// The code of docs/guide/versions.md.

#include "dropbox/folder/QWFolderRestClient.h"
#include "support/BookLibrary.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QDebug>

namespace {

// A library that syncs with a folder in memory.
struct VersionsGuide : testing::Test {
    BookLibrary library;
    QWDropboxSyncCoreData engine{
        library.context, {"Author", "Book"}, QUrl::fromLocalFile(library.folder.path() + "/cache")};
    std::shared_ptr<QWAppFolder> folder = QWAppFolder::inMemory(library.coordinator->environment());
    std::shared_ptr<QWSyncSupervisor> supervisor = QWSyncSupervisor::create(
        engine, std::make_shared<QWFolderRestClient>(folder, library.coordinator->environment()));
};

TEST_F(VersionsGuide, Lists_what_lost_and_brings_it_back) {
    supervisor->versionArchive().setBounds({.versionsOfRecord = 50, .age = std::chrono::hours(24) * 365});
    supervisor->activate();
    const auto book = library.insertBook({{"title", "The Long Road"}});
    const QString uuid = book->uuid();
    library.save();
    const auto turn = [&] { library.world.runLoop->advance(std::chrono::seconds(30)); };
    turn();

    const QString path = "/SyncCache.dbSync/Book!!!" + uuid + ".data";
    const QByteArray later = R"({"title": "The Road", "dateModified": "2040-01-01 00:00:00 +0000"})";
    ASSERT_TRUE(folder->upload(path, later, QWWriteMode::update(folder->metadata(path)->rev)));
    supervisor->syncNow();
    turn();

    QWVersionArchive archive(engine);
    for (const QWArchivedVersion& version : archive.versions(book->uuid()))
        qInfo() << version.number << version.dateModified << version.record["title"].toString();
    ASSERT_EQ(archive.versions(uuid).size(), 1u);

    ASSERT_TRUE(folder->remove(path));
    supervisor->syncNow();
    turn();
    for (const QWArchivedVersion& version : archive.latestVersions(50))
        if (version.reason == QWArchivedVersion::Reason::Deletion && !version.isImage())
            qInfo() << version.entityName << version.uuid << version.record["title"].toString();
    ASSERT_EQ(archive.latestVersions(50).size(), 2u);

    QWError error;
    const auto restored = archive.restore(archive.versions(uuid).front(), &error);
    ASSERT_TRUE(restored) << error.message.toStdString();
    EXPECT_EQ(restored->valueForKey("title"), "The Road");
}

TEST_F(VersionsGuide, Asks_before_very_many_records_are_deleted) {
    QString shown;
    const auto showQuestion = [&](const QString& question) { shown = question; };

    supervisor->setDeletionQuestion([&](qint64 count, qint64 total) {
        showQuestion(
            QStringLiteral("%1 of %2 records were deleted on another desktop.").arg(count).arg(total));
    });
    supervisor->activate();
    QStringList paths;
    for (int number = 0; number < 60; ++number)
        paths.append("/SyncCache.dbSync/Book!!!" + library.insertBook({{"title", "Old"}})->uuid() + ".data");
    library.save();
    const auto turn = [&] { library.world.runLoop->advance(std::chrono::seconds(60)); };
    turn();
    for (const QString& path : paths)
        ASSERT_TRUE(folder->remove(path));
    supervisor->syncNow();
    turn();
    EXPECT_EQ(shown, "60 of 60 records were deleted on another desktop.");
    EXPECT_EQ(library.context->count(QWFetchRequest("Book")), 60);

    const bool areDeletionsWanted = true;
    supervisor->answerDeletionQuestion(areDeletionsWanted);
    turn();
    EXPECT_EQ(library.context->count(QWFetchRequest("Book")), 0);
}

} // namespace
