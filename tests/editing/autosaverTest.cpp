#include "editing/QWManagedObjectContextAutosaver.h"
#include "store/StoreFixture.h"
#include "support/AssertionProbe.h"
#include "testing/QWLogCapture.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

// A presenter that does something while it shows the error, as a message box runs the event loop.
struct BusyErrorPresenter final : QWErrorPresenter {
    void presentError(const QWError& error) override {
        messages << error.message;
        whileShown();
    }
    QStringList messages;
    std::function<void()> whileShown = [] {};
};

struct Autosaver : StoreTest {
    void SetUp() override {
        StoreTest::SetUp();
        editor = context->registerEditor([this] {
            ++commits;
            return editorAgrees;
        });
        willSave = context->observeWillSave([this] { saves.push_back(world.runLoop->now() - start); });
        start = world.runLoop->now();
        autosaver = std::make_unique<QWManagedObjectContextAutosaver>(context);
    }

    // What a save refuses: a tag must have a name.
    Ref insertWhatCannotBeSaved() { return insert("Tag"); }
    size_t savedAuthors() { return fetchIn(*makeContext(), "Author").size(); }

    QWRunLoop::Duration start{};
    std::vector<QWRunLoop::Duration> saves; // when, since the autosaver was made
    int commits = 0;
    bool editorAgrees = true;
    QWObservation editor, willSave;
    std::unique_ptr<QWManagedObjectContextAutosaver> autosaver;
};

TEST_F(Autosaver, Ticks_every_ten_seconds_from_its_creation) {
    EXPECT_EQ(QWAutoSaveTimeInterval, 10.0);
    insert("Author");
    world.runLoop->advance(9999ms);
    EXPECT_EQ(savedAuthors(), 0u);
    world.runLoop->advance(1ms);
    EXPECT_EQ(savedAuthors(), 1u);
    EXPECT_FALSE(context->hasChanges());
    world.runLoop->advance(3s);
    insert("Author");
    world.runLoop->advance(60s);
    EXPECT_EQ(savedAuthors(), 2u);
    EXPECT_THAT(saves, ElementsAre(10s, 20s));
}

TEST_F(Autosaver, Asks_a_context_without_changes_neither_to_commit_nor_to_save) {
    world.runLoop->advance(1h);
    autosaver->autosave();
    EXPECT_EQ(commits, 0);
    EXPECT_TRUE(saves.empty());
}

TEST_F(Autosaver, Saves_edits_and_deletions_as_well_as_insertions) {
    const auto author = insert("Author");
    save();
    EXPECT_TRUE(author->setValueForKey("name", "Ada"));
    world.runLoop->advance(10s);
    EXPECT_EQ(names(fetchIn(*makeContext(), "Author"), "name"), QStringList{"Ada"});
    context->deleteObject(*author);
    world.runLoop->advance(10s);
    EXPECT_EQ(savedAuthors(), 0u);
}

TEST_F(Autosaver, Leaves_changes_unsaved_while_disabled_and_saves_them_at_the_next_tick_after) {
    EXPECT_FALSE(autosaver->disableAutosave());
    autosaver->setDisableAutosave(true);
    EXPECT_TRUE(autosaver->disableAutosave());
    insert("Author");
    world.runLoop->advance(25s);
    autosaver->autosave();
    EXPECT_EQ(commits, 0);
    EXPECT_EQ(savedAuthors(), 0u);
    autosaver->setDisableAutosave(false);
    EXPECT_EQ(savedAuthors(), 0u);
    world.runLoop->advance(5s); // the ticks have gone on
    EXPECT_EQ(savedAuthors(), 1u);
}

TEST_F(Autosaver, Lets_the_editors_commit_before_it_saves) {
    const auto author = insert("Author");
    const auto typing = context->registerEditor([&] { return author->setValueForKey("name", "typed"); });
    world.runLoop->advance(10s);
    EXPECT_EQ(commits, 1);
    EXPECT_EQ(names(fetchIn(*makeContext(), "Author"), "name"), QStringList{"typed"});
    EXPECT_THAT(saves, ElementsAre(10s)); // one save, with what was typed
}

TEST_F(Autosaver, Logs_an_editor_that_refuses_and_saves_all_the_same) {
    editorAgrees = false;
    insert("Author");
    const QWLogCapture log;
    world.runLoop->advance(10s);
    EXPECT_EQ(
        log.texts("qwlibrary.editing"),
        QStringList{"QWManagedObjectContextAutosaver:autosave: unable to commit editing before saving"});
    EXPECT_EQ(savedAuthors(), 1u);
    EXPECT_TRUE(world.errorPresenter->errors().empty());
}

