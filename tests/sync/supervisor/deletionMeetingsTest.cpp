#include "supervisor/OneDesktop.h"
#include "support/EngineTest.h"

#include "sync/supervisor/QWVersionArchive.h"

// Deletions that meet something else: references to what is deleted, and what is in flight.

// References ------------------------------------------------------------------------------------------------

namespace {

struct DeletedReference : OneDesktop {
    DeletedReference() : OneDesktop(Desktop::Supervised) {
        author = desktop.add("Author");
        author->setUuid("A");
        desktop.save();
        begin();
    }
    void putBook() {
        QVariantMap record = book("New");
        record["author"] = QVariantMap{{"uuid", "A"}, {"entityName", "Author"}};
        cloud.putRecord("Book!!!B.data", record);
    }
    void sendBook() {
        putBook();
        supervisor().syncNow();
        pass(1);
    }
    bool isReferenceInCloud() { return cloud.bytes("Book!!!B.data").contains("author\":{"); }

    QWRef<QWManagedObjectWithSyncSupport> author;
};

} // namespace

TEST_F(DeletedReference, Is_lost_in_the_cloud_when_the_host_saves_the_deletion_and_not_before) {
    desktop.context->deleteObject(*author);
    sendBook();
    EXPECT_FALSE(desktop.find("B")->relatedObject("author"));
    pass(60);
    EXPECT_TRUE(isReferenceInCloud());
    desktop.save();
    pass(1);
    EXPECT_FALSE(isReferenceInCloud());
}

TEST_F(DeletedReference, Is_lost_in_the_cloud_when_the_deletion_waits_to_be_sent) {
    desktop.client->on(QWRestRequest::Delete).answersWith(503);
    desktop.context->deleteObject(*author);
    desktop.save();
    sendBook();
    pass(60);
    EXPECT_FALSE(isReferenceInCloud());
    EXPECT_TRUE(cloud.fileNames().contains("Author!!!A.data"));
}

TEST_F(DeletedReference, Stays_away_when_a_record_that_refers_to_it_comes_before_its_own_file) {
    pass(5);
    const QByteArray record = cloud.bytes("Author!!!A.data");
    desktop.client->on(QWRestRequest::Delete).first(20).answersWith(503);
    desktop.context->deleteObject(*author);
    desktop.save();
    cloud.put("Author!!!A.data", "else"); // so that it comes in a new revision
    cloud.put("Author!!!A.data", record);
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith("Author!!!A.data"); })
        .first(1)
        .delaysAnswer(std::chrono::seconds(10));
    sendBook();
    pass(2000);
    ASSERT_TRUE(desktop.find("B"));
    EXPECT_FALSE(desktop.find("A", "Author"));
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!B.data"});
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(DeletedReference, Does_not_keep_away_a_record_of_another_entity_with_its_uuid) {
    pass(5);
    desktop.client->on(QWRestRequest::Delete).answersWith(503);
    desktop.context->deleteObject(*author);
    desktop.save();
    cloud.putRecord("Book!!!A.data", book("Of the same uuid"));
    supervisor().syncNow();
    pass(60);
    EXPECT_TRUE(desktop.find("A"));
    EXPECT_TRUE(cloud.fileNames().contains("Book!!!A.data"));
}

namespace {

// The batch reads the author for the sake of the book, and the host saves before the author's own file has come.
struct SavedDuringBatch : DeletedReference {
    SavedDuringBatch() {
        pass(5);
        record = cloud.bytes(authorsFile);
    }
    // What the host has not saved is in the cloud.
    void sendUnsaved() {
        desktop.context->processPendingChanges();
        pass(5);
        ASSERT_NE(cloud.bytes(authorsFile), record);
    }
    // Another desktop sends the author as it was.
    void receiveDuring(const std::function<void()>& save) {
        cloud.put(authorsFile, "else"); // so that it comes in a new revision
        cloud.put(authorsFile, record);
        putBook();
        desktop.client->on(QWRestRequest::LoadFile)
            .where([this](const QWRestRequest& request) { return request.path.endsWith(authorsFile); })
            .first(1)
            .delaysAnswer(std::chrono::seconds(10));
        supervisor().syncNow();
        pass(5);
        save();
        pass(60);
    }

    const QString authorsFile = "Author!!!A.data";
    QByteArray record;
};

} // namespace

