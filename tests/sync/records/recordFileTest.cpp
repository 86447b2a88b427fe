#include "sync/records/QWSyncRecordFile_p.h"

#include "core/QWJSON.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QtEndian>
#include <clocale>
#include <plist/plist.h>

using qw::json::null;
using qw::sync::recordFileBytes;
using qw::sync::recordFromFileBytes;

namespace {

QByteArray xmlList(const QByteArray& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
           "1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">"
           + content + "</plist>";
}

QByteArray nestedXML(int depth) {
    QByteArray content = "<integer>1</integer>";
    for (int i = 1; i < depth; ++i)
        content = "<array>" + content + "</array>";
    return xmlList("<dict><key>a</key>" + content + "</dict>");
}

// A user who writes 9,5: while it lives, the process's locale is the system's plainest with its point
// replaced.
class CommaLocale {
public:
    CommaLocale() {
        QFile plain(QStringLiteral("/usr/lib/locale/C.utf8/LC_NUMERIC")),
            comma(folder_.filePath("comma/LC_NUMERIC"));
        QDir(folder_.path()).mkdir("comma");
        EXPECT_TRUE(plain.open(QFile::ReadOnly) && comma.open(QFile::WriteOnly));
        comma.write(plain.readAll().replace('.', ','));
        comma.close();
        qputenv("LOCPATH", folder_.path().toUtf8());
        std::setlocale(LC_NUMERIC, "comma");
        EXPECT_STREQ(std::localeconv()->decimal_point, ",");
    }
    ~CommaLocale() {
        std::setlocale(LC_NUMERIC, "C");
        qunsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    QTemporaryDir folder_;
};

// The two bytes by which a binary list refers to an object or an offset.
QByteArray word(qsizetype number) {
    return QByteArray(1, static_cast<char>(number >> 8)) + static_cast<char>(number & 0xff);
}

// A binary list of objects in their stored form; the first is the root.
QByteArray binaryList(const QByteArrayList& objects) {
    QByteArray bytes = "bplist00", offsets;
    for (const auto& object : objects) {
        offsets += word(bytes.size());
        bytes += object;
    }
    return bytes + offsets + QByteArray(6, '\0') + "\x02\x02" + QByteArray(6, '\0') + word(objects.size())
           + QByteArray(8, '\0') + QByteArray(6, '\0') + word(bytes.size());
}

// {"a": object 2}, to stand at 0 and 1.
const QByteArrayList dictionaryOfObject2 = {"\xd1" + word(1) + word(2), "\x51"
                                                                        "a"};

} // namespace

TEST(RecordFile, A_record_of_JSON_values_is_compact_JSON) {
    EXPECT_EQ(recordFileBytes({{"title", "Père"}, {"pages", 412}, {"author", null()}}),
              "{\"author\":null,\"pages\":412,\"title\":\"P\xc3\xa8re\"}");
}

TEST(RecordFile, A_record_with_bytes_or_dates_is_an_XML_property_list_without_its_null_keys) {
    const QDateTime date(QDate(2013, 5, 4), QTime(16, 22, 10), Qt::UTC);
    const auto bytes = recordFileBytes({{"data", QByteArray("\x00\xff", 2)},
                                        {"date", date},
                                        {"none", null()},
                                        {"list", QVariantList{"a", null()}}});
    ASSERT_TRUE(bytes);
    EXPECT_TRUE(bytes->startsWith("<?xml"));
    EXPECT_TRUE(bytes->contains("<date>2013-05-04T16:22:10Z</date>"));
    EXPECT_EQ(
        recordFromFileBytes(*bytes),
        (QVariantMap{{"data", QByteArray("\x00\xff", 2)}, {"date", date}, {"list", QVariantList{"a"}}}));
}

TEST(RecordFile, Every_value_survives_the_property_list) {
    const QVariantMap record = {
        {"bytes", QByteArray("b")},
        {"bool", true},
        {"number", qlonglong(-5)},
        {"int", -5},
        {"unsigned", 5U},
        {"large", std::numeric_limits<qlonglong>::max()},
        {"fraction", 0.1},
        {"tiny", -1.5e-300},
        {"text", QStringLiteral("a<b>&\"é\U0001F600\n\t")},
        {"empty", ""},
        {"list", QVariantList{"a", QVariantMap{{"uuid", "U"}}, QVariantList()}},
    };
    EXPECT_EQ(recordFromFileBytes(*recordFileBytes(record)), record);
}

TEST(RecordFile, A_property_list_replaces_characters_that_XML_cannot_carry) {
    const auto bytes =
        recordFileBytes({{"data", QByteArray("b")}, {"text", QStringLiteral("a\u0001b\ufffec")}});
    EXPECT_EQ(recordFromFileBytes(*bytes)->value("text"), QStringLiteral("a\ufffdb\ufffdc"));
}

TEST(RecordFile, Dates_in_property_lists_are_cut_to_the_second_downwards) {
    const auto written = [](const QDateTime& date) {
        return recordFromFileBytes(*recordFileBytes({{"date", date}}))->value("date").toDateTime();
    };
    const QDateTime base(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);
    EXPECT_EQ(written(base.addMSecs(1999)), base.addSecs(1));
    EXPECT_EQ(written(base.addMSecs(-1)), base.addSecs(-1));
}

TEST(RecordFile, A_date_beyond_32_bits_is_none) {
    for (const double seconds : {0x1p31, -0x1p31 - 1, 1e20, -2e41, qInf(), qQNaN()}) {
        QByteArray number(8, '\0');
        qToBigEndian(seconds, number.data());
        const auto record =
            recordFromFileBytes(binaryList(dictionaryOfObject2 + QByteArrayList{'\x33' + number}));
        ASSERT_TRUE(record);
        EXPECT_TRUE(record->value("a").isNull()) << seconds;
        EXPECT_TRUE(recordFileBytes(*record));
    }
}

TEST(RecordFile, Numbers_in_property_lists_have_a_point_whatever_the_locale_of_the_process) {
    const CommaLocale locale;
    const QVariantMap record = {{"data", QByteArray("b")}, {"price", 9.5}};
    const auto bytes = recordFileBytes(record);
    EXPECT_TRUE(bytes->contains("<real>9.5</real>")) << bytes->toStdString();
    EXPECT_EQ(recordFromFileBytes(*bytes), record);
    EXPECT_STREQ(std::localeconv()->decimal_point, ",") << "the process's own locale stays";
}

TEST(RecordFile, What_fits_neither_form_is_nothing) {
    EXPECT_EQ(recordFileBytes({{"huge", std::numeric_limits<qulonglong>::max()}}), std::nullopt);
    EXPECT_EQ(recordFileBytes({{"date", QDateTime(QDate(1850, 1, 1), QTime(0, 0), Qt::UTC)}}), std::nullopt);
}

TEST(RecordFile, JSON_is_tried_first_then_XML_then_binary_property_lists) {
    const QVariantMap expected = {{"a", "b"}};
    EXPECT_EQ(recordFromFileBytes(R"({"a":"b"})"), expected);
    EXPECT_EQ(recordFromFileBytes(xmlList("<dict><key>a</key><string>b</string></dict>")), expected);
    EXPECT_EQ(recordFromFileBytes(binaryList(dictionaryOfObject2
                                             + QByteArrayList{"\x51"
                                                              "b"})),
              expected);
}

TEST(RecordFile, Lists_at_the_top_and_garbage_are_nothing) {
    const QByteArrayList files = {
        "",
        "[]",
        "[{}]",
        "5",
        "garbage",
        "{\"a\":",
        "<plist",
        "bplist00",
        QByteArray(1000, '\0'),
        "{ a = b; }",
        xmlList("<array/>"),
        xmlList("<dict><key>a</key>"),
        QByteArray("bplist00") + QByteArray(40, '\xff'),
    };
    for (const auto& file : files)
        EXPECT_EQ(recordFromFileBytes(file), std::nullopt) << file.toStdString();
}

TEST(RecordFile, A_cut_or_damaged_binary_list_is_nothing_or_another_dictionary_but_never_a_crash) {
    const auto whole =
        binaryList(dictionaryOfObject2 + QByteArrayList{"\xa2" + word(1) + word(3), "\x10\x07"});
    ASSERT_TRUE(recordFromFileBytes(whole));
    for (qsizetype size = 0; size < whole.size(); ++size)
        recordFromFileBytes(whole.first(size));
    for (qsizetype at = 0; at < whole.size(); ++at) {
        for (int value = 0; value < 256; ++value) {
            auto damaged = whole;
            damaged[at] = static_cast<char>(value);
            recordFromFileBytes(damaged);
        }
    }
}

TEST(RecordFile, Nesting_beyond_512_is_nothing_in_every_form) {
    EXPECT_TRUE(recordFromFileBytes(nestedXML(512)));
    EXPECT_FALSE(recordFromFileBytes(nestedXML(513)));
    EXPECT_FALSE(recordFromFileBytes(xmlList(QByteArray("<dict><key>a</key>").repeated(1'000'000))));
    EXPECT_FALSE(recordFromFileBytes(QByteArray("{\"a\":").repeated(1'000'000)));

    // Each array holds the next object alone.
    const auto chain = [](int depth) {
        auto objects = dictionaryOfObject2;
        for (int i = 1; i < depth; ++i)
            objects.append("\xa1" + word(objects.size() + 1));
        return binaryList(objects + QByteArrayList{"\x09"});
    };
    EXPECT_TRUE(recordFromFileBytes(chain(512)));
    EXPECT_FALSE(recordFromFileBytes(chain(513)));

    // An array of two: a chain, and a chain that ends in the first.
    const auto chains = [](int depthOfEach) {
        const int first = 3, second = first + depthOfEach + 1;
        auto objects = dictionaryOfObject2 + QByteArrayList{"\xa2" + word(first) + word(second)};
        for (int i = 0; i < depthOfEach; ++i)
            objects.append("\xa1" + word(objects.size() + 1));
        objects.append("\x09");
        for (int i = 1; i < depthOfEach; ++i)
            objects.append("\xa1" + word(objects.size() + 1));
        return binaryList(objects + QByteArrayList{"\xa1" + word(first)});
    };
    EXPECT_TRUE(recordFromFileBytes(chains(255)));
    EXPECT_FALSE(recordFromFileBytes(chains(256)));
}

TEST(RecordFile, A_binary_list_that_contains_itself_is_nothing) {
    EXPECT_FALSE(recordFromFileBytes(binaryList(dictionaryOfObject2 + QByteArrayList{"\xa1" + word(0)})));
}

TEST(RecordFile, A_binary_list_may_share_objects_but_not_grow_without_bounds) {
    // Each array holds the next object twice.
    const auto doubling = [](int times) {
        auto objects = dictionaryOfObject2;
        for (int i = 0; i < times; ++i)
            objects.append("\xa2" + word(objects.size() + 1) + word(objects.size() + 1));
        return binaryList(objects + QByteArrayList{"\x09"});
    };
    EXPECT_TRUE(recordFromFileBytes(doubling(3)));
    EXPECT_FALSE(recordFromFileBytes(doubling(20)));
    EXPECT_FALSE(recordFromFileBytes(doubling(60)));
}

// The parser would end the process.
TEST(RecordFile, A_list_whose_key_holds_a_NUL_or_is_no_text_is_nothing) {
    const QByteArray dictionary = "\xd1" + word(1) + word(2), value = "\x51"
                                                                      "a";
    EXPECT_TRUE(recordFromFileBytes(binaryList({dictionary, QByteArray("\x62\0k\0l", 5), value})));
    for (const QByteArray& key :
         {QByteArray("\x62\0k\0\0", 5), QByteArray("\x61\0\0", 3), QByteArray("\x10\x05"),
          QByteArray("\x41k"), QByteArray("\xd0"), QByteArray("\x09"), QByteArray("\x6f\x10\xff")})
        EXPECT_FALSE(recordFromFileBytes(binaryList({dictionary, key, value}))) << key.toHex().toStdString();
    EXPECT_FALSE(recordFromFileBytes(xmlList("<dict><key>k&#0;</key><string>a</string></dict>")));
}

TEST(RecordFile, An_XML_list_that_declares_entities_is_nothing) {
    EXPECT_FALSE(
        recordFromFileBytes("<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY x \"y\">]><plist "
                            "version=\"1.0\"><dict><key>a</key><string>&x;</string></dict></plist>"));
    EXPECT_FALSE(recordFromFileBytes("<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY x \"y\">]><plist "
                                     "version=\"1.0\"><dict><key>a</key><string>b</string></dict></plist>"));
}
