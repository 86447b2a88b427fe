#include "dropbox/folder/AppFolderFixture.h"

#include <ctime>
#include <map>
#include <rapidcheck.h>

using Code = QWAppFolderErrorCode;
using Mode = QWWriteMode;

class AppFolderFeedTest : public AppFolderTest {};
// Many folders or files: in a directory it would test the same statements and the speed of the disk.
class AppFolderFeedInMemoryTest : public AppFolderTest {};

INSTANTIATE_TEST_SUITE_P(InMemory, AppFolderFeedTest, ::testing::Values(FolderStore::Memory));
INSTANTIATE_TEST_SUITE_P(InMemory, AppFolderFeedInMemoryTest, ::testing::Values(FolderStore::Memory));
INSTANTIATE_TEST_SUITE_P(InADirectory, AppFolderFeedTest, ::testing::Values(FolderStore::Directory));

TEST_P(AppFolderFeedTest, An_empty_cursor_lists_what_stands_with_folders_before_their_contents) {
    add("/A/B/c");
    add("/d");
    add("/gone");
    ASSERT_TRUE(folder->remove("/gone"));
    const Query all = query();
    EXPECT_EQ(all.texts(), QStringList({"/a", "/a/b", "/a/b/c", "/d"}));
    EXPECT_EQ(all.entries[2]->metadata, folder->metadata("/A/B/c"));
    EXPECT_TRUE(all.entries[0]->metadata->isDirectory);
}

TEST_P(AppFolderFeedTest, An_empty_folder_lists_nothing_and_gives_a_cursor) {
    const Query nothing = query();
    EXPECT_TRUE(nothing.entries.isEmpty());
    add("/a");
    EXPECT_EQ(query(nothing.cursor).texts(), QStringList("/a"));
}

TEST_P(AppFolderFeedTest, A_cursor_gives_what_has_changed_since_each_path_once_with_its_present_state) {
    add("/stays");
    const DBMetadata first = add("/changed", "one");
    add("/gone");
    const QString cursor = query().cursor;

    const auto second = folder->upload("/changed", "two", Mode::update(first.rev));
    const auto third = folder->upload("/changed", "three", Mode::update(second->rev));
    ASSERT_TRUE(folder->remove("/gone"));
    add("/new");
    add("/fleeting");
    ASSERT_TRUE(folder->remove("/fleeting"));

    const Query changes = query(cursor);
    EXPECT_EQ(changes.texts(), QStringList({"/changed", "-/gone", "/new", "-/fleeting"}));
    EXPECT_EQ(changes.entries[0]->metadata, third);
    EXPECT_TRUE(query(changes.cursor).entries.isEmpty());
    EXPECT_EQ(query(cursor).texts(), changes.texts()) << "a cursor can be used again";
}

TEST_P(AppFolderFeedTest, Every_page_size_gives_the_same_query) {
    for (int i = 0; i < 7; ++i)
        add("/folder/" + QString::number(i));
    const QString start = query().cursor;
    for (int i = 3; i < 10; ++i)
        folder->upload("/folder/" + QString::number(i), "new", Mode::add(Mode::Rename));
    const QStringList listing = query().texts();
    const QStringList changes = query(start).texts();
    for (int limit = 1; limit <= 9; ++limit) {
        EXPECT_EQ(query({}, limit).texts(), listing) << limit;
        EXPECT_EQ(query(start, limit).texts(), changes) << limit;
        EXPECT_EQ(query(start, limit).pages, (changes.size() + limit - 1) / limit) << limit;
    }
}

TEST_P(AppFolderFeedTest, What_changes_while_the_pages_are_read_is_in_the_next_query) {
    const QString start = query().cursor;
    const DBMetadata b = (add("/a"), add("/b"));
    add("/c");
    const auto page = folder->changes(start, 1);
    ASSERT_TRUE(page->hasMore);

    folder->upload("/b", "changed", Mode::update(b.rev));
    ASSERT_TRUE(folder->remove("/a"));
    const Query rest = query(page->cursor, 1);
    EXPECT_EQ(rest.texts(), QStringList("/c"));
    EXPECT_EQ(query(rest.cursor).texts(), QStringList({"/b", "-/a"}));
}

