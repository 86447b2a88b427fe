// The table whose delegate is asked first, with the keys and clicks of a user.

#include "ExtendedDelegateTest.h"
#include "support/AssertionProbe.h"
#include "views/NSTableViewWithExtendedDelegate.h"

#include <QMenu>

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
        modifiers = event.modifiers();
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
    Qt::KeyboardModifiers modifiers;
    int menuRequests = 0, rowOfMenu = -1;
    NSTableViewWithExtendedDelegate* askedBy = nullptr;
};

struct TableViewWithExtendedDelegate : ViewTest<NSTableViewWithExtendedDelegate> {
    void clickRight(int row) { QTest::mouseClick(window.windowHandle(), Qt::RightButton, {}, inWindow(row)); }
    const Selectors all{QWTableViewKeyDownSelector, QWTableViewMenuForEventSelector};
};

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
    renameByKeys("Andorra");
    EXPECT_EQ(model.index(0, 0).data(), "Andorra");
    EXPECT_THAT(delegate.keys, testing::IsEmpty());
}

TEST_F(TableViewWithExtendedDelegate, Offers_Tab_to_its_delegate_as_it_was_pressed) {
    TableDelegate delegate(all);
    delegate.handlesKeys = true;
    view.setDelegate(&delegate);
    press(Qt::Key_Tab);
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(delegate.keys.first(), Qt::Key_Tab);
    EXPECT_EQ(delegate.keys.last(), Qt::Key_Backtab);
    EXPECT_EQ(delegate.modifiers, Qt::ShiftModifier);
    EXPECT_EQ(currentRow(), 0);
}

TEST_F(TableViewWithExtendedDelegate, Moves_by_Tab_when_the_delegate_answers_NO) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    press(Qt::Key_Tab);
    EXPECT_EQ(currentRow(), 1);
    view.setTabKeyNavigation(false);
    press(Qt::Key_Tab);
    EXPECT_TRUE(next.hasFocus());
    EXPECT_EQ(delegate.keys, QList<int>({Qt::Key_Tab, Qt::Key_Tab}));
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

TEST_F(TableViewWithExtendedDelegate,
       Leaves_a_right_click_to_its_surroundings_when_the_delegate_answers_null) {
    TableDelegate delegate(all);
    view.setDelegate(&delegate);
    clickRight(2);
    EXPECT_EQ(delegate.menuRequests, 1);
    EXPECT_EQ(window.contextMenus, 1);
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

TEST(TableView, Has_a_delegate_that_stops_at_an_operation_that_it_does_not_answer) {
    NSTableViewWithExtendedDelegate table;
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Down, Qt::NoModifier);
    QContextMenuEvent click(QContextMenuEvent::Mouse, {}, {});
    NSTableViewExtendedDelegate delegate;
    EXPECT_FALSE(delegate.respondsToSelector(QWTableViewKeyDownSelector));
    const auto ofKey = assertionFailure([&] { delegate.tableViewKeyDown(table, key); });
    EXPECT_EQ(ofKey.expression, "unknown operation");
    EXPECT_EQ(ofKey.operation, "tableView:keyDown:");
    const auto ofMenu = assertionFailure([&] { delegate.tableViewMenuForEvent(table, click); });
    EXPECT_EQ(ofMenu.expression, "unknown operation");
    EXPECT_EQ(ofMenu.operation, "tableView:menuForEvent:");
}

} // namespace
