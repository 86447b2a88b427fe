#pragma once

#include "views/QWViewWithExtendedDelegate.h"

#include <QNativeGestureEvent>
#include <QTreeView>

class NSOutlineViewWithExtendedDelegate;

// Whom an outline asks about its keys.
class NSOutlineViewExtendedDelegate : public QWExtendedDelegate {
public:
    // Whether the key was handled; the view does nothing with it then.
    virtual bool outlineViewKeyDown(NSOutlineViewWithExtendedDelegate& view, QKeyEvent& event);
};

// Its selector, for `respondsToSelector`.
inline const QString QWOutlineViewKeyDownSelector = QStringLiteral("outlineView:keyDown:");

// An outline that asks its delegate before it handles a key. Whatever the delegate does not answer goes the
// way that it goes in a QTreeView.
class NSOutlineViewWithExtendedDelegate
    : public QWViewWithExtendedDelegate<QTreeView, NSOutlineViewExtendedDelegate> {
    Q_OBJECT
public:
    explicit NSOutlineViewWithExtendedDelegate(QWidget* parent = nullptr);

    void keyDown(QKeyEvent& event) override;
    // A swipe over the view, which the delegate is not asked about: whether QTreeView has handled it. What it
    // has not goes on to the widget that the view lies in.
    virtual bool swipeWithEvent(QNativeGestureEvent& event);

protected:
    bool event(QEvent* event) override;
};
