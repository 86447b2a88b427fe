#include "store/FaultyDisk.h"
#include "supervisor/VersionArchive.h"
#include "support/StatementCount.h"

// The archive itself: when it is written, how it is looked at, what it keeps and what it costs.

// The archive itself ----------------------------------------------------------------------------------------

TEST_F(VersionArchive, A_version_is_on_the_disk_before_anything_takes_its_place) {
    auto& cache = *engine().dropboxCacheManagedObjectContext();
    int batches = 0;
    QObject::connect(&engine(), &QWDropboxSyncCoreData::batchWillBeSaved, &engine(), [&] {
        ++batches;
        EXPECT_EQ(supervisor().versionArchive().count(), 1);
        EXPECT_FALSE(cache.hasChanges());
        EXPECT_EQ(title(), "M");
    });
    receiveBook("Later", 11);
    EXPECT_EQ(batches, 1);
}

namespace {

// The disk is there before the stores are opened, and until they are closed.
struct VersionArchiveOnFullDisk : FaultyDisk, VersionArchive {};

} // namespace

TEST_F(VersionArchiveOnFullDisk, A_batch_waits_until_there_is_room_for_what_it_replaces) {
    bool isFull = true;
    QObject::connect(&engine(), &QWDropboxSyncCoreData::versionGivesWay, &engine(), [&] {
        if (isFull)
            fail(SQLITE_FULL);
    });
    // There is room for the batch itself.
    QObject::connect(&engine(), &QWDropboxSyncCoreData::batchWillBeSaved, &engine(), [&] { mend(); });
    receiveBook("Later", 11);
    EXPECT_EQ(title(), "M");
    isFull = false;
    pass(600);
    EXPECT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Earlier));
}

TEST_F(VersionArchive, A_copy_of_a_conflict_is_on_the_disk_before_it_is_deleted_in_the_cloud) {
    auto& cache = *engine().dropboxCacheManagedObjectContext();
    int deletions = 0;
    desktop.client->on(QWRestRequest::Delete).where([&](const QWRestRequest&) {
        ++deletions;
        EXPECT_EQ(supervisor().versionArchive().count(), 1);
        EXPECT_FALSE(cache.hasChanges());
        return false;
    });
    cloud.putRecord(copy, book("Behind", hourText(9)));
    receive();
    EXPECT_EQ(deletions, 1);
}

TEST_F(VersionArchive, A_version_that_loses_twice_is_one_and_the_latest_loss) {
    receiveBook("Earlier", 9);
    receiveBook("Earliest", 8);
    receiveBook("Earlier", 9);
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[0].record["title"], "Earlier");
    EXPECT_EQ(versions()[0].number, 3);
    EXPECT_EQ(versions()[1].number, 2);
}

TEST_F(VersionArchive, A_process_that_comes_later_finds_it_by_any_letter_case) {
    receiveBook("Later", 11);
    desktop.crash();
    desktop.start();
    const QWVersionArchive archive(engine());
    ASSERT_EQ(archive.versions("x").size(), 1u);
    EXPECT_EQ(archive.versions("x")[0].record["title"], "M");
    EXPECT_TRUE(archive.versions("Y").empty());
}

TEST_F(VersionArchive, The_latest_losses_of_all_records_are_found_without_a_uuid) {
    cloud.putRecord("Book!!!Y.data", book("Y", hourText(9)));
    receive();
    receiveBook("Later", 11);
    cloud.remove("Book!!!Y.data");
    receive();
    auto& archive = supervisor().versionArchive();
    const auto all = archive.latestVersions(10);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].uuid, "Y");
    EXPECT_EQ(all[1].uuid, "X");
    EXPECT_EQ(archive.latestVersions(1).size(), 1u);
    EXPECT_TRUE(archive.latestVersions(0).empty());
}

// Bounds ----------------------------------------------------------------------------------------------------

TEST_F(VersionArchive, Of_one_record_the_latest_losses_are_kept) {
    supervisor().versionArchive().setBounds({.versionsOfRecord = 3});
    for (int hour = 11; hour < 18; ++hour)
        receiveBook(QString::number(hour), hour);
    QStringList titles;
    for (const auto& version : versions())
        titles.append(version.record["title"].toString());
    EXPECT_EQ(titles, QStringList({"16", "15", "14"}));
}

