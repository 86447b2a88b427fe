#include "views/CellFixture.h"
#include "views/QWCheckBoxCell.h"

namespace {

struct CheckBoxCell : CellView {
    CheckBoxCell() {
        use(cell);
        view.setColumnWidth(0, 100);
    }
    QPoint box() const { return cell.indicatorRect({0, 0, 100, 20}).center().toPoint(); }
    QWCheckBoxCell cell;
};

TEST(CheckBoxCellAlone, Is_checked_for_what_is_neither_null_nor_zero) {
    QWCheckBoxCell cell;
    for (const QVariant& off : {QVariant(), QVariant(false), QVariant(0), QVariant(0.0)}) {
        cell.setValue(off);
        EXPECT_FALSE(cell.isChecked()) << off.toString().toStdString();
    }
    for (const QVariant& on : {QVariant(true), QVariant(1), QVariant(-2), QVariant(0.5)}) {
        cell.setValue(on);
        EXPECT_TRUE(cell.isChecked()) << on.toString().toStdString();
    }
}

TEST(CheckBoxCellAlone, Is_copied_with_its_value) {
    QWCheckBoxCell cell;
    cell.setValue(true);
    EXPECT_TRUE(dynamic_cast<QWCheckBoxCell&>(*cell.copy()).isChecked());
}

TEST(CheckBoxCellAlone, Lies_at_the_leading_edge_in_the_middle_of_the_height) {
    QWCheckBoxCell cell;
    const QRectF frame(10, 5, 100, 30);
    const QRectF box = cell.indicatorRect(frame);
    EXPECT_EQ(box.left(), 12);
    EXPECT_NEAR(box.center().y(), frame.center().y(), 0.5);
    cell.setLayoutDirection(Qt::RightToLeft);
    EXPECT_EQ(cell.indicatorRect(frame).right(), 108);
}

TEST_F(CheckBoxCell, Draws_its_box_where_it_says_and_a_mark_when_it_is_checked) {
    set(0, false);
    const QImage off = shown(0);
    set(0, true);
    const QImage on = shown(0);
    const QRect box = cell.indicatorRect({0, 0, 100, 20}).toRect();
    EXPECT_NE(on, off);
    EXPECT_TRUE(box.contains(cells::inked(on, {}, view.palette().color(QPalette::Base))));
}

TEST_F(CheckBoxCell, Shows_its_frame_on_light_and_on_dark_ground) {
    set(0, false);
    for (const QPalette& palette : {QPalette(Qt::white), cells::darkPalette()}) {
        view.setPalette(palette);
        const QImage image = shown(0);
        const QRect box = cell.indicatorRect({0, 0, 100, 20}).toRect();
        int strongest = 0; // on the left side of the frame
        for (int x = box.left(); x < box.center().x(); ++x)
            strongest = qMax(strongest, qAbs(image.pixelColor(x, box.center().y()).lightness()
                                             - palette.color(QPalette::Base).lightness()));
        EXPECT_GT(strongest, 40);
    }
}

TEST_F(CheckBoxCell, Is_drawn_otherwise_when_it_cannot_be_changed) {
    set(0, true);
    const QImage enabled = shown(0);
    cell.setEnabled(false);
    EXPECT_NE(shown(0), enabled);
}

TEST_F(CheckBoxCell, Follows_the_alignment_of_the_index) {
    set(0, int(Qt::AlignHCenter), Qt::TextAlignmentRole);
    const QRect ink = cells::inked(shown(0), {}, view.palette().color(QPalette::Base));
    EXPECT_NEAR(ink.center().x(), 50, 1);
}

TEST_F(CheckBoxCell, A_click_on_the_box_changes_the_value) {
    set(0, false);
    clickAt(0, box());
    EXPECT_EQ(model.data(at(0), Qt::EditRole), true);
    clickAt(0, box());
    EXPECT_EQ(model.data(at(0), Qt::EditRole), false);
}

TEST_F(CheckBoxCell, A_double_click_is_two_clicks_and_opens_no_editor) {
    set(0, false);
    doubleClickAt(0, box());
    EXPECT_EQ(model.data(at(0), Qt::EditRole), false);
    EXPECT_FALSE(editor());
}

TEST_F(CheckBoxCell, A_click_beside_the_box_or_with_another_button_changes_nothing) {
    set(0, false);
    clickAt(0, {60, 10});
    QTest::mouseClick(view.viewport(), Qt::RightButton, {}, rect(0).topLeft() + box());
    EXPECT_EQ(model.data(at(0), Qt::EditRole), false);
}

TEST_F(CheckBoxCell, The_space_key_changes_the_value_of_the_current_item) {
    set(1, false);
    view.setCurrentIndex(at(1));
    press(Qt::Key_Space);
    EXPECT_EQ(model.data(at(1), Qt::EditRole), true);
    press(Qt::Key_A);
    EXPECT_EQ(model.data(at(1), Qt::EditRole), true);
}

TEST_F(CheckBoxCell, Changes_nothing_unless_cell_and_model_allow_it) {
    set(0, false);
    view.setCurrentIndex(at(0));
    const auto tryBoth = [&] {
        clickAt(0, box());
        press(Qt::Key_Space);
    };
    cell.setEnabled(false);
    tryBoth();
    EXPECT_EQ(cell.hitTestForEvent(cells::click(box()), {0, 0, 100, 20}, &view), QWTableCell::HitContentArea);
    cell.setEnabled(true);
    cell.setEditable(false);
    clickAt(0, box());
    cell.setEditable(true);
    model.item(0)->setEditable(false);
    clickAt(0, box());
    EXPECT_EQ(model.data(at(0), Qt::EditRole), false);
    EXPECT_TRUE(cell.hitTestForEvent(cells::click(box()), {0, 0, 100, 20}, &view)
                & QWTableCell::HitTrackableArea);
}

TEST_F(CheckBoxCell, Serves_an_item_that_has_a_check_state_in_place_of_a_value) {
    model.item(2) ? void() : model.setItem(2, new QStandardItem);
    model.item(2)->setCheckable(true);
    model.item(2)->setEditable(false);
    clickAt(2, box());
    EXPECT_EQ(model.item(2)->checkState(), Qt::Checked);
    clickAt(2, box());
    EXPECT_EQ(model.item(2)->checkState(), Qt::Unchecked);
}

} // namespace