TEST_P(AppFolderFeedTest, A_listing_lacks_nothing_that_stands_while_its_pages_are_read) {
    const DBMetadata a = add("/a");
    const DBMetadata b = add("/b");
    add("/c");
    const auto page = folder->changes({}, 1);
    const auto newA = folder->upload("/a", "changed", Mode::update(a.rev));
    const auto newB = folder->upload("/b", "changed", Mode::update(b.rev));
    ASSERT_TRUE(folder->remove("/c"));

    const Query rest = query(page->cursor, 1);
    EXPECT_EQ(rest.texts(), QStringList("/b"));
    EXPECT_EQ(rest.entries[0]->metadata, newB);
    const Query next = query(rest.cursor);
    EXPECT_EQ(next.texts(), QStringList({"/a", "/b", "-/c"}));
    EXPECT_EQ(next.entries[0]->metadata, newA);
}

TEST_P(AppFolderFeedTest, A_cursor_that_is_unknown_is_lost) {
    add("/a");
    const QString cursor = query().cursor;
    const auto other = makeFolder();
    const QString key = cursor.left(cursor.indexOf('-'));
    for (const QString& unknown :
         {QString("nonsense"), QString("a-b-c-d"), cursor + "0", cursor + "-0", key + "-c-x-0",
          key + "-c-ffff-0", key + "-l-0-ffff", other->changes({}, 1)->cursor}) {
        EXPECT_FALSE(folder->changes(unknown, 10, &error)) << unknown.toStdString();
        EXPECT_EQ(codeOf(error), Code::CursorLost);
    }
}

TEST_P(AppFolderFeedTest, Forgotten_cursors_are_lost_and_new_ones_are_not) {
    add("/a");
    const QString cursor = query().cursor;
    ASSERT_TRUE(folder->forgetCursors());
    EXPECT_FALSE(folder->changes(cursor, 10, &error));
    EXPECT_EQ(codeOf(error), Code::CursorLost);
    EXPECT_TRUE(query(query().cursor).entries.isEmpty());
}

TEST_P(AppFolderFeedTest, A_deleted_folder_comes_before_its_children) {
    add("/f/b/x");
    add("/f/a");
    const QString cursor = query().cursor;
    ASSERT_TRUE(folder->remove("/f/a"));
    ASSERT_TRUE(folder->remove("/F"));
    EXPECT_EQ(query(cursor).texts(), QStringList({"-/f", "-/f/b", "-/f/b/x"}))
        << "a child deleted before is covered by the folder";
}

TEST_P(AppFolderFeedTest, A_deleted_folder_can_come_alone) {
    folder = makeFolder({.reportsChildrenOfDeletedFolders = false});
    add("/f/b/x");
    add("/f/a");
    const QString cursor = query().cursor;
    add("/f/later");
    ASSERT_TRUE(folder->remove("/f"));
    EXPECT_EQ(query(cursor).texts(), QStringList("-/f"));
}

TEST_P(AppFolderFeedTest, A_folder_made_again_still_tells_that_its_old_children_are_gone) {
    for (const bool reportsChildren : {true, false}) {
        folder = makeFolder({.reportsChildrenOfDeletedFolders = reportsChildren});
        add("/f/a");
        add("/f/b/c");
        const QString cursor = query().cursor;
        ASSERT_TRUE(folder->remove("/f/a"));
        ASSERT_TRUE(folder->remove("/f"));
        add("/f/b/new");
        QStringList changes = query(cursor).texts();
        changes.sort();
        EXPECT_EQ(changes, QStringList({"-/f/a", "-/f/b/c", "/f", "/f/b", "/f/b/new"})) << reportsChildren;
    }
}

