#include "formatters/QWMinuteSecondsFormatter.h"
#include "views/CellFixture.h"
#include "views/QWCheckBoxCell.h"
#include "views/QWTextFieldCell.h"

#include <QAccessible>
#include <QLineEdit>

namespace {

const QRectF frame(10, 5, 200, 20);

struct TableCell : CellView {
    TableCell() {
        use(cell);
        view.setColumnWidth(0, 200);
    }
    QWTextFieldCell cell;
};

TEST(TableCellAlone, Shows_the_value_through_its_formatter_and_without_one_as_Qt_does) {
    QWTextFieldCell cell;
    cell.setValue(90);
    EXPECT_EQ(cell.stringValue(), u"90");
    cell.setFormatter(std::make_shared<QWMinuteSecondsFormatter>());
    EXPECT_EQ(cell.stringValue(), u"1:30");
    cell.setValue("no number");
    EXPECT_TRUE(cell.stringValue().isEmpty());
}

TEST(TableCellAlone, Copies_settings_value_and_state_and_goes_its_own_way) {
    QWTextFieldCell cell(std::make_shared<QWMinuteSecondsFormatter>());
    cell.setValue(90);
    cell.setEnabled(false);
    cell.setEditable(false);
    cell.setHighlighted(true);
    cell.setWindowActive(false);
    cell.setViewFocused(true);
    cell.setBackgroundStyle(QWTableCell::BackgroundStyle::Dark);
    cell.setAlignTextVertically(true);
    cell.setFont(cells::textFont());
    const auto copy = cell.copy();
    EXPECT_EQ(copy->stringValue(), u"1:30");
    EXPECT_FALSE(copy->isEnabled());
    EXPECT_FALSE(copy->isEditable());
    EXPECT_TRUE(copy->isHighlighted());
    EXPECT_FALSE(copy->isWindowActive());
    EXPECT_TRUE(copy->isViewFocused());
    EXPECT_EQ(copy->backgroundStyle(), QWTableCell::BackgroundStyle::Dark);
    EXPECT_EQ(copy->font(), cells::textFont());
    EXPECT_TRUE(dynamic_cast<QWTextFieldCell&>(*copy).alignTextVertically());
    EXPECT_EQ(cells::drawn(*copy, frame), cells::drawn(cell, frame));
    copy->setValue(5);
    EXPECT_EQ(cell.value(), 90);
}

TEST_F(TableCell, Takes_the_value_under_the_edit_role_and_else_the_one_that_is_displayed) {
    struct Displayed : QStandardItemModel {
        using QStandardItemModel::QStandardItemModel;
        QVariant data(const QModelIndex&, int role) const override {
            return role == Qt::DisplayRole ? QVariant("shown") : role == Qt::EditRole ? stored : QVariant();
        }
        QVariant stored;
    } both(1, 1);
    QStyleOptionViewItem option;
    option.font = cells::textFont();
    EXPECT_GT(cell.sizeHint(option, both.index(0, 0)).width(), 20);
    EXPECT_EQ(cell.value().toString(), u"shown");
    both.stored = 7;
    EXPECT_GT(cell.sizeHint(option, both.index(0, 0)).width(), 4);
    EXPECT_EQ(cell.value(), 7);
}

TEST_F(TableCell, Is_drawn_in_the_font_and_the_colours_of_the_index) {
    set(0, "Weather");
    const QRect plain = cells::inked(shown(0));
    QFont large = cells::textFont();
    large.setPixelSize(16);
    set(0, large, Qt::FontRole);
    EXPECT_GT(cells::inked(shown(0)).width(), plain.width());
    set(0, QBrush(Qt::red), Qt::ForegroundRole);
    set(0, QBrush(Qt::yellow), Qt::BackgroundRole);
    EXPECT_EQ(shown(0).pixelColor(150, 3), QColor(Qt::yellow));
    EXPECT_TRUE(cells::shows(shown(0), Qt::red));
}

TEST_F(TableCell, Highlights_the_whole_frame_of_a_selected_item) {
    set(0, "Weather");
    view.selectionModel()->select(at(0), QItemSelectionModel::Select);
    const QImage row = shown(0);
    const QColor highlight = view.palette().color(QPalette::Active, QPalette::Highlight);
    EXPECT_EQ(row.pixelColor(1, 10), highlight);
    EXPECT_EQ(row.pixelColor(198, 10), highlight);
    EXPECT_TRUE(cells::shows(row, view.palette().color(QPalette::Active, QPalette::HighlightedText)));
}

TEST_F(TableCell, Is_drawn_in_the_colours_of_a_window_that_is_not_active) {
    QPalette palette = view.palette();
    palette.setColor(QPalette::Inactive, QPalette::Text, Qt::darkGreen);
    view.setPalette(palette);
    set(0, "Weather");
    EXPECT_FALSE(cells::shows(shown(0), Qt::darkGreen));
    deactivate();
    EXPECT_TRUE(cells::shows(shown(0), Qt::darkGreen));
}

TEST_F(TableCell, Is_drawn_as_disabled_when_view_item_or_the_cell_itself_is) {
    QPalette palette = view.palette();
    palette.setColor(QPalette::Disabled, QPalette::Text, Qt::magenta);
    view.setPalette(palette);
    set(0, "Weather");
    EXPECT_FALSE(cells::shows(shown(0), Qt::magenta));
    cell.setEnabled(false);
    EXPECT_TRUE(cells::shows(shown(0), Qt::magenta));
    cell.setEnabled(true);
    model.item(0)->setEnabled(false);
    EXPECT_TRUE(cells::shows(shown(0), Qt::magenta));
    model.item(0)->setEnabled(true);
    view.setEnabled(false);
    EXPECT_TRUE(cells::shows(shown(0), Qt::magenta));
}

TEST_F(TableCell, Knows_whether_it_stands_on_a_light_or_a_dark_background) {
    const auto style = [&] {
        shown(0);
        return cell.backgroundStyle();
    };
    using Style = QWTableCell::BackgroundStyle;
    QStandardItemModel one(1, 1);
    view.setModel(&one);
    EXPECT_EQ(style(), Style::Light);
    one.setData(one.index(0, 0), QBrush(Qt::black), Qt::BackgroundRole);
    EXPECT_EQ(style(), Style::Dark);
    one.setData(one.index(0, 0), QBrush(Qt::yellow), Qt::BackgroundRole);
    view.selectRow(0);
    EXPECT_EQ(style(), Style::Dark); // the highlight, not what is under it
    view.clearSelection();
    one.setData(one.index(0, 0), {}, Qt::BackgroundRole);
    QPalette palette = view.palette();
    palette.setColor(QPalette::AlternateBase, Qt::black);
    view.setPalette(palette);
    view.setAlternatingRowColors(true);
    EXPECT_EQ(style(), Style::Light);
    one.insertRow(1);
    EXPECT_EQ(style(), Style::Dark); // of the second row, drawn last
    view.setPalette(cells::darkPalette());
    EXPECT_EQ(style(), Style::Dark);
    view.setModel(&model);
}

TEST_F(TableCell, Asks_its_view_whether_its_window_is_active_and_it_has_the_focus) {
    cell.setControlView(&view);
    EXPECT_TRUE(cell.isWindowActive());
    EXPECT_TRUE(cell.isViewFocused());
    elsewhere.setFocus();
    EXPECT_TRUE(cell.isWindowActive());
    EXPECT_FALSE(cell.isViewFocused());
    deactivate();
    EXPECT_FALSE(cell.isWindowActive());
}

TEST_F(TableCell, Is_not_focused_while_an_editor_is_open_in_its_view) {
    view.edit(at(0));
    ASSERT_TRUE(editor());
    cell.setControlView(&view);
    EXPECT_TRUE(cell.isWindowActive());
    EXPECT_FALSE(cell.isViewFocused());
}

TEST_F(TableCell, Takes_palette_direction_and_state_of_the_view_that_it_is_drawn_for) {
    cell.setFont(cells::textFont());
    cell.setValue("Weather");
    view.setPalette(cells::darkPalette());
    view.setLayoutDirection(Qt::RightToLeft);
    QImage image(220, 30, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    cell.drawWithFrame(painter, frame, &view);
    EXPECT_TRUE(cells::shows(image, Qt::white));
    EXPECT_GT(cells::inked(image, {}, Qt::black).left(), 120);
    QPalette another = cells::darkPalette();
    another.setColor(QPalette::Text, Qt::red);
    view.setPalette(another);
    cell.drawWithFrame(painter, frame, &view);
    EXPECT_TRUE(cells::shows(image, Qt::red)); // as the view is now
}

TEST_F(TableCell, Leaves_the_painter_as_it_was_and_draws_nothing_outside_its_frame) {
    set(0, "Weather\nor not, as the case may be, in a font that is far too large for the row");
    QFont large = cells::textFont();
    large.setPixelSize(60);
    set(0, large, Qt::FontRole);
    QImage image(220, 160, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    const QPen pen(Qt::blue, 3);
    painter.setPen(pen);
    QStyleOptionViewItem option;
    option.initFrom(&view);
    option.widget = &view;
    option.rect = {20, 20, 100, 20};
    view.itemDelegate()->paint(&painter, option, at(0));
    EXPECT_EQ(painter.pen(), pen);
    EXPECT_FALSE(painter.hasClipping());
    painter.end();
    EXPECT_TRUE(option.rect.contains(cells::inked(image)));
}

TEST_F(TableCell, Shows_where_the_current_item_is) {
    set(0, "Weather");
    const QImage without = shown(0);
    view.selectionModel()->setCurrentIndex(at(0), QItemSelectionModel::NoUpdate);
    EXPECT_NE(shown(0), without);
}

TEST_F(TableCell, Wants_the_size_that_the_index_says_and_else_that_of_its_text) {
    set(0, "Weather");
    QStyleOptionViewItem option;
    option.font = cells::textFont();
    const QFontMetricsF metrics(option.font);
    EXPECT_EQ(cell.sizeHint(option, at(0)),
              QSize(qCeil(metrics.horizontalAdvance("Weather") + 4), qCeil(metrics.height() + 4)));
    set(0, QSize(50, 60), Qt::SizeHintRole);
    EXPECT_EQ(cell.sizeHint(option, at(0)), QSize(50, 60));
}

TEST_F(TableCell, Takes_nothing_from_what_the_model_says_to_assistive_technology) {
    QWCheckBoxCell box;
    use(box);
    set(0, true);
    set(0, "Visited", Qt::AccessibleTextRole);
    auto* table = QAccessible::queryAccessibleInterface(&view)->tableInterface();
    ASSERT_TRUE(table);
    EXPECT_EQ(table->cellAt(0, 0)->text(QAccessible::Name), u"Visited");
}

} // namespace
