#include "desktop/Theme.h"

#include <QApplication>
#include <QPalette>
#include <QToolTip>

namespace atlas {

namespace {

struct Colours {
    QColor window, base, alternate, button, text, faint, link, highlight, highlightedText;
};

QPalette paletteOf(const Colours& colours) {
    QPalette palette(colours.text, colours.button, colours.button.lighter(120), colours.button.darker(180),
                     colours.button.darker(130), colours.text, colours.text, colours.base, colours.window);
    palette.setColor(QPalette::AlternateBase, colours.alternate);
    palette.setColor(QPalette::ToolTipBase, colours.base);
    palette.setColor(QPalette::ToolTipText, colours.text);
    palette.setColor(QPalette::PlaceholderText, colours.faint);
    palette.setColor(QPalette::Link, colours.link);
    palette.setColor(QPalette::LinkVisited, colours.link);
    palette.setColor(QPalette::Highlight, colours.highlight);
    palette.setColor(QPalette::HighlightedText, colours.highlightedText);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, colours.faint);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, colours.alternate);
    palette.setColor(QPalette::Disabled, QPalette::HighlightedText, colours.faint);
    return palette;
}

QPalette lightPalette() {
    return paletteOf({.window = QColor(0xf3f4f6),
                      .base = Qt::white,
                      .alternate = QColor(0xf5f7fa),
                      .button = QColor(0xeceef1),
                      .text = QColor(0x1d2126),
                      .faint = QColor(0x858b94),
                      .link = QColor(0x1a5fb4),
                      .highlight = QColor(0x2f6fc4),
                      .highlightedText = Qt::white});
}

QPalette darkPalette() {
    return paletteOf({.window = QColor(0x303238),
                      .base = QColor(0x18191c),
                      .alternate = QColor(0x1e2023),
                      .button = QColor(0x3b3e44),
                      .text = QColor(0xe6e8eb),
                      .faint = QColor(0x8b9099),
                      .link = QColor(0x79b0ff),
                      .highlight = QColor(0x3d7bd0),
                      .highlightedText = Qt::white});
}

} // namespace

void applyTheme(const QString& name) {
    static const QPalette system = QApplication::palette();
    const QPalette palette = name == QLatin1String("dark")    ? darkPalette()
                             : name == QLatin1String("light") ? lightPalette()
                                                              : system;
    if (palette != QApplication::palette())
        QApplication::setPalette(palette);
    QToolTip::setPalette(palette);
}

} // namespace atlas
