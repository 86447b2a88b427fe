#include "dropbox/http/QWDeltaQuery_p.h"

#include <gtest/gtest.h>

namespace {

using qw::http::Page;

Page::Entry file(const QString& path) {
    return {path, DBMetadata{path, "0123456789", {}, {}, 1, false}};
}
Page::Entry folder(const QString& path) {
    return {path, DBMetadata{path, {}, {}, {}, 0, true}};
}
Page::Entry deleted(const QString& path) {
    return {path, std::nullopt};
}

// What the entries come to; a deleted path starts with "-".
QStringList outcome(const QList<Page::Entry>& entries) {
    QWDeltaQuery query("c0");
    query.add({entries, "c1", false});
    QStringList result;
    for (const auto& entry : query.entries())
        result += (entry->metadata ? "" : "-") + entry->lowercasePath;
    return result;
}

TEST(DeltaQuery, A_folder_comes_before_what_is_in_it_and_its_deletion_before_theirs) {
    EXPECT_EQ(outcome({file("/f/b"), file("/f/a"), folder("/f")}), QStringList({"/f", "/f/a", "/f/b"}));
    EXPECT_EQ(outcome({deleted("/f/b"), deleted("/f")}), QStringList({"-/f", "-/f/b"}));
}

TEST(DeltaQuery, A_deleted_folder_takes_along_what_was_said_of_its_content) {
    EXPECT_EQ(outcome({file("/f/a"), folder("/f/g"), file("/f/g/b"), file("/f!"), deleted("/f")}),
              QStringList({"-/f", "/f!", "-/f/a", "-/f/g", "-/f/g/b"}));
}

TEST(DeltaQuery, What_comes_after_a_deletion_stands) {
    EXPECT_EQ(outcome({file("/f/a"), deleted("/f"), folder("/f"), file("/f/b")}),
              QStringList({"/f", "-/f/a", "/f/b"}));
}

TEST(DeltaQuery, A_file_in_the_place_of_a_folder_takes_away_its_content) {
    EXPECT_EQ(outcome({folder("/f"), file("/f/a"), file("/f")}), QStringList({"/f", "-/f/a"}));
}

TEST(DeltaQuery, A_folder_that_is_said_again_keeps_its_content) {
    EXPECT_EQ(outcome({file("/f/a"), folder("/f")}), QStringList({"/f", "/f/a"}));
}

TEST(DeltaQuery, The_last_of_several_entries_counts) {
    QWDeltaQuery query("c0");
    query.add({{deleted("/a"), file("/b")}, "c1", true});
    query.add({{file("/a"), Page::Entry{"/b", DBMetadata{"/B", "newer", {}, {}, 2, false}}}, "c2", false});
    ASSERT_EQ(query.entries().size(), 2);
    EXPECT_TRUE(query.entries()[0]->metadata);
    EXPECT_EQ(query.entries()[1]->metadata->rev, "newer");
    EXPECT_EQ(query.start(), "c0");
    EXPECT_EQ(query.cursor(), "c2");
}

} // namespace
