// The views whose delegates are asked first, with the keys and clicks of a user.

#include "support/AssertionProbe.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"
#include "views/NSTableViewWithExtendedDelegate.h"

#include <QApplication>
#include <QHeaderView>
#include <QMenu>
#include <QPointingDevice>
#include <QStandardItemModel>
#include <QTest>
#include <QVBoxLayout>
#include <gmock/gmock.h>

namespace {

using Selectors = QStringList;

struct TableDelegate final : NSTableViewExtendedDelegate {
    explicit TableDelegate(const Selectors& answered) : selectors(answered) {}
    bool respondsToSelector(const QString& selector) const override {
        ++questions;
        return selectors.contains(selector);
    }
    bool tableViewKeyDown(NSTableViewWithExtendedDelegate& view, QKeyEvent& event) override {
        askedBy = &view;
        keys << event.key();
        return handlesKeys;
    }
    QMenu* tableViewMenuForEvent(NSTableViewWithExtendedDelegate& view, QContextMenuEvent& event) override {
        askedBy = &view;
        rowOfMenu = view.rowAt(view.viewport()->mapFromGlobal(event.globalPos()).y());
        ++menuRequests;
        return menu;
    }

    const Selectors selectors;
    mutable int questions = 0;
    bool handlesKeys = false;
    QMenu* menu = nullptr;
    QList<int> keys;
    int menuRequests = 0, rowOfMenu = -1;
    NSTableViewWithExtendedDelegate* askedBy = nullptr;
};

struct OutlineDelegate final : NSOutlineViewExtendedDelegate {
    bool respondsToSelector(const QString& selector) const override {
        return selector == QWOutlineViewKeyDownSelector;
    }
    bool outlineViewKeyDown(NSOutlineViewWithExtendedDelegate&, QKeyEvent& event) override {
        keys << event.key();
        return handlesKeys;
    }

    bool handlesKeys = false;
    QList<int> keys;
};

// Notes what its children leave unhandled.
struct Surroundings final : QWidget {
    bool event(QEvent* event) override {
        switch (event->type()) {
        case QEvent::KeyPress:
            keys << static_cast<QKeyEvent*>(event)->key();
            return true;
        case QEvent::NativeGesture:
            ++gestures;
            return true;
        case QEvent::ContextMenu:
            ++contextMenus;
            return true;
        default:
            return QWidget::event(event);
        }
    }

    QList<int> keys;
    int gestures = 0, contextMenus = 0;
};

// A window with one of the views over three rows, the first of them current.
template <class View>
struct ViewTest : testing::Test {
    ViewTest() {
        for (const char* text : {"Albania", "Belgium", "Chile"})
            model.appendRow(new QStandardItem(text));
        view.setModel(&model);
        auto* layout = new QVBoxLayout(&window);
        layout->setContentsMargins({});
        layout->addWidget(&view);
        window.resize(300, 200);
        window.show();
        QApplication::setActiveWindow(&window);
        view.setFocus();
        view.setCurrentIndex(model.index(0, 0));
    }
    ~ViewTest() override { view.setParent(nullptr); }

    void press(Qt::Key key) { QTest::keyClick(window.windowHandle(), key); }
    int currentRow() { return view.currentIndex().row(); }
    QPoint inWindow(int row) {
        const QPoint centre = view.visualRect(model.index(row, 0)).center();
        return view.viewport()->mapTo(&window, centre);
    }

    Surroundings window;
    QStandardItemModel model;
    View view;
};

struct TableViewWithExtendedDelegate : ViewTest<NSTableViewWithExtendedDelegate> {
    void clickRight(int row) { QTest::mouseClick(window.windowHandle(), Qt::RightButton, {}, inWindow(row)); }
    const Selectors all{QWTableViewKeyDownSelector, QWTableViewMenuForEventSelector};
};
using OutlineViewWithExtendedDelegate = ViewTest<NSOutlineViewWithExtendedDelegate>;

// Keys ------------------------------------------------------------------------------------------------------

TEST_F(TableViewWithExtendedDelegate, Moves_the_selection_by_keys_without_a_delegate) {
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(), 1);
    EXPECT_TRUE(view.selectionModel()->isSelected(model.index(1, 0)));
}

TEST_F(TableViewWithExtendedDelegate, Passes_on_what_the_view_does_not_handle_without_a_delegate) {
    press(Qt::Key_F7);
    EXPECT_EQ(window.keys, QList<int>{Qt::Key_F7});
}

