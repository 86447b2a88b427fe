#pragma once

#include "editing/CompletionFixture.h"
#include "editing/QWTokenFieldSubstringCompletion.h"
#include "editing/widgets/QWTokenFieldWidget.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>

// A window with a token field over the tags of notes, and another line edit to move the focus to.
class TokenFieldTest : public CompletionTest {
protected:
    TokenFieldTest() {
        field = new QWTokenFieldWidget;
        field->setObservedKeyPath("selection.tags");
        field->setDelegate(&completion);
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(field);
        layout->addWidget(&other);
        layout->addStretch();
        window.resize(320, 200);
        window.show();
        QApplication::setActiveWindow(&window);
        field->setFocus();
    }
    ~TokenFieldTest() override { other.setParent(nullptr); }

    QLineEdit& edit() { return *field->findChild<QLineEdit*>(); }
    void type(const QString& text) { QTest::keyClicks(&edit(), text); }
    // To whatever has the focus, or to the list while it is open, as a user's keys go.
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QWidget* popup = QApplication::activePopupWidget();
        QTest::keyClick(popup ? popup : QApplication::focusWidget(), key, modifiers);
    }
    QStringList listed() {
        QStringList rows;
        if (auto* list = qobject_cast<QAbstractItemView*>(QApplication::activePopupWidget()))
            for (int row = 0; row < list->model()->rowCount(); ++row)
                rows << list->model()->index(row, 0).data().toString();
        return rows;
    }
    // The chip with the focus, by its accessible name.
    QString currentChip() {
        auto* focused = QApplication::focusWidget();
        return focused && focused != &edit() && field->isAncestorOf(focused) ? focused->accessibleName()
                                                                             : QString();
    }
    QList<QAbstractButton*> chips() {
        QList<QAbstractButton*> all = field->findChildren<QAbstractButton*>();
        all.removeIf([](const QAbstractButton* chip) { return chip->isHidden(); }); // removed just now
        return all;
    }

    QWTokenFieldSubstringCompletion completion{context, "Note", ","};
    QWidget window;
    QLineEdit other;
    QWTokenFieldWidget* field = nullptr;
};
