#pragma once

#include <QApplication>
#include <QKeyEvent>
#include <QPushButton>
#include <QStandardItemModel>
#include <QTest>
#include <QVBoxLayout>
#include <gmock/gmock.h>

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
        layout->addWidget(&next);
        window.resize(300, 200);
        window.show();
        QApplication::setActiveWindow(&window);
        view.setFocus();
        view.setCurrentIndex(model.index(0, 0));
    }
    ~ViewTest() override {
        view.setParent(nullptr);
        next.setParent(nullptr);
    }

    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(window.windowHandle(), key, modifiers);
    }
    // Renames the first row in an editor: with a key that the editor leaves to others, and Return.
    void renameByKeys(const QString& name) {
        view.edit(model.index(0, 0));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_F7);
        QTest::keyClicks(QApplication::focusWidget(), name);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QApplication::processEvents();
    }
    int currentRow() { return view.currentIndex().row(); }
    QPoint inWindow(int row) {
        const QPoint centre = view.visualRect(model.index(row, 0)).center();
        return view.viewport()->mapTo(&window, centre);
    }

    Surroundings window;
    QStandardItemModel model;
    View view;
    QPushButton next{"Next"}; // in the tab order
};
