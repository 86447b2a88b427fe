#include "views/CellFixture.h"
#include "views/QWLevelIndicatorCell.h"

namespace {

const QRectF frame(10, 5, 104, 20);

struct LevelIndicatorCell : CellView {
    LevelIndicatorCell() {
        cell.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
        use(cell);
        view.setColumnWidth(0, 120);
        set(0, 2);
    }
    QPoint star(int number) const { return cell.starRect(number, {0, 0, 120, 20}).center().toPoint(); }
    QVariant stored() const { return model.data(at(0), Qt::EditRole); }
    QWLevelIndicatorCell cell;
};

// How much of the bar is filled, in pixels of its middle line.
int filledPixels(QWLevelIndicatorCell& cell) {
    const QImage image = cells::drawn(cell, frame);
    const QColor fill = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
    int count = 0;
    for (int x = 0; x < image.width(); ++x)
        count += image.pixelColor(x, 15) == fill;
    return count;
}

TEST(LevelIndicatorCellAlone, Is_a_bar_from_0_to_5_until_told_otherwise) {
    const QWLevelIndicatorCell cell;
    EXPECT_EQ(cell.levelIndicatorStyle(), QWLevelIndicatorCell::Style::Bar);
    EXPECT_EQ(cell.minValue(), 0);
    EXPECT_EQ(cell.maxValue(), 5);
}

TEST(LevelIndicatorCellAlone, Holds_values_within_its_bounds_and_null_at_the_least) {
    QWLevelIndicatorCell cell;
    cell.setMinValue(1);
    cell.setMaxValue(4);
    for (const auto& [value, level] : QList<std::pair<QVariant, double>>{
             {{}, 1}, {0, 1}, {-3, 1}, {2.5, 2.5}, {9, 4}, {"3", 3}, {"many", 1}, {qQNaN(), 1}}) {
        cell.setValue(value);
        EXPECT_EQ(cell.level(), level) << value.toString().toStdString();
    }
}

TEST(LevelIndicatorCellAlone, Fills_its_bar_in_proportion) {
    QWLevelIndicatorCell cell;
    EXPECT_EQ(cell.barRect(frame), QRectF(12, 10, 100, 10));
    cell.setMaxValue(10);
    cell.setValue(0);
    EXPECT_EQ(filledPixels(cell), 0);
    cell.setValue(5);
    EXPECT_NEAR(filledPixels(cell), 50, 1);
    cell.setValue(10);
    EXPECT_NEAR(filledPixels(cell), 100, 2); // but for the round ends
    cell.setMaxValue(0);                     // no range
    EXPECT_EQ(filledPixels(cell), 0);
}

TEST(LevelIndicatorCellAlone, Fills_its_bar_from_the_right_in_a_right_to_left_view) {
    QWLevelIndicatorCell cell;
    cell.setValue(2.5);
    cell.setLayoutDirection(Qt::RightToLeft);
    const QImage image = cells::drawn(cell, frame);
    const QColor fill = QApplication::palette().color(QPalette::Active, QPalette::Highlight);
    EXPECT_EQ(image.pixelColor(100, 15), fill);
    EXPECT_NE(image.pixelColor(40, 15), fill);
}

TEST(LevelIndicatorCellAlone, Rounds_to_whole_stars) {
    QWLevelIndicatorCell cell;
    cell.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
    EXPECT_EQ(cell.starCount(), 5);
    for (const auto& [value, stars] :
         QList<std::pair<QVariant, int>>{{{}, 0}, {1, 1}, {2.4, 2}, {2.5, 3}, {5, 5}, {8, 5}}) {
        cell.setValue(value);
        EXPECT_EQ(cell.litStars(), stars) << value.toString().toStdString();
    }
}

TEST(LevelIndicatorCellAlone, Draws_a_star_for_each_that_is_lit_and_a_dot_for_the_others) {
    QWLevelIndicatorCell cell;
    cell.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
    cell.setFont(cells::textFont());
    cell.setValue(3);
    const QImage image = cells::drawn(cell, frame);
    const QColor text = QApplication::palette().color(QPalette::Active, QPalette::Text);
    for (int number = 1; number <= 5; ++number) {
        const QRect star = cell.starRect(number, frame).toAlignedRect();
        EXPECT_EQ(cells::shows(image, text, star), number <= 3) << number;
        const int width = cells::inked(image, star).width();
        EXPECT_TRUE(number <= 3 ? width > 10 : width > 0 && width < 6) << number << ": " << width;
    }
}

TEST(LevelIndicatorCellAlone, Sets_stars_from_the_right_in_a_right_to_left_view) {
    QWLevelIndicatorCell cell;
    const QRectF first = cell.starRect(1, frame);
    EXPECT_EQ(first.left(), frame.left() + 2);
    cell.setLayoutDirection(Qt::RightToLeft);
    EXPECT_EQ(cell.starRect(1, frame).right(), frame.right() - 2);
    EXPECT_LT(cell.starRect(2, frame).left(), cell.starRect(1, frame).left());
}

TEST(LevelIndicatorCellAlone, Makes_stars_smaller_rather_than_leaving_any_out) {
    QWLevelIndicatorCell cell;
    const QRectF narrow(0, 0, 44, 20);
    EXPECT_EQ(cell.starRect(5, narrow), QRectF(34, 6, 8, 8));
}

TEST(LevelIndicatorCellAlone, Is_copied_with_its_settings) {
    QWLevelIndicatorCell cell;
    cell.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Rating);
    cell.setMinValue(1);
    cell.setMaxValue(7);
    const auto copied = cell.copy();
    const auto& copy = dynamic_cast<QWLevelIndicatorCell&>(*copied);
    EXPECT_EQ(copy.levelIndicatorStyle(), QWLevelIndicatorCell::Style::Rating);
    EXPECT_EQ(copy.starCount(), 6);
}

