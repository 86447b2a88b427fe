#pragma once

#include <QApplication>
#include <QHash>
#include <QKeyEvent>
#include <QObject>
#include <QPointer>
#include <QString>

// Whom a view asks before it handles certain events by itself. Its operations are optional: a delegate that
// answers one overrides it, and `respondsToSelector` to say so. One that is called without being answered
// stops with the assertion "unknown operation".
class QWExtendedDelegate : public QObject {
public:
    // Whether the operation of that selector is answered: "tableView:keyDown:". By default none is.
    virtual bool respondsToSelector(const QString& selector) const {
        Q_UNUSED(selector)
        return false;
    }
};

// A `View` of Qt with a delegate of class `Delegate`, which it holds weakly. Whether the delegate answers an
// operation is asked once and remembered until another one is set, so that an event costs no more than a
// look-up: a delegate that comes to answer another operation has to be set again.
//
// The delegate for drawing and editing items (`setItemDelegate`) is another one.
template <class View, class Delegate>
class QWViewWithExtendedDelegate : public View {
public:
    using View::View;

    // A key was pressed in the view, not in an editor that is open in it.
    virtual void keyDown(QKeyEvent& event) = 0;

    Delegate* delegate() const { return delegate_; }
    void setDelegate(Delegate* delegate) {
        cachedDelegateResponses_.clear();
        delegate_ = delegate;
    }

    // Whether the delegate answers the operation of that selector, as far as it is known from before. No
    // delegate answers none.
    bool delegateRespondToSelector(const QString& selector) {
        const auto known = cachedDelegateResponses_.constFind(selector);
        if (known != cachedDelegateResponses_.constEnd())
            return *known;
        const bool responds = delegate_ && delegate_->respondsToSelector(selector);
        cachedDelegateResponses_.insert(selector, responds);
        return responds;
    }

    // What is remembered of the delegate, by selector.
    const QHash<QString, bool>& cachedDelegateResponses() const { return cachedDelegateResponses_; }
    void setCachedDelegateResponses(const QHash<QString, bool>& responses) {
        cachedDelegateResponses_ = responses;
    }

protected:
    // Every key, Tab too, which need not come to `keyPressEvent`.
    bool event(QEvent* event) override {
        if (event->type() != QEvent::KeyPress || isKeyOfEditor())
            return View::event(event);
        keyDown(static_cast<QKeyEvent&>(*event));
        return true;
    }

    // What Qt's view makes of an event that the delegate has not handled.
    bool handleByItself(QEvent& event) { return View::event(&event); }

    // The delegate, where it answers the operation and is still there; else null.
    Delegate* delegateForSelector(const QString& selector) {
        return delegateRespondToSelector(selector) ? delegate() : nullptr;
    }

private:
    // Whether a key that comes to the view is one that an open editor has left over.
    bool isKeyOfEditor() const { return this->viewport()->isAncestorOf(QApplication::focusWidget()); }

    QPointer<Delegate> delegate_;
    QHash<QString, bool> cachedDelegateResponses_;
};
