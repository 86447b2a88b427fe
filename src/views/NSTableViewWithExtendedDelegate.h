#pragma once

#include "views/QWViewWithExtendedDelegate.h"

#include <QContextMenuEvent>
#include <QMenu>
#include <QTableView>

class NSTableViewWithExtendedDelegate;

// Whom a table view asks about its keys and its context menu.
class NSTableViewExtendedDelegate : public QWExtendedDelegate {
public:
    // Whether the key was handled; the view does nothing with it then.
    virtual bool tableViewKeyDown(NSTableViewWithExtendedDelegate& view, QKeyEvent& event);
    // The menu to show, which stays the delegate's; null leaves the event to the view. The row it is about is
    // that at `event.globalPos()`; for the menu key, which has no place of its own, the current one.
    virtual QMenu* tableViewMenuForEvent(NSTableViewWithExtendedDelegate& view, QContextMenuEvent& event);
};

// Their selectors, for `respondsToSelector`.
inline const QString QWTableViewKeyDownSelector = QStringLiteral("tableView:keyDown:");
inline const QString QWTableViewMenuForEventSelector = QStringLiteral("tableView:menuForEvent:");

// A table view that asks its delegate before it handles a key or opens a context menu. Whatever the delegate
// does not answer goes the way that it goes in a QTableView.
class NSTableViewWithExtendedDelegate
    : public QWViewWithExtendedDelegate<QTableView, NSTableViewExtendedDelegate> {
    Q_OBJECT
public:
    explicit NSTableViewWithExtendedDelegate(QWidget* parent = nullptr);

    void keyDown(QKeyEvent& event) override;
    // The menu for a right click or the menu key: that of the delegate. Null where the view decides, by its
    // `contextMenuPolicy`.
    virtual QMenu* menuForEvent(QContextMenuEvent& event);

protected:
    bool event(QEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    bool showMenu(QContextMenuEvent& event);
};