TEST_F(SavedDuringBatch, An_edit_dated_before_what_is_received_gives_way) {
    const QVariant name = author->valueForKey("name");
    author->setValueForKey("name", "Behind");
    author->setDateModified(author->dateModified().addSecs(-3));
    sendUnsaved();
    receiveDuring([&] { desktop.save(); });
    EXPECT_EQ(author->valueForKey("name"), name);
    EXPECT_EQ(cloud.bytes(authorsFile), record);
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SavedDuringBatch, An_edit_by_another_context_that_is_dated_before_what_is_received_gives_way) {
    desktop.wantsUpdate = [](auto&) { return false; };
    const auto save = [&] {
        const auto own =
            std::make_shared<QWManagedObjectContext>(desktop.coordinator, QWConcurrencyType::PrivateQueue);
        const auto observation = own->observeDidSave(
            [&](const QWDidSaveNotice& notice) { desktop.context->mergeChangesFromContextDidSave(notice); });
        const auto edited = QWManagedObjectWithSyncSupport::fetchObjectWithUUID("A", "Author", *own);
        edited->setValueForKey("name", "Behind");
        edited->setDateModified(edited->dateModified().addSecs(-3));
        ASSERT_TRUE(own->save());
        ASSERT_EQ(author->valueForKey("name"), "Behind");
    };
    receiveDuring(save);
    EXPECT_NE(author->valueForKey("name"), "Behind");
    EXPECT_EQ(cloud.bytes(authorsFile), record);
}

TEST_F(SavedDuringBatch, A_deletion_that_was_sent_does_not_keep_away_what_another_desktop_sends) {
    desktop.context->deleteObject(*author);
    sendUnsaved();
    receiveDuring([&] { desktop.save(); });
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(cloud.bytes(authorsFile), record);
    EXPECT_EQ(static_cast<bool>(desktop.find("B")->relatedObject("author")), isReferenceInCloud());
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(SavedDuringBatch, What_the_host_has_deleted_and_made_again_stays) {
    putBook();
    cloud.putRecord("Book!!!C.data", book("Late"));
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith("Book!!!C.data"); })
        .first(1)
        .delaysAnswer(std::chrono::seconds(10));
    supervisor().syncNow();
    pass(5);
    desktop.context->deleteObject(*author);
    desktop.save();
    desktop.add("Author", {{"name", "Again"}})->setUuid("A");
    desktop.save();
    pass(60);
    ASSERT_TRUE(desktop.find("C"));
    EXPECT_TRUE(desktop.find("A", "Author"));
    EXPECT_EQ(count(QWRestRequest::Delete), 0);
    EXPECT_TRUE(cloud.bytes(authorsFile).contains("Again"));
    EXPECT_TRUE(supervisor().isInStep());
}

// In flight -------------------------------------------------------------------------------------------------

namespace {

// The answer to the first upload comes after the next poll.
struct InFlight : OneDesktop {
    InFlight() : OneDesktop(Desktop::Supervised) {
        begin();
        desktop.client->on(QWRestRequest::Upload).first(1).delaysAnswer(std::chrono::seconds(700));
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.save();
        pass(1);
    }
};

} // namespace

