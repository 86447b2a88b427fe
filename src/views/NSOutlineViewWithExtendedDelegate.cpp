#include "views/NSOutlineViewWithExtendedDelegate.h"

#include "platform/QWAssert.h"

bool NSOutlineViewExtendedDelegate::outlineViewKeyDown(NSOutlineViewWithExtendedDelegate&, QKeyEvent&) {
    QWAssert(false, "unknown operation", "outlineView:keyDown:");
}

NSOutlineViewWithExtendedDelegate::NSOutlineViewWithExtendedDelegate(QWidget* parent)
    : QWViewWithExtendedDelegate(parent) {}

void NSOutlineViewWithExtendedDelegate::keyDown(QKeyEvent& event) {
    auto* asked = delegateForSelector(QWOutlineViewKeyDownSelector);
    if (asked && asked->outlineViewKeyDown(*this, event))
        event.accept();
    else
        handleByItself(event);
}

bool NSOutlineViewWithExtendedDelegate::swipeWithEvent(QNativeGestureEvent& event) {
    return handleByItself(event);
}

bool NSOutlineViewWithExtendedDelegate::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture) {
        auto& gesture = static_cast<QNativeGestureEvent&>(*event);
        if (gesture.gestureType() == Qt::SwipeNativeGesture)
            return swipeWithEvent(gesture);
    }
    return QWViewWithExtendedDelegate::event(event);
}