TEST_P(AppFolderFeedTest, A_file_in_the_place_of_a_folder_tells_that_the_children_are_gone) {
    folder = makeFolder({.reportsChildrenOfDeletedFolders = false});
    add("/f/a");
    const QString cursor = query().cursor;
    ASSERT_TRUE(folder->remove("/f"));
    add("/f", "a file now");
    EXPECT_EQ(query(cursor).texts(), QStringList({"/f", "-/f/a"}));
}

TEST_P(AppFolderFeedTest, Deleting_the_newest_things_gives_changes_newer_than_any_cursor) {
    folder = makeFolder({.reportsChildrenOfDeletedFolders = false});
    add("/f/a");
    for (int i = 0; i < 3; ++i)
        add("/f/" + QString::number(i));
    const QString cursor = query().cursor;
    ASSERT_TRUE(folder->remove("/f"));
    EXPECT_EQ(query(cursor).texts(), QStringList("-/f"));
}

namespace {

// What a follower of the feed knows: revision by path, "" for a folder.
using Mirror = std::map<QString, QString>;

void follow(Mirror& mirror, const QList<DBDeltaEntryRef>& entries) {
    for (const DBDeltaEntryRef& entry : entries) {
        const QString path = entry->lowercasePath;
        if (!entry->metadata || !entry->metadata->isDirectory) {
            mirror.erase(path);
            std::erase_if(mirror, [&](const auto& item) { return item.first.startsWith(path + '/'); });
        }
        if (entry->metadata)
            mirror[path] = entry->metadata->rev;
    }
}

} // namespace

TEST_P(AppFolderFeedInMemoryTest, Whoever_follows_the_feed_ends_with_what_stands_after_any_operations) {
    const auto holds = [this](bool reportsChildren) {
        folder = makeFolder({.reportsChildrenOfDeletedFolders = reportsChildren});
        Mirror mirror;
        QString cursor;
        const auto name = rc::gen::element<QString>("/a", "/b", "/A/c", "/a/d", "/a/d/e", "/b/f", "/b/f/g");
        for (int operation = 0; operation < 40; ++operation) {
            const QString path = *name;
            switch (*rc::gen::inRange(0, 6)) {
            case 0:
                folder->remove(path);
                break;
            case 1:
                folder->createFolder(path);
                break;
            case 2: {
                const int limit = *rc::gen::inRange(1, 4);
                const auto page = folder->changes(cursor, limit);
                RC_ASSERT(page.has_value());
                follow(mirror, page->entries);
                cursor = page->cursor;
                break;
            }
            default: {
                const auto standing = folder->metadata(path);
                const QByteArray bytes = QByteArray::number(*rc::gen::inRange(0, 3));
                folder->upload(path, bytes, Mode::update(standing ? standing->rev : "000000000"));
            }
            }
        }
        // The rest of a query that was begun, then a whole one.
        for (int i = 0; i < 2; ++i) {
            const Query rest = query(cursor, 2);
            follow(mirror, rest.entries);
            cursor = rest.cursor;
        }
        Mirror standing;
        follow(standing, query().entries);
        RC_ASSERT(mirror == standing);
    };
    EXPECT_TRUE(rc::check("with the children's deletions", [&] { holds(true); }));
    EXPECT_TRUE(rc::check("with the folder's deletion alone", [&] { holds(false); }));
}

TEST_P(AppFolderFeedInMemoryTest, One_of_many_changes_costs_no_more_than_one_of_few) {
    const auto costOfOne = [&](int files) {
        folder = makeFolder();
        const std::clock_t start = std::clock();
        for (int i = 0; i < files; ++i)
            add("/folder/file " + QString::number(i), QByteArray(300, 'x'));
        EXPECT_EQ(query({}, 100).entries.size(), files + 1);
        return double(std::clock() - start) / files;
    };
    costOfOne(500); // warms the caches
    const double few = costOfOne(1'000);
    const double many = costOfOne(20'000);
    EXPECT_LT(many, 6 * few) << "20 times is what a quadratic cost would be";
}
