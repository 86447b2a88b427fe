#pragma once

#include "support/EngineTest.h"

// The host changes a record while a batch that has received another version of it is running.

// Both after what the desktop has saved, and before and after what its host edits then.
inline const QString earlier = "2026-01-01 00:00:30 +0000", later = "2026-06-01 00:00:00 +0000";

struct MergeTest : EngineTest {
    Record book;

    MergeTest() {
        book = desktop.add("Book", {{"title", "Old"}, {"pages", 1}});
        book->setUuid("X");
        saveAndTurn();
        forgetQueue();
        pass(60);
        activateIdle();
    }

    // A batch of two files whose first has arrived: it holds the book's received version, unsaved.
    void beginBatch(const QString& dateModified, const QByteArray& more = {}) {
        receive({changed("Book!!!X.data", "rev2"), changed("Chapter!!!LAST.data")});
        loaded(client->requests[0],
               R"({"title":"Received","pages":2,"dateModified":")" + dateModified.toUtf8() + '"' + more + "}",
               "rev2");
    }
    void beginDeletion() {
        engine().fileMetadataManager().updateFileMetadataEquivalentToDropboxFileMetadata(
            metadata("Book!!!X.data"));
        receive({deleted("Book!!!X.data"), changed("Chapter!!!LAST.data")});
    }
    void endBatch() {
        loaded(client->requests.back(), R"({"heading":"H","dateModified":"2026-01-01 00:00:00 +0000"})");
        EXPECT_TRUE(desktop.world.errorPresenter->errors().empty())
            << desktop.world.errorPresenter->errors().front().message.toStdString();
        EXPECT_TRUE(desktop.find("LAST", "Chapter")) << "the rest of the batch was saved";
        EXPECT_FALSE(probe().hasSyncSupportContext());
    }
    void edit(const char* key = "title", const QVariant& value = "Host's") {
        book->setValueForKey(key, value);
        desktop.context->processPendingChanges();
    }
    // What another process would read.
    QWRef<QWManagedObject> stored(const QString& uuid = "X", const QString& entityName = "Book") {
        view = std::make_shared<QWManagedObjectContext>(desktop.coordinator, QWConcurrencyType::PrivateQueue);
        return QWRef<QWManagedObject>(
            QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, entityName, *view).data());
    }
    void expectBook(const QString& title, int pages) {
        for (const auto& version : {QWRef<QWManagedObject>(book.data()), stored()}) {
            EXPECT_EQ(version->valueForKey("title"), title);
            EXPECT_EQ(version->valueForKey("pages"), pages);
        }
    }
    bool isQueued() { return desktop.row(*book); }

    std::shared_ptr<QWManagedObjectContext> view;
};
