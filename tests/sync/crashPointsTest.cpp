#include "support/Desktop.h"

// A desktop dies at each single step of a day's work: before and after every commit of either store, inside
// every change notice, between any two turns of the run loop. Started again, it must come in step with the
// other, with everything that its host, or the other, had saved.

namespace {

struct Death {};

struct Worlds {
    Cloud cloud;
    Desktop a, b;
    int stepsToLive = -1; // of desktop a; negative: for ever
    std::vector<QWObservation> observations;

    explicit Worlds(Desktop::Supervision supervision) : a(cloud, 1, supervision), b(cloud, 2, supervision) {
        for (int index = 0; index < 3; ++index) {
            const auto book = a.add("Book", {{"title", QStringLiteral("Old %1").arg(index)}});
            book->setUuid(QStringLiteral("BOOK-%1").arg(index));
            a.setImage(*book, QByteArray::number(index));
        }
        for (Desktop* side : {&a, &a, &b}) // the activation that finds no folder reads no cursor
            side->sync();
        a.advance(std::chrono::seconds(60));
        a.didStart = [this] { watch(); };
        watch();
    }

    void step() {
        if (stepsToLive >= 0 && stepsToLive-- == 0)
            throw Death();
    }
    void watch() {
        observations.clear();
        for (auto* context : {a.context.get(), a.engine->dropboxCacheManagedObjectContext().get()}) {
            observations.push_back(context->observeWillSave([this] { step(); }));
            observations.push_back(context->observeDidSave([this](const QWDidSaveNotice&) { step(); }));
        }
        observations.push_back(
            a.context->observeObjectsDidChange([this](const QWObjectsDidChangeNotice&) { step(); }));
    }

    // Lets desktop a work until it is idle, each callback a step.
    void runUntilIdle() {
        while (!a.isIdle()) {
            step();
            ASSERT_TRUE(a.world.runLoop->runNext());
        }
    }
    void runFor(QWRunLoop::Duration time) {
        auto& runLoop = *a.world.runLoop;
        const auto end = runLoop.after(time, [] {}); // a death may come before it
        while (end.isPending()) {
            step();
            ASSERT_TRUE(runLoop.runNext());
        }
    }
    void syncA() {
        if (a.engine->status() >= QWDropboxSyncStatusDisabled)
            a.activate();
        else
            a.askForChanges();
        runUntilIdle();
    }
    void saveA() {
        a.save();
        step();
    }

    desktop::Record book(Desktop& side, int index) { return side.find(QStringLiteral("BOOK-%1").arg(index)); }
    void addBook(Desktop& side, const QString& uuid) {
        const auto book = side.add("Book", {{"title", "New " + uuid}});
        book->setUuid(uuid);
        side.setImage(*book, uuid.toUtf8());
        book->setRelatedObject("author", side.add("Author", {{"name", uuid}}).data());
    }
    void editDeleteAndAdd(Desktop& side, const QString& name) {
        book(side, 0)->setValueForKey("title", name);
        side.context->deleteObject(*book(side, 1));
        addBook(side, name);
    }

    void settle() {
        stepsToLive = -1;
        for (int round = 0; round < 4; ++round) {
            a.sync();
            b.sync();
        }
    }
    QStringList titles() {
        QStringList titles;
        for (const auto& each : a.context->fetch(QWFetchRequest("Book")).value_or(QWManagedObjectSet()))
            titles.append(each->valueForKey("title").toString());
        titles.sort();
        return titles;
    }
};

// Lets desktop a die at every step of the scenario in turn, and checks what it comes to after each death.
void dieEverywhere(const std::function<void(Worlds&)>& scenario,
                   const std::function<void(Worlds&)>& expectation,
                   Desktop::Supervision supervision = Desktop::Alone) {
    bool isOver = false;
    int deaths = 0;
    for (; !isOver && !testing::Test::HasFailure(); ++deaths) {
        SCOPED_TRACE("death at step " + std::to_string(deaths));
        Worlds worlds(supervision);
        worlds.stepsToLive = deaths;
        try {
            scenario(worlds);
            isOver = true;
        } catch (const Death&) {
            worlds.a.crash();
            worlds.stepsToLive = -1;
            worlds.a.start();
        }
        worlds.settle();
        EXPECT_EQ(worlds.a.contents(), worlds.b.contents());
        EXPECT_EQ(worlds.a.rows("JournalEntry"), 0);
        expectation(worlds);
    }
    EXPECT_GT(deaths, 10);
}

} // namespace

TEST(CrashPoints, An_edit_saved_and_then_sent_loses_and_doubles_nothing) {
    bool isSaved = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isSaved = false;
            worlds.editDeleteAndAdd(worlds.a, "A");
            worlds.saveA();
            isSaved = true;
            worlds.syncA();
        },
        [&](Worlds& worlds) {
            const QStringList before{"Old 0", "Old 1", "Old 2"}, after{"A", "New A", "Old 2"};
            EXPECT_TRUE(worlds.titles() == after || (!isSaved && worlds.titles() == before));
        });
}