TEST_F(TableViewWithExtendedDelegate, Handles_a_key_itself_when_the_delegate_answers_NO) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    EXPECT_EQ(delegate.keys, QList<int>{Qt::Key_Down});
    EXPECT_EQ(delegate.askedBy, &view);
    EXPECT_EQ(currentRow(), 1);
}

TEST_F(TableViewWithExtendedDelegate, Does_nothing_with_a_key_that_the_delegate_has_handled) {
    TableDelegate delegate(all);
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    press(Qt::Key_F7);
    EXPECT_EQ(delegate.keys, QList<int>({Qt::Key_Down, Qt::Key_F7}));
    EXPECT_EQ(currentRow(), 0);
    EXPECT_THAT(window.keys, testing::IsEmpty());
}

TEST_F(TableViewWithExtendedDelegate, Handles_keys_itself_when_the_delegate_does_not_answer_them) {
    TableDelegate delegate({QWTableViewMenuForEventSelector});
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
    EXPECT_EQ(currentRow(), 1);
}

TEST_F(TableViewWithExtendedDelegate, Leaves_the_keys_of_an_open_editor_to_it) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    view.edit(model.index(0, 0));
    QTest::keyClicks(QApplication::focusWidget(), "Andorra");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    QApplication::processEvents();
    EXPECT_EQ(model.index(0, 0).data(), "Andorra");
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
}

TEST_F(OutlineViewWithExtendedDelegate, Moves_the_selection_by_keys_without_a_delegate) {
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(), 1);
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
    EXPECT_EQ(currentRow(), 0);
}

// Context menus ---------------------------------------------------------------------------------------------

TEST_F(TableViewWithExtendedDelegate, Shows_the_menu_of_the_delegate_where_the_mouse_is) {
    TableDelegate delegate(all);
    QMenu menu;
    QAction* remove = menu.addAction("Remove");
    delegate.menu = &menu;
    view.setDelegate(&delegate);
    clickRight(1);
    EXPECT_EQ(delegate.rowOfMenu, 1);
    EXPECT_EQ(QApplication::activePopupWidget(), &menu);
    EXPECT_EQ(menu.pos(), window.mapToGlobal(inWindow(1)));
    EXPECT_EQ(window.contextMenus, 0);

    QAction* chosen = nullptr;
    QObject::connect(&menu, &QMenu::triggered, [&](QAction* action) { chosen = action; });
    QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(remove).center());
    EXPECT_EQ(chosen, remove);
    EXPECT_FALSE(menu.isVisible());
}

TEST_F(TableViewWithExtendedDelegate, Shows_the_menu_of_the_delegate_for_the_menu_key) {
    TableDelegate delegate({QWTableViewMenuForEventSelector});
    QMenu menu;
    menu.addAction("Remove");
    delegate.menu = &menu;
    view.setDelegate(&delegate);
    QContextMenuEvent menuKey(QContextMenuEvent::Keyboard, {20, 20}, view.mapToGlobal(QPoint(20, 20)));
    QApplication::sendEvent(&view, &menuKey);
    EXPECT_EQ(delegate.menuRequests, 1);
    EXPECT_EQ(QApplication::activePopupWidget(), &menu);
    EXPECT_TRUE(menuKey.isAccepted());
    menu.close();
}

TEST_F(TableViewWithExtendedDelegate, Shows_its_own_menu_when_the_delegate_answers_null) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    view.setContextMenuPolicy(Qt::CustomContextMenu);
    QPoint place;
    QObject::connect(&view, &QWidget::customContextMenuRequested, [&](const QPoint& at) { place = at; });
    clickRight(2);
    EXPECT_EQ(delegate.menuRequests, 1);
    EXPECT_EQ(view.rowAt(place.y()), 2);
}

TEST_F(TableViewWithExtendedDelegate, Asks_before_its_own_menu_whatever_the_policy) {
    TableDelegate delegate(all);
    QMenu menu;
    menu.addAction("Remove");
    delegate.menu = &menu;
    view.setDelegate(&delegate);
    view.setContextMenuPolicy(Qt::CustomContextMenu);
    bool hasOwnMenu = false;
    QObject::connect(&view, &QWidget::customContextMenuRequested, [&] { hasOwnMenu = true; });
    clickRight(0);
    EXPECT_FALSE(hasOwnMenu);
    EXPECT_TRUE(menu.isVisible());
    menu.close();
}

TEST_F(TableViewWithExtendedDelegate, Leaves_a_right_click_to_its_surroundings_without_a_delegate) {
    clickRight(1);
    EXPECT_EQ(window.contextMenus, 1);
    EXPECT_EQ(currentRow(), 1);
}

