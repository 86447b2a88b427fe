#include "desktop/FocusHighlight.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QEvent>

namespace atlas {

FocusHighlight::FocusHighlight(QAbstractItemView& view) : QObject(&view), view_(view) {
    view_.installEventFilter(this);
    colour();
}

bool FocusHighlight::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::FocusIn:
    case QEvent::FocusOut:
    case QEvent::PaletteChange: // the second time nothing changes any more
        colour();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void FocusHighlight::colour() {
    const QPalette usual = QApplication::palette();
    QPalette palette; // what is not set here is the application's
    if (!view_.hasFocus()) {
        const QColor base = usual.color(QPalette::Base), highlight = usual.color(QPalette::Highlight);
        const auto mixed = [](int ground, int colour) { return (ground * 3 + colour) / 4; };
        palette.setColor(QPalette::Highlight,
                         QColor(mixed(base.red(), highlight.red()), mixed(base.green(), highlight.green()),
                                mixed(base.blue(), highlight.blue())));
        palette.setColor(QPalette::HighlightedText, usual.color(QPalette::Text));
    }
    view_.setPalette(palette);
}

} // namespace atlas
