// The code of docs/guide/views.md.

#include "views/NSTableViewWithExtendedDelegate.h"

#include <QApplication>
#include <QStandardItemModel>
#include <gtest/gtest.h>

namespace {

class VisitKeys final : public NSTableViewExtendedDelegate {
public:
    bool respondsToSelector(const QString& selector) const override {
        return selector == QWTableViewKeyDownSelector;
    }
    bool tableViewKeyDown(NSTableViewWithExtendedDelegate& view, QKeyEvent& event) override {
        if (event.key() != Qt::Key_Delete)
            return false; // arrow keys still move the selection
        return view.model()->removeRow(view.currentIndex().row());
    }
};

TEST(ViewsGuide, Asks_the_delegate_first) {
    NSTableViewWithExtendedDelegate table;
    VisitKeys keys;
    table.setDelegate(&keys); // not setItemDelegate, which draws and edits

    QStandardItemModel model(3, 1);
    table.setModel(&model);
    table.show();
    table.setCurrentIndex(model.index(0, 0));
    const auto press = [&table](int key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(&table, &event);
    };
    press(Qt::Key_Down);
    EXPECT_EQ(table.currentIndex().row(), 1);
    press(Qt::Key_Delete);
    EXPECT_EQ(model.rowCount(), 2);
}

} // namespace
