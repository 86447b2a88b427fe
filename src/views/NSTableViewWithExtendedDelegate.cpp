#include "views/NSTableViewWithExtendedDelegate.h"

#include "platform/QWAssert.h"

bool NSTableViewExtendedDelegate::tableViewKeyDown(NSTableViewWithExtendedDelegate&, QKeyEvent&) {
    QWAssert(false, "unknown operation", "tableView:keyDown:");
}

QMenu* NSTableViewExtendedDelegate::tableViewMenuForEvent(NSTableViewWithExtendedDelegate&,
                                                          QContextMenuEvent&) {
    QWAssert(false, "unknown operation", "tableView:menuForEvent:");
}

NSTableViewWithExtendedDelegate::NSTableViewWithExtendedDelegate(QWidget* parent)
    : QWViewWithExtendedDelegate(parent) {}

void NSTableViewWithExtendedDelegate::keyDown(QKeyEvent& event) {
    auto* asked = delegateForSelector(QWTableViewKeyDownSelector);
    if (asked && asked->tableViewKeyDown(*this, event))
        event.accept();
    else
        handleByItself(event);
}

QMenu* NSTableViewWithExtendedDelegate::menuForEvent(QContextMenuEvent& event) {
    auto* asked = delegateForSelector(QWTableViewMenuForEventSelector);
    return asked ? asked->tableViewMenuForEvent(*this, event) : nullptr;
}

// The menu key reaches the view itself.
bool NSTableViewWithExtendedDelegate::event(QEvent* event) {
    if (event->type() == QEvent::ContextMenu) {
        auto& request = static_cast<QContextMenuEvent&>(*event);
        if (request.reason() == QContextMenuEvent::Keyboard && showMenu(request))
            return true;
    }
    return QWViewWithExtendedDelegate::event(event);
}

// And the mouse what lies in it.
bool NSTableViewWithExtendedDelegate::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::ContextMenu && showMenu(static_cast<QContextMenuEvent&>(*event)))
        return true;
    return QTableView::viewportEvent(event);
}

// Without waiting for the menu to be closed.
bool NSTableViewWithExtendedDelegate::showMenu(QContextMenuEvent& event) {
    QMenu* menu = menuForEvent(event);
    if (!menu)
        return false;
    menu->popup(event.globalPos());
    event.accept();
    return true;
}
