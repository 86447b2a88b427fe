#include "supervisor/OneDesktop.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWTravellingForm.h"
#include "sync/supervisor/QWVersionArchive.h"

// Which versions go into the archive: each one that gives way, by whatever way, and no other.

namespace {

using namespace std::chrono_literals;
using Origin = QWArchivedVersion::Origin;
using Reason = QWArchivedVersion::Reason;

QDateTime hour(int hour) {
    return {QDate(2026, 5, 5), QTime(hour, 0), Qt::UTC};
}
QString hourText(int hour) {
    return QStringLiteral("2026-05-05 %1:00:00 +0000").arg(hour, 2, 10, QLatin1Char('0'));
}

// The book X, "M" of 10 o'clock, stands here and in the cloud.
struct VersionArchive : OneDesktop {
    VersionArchive() : OneDesktop(Desktop::Supervised) {
        begin();
        cloud.putRecord(file, book("M", hourText(10)));
        receive();
    }

    void receive() {
        desktop.askForChanges();
        pass(30);
    }
    void receiveBook(const QString& title, int hour) {
        cloud.putRecord(file, book(title, hourText(hour)));
        receive();
    }
    // In the batch that comes next an image is out for a while, when the records have been imported.
    void beginBatchThatWaits() {
        cloud.put("Book!!!X.image", QByteArray::number(++images_));
        desktop.client->removeFaults();
        desktop.client->on(QWRestRequest::LoadFile).where([](const QWRestRequest& request) {
            return request.path.endsWith(".image");
        }).delaysAnswer(10s);
        desktop.askForChanges();
        pass(5);
    }
    // By the host, dated like this.
    void edit(const QString& title, int hour) {
        desktop.find("X")->setValueForKey("title", title);
        desktop.find("X")->setDateModified(::hour(hour));
    }
    QString title() { return desktop.find("X")->valueForKey("title").toString(); }

    std::vector<QWArchivedVersion> versions(const QString& uuid = "X") {
        return supervisor().versionArchive().versions(uuid);
    }
    testing::AssertionResult holdsOnly(const QString& title, Origin origin, Reason reason,
                                       const QString& uuid = "X") {
        const auto found = versions(uuid);
        if (found.size() != 1)
            return testing::AssertionFailure() << found.size() << " versions";
        const QString present = found[0].record.value(uuid == "X" ? "title" : "heading").toString();
        if (present != title || found[0].origin != origin || found[0].reason != reason)
            return testing::AssertionFailure() << present.toStdString() << ", " << int(found[0].origin)
                                               << ", " << int(found[0].reason);
        return testing::AssertionSuccess();
    }
    // A version of the second of the one here whose hash is greater, or less.
    QVariantMap versionInSameSecond(bool isGreater) {
        const auto present = desktop.find("X");
        QVariantMap record =
            engine().syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(*present);
        const auto own = qw::sync::travellingHash(record, *present);
        for (int number = 0;; ++number) {
            record["title"] = QString::number(number);
            if ((*qw::sync::travellingHash(record, *present) > *own) == isGreater)
                return record;
        }
    }

    const QString file = "Book!!!X.data";
    const QString copy = "Book!!!X (Bob's conflicted copy).data";

private:
    int images_ = 0;
};

} // namespace

// Records that are received ---------------------------------------------------------------------------------

TEST_F(VersionArchive, A_version_that_a_later_one_replaces_is_kept) {
    receiveBook("Later", 11);
    ASSERT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Earlier));
    const auto version = versions().front();
    EXPECT_EQ(version.entityName, "Book");
    EXPECT_EQ(version.uuid, "X");
    EXPECT_EQ(version.number, 1);
    EXPECT_EQ(version.dateModified, hour(10));
    EXPECT_LT(version.archivedAt.secsTo(desktop.now()), 30);
    EXPECT_EQ(version.record["dateModified"].toString(), hourText(10));
}

TEST_F(VersionArchive, An_unsaved_edit_that_a_later_version_replaces_is_kept) {
    edit("Unsaved", 11);
    receiveBook("Later", 12);
    ASSERT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("Unsaved", Origin::Here, Reason::Earlier));
}

TEST_F(VersionArchive, An_edit_that_waits_to_be_sent_and_is_replaced_is_kept) {
    engine().deactivateSync();
    edit("Waits", 11);
    desktop.save();
    cloud.putRecord(file, book("Later", hourText(12)));
    desktop.activate();
    pass(30);
    ASSERT_EQ(title(), "Later");
    EXPECT_TRUE(holdsOnly("Waits", Origin::Here, Reason::Earlier));
}

TEST_F(VersionArchive, A_received_version_that_is_behind_is_kept) {
    receiveBook("Earlier", 9);
    ASSERT_EQ(title(), "M");
    EXPECT_TRUE(holdsOnly("Earlier", Origin::Cloud, Reason::Earlier));
    EXPECT_EQ(versions().front().dateModified, hour(9));
}