TEST_F(Autosaver, Presents_a_failing_save_once_for_each_tick_and_keeps_the_changes) {
    const auto tag = insertWhatCannotBeSaved();
    insert("Author");
    world.runLoop->advance(30s);
    ASSERT_EQ(world.errorPresenter->errors().size(), 3u);
    EXPECT_EQ(world.errorPresenter->errors()[0].domain, "store");
    EXPECT_THAT(world.errorPresenter->errors()[0].message.toStdString(), testing::HasSubstr("Tag"));
    EXPECT_TRUE(context->hasChanges());
    EXPECT_EQ(savedAuthors(), 0u);
    EXPECT_TRUE(tag->setValueForKey("name", "mended"));
    world.runLoop->advance(30s);
    EXPECT_EQ(world.errorPresenter->errors().size(), 3u);
    EXPECT_EQ(savedAuthors(), 1u);
}

TEST_F(Autosaver, Ends_with_its_destruction) {
    insert("Author");
    autosaver.reset();
    world.runLoop->advance(1h);
    EXPECT_TRUE(saves.empty());
    EXPECT_TRUE(context->hasChanges());
}

TEST_F(Autosaver, Saves_what_an_editor_commits_that_destroys_it) {
    const auto author = insert("Author");
    const auto closing = context->registerEditor([&] {
        EXPECT_TRUE(author->setValueForKey("name", "typed"));
        autosaver.reset();
        context.reset();
        return true;
    });
    world.runLoop->advance(1h);
    EXPECT_EQ(names(fetchIn(*makeContext(), "Author"), "name"), QStringList{"typed"});
    EXPECT_THAT(saves, ElementsAre(10s));
}

TEST_F(Autosaver, Keeps_its_context) {
    insert("Author");
    willSave = {};
    context.reset();
    world.runLoop->advance(10s);
    EXPECT_EQ(savedAuthors(), 1u);
}

TEST_F(Autosaver, Serves_any_context_of_a_store_each_by_itself) {
    const auto other = makeContext(QWConcurrencyType::PrivateQueue);
    const QWManagedObjectContextAutosaver ofOther(other);
    insert("Author");
    insertIn(*other, "Author");
    autosaver->setDisableAutosave(true);
    world.runLoop->advance(10s);
    EXPECT_FALSE(other->hasChanges());
    EXPECT_TRUE(context->hasChanges());
}

TEST(AutosaverConstruction, Without_a_context_is_a_programming_error) {
    const auto failure = assertionFailure([] { QWManagedObjectContextAutosaver autosaver(nullptr); });
    EXPECT_EQ(failure.expression, "context");
    EXPECT_EQ(failure.operation, "-[QWManagedObjectContextAutosaver initWithManagedObjectContext:]");
    EXPECT_EQ(failure.file, "QWManagedObjectContextAutosaver.cpp");
    EXPECT_FALSE(std::is_default_constructible_v<QWManagedObjectContextAutosaver>);
}

struct AutosaverWithBusyPresenter : Autosaver {
    void SetUp() override {
        environment = std::make_shared<QWEnvironment>(QWEnvironment::Parts{.runLoop = world.runLoop,
                                                                           .clock = world.clock,
                                                                           .uuids = world.uuids,
                                                                           .files = world.files,
                                                                           .errorPresenter = presenter});
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(libraryModel(), environment);
        ASSERT_TRUE(coordinator->addStore(folder.filePath("library.sqlite")));
        context = makeContext();
        autosaver = std::make_unique<QWManagedObjectContextAutosaver>(context);
        insertWhatCannotBeSaved();
    }
    std::shared_ptr<BusyErrorPresenter> presenter = std::make_shared<BusyErrorPresenter>();
    std::shared_ptr<QWEnvironment> environment;
};

TEST_F(AutosaverWithBusyPresenter, Shows_one_error_at_a_time) {
    presenter->whileShown = [this] {
        world.runLoop->advance(1h);
        presenter->whileShown = [] {};
    };
    world.runLoop->advance(10s);
    EXPECT_EQ(presenter->messages.size(), 1);
    world.runLoop->advance(10s);
    EXPECT_EQ(presenter->messages.size(), 2);
}

TEST_F(AutosaverWithBusyPresenter, May_be_destroyed_while_its_error_is_shown) {
    presenter->whileShown = [this] {
        autosaver.reset();
        context.reset();
    };
    world.runLoop->advance(1h);
    EXPECT_EQ(presenter->messages.size(), 1);
}

} // namespace