// What is remembered of the delegate ------------------------------------------------------------------------

TEST_F(TableViewWithExtendedDelegate, Remembers_nothing_at_first) {
    EXPECT_TRUE(view.cachedDelegateResponses().isEmpty());
}

TEST_F(TableViewWithExtendedDelegate, Asks_the_delegate_once_for_each_operation) {
    TableDelegate delegate({QWTableViewKeyDownSelector});
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    press(Qt::Key_Down);
    clickRight(0);
    clickRight(1);
    EXPECT_EQ(delegate.questions, 2);
    EXPECT_EQ(view.cachedDelegateResponses(),
              (QHash<QString, bool>{{"tableView:keyDown:", true}, {"tableView:menuForEvent:", false}}));
}

TEST_F(TableViewWithExtendedDelegate, Remembers_that_no_delegate_answers_nothing) {
    press(Qt::Key_Down);
    EXPECT_EQ(view.cachedDelegateResponses(), (QHash<QString, bool>{{"tableView:keyDown:", false}}));
}

TEST_F(TableViewWithExtendedDelegate, Asks_another_delegate_afresh) {
    TableDelegate silent({}), answering(all);
    view.setDelegate(&silent);
    press(Qt::Key_Down);
    view.setDelegate(&answering);
    EXPECT_TRUE(view.cachedDelegateResponses().isEmpty());
    press(Qt::Key_Down);
    EXPECT_EQ(answering.questions, 1);
    EXPECT_EQ(answering.keys.size(), 1);
}

TEST_F(TableViewWithExtendedDelegate, Asks_the_same_delegate_afresh_when_it_is_set_again) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    view.setDelegate(&delegate);
    press(Qt::Key_Down);
    EXPECT_EQ(delegate.questions, 2);
}

TEST_F(TableViewWithExtendedDelegate, Heeds_what_it_is_told_to_remember) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    view.setCachedDelegateResponses({{QWTableViewKeyDownSelector, false}});
    press(Qt::Key_Down);
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
    EXPECT_EQ(delegate.questions, 0);
    EXPECT_EQ(currentRow(), 1);
}

TEST_F(TableViewWithExtendedDelegate, Has_an_item_delegate_apart_from_it) {
    TableDelegate delegate(all);
    auto* const items = view.itemDelegate();
    view.setDelegate(&delegate);
    EXPECT_EQ(view.delegate(), &delegate);
    EXPECT_EQ(view.itemDelegate(), items);
}

TEST_F(TableViewWithExtendedDelegate, Outlives_its_delegate) {
    auto delegate = std::make_unique<TableDelegate>(all);
    view.setDelegate(delegate.get());
    press(Qt::Key_Down);
    delegate.reset();
    press(Qt::Key_Down);
    clickRight(0);
    EXPECT_EQ(view.delegate(), nullptr);
    EXPECT_EQ(currentRow(), 0);
    EXPECT_EQ(window.contextMenus, 1);
}

TEST_F(OutlineViewWithExtendedDelegate, Outlives_its_delegate) {
    auto delegate = std::make_unique<OutlineDelegate>();
    view.setDelegate(delegate.get());
    press(Qt::Key_Down);
    delegate.reset();
    press(Qt::Key_Down);
    EXPECT_EQ(currentRow(), 2);
}

TEST(ExtendedDelegate, Stops_at_an_operation_that_is_not_answered) {
    NSTableViewWithExtendedDelegate table;
    NSOutlineViewWithExtendedDelegate outline;
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    QContextMenuEvent click(QContextMenuEvent::Mouse, {}, {});
    NSTableViewExtendedDelegate ofTable;
    NSOutlineViewExtendedDelegate ofOutline;
    const auto failures = {assertionFailure([&] { ofTable.tableViewKeyDown(table, key); }),
                           assertionFailure([&] { ofTable.tableViewMenuForEvent(table, click); }),
                           assertionFailure([&] { ofOutline.outlineViewKeyDown(outline, key); })};
    QStringList operations;
    for (const auto& failure : failures) {
        EXPECT_EQ(failure.expression, "unknown operation");
        operations << failure.operation;
    }
    EXPECT_EQ(operations,
              QStringList({"tableView:keyDown:", "tableView:menuForEvent:", "outlineView:keyDown:"}));
    EXPECT_FALSE(ofTable.respondsToSelector(QWTableViewKeyDownSelector));
    EXPECT_FALSE(ofOutline.respondsToSelector(QWOutlineViewKeyDownSelector));
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
