#include "core/QWAttributedStringToHTMLConvertion.h"
#include "core/QWRichText.h"

#include <QTextDocument>

namespace {

QString plain(const QVariant& stored) {
    const auto document = qw::richTextFromStoredValue(stored);
    return document ? qw::plainText(*document) : QString("(none)");
}

} // namespace

TEST(RichText, Data_that_begins_with_a_tag_is_read_as_HTML) {
    EXPECT_EQ(plain(QByteArray("<p>One <b>two</b></p><p>caf\xc3\xa9 &lt; tea</p>")), "One two\ncafé < tea");
    EXPECT_EQ(plain(QByteArray("\xef\xbb\xbf \n<!DOCTYPE html><html><body>One</body></html>")), "One");
}

TEST(RichText, Other_data_is_read_as_plain_text) {
    EXPECT_EQ(plain(QByteArray("use <b> for bold\nand <i> too")), "use <b> for bold\nand <i> too");
    EXPECT_EQ(plain(QByteArray("<3 you")), "<3 you");
    EXPECT_EQ(plain(QByteArray()), "");
}

TEST(RichText, Stored_text_is_plain_whatever_it_looks_like) {
    EXPECT_EQ(plain(QString("<b>one</b>")), "<b>one</b>");
}

TEST(RichText, Plain_text_keeps_its_no_break_spaces) {
    EXPECT_EQ(plain(QStringLiteral("10\u00a0km")), QStringLiteral("10\u00a0km"));
}

TEST(RichText, Plain_text_of_a_table_and_a_list_has_line_ends_alone) {
    const auto text =
        plain(QByteArray("<p>a</p><table><tr><td>b</td><td>c</td></tr></table><ul><li>d</li></ul>"));
    EXPECT_EQ(text.simplified(), "a b c d");
    for (const QChar character : text)
        EXPECT_TRUE(character.isLetter() || character == QChar('\n')) << int(character.unicode());
}

TEST(RichText, Data_that_is_not_UTF_8_and_values_of_other_types_cannot_be_read) {
    EXPECT_EQ(plain(QByteArray("\xff\xfe")), "(none)");
    EXPECT_EQ(plain(5), "(none)");
    EXPECT_EQ(plain({}), "(none)");
}

TEST(RichText, HTML_is_the_content_of_the_body_alone) {
    const auto document = qw::richTextFromStoredValue(QByteArray("<p>One <b>two</b> &lt;body&gt;</p>"));
    const auto html = QWAttributedStringToHTMLConvertion().convertedStringFromRichText(*document);
    EXPECT_TRUE(html.startsWith("<p")) << html.toStdString();
    EXPECT_TRUE(html.endsWith("</p>")) << html.toStdString();
    EXPECT_TRUE(html.contains("two</span>")) << html.toStdString();
    EXPECT_TRUE(html.contains("&lt;body&gt;")) << html.toStdString();
    for (const auto* wrapper :
         {"<!doctype", "<html", "<head", "<body", "<?xml", "</html", "</head", "</body"})
        EXPECT_FALSE(html.contains(wrapper, Qt::CaseInsensitive)) << wrapper;
}

TEST(RichText, HTML_has_neither_the_title_of_the_document_nor_its_styles) {
    const auto document = qw::richTextFromStoredValue(
        QByteArray("<html><head><title>A &lt;body&gt;</title><style>p { color: red }</style></head>"
                   "<body><p>One</p></body></html>"));
    const auto html = QWAttributedStringToHTMLConvertion().convertedStringFromRichText(*document);
    EXPECT_TRUE(html.startsWith("<p")) << html.toStdString();
    EXPECT_FALSE(html.contains("title")) << html.toStdString();
}

TEST(RichText, HTML_of_no_text_has_no_characters) {
    const auto document = qw::richTextFromStoredValue(QByteArray());
    EXPECT_EQ(plain(QWAttributedStringToHTMLConvertion().convertedStringFromRichText(*document).toUtf8()),
              "");
}
