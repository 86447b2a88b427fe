#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "views/CellFixture.h"
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

// Drawing and clicks

const QRectF frame(10, 5, 200, 20);

struct TextDrawing : testing::Test {
    TextDrawing() {
        cell.setFont(cells::textFont());
        cell.setValue("Weather");
    }
    QRect ink(const QRectF& rect = frame) { return cells::inked(cells::drawn(cell, rect, {240, 80})); }
    qreal lineHeight() const { return QFontMetricsF(cells::textFont()).height(); }

    QWTextFieldCell cell;
};

TEST_F(TextDrawing, Leaves_two_at_either_side_and_begins_at_the_top) {
    EXPECT_EQ(cell.drawingRectForBounds(frame), QRectF(12, 5, 196, 20));
    QImage expected(240, 80, QImage::Format_RGB32);
    expected.fill(Qt::white);
    QPainter painter(&expected);
    painter.setFont(cells::textFont());
    painter.setPen(QApplication::palette().color(QPalette::Text));
    painter.drawText(QPointF(12, 5 + QFontMetricsF(cells::textFont()).ascent()), "Weather");
    painter.end();
    EXPECT_EQ(cells::drawn(cell, frame, {240, 80}), expected);
}

TEST_F(TextDrawing, Is_centred_in_the_height_when_told_so) {
    cell.setAlignTextVertically(true);
    const QRectF bounds(0, 0, 200, 41.3);
    const float spare = float(41.3 - lineHeight());
    ASSERT_NE(double(spare), 41.3 - lineHeight()); // single precision tells
    const QRectF rect = cell.drawingRectForBounds(bounds);
    EXPECT_EQ(rect.top(), double(spare * 0.5F));
    EXPECT_EQ(rect.height(), 41.3 - double(spare));
    EXPECT_EQ(rect.left(), 2);
    // Nothing to spare: nothing moves.
    EXPECT_EQ(cell.drawingRectForBounds({0, 0, 200, 6}), QRectF(2, 0, 196, 6));
}

TEST_F(TextDrawing, Is_centred_by_the_lines_that_its_whole_bounds_give_it) {
    cell.setAlignTextVertically(true);
    cell.setValue("some words that wrap");
    const qreal width = QFontMetricsF(cells::textFont()).horizontalAdvance("some words that wrap");
    EXPECT_EQ(cell.drawingRectForBounds({0, 0, width + 5, 60}).height(),
              60 - double(float(60 - lineHeight()))); // one line, not the two of a narrower place
}

TEST_F(TextDrawing, Wraps_words_at_the_width_of_its_bounds_in_as_many_lines_as_fit) {
    cell.setValue("some words that wrap");
    const qreal width = QFontMetricsF(cells::textFont()).horizontalAdvance("some words that");
    const QSizeF size = cell.cellSizeForBounds({0, 0, width + 5, 100});
    EXPECT_EQ(size.height(), 2 * lineHeight());
    EXPECT_NEAR(size.width(), width + 4, 0.5);
    EXPECT_EQ(cell.cellSizeForBounds({0, 0, 400, 100}).height(), lineHeight());
    EXPECT_EQ(cell.cellSizeForBounds({0, 0, width + 5, 1.5 * lineHeight()}).height(), lineHeight());
    EXPECT_GT(ink({10, 5, width + 5, 40}).height(), lineHeight());
}

TEST_F(TextDrawing, Breaks_lines_where_the_text_does) {
    cell.setValue("one\ntwo\n\nfour");
    EXPECT_EQ(cell.cellSizeForBounds({0, 0, 200, 100}).height(), 4 * lineHeight());
    EXPECT_GT(ink({10, 5, 200, 70}).height(), 3 * lineHeight());
    EXPECT_LT(ink().height(), lineHeight()); // one line, where one fits
}

TEST_F(TextDrawing, Elides_what_does_not_fit) {
    cell.setValue("a text that is far too long for where it is");
    const QRectF narrow(10, 5, 80, 20);
    const QImage image = cells::drawn(cell, narrow);
    EXPECT_LE(cells::inked(image).right(), narrow.right() - 2);
    cell.setValue(QFontMetricsF(cells::textFont()).elidedText(cell.stringValue(), Qt::ElideRight, 76));
    EXPECT_TRUE(cell.stringValue().endsWith(QChar(0x2026)));
    EXPECT_EQ(cells::drawn(cell, narrow), image);
    cell.setValue("many words that wrap into more lines than there are");
    EXPECT_LE(ink({10, 5, 80, 2.2 * lineHeight()}).bottom(), 5 + 2.2 * lineHeight());
}

TEST_F(TextDrawing, Draws_nothing_where_there_is_no_width) {
    EXPECT_TRUE(ink({10, 5, 3, 20}).isNull());
}

TEST_F(TextDrawing, Begins_at_the_right_in_a_right_to_left_view) {
    const QRect before = ink();
    cell.setLayoutDirection(Qt::RightToLeft);
    EXPECT_NEAR(ink().right(), 208, 2);
    EXPECT_NEAR(ink().width(), before.width(), 1);
}

