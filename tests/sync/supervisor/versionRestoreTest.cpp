#include "support/Desktop.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QFile>

// How a version comes back from the archive.

namespace {

using namespace std::chrono_literals;

struct VersionRestore : TwoDesktops {
    VersionRestore() : TwoDesktops(Desktop::Supervised) {}

    // A book that both hold, and that A has as "Old" in its archive since B has edited it.
    QString bookThatHasLost() {
        const QString uuid = a.add("Book", {{"title", "Old"}, {"pages", 10}, {"shelfMark", "S1"}})->uuid();
        sync();
        a.advance(2s);
        b.find(uuid)->setValueForKey("title", "New");
        b.find(uuid)->setValueForKey("pages", 20);
        b.save();
        sync();
        EXPECT_EQ(value(a, uuid, "title"), "New");
        return uuid;
    }
    static QVariant value(Desktop& desktop, const QString& uuid, const QString& key) {
        const auto book = desktop.find(uuid);
        return book ? book->valueForKey(key) : QVariant();
    }
    QWVersionArchive& archive() { return a.supervisor->versionArchive(); }
};

} // namespace

TEST_F(VersionRestore, A_restored_version_is_an_edit_that_reaches_all_desktops) {
    const QString uuid = bookThatHasLost();
    a.advance(5s);
    const QDateTime before = a.now();
    const auto restored = archive().restore(archive().versions(uuid).front());
    ASSERT_TRUE(restored);
    EXPECT_EQ(restored, a.find(uuid));
    EXPECT_EQ(restored->dateModified(), QDateTime::fromSecsSinceEpoch(before.toSecsSinceEpoch(), Qt::UTC));
    sync();
    for (Desktop* desktop : {&a, &b}) {
        EXPECT_EQ(value(*desktop, uuid, "title"), "Old");
        EXPECT_EQ(value(*desktop, uuid, "pages"), 10);
    }
    EXPECT_EQ(value(a, uuid, "shelfMark"), "S1"); // does not travel, and stays
    EXPECT_TRUE(areInStep());
}

TEST_F(VersionRestore, A_version_that_is_as_the_present_one_has_its_new_date_on_all_desktops) {
    const QString uuid = bookThatHasLost();
    const auto version = archive().versions(uuid).front();
    archive().restore(version);
    sync();
    a.advance(5s);
    const QDateTime before = a.now();
    archive().restore(version);
    sync();
    EXPECT_GE(b.find(uuid)->dateModified().toSecsSinceEpoch(), before.toSecsSinceEpoch());
    EXPECT_TRUE(areInStep());
}

TEST_F(VersionRestore, What_a_restored_version_replaces_can_be_restored_as_well) {
    const QString uuid = bookThatHasLost();
    archive().restore(archive().versions(uuid).front());
    a.save();
    const auto versions = archive().versions(uuid);
    ASSERT_EQ(versions.size(), 2u);
    EXPECT_EQ(versions[0].record["title"], "New");
    EXPECT_EQ(versions[0].reason, QWArchivedVersion::Reason::Restoration);
    archive().restore(versions[0]);
    EXPECT_EQ(value(a, uuid, "title"), "New");
}

TEST_F(VersionRestore, A_deleted_record_is_made_again_on_all_desktops) {
    const QString uuid = a.add("Book", {{"title", "Gone"}})->uuid();
    sync();
    b.context->deleteObject(*b.find(uuid));
    sync();
    ASSERT_FALSE(a.find(uuid));
    ASSERT_EQ(archive().latestVersions(1).at(0).uuid, uuid);
    ASSERT_TRUE(archive().restore(archive().latestVersions(1).at(0)));
    sync();
    EXPECT_EQ(value(a, uuid, "title"), "Gone");
    EXPECT_EQ(value(b, uuid, "title"), "Gone");
    EXPECT_TRUE(areInStep());
}

