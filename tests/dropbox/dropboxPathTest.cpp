#include "dropbox/DBContentHash.h"
#include "dropbox/DBPath.h"

#include <QCryptographicHash>
#include <gtest/gtest.h>

TEST(DropboxPath, Paths_that_differ_in_letter_case_are_equal) {
    EXPECT_TRUE(isEqualToDropboxPath("/SyncCache.dbSync", "/synccache.DBSYNC"));
    EXPECT_TRUE(isEqualToDropboxPath(QStringLiteral("/Übung"), QStringLiteral("/übung")));
    EXPECT_FALSE(isEqualToDropboxPath("/SyncCache.dbSync", "/SyncCache"));
}

TEST(DropboxPath, A_trailing_slash_does_not_count) {
    EXPECT_TRUE(isEqualToDropboxPath("/Folder/", "/folder"));
    EXPECT_TRUE(isEqualToDropboxPath("/", ""));
    EXPECT_FALSE(isEqualToDropboxPath("/Folder/a", "/Folder"));
}

TEST(DropboxContentHash, An_empty_file_has_the_hash_of_nothing) {
    EXPECT_EQ(dropboxContentHash({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST(DropboxContentHash, Blocks_of_4_MiB_are_hashed_one_by_one_and_then_together) {
    const auto sha256 = [](const QByteArray& bytes) {
        return QCryptographicHash::hash(bytes, QCryptographicHash::Sha256);
    };
    const QByteArray block(4 * 1024 * 1024, 'b');
    EXPECT_EQ(dropboxContentHash("small"), QString::fromLatin1(sha256(sha256("small")).toHex()));
    EXPECT_EQ(dropboxContentHash(block), QString::fromLatin1(sha256(sha256(block)).toHex()));
    EXPECT_EQ(dropboxContentHash(block + block + "tail"),
              QString::fromLatin1(sha256(sha256(block) + sha256(block) + sha256("tail")).toHex()));
}
