#include "views/NSString_NSStringToNSBezierPath.h"

std::unique_ptr<QTextLayout> newLayoutManagerWithFont(const QString& string, const QFont& font,
                                                      const QColor& color) {
    auto layout = std::make_unique<QTextLayout>(string, font);
    layout->setCacheEnabled(true);
    QTextOption option(Qt::AlignLeft | Qt::AlignAbsolute); // whichever way the text runs
    option.setTextDirection(string.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    option.setWrapMode(QTextOption::ManualWrap);
    layout->setTextOption(option);
    QTextCharFormat format;
    format.setForeground(color);
    layout->setFormats({{0, int(string.size()), format}});
    layout->beginLayout();
    if (QTextLine line = layout->createLine(); line.isValid())
        line.setPosition({NSTextContainerLineFragmentPadding, 0});
    layout->endLayout();
    return layout;
}
