#include "sync/QWDeltaOrder_p.h"

#include "testing/QWSeededUUIDSource.h"

#include <gtest/gtest.h>

using namespace qw::sync;

namespace {

const QStringList entityNames{"Author", "Book", "Chapter"};

QStringList sorted(const QStringList& paths) {
    std::vector<DBDeltaEntryRef> entries;
    for (const QString& path : paths)
        entries.push_back(DBMakeDeltaEntry(path));
    sortDeltaEntries(entries, entityNames);
    QStringList result;
    for (const auto& entry : entries)
        result.append(entry->lowercasePath);
    return result;
}

} // namespace

TEST(DeltaOrder, The_key_holds_depth_kind_entity_and_name) {
    struct Row {
        const char *path, *key;
    };
    for (const Row& row : {
             Row{"/synccache.dbsync", "2synccache.dbsync"},
             Row{"/preferencessync.data", "2preferencessync.data"},
             Row{"/synccache.dbsync/author!!!x.data", "3000author!!!x.data"},
             Row{"/synccache.dbsync/chapter!!!x.data", "3002chapter!!!x.data"},
             Row{"/synccache.dbsync/book!!!x.image", "3101book!!!x.image"},
             Row{"/synccache.dbsync/bookauthor!!!x.data", "30bookauthor!!!x.data"},
             Row{"/synccache.dbsync/notes.txt", "31notes.txt"},
             Row{"/synccache.dbsync/sub/book!!!x.data", "4001book!!!x.data"},
         })
        EXPECT_EQ(deltaOrderKey(row.path, entityNames), row.key);
}

TEST(DeltaOrder, The_folder_comes_first_then_records_in_dependency_order_then_images) {
    EXPECT_EQ(sorted({
                  "/synccache.dbsync/author!!!a.image",
                  "/synccache.dbsync/chapter!!!a.data",
                  "/synccache.dbsync/other!!!a.data",
                  "/synccache.dbsync/book!!!b.data",
                  "/synccache.dbsync/book!!!a.data",
                  "/synccache.dbsync",
                  "/synccache.dbsync/author!!!z.data",
              }),
              QStringList({
                  "/synccache.dbsync",
                  "/synccache.dbsync/author!!!z.data",
                  "/synccache.dbsync/book!!!a.data",
                  "/synccache.dbsync/book!!!b.data",
                  "/synccache.dbsync/chapter!!!a.data",
                  "/synccache.dbsync/other!!!a.data",
                  "/synccache.dbsync/author!!!a.image",
              }));
}

TEST(DeltaOrder, Depth_is_compared_as_text_and_letter_case_is_ignored) {
    EXPECT_EQ(sorted({"/b", "/A", "/a/b/c/d/e/f/g/h/i", "/x/y"}),
              QStringList({"/a/b/c/d/e/f/g/h/i", "/A", "/b", "/x/y"}));
}

TEST(DeltaOrder, Entries_with_equal_keys_keep_their_order) {
    QStringList paths;
    for (int index = 0; index < 100; ++index) // many: few are sorted in a way that keeps the order by chance
        paths.append(QStringLiteral("/%1/q.txt").arg(index * 37 % 100));
    paths.append("/A/Q.txt");
    EXPECT_EQ(sorted(paths), paths);
}
