#include "platform/text/QWText.h"

#include <gmock/gmock.h>

namespace {

using namespace qw::text;

struct PathRow {
    QString path;
    QString last;
    QString extension;
    QString without;
    QStringList components;
};

class Path : public testing::TestWithParam<PathRow> {};

TEST_P(Path, Has_these_pieces) {
    const PathRow& row = GetParam();
    EXPECT_EQ(lastPathComponent(row.path), row.last);
    EXPECT_EQ(pathExtension(row.path), row.extension);
    EXPECT_EQ(deletingPathExtension(row.path), row.without);
    EXPECT_EQ(pathComponents(row.path), row.components);
}

INSTANTIATE_TEST_SUITE_P(Table, Path,
                         testing::Values(PathRow{"/", "/", "", "/", {"/"}},
                                         PathRow{"/a", "a", "", "/a", {"/", "a"}},
                                         PathRow{"/a/b.c", "b.c", "c", "/a/b", {"/", "a", "b.c"}},
                                         PathRow{"/a/", "a", "", "/a", {"/", "a", "/"}},
                                         PathRow{"a..b", "a..b", "b", "a.", {"a..b"}},
                                         PathRow{".data", ".data", "", ".data", {".data"}},
                                         PathRow{"/a/.data", ".data", "", "/a/.data", {"/", "a", ".data"}},
                                         PathRow{"x.da ta", "x.da ta", "da ta", "x", {"x.da ta"}},
                                         PathRow{"", "", "", "", {}}, PathRow{"//", "/", "", "/", {"/"}},
                                         PathRow{"a//b", "b", "", "a//b", {"a", "b"}},
                                         PathRow{"/a.b/c", "c", "", "/a.b/c", {"/", "a.b", "c"}},
                                         PathRow{"/a.b/", "a.b", "b", "/a", {"/", "a.b", "/"}},
                                         PathRow{"a.", "a.", "", "a.", {"a."}}));

struct JoinRow {
    QString folder;
    QString component;
    QString joined;
};

class AppendedPath : public testing::TestWithParam<JoinRow> {};

TEST_P(AppendedPath, Has_one_slash_between_its_parts) {
    EXPECT_EQ(appendingPathComponent(GetParam().folder, GetParam().component), GetParam().joined);
}

INSTANTIATE_TEST_SUITE_P(Table, AppendedPath,
                         testing::Values(JoinRow{"/a", "b", "/a/b"}, JoinRow{"/a/", "b", "/a/b"},
                                         JoinRow{"/a", "/b", "/a/b"}, JoinRow{"/", "b", "/b"},
                                         JoinRow{"", "b", "b"}, JoinRow{"a", "b/", "a/b"},
                                         JoinRow{"/a", "", "/a"}, JoinRow{"/", "/", "/"}));

struct SplitRow {
    QString text;
    QString separator;
    QStringList pieces;
};

class SeparatedText : public testing::TestWithParam<SplitRow> {};

TEST_P(SeparatedText, Keeps_empty_pieces) {
    EXPECT_EQ(components(GetParam().text, GetParam().separator), GetParam().pieces);
}

INSTANTIATE_TEST_SUITE_P(Table, SeparatedText,
                         testing::Values(SplitRow{"", "!!!", {""}}, SplitRow{"!!!", "!!!", {"", ""}},
                                         SplitRow{"a!!!!b", "!!!", {"a", "!b"}},
                                         SplitRow{"notes.txt", "!!!", {"notes.txt"}},
                                         SplitRow{"Book!!!1", "!!!", {"Book", "1"}},
                                         SplitRow{"abc", "", {"abc"}}));

} // namespace
