#include "core/QWAttributedStringToHTMLConvertion.h"

#include <QTextDocument>

QString QWAttributedStringToHTMLConvertion::convertedStringFromRichText(const QTextDocument& richText) {
    // Text is escaped in the document's HTML, but not its title, which stands before the body: so the last
    // "<body" and the last "</body>" are the tags.
    const QString html = richText.toHtml();
    const auto begin = html.indexOf(QLatin1Char('>'), html.lastIndexOf(QLatin1String("<body"))) + 1;
    const auto end = html.lastIndexOf(QLatin1String("</body>"));
    return html.mid(begin, end - begin).trimmed();
}