TEST_F(VersionRestore, A_restored_version_wins_over_a_present_one_that_is_dated_in_the_future) {
    const QString uuid = bookThatHasLost();
    const QDateTime future = QDateTime::fromSecsSinceEpoch(a.now().toSecsSinceEpoch() + 86400, Qt::UTC);
    b.find(uuid)->setValueForKey("title", "From tomorrow");
    b.find(uuid)->setDateModified(future);
    sync();
    ASSERT_EQ(value(a, uuid, "title"), "From tomorrow");
    archive().restore(archive().versions(uuid).back());
    EXPECT_EQ(a.find(uuid)->dateModified(), future.addSecs(1));
    sync();
    EXPECT_EQ(value(b, uuid, "title"), "Old");
}

TEST_F(VersionRestore, References_come_back_to_records_that_are_here_and_make_none) {
    const auto author = a.add("Author", {{"name", "Ann"}});
    const auto other = a.add("Author", {{"name", "Bob"}});
    const auto kept = a.add("Book"), bare = a.add("Book");
    kept->setRelatedObject("author", author.data());
    bare->setRelatedObject("author", other.data());
    const QString keptUuid = kept->uuid(), bareUuid = bare->uuid();
    sync();
    for (const QString& uuid : {keptUuid, bareUuid})
        b.context->deleteObject(*b.find(uuid));
    b.context->deleteObject(*b.find(other->uuid(), "Author"));
    sync();
    ASSERT_FALSE(a.find(bareUuid));
    for (const QString& uuid : {keptUuid, bareUuid})
        archive().restore(archive().versions(uuid).front());
    EXPECT_EQ(a.find(keptUuid)->relatedObject("author").data(), author.data());
    EXPECT_FALSE(a.find(bareUuid)->relatedObject("author"));
    EXPECT_EQ(a.context->count(QWFetchRequest("Author")), 1);
}

TEST_F(VersionRestore, Members_that_are_not_here_are_left_out_of_a_relationship_to_many) {
    const auto whole = a.add("Chapter", {{"heading", "Whole"}});
    const auto one = a.add("Chapter"), two = a.add("Chapter");
    whole->setRelatedObjects("parts",
                             {QWRef<QWManagedObject>(one.data()), QWRef<QWManagedObject>(two.data())});
    const QString uuid = whole->uuid(), oneUuid = one->uuid();
    sync();
    b.context->deleteObject(*b.find(uuid, "Chapter"));
    b.context->deleteObject(*b.find(oneUuid, "Chapter"));
    sync();
    const auto restored = archive().restore(archive().versions(uuid).front());
    EXPECT_EQ(restored->relatedObjects("parts"), QList{QWRef<QWManagedObject>(two.data())});
}

TEST_F(VersionRestore, A_version_of_an_entity_that_is_not_synced_is_refused) {
    QWArchivedVersion version;
    version.uuid = "X";
    for (const char* entity : {"Sticker", "Nobody"}) {
        version.entityName = entity;
        QWError error;
        EXPECT_FALSE(archive().restore(version, &error));
        EXPECT_TRUE(error.message.contains(entity));
    }
    EXPECT_FALSE(a.context->hasChanges());
}

// Another cache store ---------------------------------------------------------------------------------------

TEST_F(VersionRestore, A_new_cache_store_takes_over_the_archive_of_the_old_one) {
    const QString uuid = bookThatHasLost();
    b.find(uuid)->setValueForKey("title", "Newest");
    sync();
    const auto before = archive().versions(uuid);
    ASSERT_EQ(before.size(), 2u);
    a.crash();
    for (const char* suffix : {"", "-wal", "-shm"})
        QFile::rename(a.path("cache/DropboxCache.sqlite") + suffix, a.path("aside.sqlite") + suffix);
    a.start();
    ASSERT_EQ(archive().count(), 0);
    EXPECT_TRUE(archive().takeOver(a.path("aside.sqlite")));
    const auto after = archive().versions(uuid);
    ASSERT_EQ(after.size(), 2u);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(after[i].number, before[i].number);
        EXPECT_EQ(after[i].record, before[i].record);
        EXPECT_EQ(after[i].archivedAt, before[i].archivedAt);
    }
}

TEST_F(VersionRestore, A_file_that_is_no_cache_store_is_refused_and_gives_nothing) {
    QFile file(a.path("noise.sqlite"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("no store");
    file.close();
    QWError error;
    EXPECT_FALSE(archive().takeOver(file.fileName(), &error));
    EXPECT_TRUE(error.isError());
    EXPECT_EQ(archive().count(), 0);
}
