#include "util/NSData_HexadecimalString.h"
#include "util/NSFileManager_fileExistsAtURL.h"
#include "util/NSString_NSStringNoCombiningMarks.h"
#include "util/NSString_URLSupport.h"

#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace {

struct Row {
    QString in;
    QString out;
};

class PercentEscapes : public testing::TestWithParam<Row> {};

TEST_P(PercentEscapes, Leave_only_unreserved_characters) {
    EXPECT_EQ(stringByAddingStandardPercentEscapesUsingEncoding(GetParam().in), GetParam().out);
}

INSTANTIATE_TEST_SUITE_P(Table, PercentEscapes,
                         testing::Values(Row{"a b&c", "a%20b%26c"}, Row{"/?", "%2F%3F"}, Row{"%41", "%2541"},
                                         Row{"AZaz09-._~", "AZaz09-._~"},
                                         Row{"!*'();:@&=+$,/?%#[]", "%21%2A%27%28%29%3B%3A%40%26%3D%2B%24%2C"
                                                                    "%2F%3F%25%23%5B%5D"},
                                         Row{"\"<>\\^`{|}", "%22%3C%3E%5C%5E%60%7B%7C%7D"},
                                         Row{"é日👍", "%C3%A9%E6%97%A5%F0%9F%91%8D"}, Row{"\n", "%0A"}));

TEST(PercentEscapes, Of_an_empty_text_are_empty_and_of_half_a_character_null) {
    EXPECT_EQ(stringByAddingStandardPercentEscapesUsingEncoding(""), u"");
    EXPECT_TRUE(stringByAddingStandardPercentEscapesUsingEncoding(QString("a") + QChar(0xD83D)).isNull());
}

TEST(StringWithoutMarks, Keeps_its_case) {
    EXPECT_EQ(stringByStrippingAccentAndDiatricMarks("é"), u"e");
    EXPECT_EQ(stringByStrippingAccentAndDiatricMarks("Élan øłﬁ 한국"), u"Elan øłﬁ 한국");
}

TEST(LowercaseStringWithoutMarks, Is_lowered_first_and_then_stripped) {
    EXPECT_EQ(lowercaseStringByStrippingCombiningMarks("Élan"), u"elan");
    // The dot that lowering adds is a mark, which stripping removes.
    EXPECT_EQ(lowercaseStringByStrippingCombiningMarks("İ"), u"i");
    EXPECT_EQ(lowercaseStringByStrippingCombiningMarks(""), u"");
}

TEST(HexadecimalString, Has_two_lower_case_digits_for_each_byte) {
    EXPECT_EQ(hexadecimalString(QByteArray("\x0A\xFF", 2)), u"0aff");
    EXPECT_EQ(hexadecimalString(QByteArray("\0\x01", 2)), u"0001");
}

TEST(HexadecimalString, Of_no_bytes_is_null_or_empty) {
    EXPECT_TRUE(hexadecimalString(QByteArray()).isNull());
    EXPECT_TRUE(hexadecimalString(QByteArray("")).isEmpty());
}

TEST(FileExistsAtURL, Answers_for_files_and_folders_and_no_for_everything_else) {
    const QTemporaryDir folder;
    QWSystemFileManager files;
    const QString path = folder.filePath("ä b%20c.txt");
    files.write(path, "x");
    EXPECT_TRUE(fileExistsAtURL(files, QUrl::fromLocalFile(path)));
    EXPECT_TRUE(fileExistsAtURL(files, QUrl::fromLocalFile(folder.path())));
    QUrl remote = QUrl::fromLocalFile(path);
    remote.setScheme("http");
    remote.setHost("127.0.0.1");
    EXPECT_TRUE(fileExistsAtURL(files, remote)); // by its path alone
    EXPECT_FALSE(fileExistsAtURL(files, QUrl::fromLocalFile(folder.filePath("missing"))));
    EXPECT_FALSE(fileExistsAtURL(files, QUrl()));
    EXPECT_FALSE(fileExistsAtURL(files, QUrl("http://127.0.0.1")));
}

} // namespace