TEST_F(VersionArchive, Without_other_bounds_twenty_losses_of_a_record_are_kept_for_180_days) {
    const auto receiveBookOf = [this](int day) {
        cloud.putRecord(file, book(QString::number(day),
                                   QStringLiteral("2026-05-%1 12:00:00 +0000").arg(day, 2, 10, QChar('0'))));
        receive();
    };
    for (int day = 6; day < 30; ++day)
        receiveBookOf(day);
    ASSERT_EQ(versions().size(), 20u);
    EXPECT_EQ(versions().back().record["title"], "9");
    auto& clock = *desktop.world.clock;
    const auto offset = clock.offset();
    clock.setOffset(offset + std::chrono::hours(24) * 179);
    receiveBookOf(30);
    EXPECT_EQ(versions().size(), 20u);
    clock.setOffset(offset + std::chrono::hours(24) * 181);
    receiveBookOf(31);
    EXPECT_EQ(versions().size(), 2u);
    EXPECT_EQ(QWVersionArchive::Bounds().versions, 100'000);
    EXPECT_EQ(QWVersionArchive::Bounds().imageBytes, 500'000'000);
}

TEST_F(VersionArchive, Of_all_records_the_latest_losses_are_kept) {
    supervisor().versionArchive().setBounds({.versions = 2});
    for (const char* uuid : {"A", "B", "C"}) {
        cloud.putRecord(QStringLiteral("Book!!!%1.data").arg(uuid), book("Old", hourText(9)));
        receive();
        cloud.remove(QStringLiteral("Book!!!%1.data").arg(uuid));
        receive();
    }
    EXPECT_TRUE(versions("A").empty());
    EXPECT_EQ(versions("B").size(), 1u);
    EXPECT_EQ(versions("C").size(), 1u);
}

TEST_F(VersionArchive, A_batch_that_replaces_more_keeps_all_until_it_is_saved) {
    for (const char* uuid : {"A", "B", "C"})
        cloud.putRecord(QStringLiteral("Book!!!%1.data").arg(uuid), book("Old", hourText(9)));
    receive();
    supervisor().versionArchive().setBounds({.versions = 2});
    qint64 kept = 0;
    const auto merge = desktop.context->observeDidMerge(
        [&](const QWDidSaveNotice&) { kept = supervisor().versionArchive().count(); });
    for (const char* uuid : {"A", "B", "C"})
        cloud.remove(QStringLiteral("Book!!!%1.data").arg(uuid));
    receive();
    EXPECT_EQ(kept, 3);
    EXPECT_EQ(supervisor().versionArchive().count(), 2);
}

TEST_F(VersionArchive, What_lost_too_long_ago_goes_when_something_else_loses) {
    supervisor().versionArchive().setBounds({.age = std::chrono::hours(24)});
    receiveBook("Later", 11);
    pass(23 * 3600);
    receiveBook("Later still", 12);
    EXPECT_EQ(versions().size(), 2u);
    pass(2 * 3600);
    receiveBook("Latest", 13);
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[1].record["title"], "Later");
}

// Cost ------------------------------------------------------------------------------------------------------

namespace {

struct VersionArchiveCost : OneDesktop {
    VersionArchiveCost() : OneDesktop(Desktop::Supervised) {
        desktop.crash();
        desktop.start(); // counted from here on
        begin();
    }

    // How many commits a batch takes that receives the ten books.
    int commitsOfBatch(const QString& dateModified) {
        for (int number = 0; number < 10; ++number)
            cloud.putRecord(QStringLiteral("Book!!!N%1.data").arg(number), book(dateModified, dateModified));
        statements.forget();
        desktop.askForChanges();
        pass(30);
        return statements.count("COMMIT");
    }

    StatementCount statements;
};

} // namespace

TEST_F(VersionArchiveCost,
       A_first_download_asks_the_archive_nothing_and_replaced_records_cost_one_commit_in_all) {
    const int first = commitsOfBatch(VersionArchive::hourText(10));
    EXPECT_EQ(statements.count({}, "ArchivedVersion"), 0);
    EXPECT_EQ(commitsOfBatch(VersionArchive::hourText(11)), first + 1);
    EXPECT_GT(statements.count({}, "ArchivedVersion"), 0);
    EXPECT_EQ(supervisor().versionArchive().count(), 10);
}