TEST_F(LevelIndicatorCell, Is_drawn_in_the_text_colour_of_its_state) {
    view.setPalette(cells::darkPalette());
    EXPECT_TRUE(cells::shows(shown(0), Qt::white));
    cell.setEnabled(false);
    EXPECT_FALSE(cells::shows(shown(0), Qt::white));
    EXPECT_TRUE(cells::shows(shown(0), Qt::gray));
}

TEST_F(LevelIndicatorCell, A_click_on_a_star_gives_that_many) {
    clickAt(0, star(4));
    EXPECT_EQ(stored(), 4);
    clickAt(0, star(1));
    EXPECT_EQ(stored(), 1);
}

TEST_F(LevelIndicatorCell, A_click_on_the_last_lit_star_takes_it_away) {
    clickAt(0, star(2));
    EXPECT_EQ(stored(), 1);
    clickAt(0, star(1));
    EXPECT_EQ(stored(), 0);
}

TEST_F(LevelIndicatorCell, A_click_beside_the_stars_or_with_another_button_changes_nothing) {
    clickAt(0, {115, 10});
    QTest::mouseClick(view.viewport(), Qt::RightButton, {}, rect(0).topLeft() + star(4));
    EXPECT_EQ(stored(), 2);
}

TEST_F(LevelIndicatorCell, Keys_change_the_rating_of_the_current_item) {
    view.setCurrentIndex(at(0));
    press(Qt::Key_4);
    EXPECT_EQ(stored(), 4);
    QTest::keyClicks(&view, "++");
    EXPECT_EQ(stored(), 5); // no more than there are
    QTest::keyClicks(&view, "-");
    EXPECT_EQ(stored(), 4);
    press(Qt::Key_9); // more than there are
    press(Qt::Key_A);
    EXPECT_EQ(stored(), 4);
    press(Qt::Key_0);
    EXPECT_EQ(stored(), 0);
    QTest::keyClicks(&view, "-");
    EXPECT_EQ(stored(), 0);
    press(Qt::Key_3);
    EXPECT_EQ(stored(), 3);
}

TEST_F(LevelIndicatorCell, Keeps_the_type_of_the_stored_number) {
    set(0, 2.0);
    clickAt(0, star(4));
    EXPECT_EQ(stored().typeId(), QMetaType::Double);
    set(0, {});
    clickAt(0, star(4));
    EXPECT_EQ(stored(), qint64(4));
}

TEST_F(LevelIndicatorCell, Counts_stars_from_the_least_value) {
    cell.setMinValue(1);
    clickAt(0, star(4));
    EXPECT_EQ(stored(), 5);
}

TEST_F(LevelIndicatorCell, Changes_nothing_unless_cell_and_model_allow_it) {
    view.setCurrentIndex(at(0));
    const auto tryAll = [&] {
        clickAt(0, star(4));
        press(Qt::Key_4);
    };
    cell.setEnabled(false);
    tryAll();
    cell.setEnabled(true);
    cell.setEditable(false);
    tryAll();
    cell.setEditable(true);
    model.item(0)->setEditable(false);
    tryAll();
    EXPECT_EQ(stored(), 2);
}

TEST_F(LevelIndicatorCell, A_bar_only_shows) {
    cell.setLevelIndicatorStyle(QWLevelIndicatorCell::Style::Bar);
    view.setCurrentIndex(at(0));
    clickAt(0, star(4));
    press(Qt::Key_4);
    EXPECT_EQ(stored(), 2);
    EXPECT_EQ(cell.hitTestForEvent(cells::click(star(4)), {0, 0, 120, 20}, &view),
              QWTableCell::HitContentArea);
}

} // namespace
