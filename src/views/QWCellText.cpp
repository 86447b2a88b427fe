#include "views/QWCellText_p.h"

#include <QFontMetricsF>
#include <QTextLayout>

QStringList qwLinesOfText(QString text, const QFont& font, qreal width, bool wraps, int maximum,
                          Qt::TextElideMode elideMode) {
    text.replace(u'\n', QChar::LineSeparator);
    const QFontMetricsF metrics(font);
    const bool isOneLine = maximum == 1 || !text.contains(QChar::LineSeparator);
    if (isOneLine && (maximum == 1 || !wraps || metrics.horizontalAdvance(text) <= width))
        return {metrics.elidedText(text.replace(QChar::LineSeparator, u' '), elideMode, width)};

    QTextLayout layout(text, font);
    QTextOption option;
    option.setWrapMode(wraps ? QTextOption::WordWrap : QTextOption::ManualWrap);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList lines;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        const bool isLast = lines.size() == maximum - 1;
        QString part = isLast ? text.mid(line.textStart()) : text.mid(line.textStart(), line.textLength());
        if (part.endsWith(QChar::LineSeparator))
            part.chop(1);
        part.replace(QChar::LineSeparator, u' ');
        while (wraps && part.endsWith(u' '))
            part.chop(1);
        lines << metrics.elidedText(part, elideMode, width);
        if (isLast)
            break;
    }
    layout.endLayout();
    return lines;
}
