#include "core/QWRichText.h"

#include <QStringDecoder>
#include <QTextDocument>

namespace {

bool beginsWithTag(const QString& text) {
    const auto trimmed = QStringView(text).trimmed();
    return trimmed.startsWith(QLatin1Char('<')) && Qt::mightBeRichText(trimmed.toString());
}

} // namespace

std::unique_ptr<QTextDocument> qw::richTextFromStoredValue(const QVariant& value) {
    QString text;
    bool isHTML = false;
    if (value.typeId() == QMetaType::QString) {
        text = value.toString();
    } else if (value.typeId() == QMetaType::QByteArray) {
        QStringDecoder decoder(QStringDecoder::Utf8);
        text = decoder(value.toByteArray());
        if (decoder.hasError())
            return nullptr;
        isHTML = beginsWithTag(text);
    } else {
        return nullptr;
    }

    auto document = std::make_unique<QTextDocument>();
    if (isHTML)
        document->setHtml(text);
    else
        document->setPlainText(text);
    return document;
}

QString qw::plainText(const QTextDocument& richText) {
    // Not QTextDocument::toPlainText, which would turn no-break spaces into spaces.
    QString text = richText.toRawText();
    constexpr char16_t beginOfFrame = 0xfdd0, endOfFrame = 0xfdd1; // of tables and their cells
    for (const QChar end : {QChar(QChar::ParagraphSeparator), QChar(QChar::LineSeparator),
                            QChar(beginOfFrame), QChar(endOfFrame)})
        text.replace(end, QLatin1Char('\n'));
    return text;
}