TEST(CrashPoints, An_edit_sent_before_it_is_saved_leaves_both_in_step) {
    bool isSaved = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isSaved = false;
            worlds.syncA();
            worlds.editDeleteAndAdd(worlds.a, "A");
            worlds.a.context->processPendingChanges();
            worlds.runUntilIdle();
            worlds.saveA();
            isSaved = true;
            worlds.syncA();
        },
        [&](Worlds& worlds) {
            EXPECT_TRUE(worlds.titles().contains("Old 2"));
            EXPECT_TRUE(!isSaved || worlds.titles() == QStringList({"A", "New A", "Old 2"}));
        });
}

TEST(CrashPoints, A_batch_received_loses_and_doubles_nothing) {
    dieEverywhere(
        [](Worlds& worlds) {
            worlds.editDeleteAndAdd(worlds.b, "B");
            worlds.b.sync();
            worlds.syncA();
        },
        [](Worlds& worlds) {
            EXPECT_EQ(worlds.titles(), QStringList({"B", "New B", "Old 2"}));
        });
}

TEST(CrashPoints, Edits_on_both_sides_meet_and_the_later_one_wins) {
    bool isEditedThere = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isEditedThere = false;
            worlds.book(worlds.a, 2)->setValueForKey("title", "Earlier");
            worlds.saveA();
            worlds.a.advance(std::chrono::seconds(10));
            worlds.book(worlds.b, 2)->setValueForKey("title", "Later");
            worlds.b.sync();
            isEditedThere = true;
            worlds.addBook(worlds.a, "A");
            worlds.saveA();
            worlds.syncA();
            worlds.syncA();
        },
        [&](Worlds& worlds) {
            EXPECT_EQ(worlds.titles().contains("Later"), isEditedThere);
            EXPECT_FALSE(isEditedThere && worlds.titles().contains("Earlier"));
        });
}

TEST(CrashPoints, A_conflicted_copy_is_merged_or_still_there) {
    bool isEditedThere = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isEditedThere = false;
            worlds.syncA();
            worlds.book(worlds.a, 2)->setValueForKey("title", "Earlier");
            worlds.saveA();
            worlds.runUntilIdle();
            // Desktop b does not know of that version when it sends its own.
            worlds.a.advance(std::chrono::seconds(10));
            worlds.book(worlds.b, 2)->setValueForKey("title", "Later");
            worlds.b.save();
            worlds.b.world.runLoop->runUntil([&] { return worlds.b.isIdle(); });
            isEditedThere = true;
            worlds.syncA();
            worlds.syncA();
        },
        [&](Worlds& worlds) {
            EXPECT_EQ(worlds.titles().contains("Later"), isEditedThere);
            EXPECT_EQ(worlds.cloud.fileNames().filter("conflicted copy"), QStringList());
        });
}

TEST(CrashPoints, Changes_that_are_rolled_back_after_they_were_sent_leave_both_in_step) {
    dieEverywhere(
        [](Worlds& worlds) {
            worlds.syncA();
            worlds.editDeleteAndAdd(worlds.a, "A");
            worlds.a.context->processPendingChanges();
            worlds.runUntilIdle();
            worlds.a.context->rollback();
            worlds.a.advance(std::chrono::milliseconds(1));
            worlds.runUntilIdle();
        },
        [](Worlds& worlds) { EXPECT_TRUE(worlds.titles().contains("Old 2")); });
}

TEST(CrashPoints, A_full_re_upload_loses_nothing) {
    bool isSaved = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isSaved = false;
            ASSERT_TRUE(worlds.cloud.folder->remove("/SyncCache.dbSync"));
            worlds.book(worlds.a, 0)->setValueForKey("title", "A");
            worlds.saveA();
            isSaved = true;
            worlds.syncA();
        },
        [&](Worlds& worlds) {
            EXPECT_EQ(worlds.titles().size(), 3);
            EXPECT_TRUE(!isSaved || worlds.titles().contains("A"));
        });
}

// Under a supervisor: the engine alone loses what is made again, whether it dies or not. The deletion is listed after it
// was answered, or before.
struct DeletionOnItsWay : testing::TestWithParam<std::chrono::seconds> {};

TEST_P(DeletionOnItsWay, What_is_made_again_meanwhile_is_on_both_once_it_is_saved) {
    bool isSaved = false;
    dieEverywhere(
        [&](Worlds& worlds) {
            isSaved = false;
            worlds.a.client->on(QWRestRequest::Delete).first(2).delaysAnswer(GetParam());
            worlds.a.context->deleteObject(*worlds.book(worlds.a, 1));
            worlds.saveA();
            worlds.runFor(std::chrono::seconds(2));
            worlds.a.add("Book", {{"title", "Again"}})->setUuid("BOOK-1");
            worlds.saveA();
            isSaved = true;
            worlds.runUntilIdle();
        },
        [&](Worlds& worlds) { EXPECT_TRUE(!isSaved || worlds.titles().contains("Again")); },
        Desktop::Supervised);
}

INSTANTIATE_TEST_SUITE_P(CrashPoints, DeletionOnItsWay,
                         testing::Values(std::chrono::seconds(5), std::chrono::seconds(700)));