TEST_F(InFlight, What_was_deleted_meanwhile_is_sent_again) {
    ASSERT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    cloud.remove("Book!!!X.data");
    pass(800);
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(InFlight, What_was_deleted_before_a_listing_from_scratch_is_sent_again) {
    cloud.putRecord("Book!!!OTHER.data", book("Other"));
    cloud.remove("Book!!!X.data");
    cloud.folder->forgetCursors();
    pass(800);
    EXPECT_TRUE(cloud.fileNames().contains("Book!!!X.data"));
    EXPECT_TRUE(supervisor().isInStep());
}

TEST_F(InFlight,
       What_was_deleted_before_a_listing_from_scratch_in_which_its_upload_was_answered_is_sent_again) {
    cloud.putRecord("Book!!!OTHER.data", book("Other"));
    cloud.remove("Book!!!X.data");
    cloud.folder->forgetCursors();
    desktop.client->on(QWRestRequest::LoadDelta).delaysAnswer(std::chrono::seconds(200));
    pass(1300);
    EXPECT_TRUE(cloud.fileNames().contains("Book!!!X.data"));
}

// The host deletes it before the answer comes, and the answer to the deletion takes as long.
TEST_F(InFlight, Stays_away_when_it_is_there_again_before_the_deletion_that_follows_it_is_answered) {
    const QByteArray record = cloud.bytes("Book!!!X.data");
    desktop.client->on(QWRestRequest::Delete).first(2).delaysAnswer(std::chrono::seconds(700));
    desktop.context->deleteObject(*desktop.find("X"));
    desktop.save();
    pass(750);
    ASSERT_EQ(cloud.fileNames(), QStringList());
    cloud.put("Book!!!X.data", record);
    supervisor().syncNow();
    pass(2000);
    EXPECT_EQ(cloud.fileNames(), QStringList());
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_TRUE(supervisor().isInStep());
}

// Its file may be listed like a version from elsewhere.
struct InFlightAndDeletedHere : InFlight {
    InFlightAndDeletedHere() { engine().deactivateSync(); }
    void remove() {
        desktop.context->deleteObject(*desktop.find("X"));
        desktop.save();
    }
    void expectGone() {
        desktop.activate();
        pass(2000);
        EXPECT_EQ(cloud.fileNames(), QStringList());
        EXPECT_FALSE(desktop.find("X"));
        EXPECT_TRUE(supervisor().isInStep());
    }
};

TEST_F(InFlightAndDeletedHere, Stays_away) {
    remove();
    expectGone();
}

TEST_F(InFlightAndDeletedHere, Stays_away_in_an_earlier_version_than_was_deleted) {
    desktop.find("X")->setValueForKey("title", "T2");
    desktop.save();
    remove();
    expectGone();
}

TEST_F(InFlightAndDeletedHere, Stays_away_when_it_is_there_again_before_its_deletion_is_answered) {
    const QByteArray record = cloud.bytes("Book!!!X.data");
    remove();
    desktop.client->on(QWRestRequest::Delete).first(2).delaysAnswer(std::chrono::seconds(700));
    desktop.activate();
    pass(800);
    ASSERT_EQ(cloud.fileNames(), QStringList());
    cloud.put("Book!!!X.data", record);
    expectGone();
}

TEST_F(InFlightAndDeletedHere, Stays_away_with_an_earlier_copy_of_a_conflict) {
    remove();
    cloud.putRecord("Book!!!X (Bob's conflicted copy).data", book("Old"));
    expectGone();
}

TEST_F(InFlightAndDeletedHere, Comes_back_when_somebody_has_edited_it) {
    remove();
    cloud.putRecord("Book!!!X.data", book("Later", "2035-01-01 00:00:00 +0000"));
    desktop.activate();
    pass(2000);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Later");
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(InFlight, What_was_sent_again_is_not_sent_once_more_by_the_next_process) {
    desktop.find("X")->setValueForKey("title", "Edited");
    desktop.save();
    pass(800);
    ASSERT_TRUE(supervisor().isInStep());
    desktop.client->forgetRequests();
    desktop.crash();
    desktop.start();
    desktop.activate();
    pass(60);
    EXPECT_TRUE(desktop.client->requests(QWRestRequest::Upload).empty());
}

TEST_F(InFlight, A_copy_that_was_deleted_meanwhile_makes_nothing_be_sent_again) {
    cloud.putRecord("Book!!!X (Owner's conflicted copy).data", book("Old"));
    pass(0.1);
    cloud.remove("Book!!!X (Owner's conflicted copy).data");
    pass(800);
    EXPECT_EQ(count(QWRestRequest::Upload), 1);
    EXPECT_TRUE(supervisor().isInStep());
}

// An earlier upload of this desktop has become the copy, and another one has merged it.
TEST_F(InFlight, A_copy_that_a_listing_from_scratch_lacks_makes_nothing_be_sent_again) {
    const QString copy = "Book!!!X (Owner's conflicted copy).data";
    engine().fileMetadataManager().fileMetadataForFileName(copy, true)->setRev("1");
    cloud.folder->forgetCursors();
    pass(800);
    EXPECT_EQ(count(QWRestRequest::Upload), 1);
    EXPECT_TRUE(supervisor().isInStep());
}

// Its sync folder may have been deleted, and made again by a desktop that holds the earlier version.
TEST_F(InFlight, What_is_listed_in_an_earlier_version_meanwhile_is_sent_again) {
    cloud.remove("Book!!!X.data");
    cloud.putRecord("Book!!!X.data", book("Old"));
    pass(2000);
    EXPECT_TRUE(cloud.bytes("Book!!!X.data").contains("\"T\""));
    EXPECT_EQ(cloud.fileNames(), QStringList{"Book!!!X.data"});
}

TEST_F(DeletedReference, Is_lost_in_the_cloud_when_the_record_is_in_flight_with_it) {
    supervisor().syncNow();
    pass(1);
    desktop.client->on(QWRestRequest::Upload).first(1).delaysRequest(std::chrono::seconds(700));
    const auto added = desktop.add("Book");
    added->setUuid("B");
    added->setRelatedObject("author", author.data());
    desktop.context->processPendingChanges();
    pass(1);
    cloud.remove("Author!!!A.data");
    pass(2000);
    EXPECT_FALSE(desktop.find("A", "Author"));
    EXPECT_FALSE(isReferenceInCloud());
}

// The answer to the first upload of an image comes after the next poll.
namespace {

struct ImageInFlight : OneDesktop {
    ImageInFlight() : OneDesktop(Desktop::Supervised) {
        begin();
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.save();
        pass(1);
        supervisor().syncNow();
        pass(1);
        desktop.client->on(QWRestRequest::Upload)
            .where([this](const QWRestRequest& request) { return request.path.endsWith(imageName); })
            .first(1)
            .delaysAnswer(std::chrono::seconds(700));
        desktop.setImage(*desktop.find("X"), "ours");
        desktop.save();
        pass(1);
    }
    void expectBothInCloud() {
        EXPECT_EQ(cloud.fileNames(), (QStringList{"Book!!!X.data", imageName}));
        EXPECT_EQ(cloud.bytes(imageName), "ours");
        EXPECT_TRUE(supervisor().isInStep());
    }

    const QString imageName = "Book!!!X.image";
};

} // namespace

TEST_F(ImageInFlight, Is_sent_again_when_the_sync_folder_was_deleted_meanwhile) {
    cloud.folder->remove("/SyncCache.dbSync");
    pass(900);
    expectBothInCloud();
}

TEST_F(ImageInFlight, Is_sent_again_when_it_was_deleted_meanwhile) {
    cloud.remove(imageName);
    pass(900);
    expectBothInCloud();
}

TEST_F(ImageInFlight, Is_sent_again_when_it_was_deleted_before_a_listing_from_scratch) {
    cloud.remove(imageName);
    cloud.folder->forgetCursors();
    pass(900);
    expectBothInCloud();
}

TEST_F(ImageInFlight, Is_sent_again_with_its_record_when_that_was_deleted_before_a_listing_from_scratch) {
    cloud.remove("Book!!!X.data");
    cloud.folder->forgetCursors();
    pass(900);
    expectBothInCloud();
}

TEST_F(ImageInFlight, Is_sent_again_when_it_was_deleted_meanwhile_and_the_answer_finds_the_engine_inactive) {
    cloud.folder->remove("/SyncCache.dbSync");
    pass(650);
    engine().deactivateSync();
    pass(100);
    desktop.activate();
    pass(100);
    expectBothInCloud();
}

namespace {

struct ReferenceMadeAnew : EngineTest {
    ReferenceMadeAnew() : EngineTest(Desktop::Supervised) {}
};

} // namespace

// The batch that deletes the author goes on, and a reference makes one, when the author's edit arrives in the cloud.
TEST_F(ReferenceMadeAnew, Is_filled_by_an_edit_that_was_sent_after_the_deletion) {
    activateIdle();
    const auto author = desktop.add("Author", {{"name", "First"}});
    author->setUuid("A");
    saveAndTurn();
    uploaded(client->requests.at(0), "rev1");
    author->setValueForKey("name", "Edited");
    saveAndTurn();
    const auto upload = client->requests.back();
    pass(QWDBTimeScheduleDeltaDownloadInterval);
    ASSERT_EQ(client->log().last(), "delta");
    client->forget();
    page({deleted("Author!!!A.data"), changed("Book!!!B.data"), changed("Chapter!!!C.data")}, "cursor-1");
    const auto lastOfBatch = client->requests.at(1);
    loaded(client->requests.at(0), R"({"title":"B","author":{"entityName":"Author","uuid":"A"}})");
    uploaded(upload, "rev2");
    loaded(lastOfBatch, R"({"heading":"C"})");
    turn();
    ASSERT_FALSE(desktop.find("A", "Author")->dateModified().isValid());
    client->forget();
    pass(QWDBTimeScheduleDeltaDownloadInterval);
    page({changed("Author!!!A.data", "rev2")}, "cursor-2");
    EXPECT_TRUE(client->log().contains("load " + remote("Author!!!A.data")))
        << client->log().join("; ").toStdString();
}

// Not saved by the host -------------------------------------------------------------------------------------

namespace {

struct UnsavedRecord : OneDesktop {
    UnsavedRecord() : OneDesktop(Desktop::Supervised) {
        begin();
        desktop.add("Book", {{"title", "T"}})->setUuid("X");
        desktop.context->processPendingChanges();
        pass(1);
        supervisor().syncNow();
        pass(1);
    }
};

} // namespace

// The later version has come, and its image has not, when both are deleted: the batch that has made the record anew
// goes on with the deletion.
TEST_F(UnsavedRecord, Is_deleted_when_that_is_listed_after_a_later_version_in_one_batch) {
    desktop.client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.endsWith(".image"); })
        .first(1)
        .answersWith(503);
    cloud.putRecord("Book!!!X.data", book("Later", "2040-01-01 00:00:00 +0000"));
    cloud.put("Book!!!X.image", "cover");
    supervisor().syncNow();
    pass(5);
    cloud.remove("Book!!!X.data");
    cloud.remove("Book!!!X.image");
    pass(100);
    EXPECT_EQ(cloud.fileNames(), QStringList());
    EXPECT_FALSE(desktop.find("X"));
    EXPECT_EQ(supervisor().versionArchive().versions("X").size(), 1U);
}
