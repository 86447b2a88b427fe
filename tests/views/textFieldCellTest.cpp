#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "views/QWTextFieldCell.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStandardItemModel>
#include <QTableView>
#include <gmock/gmock.h>

namespace {

// Whole numbers, which says what it does not like.
class CountFormatter final : public QWFormatter {
public:
    QString stringForObjectValue(const QVariant& value) const override { return value.toString(); }
    bool getObjectValue(QVariant* value, const QString& string, QString* errorDescription) const override {
        bool isRead = false;
        *value = string.toInt(&isRead);
        if (!isRead && errorDescription)
            *errorDescription = string + " is no count";
        return isRead;
    }
};

// Shows a unit that is not edited.
class PercentFormatter final : public QWFormatter {
public:
    QString stringForObjectValue(const QVariant& value) const override { return value.toString() + " %"; }
    QString editingStringForObjectValue(const QVariant& value) const override { return value.toString(); }
    bool getObjectValue(QVariant* value, const QString& string, QString*) const override {
        *value = string;
        return true;
    }
};

struct TextFieldCell : testing::Test {
    TextFieldCell() {
        model.setItem(0, 0, new QStandardItem);
        model.setData(index, 90);
        view.setModel(&model);
        use(std::make_shared<QWMinuteSecondsFormatter>());
    }
    void use(const QWFormatterRef& formatter) {
        cell = std::make_unique<QWTextFieldCell>(formatter);
        view.setItemDelegateForColumn(0, cell.get());
    }
    QLineEdit* edit() {
        view.setCurrentIndex(index);
        view.edit(index);
        return editor();
    }
    QLineEdit* editor() { return qobject_cast<QLineEdit*>(view.indexWidget(index)); }
    // A key pressed in the editor, and what follows from it.
    void press(int key) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(editor(), &event);
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    QStandardItemModel model{2, 1};
    QTableView view;
    std::unique_ptr<QWTextFieldCell> cell;
    const QModelIndex index = model.index(0, 0);
};

TEST_F(TextFieldCell, Shows_values_through_the_formatter) {
    EXPECT_EQ(cell->displayText(90, {}), u"1:30");
    EXPECT_EQ(cell->displayText("no number", {}), u"");
}

TEST_F(TextFieldCell, Begins_editing_with_the_text_shown_and_stores_what_is_read) {
    QLineEdit* const editor = edit();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), u"1:30");
    editor->setText("2:05");
    press(Qt::Key_Return);
    EXPECT_FALSE(this->editor());
    EXPECT_EQ(model.data(index), 125);
}

TEST_F(TextFieldCell, Begins_editing_with_the_text_that_the_formatter_has_for_it) {
    use(std::make_shared<PercentFormatter>());
    EXPECT_EQ(edit()->text(), u"90");
    EXPECT_EQ(cell->displayText(90, {}), u"90 %");
}

TEST_F(TextFieldCell, Keeps_the_editor_open_over_a_text_that_is_refused) {
    edit()->setText("2:");
    press(Qt::Key_Return);
    ASSERT_TRUE(editor());
    EXPECT_EQ(editor()->text(), u"2:");
    EXPECT_EQ(model.data(index), 90);
    press(Qt::Key_Escape);
    EXPECT_FALSE(editor());
    EXPECT_EQ(model.data(index), 90);
}

TEST_F(TextFieldCell, Keeps_the_value_when_the_focus_leaves_a_text_that_is_refused) {
    edit()->setText("2:");
    QFocusEvent left(QEvent::FocusOut);
    QApplication::sendEvent(editor(), &left);
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(editor());
    EXPECT_EQ(model.data(index), 90);
}

TEST_F(TextFieldCell, Keeps_the_value_when_another_item_becomes_current_over_a_text_that_is_refused) {
    edit()->setText("2:");
    view.setCurrentIndex(model.index(1, 0));
    EXPECT_EQ(model.data(index), 90);
}

TEST_F(TextFieldCell, Stores_null_for_an_empty_text_that_means_no_value) {
    use(std::make_shared<QWMinutesIntervalFormatter>());
    edit()->clear();
    press(Qt::Key_Return);
    EXPECT_FALSE(editor());
    EXPECT_FALSE(model.data(index).isValid());
}

TEST_F(TextFieldCell, Says_in_the_tool_tip_why_a_text_is_refused) {
    use(std::make_shared<CountFormatter>());
    QLineEdit* const editor = edit();
    EXPECT_EQ(editor->toolTip(), u"");
    editor->setText("many");
    EXPECT_EQ(editor->toolTip(), u"many is no count");
    editor->setText("7");
    EXPECT_EQ(editor->toolTip(), u"");
}

TEST_F(TextFieldCell, Says_why_the_empty_text_of_no_value_is_refused_before_anything_is_typed) {
    use(std::make_shared<CountFormatter>());
    model.setData(index, QVariant());
    EXPECT_EQ(edit()->toolTip(), u" is no count");
}

} // namespace
