#include "supervisor/VersionArchive.h"

// Which versions go into the archive when the host changes a record while a batch that has received it is under way.

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
        EXPECT_EQ(versions()[0].dateModified, hourOf(noon));
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
        ASSERT_FALSE(versions().empty());
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

TEST_F(VersionArchive, A_received_version_that_is_also_the_hosts_by_then_has_not_lost) {
    cloud.putRecord(file, book("Same", hourText(12)));
    beginBatchThatWaits();
    edit("Same", 12);
    pass(20);
    EXPECT_EQ(supervisor().versionArchive().count(), 0);
}

TEST_F(VersionArchive,
       A_received_version_is_kept_when_the_host_has_made_the_record_and_deleted_it_meanwhile) {
    cloud.putRecord("Book!!!N.data", book("Received", hourText(12)));
    beginBatchThatWaits();
    const auto host =
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID("N", "Book", *desktop.context, true);
    desktop.context->processPendingChanges();
    desktop.context->deleteObject(*host);
    pass(20);
    ASSERT_FALSE(desktop.find("N"));
    EXPECT_TRUE(holdsOnly("Received", Origin::Cloud, Reason::Deletion, "N"));
}

TEST_F(VersionArchive, Of_two_insertions_of_one_record_the_one_that_gives_way_is_kept) {
    for (const bool isSaved : {false, true}) {
        for (const bool isHostsLater : {false, true}) {
            SCOPED_TRACE(isSaved * 2 + isHostsLater);
            const QString uuid = QStringLiteral("N%1").arg(isSaved * 2 + isHostsLater);
            cloud.putRecord("Book!!!" + uuid + ".data", book("Received", hourText(12)));
            beginBatchThatWaits();
            const auto host =
                QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", *desktop.context, true);
            host->setValueForKey("title", "Host");
            host->setDateModified(hourOf(isHostsLater ? 13 : 11));
            if (isSaved)
                desktop.save();
            pass(20);
            ASSERT_EQ(desktop.find(uuid)->valueForKey("title").toString(),
                      isHostsLater ? "Host" : "Received");
            ASSERT_EQ(versions(uuid).size(), 1u);
            EXPECT_EQ(versions(uuid)[0].record["title"], isHostsLater ? "Received" : "Host");
            EXPECT_EQ(versions(uuid)[0].origin, isHostsLater ? Origin::Cloud : Origin::Here);
        }
    }
}

// Two other machines have edited the book in the second in which it was edited here.
TEST_F(VersionArchive,
       Of_three_versions_of_one_second_in_one_batch_the_greatest_stays_and_the_others_are_kept) {
    for (const bool greatestFirst : {true, false}) {
        SCOPED_TRACE(greatestFirst);
        const auto present = title();
        const auto versions = versionsInSameSecond(true, 2);
        cloud.putRecord("Book!!!X (Ann's conflicted copy).data", versions[greatestFirst]);
        cloud.putRecord("Book!!!X (Bob's conflicted copy).data", versions[!greatestFirst]);
        receive();
        EXPECT_EQ(title(), versions[1]["title"]);
        QStringList kept;
        for (const auto& version : this->versions())
            kept.append(version.record["title"].toString());
        EXPECT_TRUE(kept.contains(present));
        EXPECT_TRUE(kept.contains(versions[0]["title"].toString()));
        EXPECT_EQ(cloud.fileNames(), QStringList{file});
        EXPECT_TRUE(cloud.bytes(file).contains('"' + title().toUtf8() + '"'));
    }
}
