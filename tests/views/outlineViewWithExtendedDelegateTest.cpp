// The outline whose delegate is asked first, with the keys and swipes of a user.

#include "ExtendedDelegateTest.h"
#include "support/AssertionProbe.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"

#include <QPointingDevice>

namespace {

struct OutlineDelegate final : NSOutlineViewExtendedDelegate {
    bool respondsToSelector(const QString& selector) const override {
        return answersKeys && selector == QWOutlineViewKeyDownSelector;
    }
    bool outlineViewKeyDown(NSOutlineViewWithExtendedDelegate&, QKeyEvent& event) override {
        keys << event.key();
        return handlesKeys;
    }

    bool answersKeys = true, handlesKeys = false;
    QList<int> keys;
};

using OutlineViewWithExtendedDelegate = ViewTest<NSOutlineViewWithExtendedDelegate>;

// Keys ------------------------------------------------------------------------------------------------------

TEST_F(OutlineViewWithExtendedDelegate, Moves_the_selection_by_keys_without_a_delegate) {
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(), 1);
    press(Qt::Key_F7);
    EXPECT_EQ(window.keys, QList<int>{Qt::Key_F7});
}

TEST_F(OutlineViewWithExtendedDelegate, Handles_a_key_itself_when_the_delegate_answers_NO) {
    OutlineDelegate delegate;
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    EXPECT_EQ(delegate.keys, QList<int>{Qt::Key_Down});
    EXPECT_EQ(currentRow(), 1);
}

TEST_F(OutlineViewWithExtendedDelegate, Does_nothing_with_a_key_that_the_delegate_has_handled) {
    OutlineDelegate delegate;
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    press(Qt::Key_F7);
    EXPECT_EQ(delegate.keys, QList<int>({Qt::Key_Down, Qt::Key_F7}));
    EXPECT_EQ(currentRow(), 0);
    EXPECT_THAT(window.keys, testing::IsEmpty());
}

TEST_F(OutlineViewWithExtendedDelegate, Handles_keys_itself_when_the_delegate_does_not_answer_them) {
    OutlineDelegate delegate;
    delegate.answersKeys = false;
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
    EXPECT_EQ(currentRow(), 1);
    EXPECT_EQ(view.cachedDelegateResponses(), (QHash<QString, bool>{{"outlineView:keyDown:", false}}));
}

TEST_F(OutlineViewWithExtendedDelegate, Offers_Tab_to_its_delegate_before_it_goes_to_the_next_control) {
    OutlineDelegate delegate;
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Tab);
    EXPECT_EQ(delegate.keys, QList<int>{Qt::Key_Tab});
    EXPECT_TRUE(view.hasFocus());
    delegate.handlesKeys = false;
    press(Qt::Key_Tab);
    EXPECT_EQ(delegate.keys, QList<int>({Qt::Key_Tab, Qt::Key_Tab}));
    EXPECT_TRUE(next.hasFocus());
}

TEST_F(OutlineViewWithExtendedDelegate, Leaves_the_keys_of_an_open_editor_to_it) {
    OutlineDelegate delegate;
    view.setDelegate(&delegate);
    renameByKeys("Andorra");
    EXPECT_EQ(model.index(0, 0).data(), "Andorra");
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
}

TEST_F(OutlineViewWithExtendedDelegate, Outlives_its_delegate) {
    auto delegate = std::make_unique<OutlineDelegate>();
    view.setDelegate(delegate.get());
    press(Qt::Key_Down);
    delegate.reset();
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(), 2);
}

TEST(OutlineView, Has_a_delegate_that_stops_at_an_operation_that_it_does_not_answer) {
    NSOutlineViewWithExtendedDelegate outline;
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    NSOutlineViewExtendedDelegate delegate;
    EXPECT_FALSE(delegate.respondsToSelector(QWOutlineViewKeyDownSelector));
    const auto failure = assertionFailure([&] { delegate.outlineViewKeyDown(outline, key); });
    EXPECT_EQ(failure.expression, "unknown operation");
    EXPECT_EQ(failure.operation, "outlineView:keyDown:");
}

// Swipes ----------------------------------------------------------------------------------------------------

TEST_F(OutlineViewWithExtendedDelegate, Lets_a_swipe_go_the_way_that_it_goes_in_any_outline) {
    OutlineDelegate delegate;
    view.setDelegate(&delegate);
    const auto swipe = [](QWidget& over) {
        QNativeGestureEvent event(Qt::SwipeNativeGesture, QPointingDevice::primaryPointingDevice(), 3, {}, {},
                                  {}, 90, {});
        QApplication::sendEvent(&over, &event);
    };
    swipe(*view.viewport());
    EXPECT_EQ(window.gestures, 1);
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
    EXPECT_TRUE(view.cachedDelegateResponses().isEmpty());
}

// A class derived from the outline is the one that notices it.
struct SwipedOutline final : NSOutlineViewWithExtendedDelegate {
    bool swipeWithEvent(QNativeGestureEvent& event) override {
        directions << event.value();
        return NSOutlineViewWithExtendedDelegate::swipeWithEvent(event);
    }
    QList<qreal> directions;
};

TEST(OutlineView, Is_told_of_swipes_and_of_no_other_gesture) {
    SwipedOutline outline;
    for (const auto type : {Qt::SwipeNativeGesture, Qt::ZoomNativeGesture}) {
        QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 3, {}, {}, {}, 180, {});
        QApplication::sendEvent(&outline, &event);
    }
    EXPECT_EQ(outline.directions, QList<qreal>{180});
}

} // namespace