TEST_F(VersionArchive, A_received_version_that_is_behind_an_unsaved_edit_is_kept_once) {
    edit("Unsaved", 12);
    receiveBook("Between", 11);
    ASSERT_EQ(title(), "Unsaved");
    EXPECT_TRUE(holdsOnly("Between", Origin::Cloud, Reason::Earlier));
}

TEST_F(VersionArchive, Of_two_versions_of_one_second_the_one_that_is_not_kept_is_archived) {
    const auto greater = versionInSameSecond(true);
    cloud.putRecord(file, greater);
    receive();
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::SameSecond));
    const auto lesser = versionInSameSecond(false);
    cloud.putRecord(file, lesser);
    receive();
    ASSERT_EQ(title(), greater["title"].toString());
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[0].record["title"], lesser["title"]);
    EXPECT_EQ(versions()[0].origin, Origin::Cloud);
    EXPECT_EQ(versions()[0].reason, Reason::SameSecond);
}

TEST_F(VersionArchive, A_version_without_a_date_is_kept_and_a_record_without_one_is_no_version) {
    cloud.putRecord(file, {{"title", "Undated"}});
    receive();
    EXPECT_TRUE(holdsOnly("Undated", Origin::Cloud, Reason::Earlier));
    cloud.putRecord("Chapter!!!C.data", {{"heading", "One"},
                                         {"dateModified", hourText(9)},
                                         {"book", QVariantMap{{"uuid", "Y"}, {"entityName", "Book"}}}});
    receive();
    cloud.putRecord("Book!!!Y.data", book("Arrived", hourText(9)));
    receive();
    ASSERT_EQ(desktop.find("Y")->valueForKey("title"), "Arrived");
    EXPECT_TRUE(versions("Y").empty());
}

TEST_F(VersionArchive, Nothing_is_kept_of_what_takes_nobodys_place) {
    for (int number = 0; number < 20; ++number)
        cloud.putRecord(QStringLiteral("Book!!!N%1.data").arg(number), book("New", hourText(9)));
    desktop.add("Book", {{"title", "Own"}});
    desktop.save();
    receive();
    edit("Again", 11);
    desktop.save();
    pass(5);
    cloud.put(file, cloud.bytes(file) + ' '); // the same version in other bytes
    receive();
    cloud.put("Book!!!X.data", "no record");
    receive();
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
}

// Copies of a conflict --------------------------------------------------------------------------------------

TEST_F(VersionArchive, Copies_of_a_conflict_count_like_any_version) {
    cloud.putRecord(copy, book("Behind", hourText(9)));
    receive();
    EXPECT_TRUE(holdsOnly("Behind", Origin::Cloud, Reason::Earlier));
    cloud.putRecord(copy, book("Ahead", hourText(11)));
    receive();
    ASSERT_EQ(title(), "Ahead");
    ASSERT_EQ(versions().size(), 2u);
    EXPECT_EQ(versions()[0].record["title"], "M");
    EXPECT_EQ(versions()[0].origin, Origin::Here);
}

TEST_F(VersionArchive, A_copy_of_a_conflict_is_kept_when_the_deletion_of_its_record_stands) {
    engine().deactivateSync();
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    cloud.putRecord(copy, book("Copy", hourText(11)));
    desktop.activate();
    pass(30);
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("Copy", Origin::Cloud, Reason::Deletion));
}

TEST_F(VersionArchive, Of_a_file_and_its_copies_in_one_batch_all_but_the_latest_are_kept) {
    cloud.putRecord(file, book("File", hourText(11)));
    cloud.putRecord(copy, book("Copy", hourText(12)));
    receive();
    ASSERT_EQ(title(), "Copy");
    QStringList titles;
    for (const auto& version : versions())
        titles.append(version.record["title"].toString());
    titles.sort();
    EXPECT_EQ(titles, QStringList({"File", "M"}));
}

// Deletions that are received -------------------------------------------------------------------------------