TEST_F(TextDrawing, Is_sharp_on_a_screen_of_twice_the_resolution) {
    const QRect once = ink();
    const QRect twice = cells::inked(cells::drawn(cell, frame, {240, 80}, 2));
    EXPECT_NEAR(twice.width(), 2 * once.width(), 3);
    EXPECT_NEAR(twice.left(), 2 * once.left(), 3);
    EXPECT_NEAR(twice.bottom(), 2 * once.bottom(), 3);
}

TEST_F(TextDrawing, Is_hit_anywhere_in_its_frame_and_can_be_edited_there) {
    using Cell = QWTableCell;
    EXPECT_EQ(cell.hitTestForEvent(cells::click({11, 6}), frame, nullptr),
              unsigned(Cell::HitContentArea | Cell::HitEditableTextArea));
    EXPECT_EQ(cell.hitTestForEvent(cells::click({9, 6}), frame, nullptr), Cell::HitNone);
    cell.setEditable(false);
    EXPECT_EQ(cell.hitTestForEvent(cells::click({11, 6}), frame, nullptr), Cell::HitContentArea);
}

TEST_F(TextDrawing, Selects_characters_in_an_editor_over_its_text) {
    QWidget view;
    QLineEdit edit("Weather", &view);
    cell.setAlignTextVertically(true);
    cell.selectWithFrame(frame, &view, edit, 2, 3);
    EXPECT_EQ(edit.selectedText(), u"ath");
    EXPECT_EQ(edit.geometry(), frame.toRect()); // the full height, though the text is centred
    EXPECT_LT(cell.drawingRectForBounds(frame).height(), 20);
}

struct TextFieldInView : CellView {
    TextFieldInView() {
        use(cell);
        set(0, "Weather");
    }
    QWTextFieldCell cell;
};

TEST_F(TextFieldInView, A_double_click_opens_an_editor_over_the_cell_whose_text_does_not_move) {
    doubleClickAt(0, {50, 10});
    auto* edit = qobject_cast<QLineEdit*>(editor());
    ASSERT_TRUE(edit);
    EXPECT_EQ(edit->geometry(), rect(0));
    EXPECT_EQ(edit->selectedText(), u"Weather");
    QTest::keyClicks(edit, "Sun");
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents(); // Qt reads the editor later
    EXPECT_EQ(model.data(at(0)).toString(), u"Sun");
}

TEST_F(TextFieldInView, Opens_no_editor_unless_cell_and_model_allow_it) {
    cell.setEditable(false);
    doubleClickAt(0, {50, 10});
    EXPECT_FALSE(editor());
    cell.setEditable(true);
    cell.setEnabled(false);
    doubleClickAt(0, {50, 10});
    EXPECT_FALSE(editor());
    cell.setEnabled(true);
    model.item(0)->setEditable(false);
    doubleClickAt(0, {50, 10});
    EXPECT_FALSE(editor());
}

TEST_F(TextFieldInView, Stores_a_value_of_the_type_that_was_there_where_the_text_can_be_read_as_one) {
    const auto type = [&](const QString& text) {
        view.edit(at(0));
        static_cast<QLineEdit*>(editor())->setText(text);
        QTest::keyClick(editor(), Qt::Key_Return);
        QApplication::processEvents(); // Qt reads the editor later
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return model.data(at(0), Qt::EditRole);
    };
    set(0, 5);
    EXPECT_EQ(type("12"), QVariant(12));
    EXPECT_EQ(type("many"), QVariant("many"));
}

TEST_F(TextFieldInView, Edits_in_the_font_and_the_alignment_of_the_index) {
    QFont bold = cells::textFont();
    bold.setBold(true);
    set(0, bold, Qt::FontRole);
    set(0, int(Qt::AlignRight | Qt::AlignVCenter), Qt::TextAlignmentRole);
    view.edit(at(0));
    auto* edit = qobject_cast<QLineEdit*>(editor());
    ASSERT_TRUE(edit);
    EXPECT_TRUE(edit->font().bold());
    EXPECT_EQ(edit->alignment(), Qt::AlignRight);
}

TEST_F(TextFieldInView, Takes_the_horizontal_part_of_the_alignment) {
    const QColor base = view.palette().color(QPalette::Base);
    const QRect left = cells::inked(shown(0), {}, base);
    set(0, int(Qt::AlignRight | Qt::AlignBottom), Qt::TextAlignmentRole);
    const QRect right = cells::inked(shown(0), {}, base);
    EXPECT_EQ(right.top(), left.top());
    EXPECT_GT(right.left(), left.left());
    EXPECT_NEAR(right.right(), rect(0).width() - 3, 2);
    set(0, int(Qt::AlignHCenter), Qt::TextAlignmentRole);
    EXPECT_NEAR(cells::inked(shown(0), {}, base).center().x(), rect(0).width() / 2, 2);
}

} // namespace