TEST_F(VersionArchive, A_record_that_another_desktop_has_deleted_is_kept) {
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, An_unsaved_edit_that_is_deleted_with_its_record_is_kept) {
    edit("Unsaved", 11);
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("Unsaved", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, A_record_that_the_host_has_not_saved_is_kept_when_it_is_deleted_elsewhere) {
    const auto own = desktop.add("Book", {{"title", "Own"}});
    const QString uuid = own->uuid();
    pass(5);
    ASSERT_TRUE(cloud.fileNames().contains(fileName(*own, "data")));
    cloud.remove(fileName(*own, "data"));
    receive();
    ASSERT_FALSE(desktop.find(uuid));
    ASSERT_EQ(versions(uuid).size(), 1u);
    EXPECT_EQ(versions(uuid)[0].record["title"], "Own");
}

TEST_F(VersionArchive, A_record_that_is_missing_in_a_listing_from_scratch_is_kept) {
    cloud.remove(file);
    cloud.folder->forgetCursors();
    receive();
    ASSERT_FALSE(desktop.find("X"));
    EXPECT_TRUE(holdsOnly("M", Origin::Here, Reason::Deletion));
}

TEST_F(VersionArchive, What_is_deleted_along_with_a_deleted_record_is_kept) {
    const auto chapter = desktop.add("Chapter", {{"heading", "One"}});
    chapter->setRelatedObject("book", desktop.find("X").data());
    const QString uuid = chapter->uuid();
    desktop.save();
    pass(5);
    cloud.remove(file);
    receive();
    ASSERT_FALSE(desktop.find(uuid, "Chapter"));
    EXPECT_TRUE(holdsOnly("One", Origin::Here, Reason::Deletion, uuid));
    EXPECT_EQ(versions(uuid)[0].record["book"].toMap()["uuid"], "X");
}

// While a batch is under way --------------------------------------------------------------------------------

TEST_F(VersionArchive, A_received_version_that_the_host_overtakes_before_the_batch_ends_is_kept) {
    for (const bool isSaved : {false, true}) {
        SCOPED_TRACE(isSaved);
        const int noon = isSaved ? 14 : 12;
        cloud.putRecord(file, book("Received", hourText(noon)));
        beginBatchThatWaits();
        edit("Host", noon + 1);
        if (isSaved)
            desktop.save();
        pass(20);
        ASSERT_EQ(title(), "Host");
        ASSERT_FALSE(versions().empty());
        EXPECT_EQ(versions()[0].record["title"], "Received");
        EXPECT_EQ(versions()[0].dateModified, hour(noon));
        EXPECT_EQ(versions()[0].origin, Origin::Cloud);
        EXPECT_EQ(versions()[0].reason, Reason::Earlier);
    }
}

TEST_F(VersionArchive, What_the_host_edits_before_the_batch_ends_is_kept_when_the_received_version_is_later) {
    for (const bool isSaved : {false, true}) {
        SCOPED_TRACE(isSaved);
        const int noon = isSaved ? 16 : 12;
        cloud.putRecord(file, book("Received", hourText(noon + 2)));
        beginBatchThatWaits();
        edit("Host", noon + 1);
        if (isSaved)
            desktop.save();
        pass(20);
        ASSERT_EQ(title(), "Received");
        EXPECT_EQ(versions()[0].record["title"], "Host");
        EXPECT_EQ(versions()[0].origin, Origin::Here);
    }
}

TEST_F(VersionArchive, A_received_version_is_kept_when_the_host_deletes_the_record_before_the_batch_ends) {
    for (const bool isSaved : {false, true}) {
        SCOPED_TRACE(isSaved);
        const QString uuid = isSaved ? "Y" : "Z";
        cloud.putRecord("Book!!!" + uuid + ".data", book("Old", hourText(10)));
        receive();
        cloud.putRecord("Book!!!" + uuid + ".data", book("Received", hourText(12)));
        beginBatchThatWaits();
        desktop.context->deleteObject(*desktop.find(uuid));
        if (isSaved)
            desktop.save();
        pass(20);
        desktop.save();
        pass(20);
        ASSERT_FALSE(desktop.find(uuid));
        ASSERT_EQ(versions(uuid).size(), 1u);
        EXPECT_EQ(versions(uuid)[0].record["title"], "Received");
        EXPECT_EQ(versions(uuid)[0].origin, Origin::Cloud);
        EXPECT_EQ(versions(uuid)[0].reason, Reason::Deletion);
    }
}

TEST_F(VersionArchive, Of_two_insertions_of_one_record_the_one_that_gives_way_is_kept) {
    for (const bool isSaved : {false, true}) {
        for (const bool isHostsLater : {false, true}) {
            SCOPED_TRACE(isSaved * 2 + isHostsLater);
            const QString uuid = QStringLiteral("N%1").arg(isSaved * 2 + isHostsLater);
            cloud.putRecord("Book!!!" + uuid + ".data", book("Received", hourText(12)));
            beginBatchThatWaits();
            const auto host = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book",
                                                                                  *desktop.context, true);
            host->setValueForKey("title", "Host");
            host->setDateModified(hour(isHostsLater ? 13 : 11));
            if (isSaved)
                desktop.save();
            pass(20);
            ASSERT_EQ(desktop.find(uuid)->valueForKey("title").toString(), isHostsLater ? "Host" : "Received");
            ASSERT_EQ(versions(uuid).size(), 1u);
            EXPECT_EQ(versions(uuid)[0].record["title"], isHostsLater ? "Received" : "Host");
            EXPECT_EQ(versions(uuid)[0].origin, isHostsLater ? Origin::Cloud : Origin::Here);
        }
    }
}

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
