// The cell as the delegate of item views, with the clicks and keys of a user.

#include "support/Images.h"
#include "views/CellFixture.h"
#include "views/ImageAnd2TextsCell.h"
#include "views/NSColor_ImageAnd2TextsColors.h"

#include <QLineEdit>
#include <QListView>
#include <QTreeView>

namespace {

struct ImageAnd2TextsInView : CellView {
    ImageAnd2TextsInView() {
        use(cell);
        view.setColumnWidth(0, 200);
        set(0, "Weather");
        set(0, QVariant::fromValue(cells::square(Qt::red)), Qt::DecorationRole);
        set(0, "888", QWTableCell::SecondaryTextRole);
    }
    QColor badgeColor(int row = 0) { return shown(row).pixelColor(196, 10); }
    void select(int row) { view.selectionModel()->select(at(row), QItemSelectionModel::ClearAndSelect); }

    ImageAnd2TextsCell cell;
};

TEST_F(ImageAnd2TextsInView, Takes_images_and_badge_from_each_index) {
    set(1, "Sea");
    const QImage first = shown(0), second = shown(1);
    EXPECT_EQ(first.pixelColor(11, 10), QColor(Qt::red));
    EXPECT_EQ(badgeColor(0), cells::inPixel(blueGrayColor()));
    const QColor base = view.palette().color(QPalette::Base);
    EXPECT_EQ(second.pixelColor(196, 10), base);
    EXPECT_EQ(cells::inked(second, {}, base).left(), 2);
    EXPECT_EQ(shown(0), first); // what another row shows leaves no trace
}

TEST_F(ImageAnd2TextsInView, Takes_every_kind_of_picture_and_lists_of_them) {
    const QImage picture = images::twoHalves(Qt::green, Qt::green, {64, 64});
    for (const QVariant& decoration : {QVariant(picture), QVariant(QPixmap::fromImage(picture)),
                                       QVariant::fromValue(QIcon(QPixmap::fromImage(picture)))}) {
        set(1, decoration, Qt::DecorationRole);
        EXPECT_EQ(cells::inked(shown(1), {}, view.palette().color(QPalette::Base)), QRect(3, 2, 16, 16));
        EXPECT_EQ(shown(1).pixelColor(11, 10), QColor(Qt::green));
    }
    set(1, QVariantList{picture, QVariant::fromValue(cells::square(Qt::red)), picture}, Qt::DecorationRole);
    const QImage row = shown(1);
    EXPECT_EQ(row.pixelColor(11, 10), QColor(Qt::green));
    EXPECT_EQ(row.pixelColor(33, 10), QColor(Qt::red));
    EXPECT_EQ(row.pixelColor(55, 10), QColor(Qt::green));
}

TEST_F(ImageAnd2TextsInView, Leaves_no_room_for_a_picture_that_is_none) {
    set(1, "Sea");
    const QImage without = shown(1);
    const QSize size = cell.sizeHint({}, at(1));
    for (const QVariant& none : {QVariant::fromValue(QIcon()), QVariant(QPixmap()), QVariant(QImage()),
                                 QVariant("no picture"), QVariant(QVariantList{QVariant(), QImage()})}) {
        set(1, none, Qt::DecorationRole);
        EXPECT_EQ(shown(1), without) << none.typeName();
        EXPECT_EQ(cell.sizeHint({}, at(1)), size) << none.typeName();
    }
}

TEST_F(ImageAnd2TextsInView, Keeps_the_detail_of_images_when_the_view_is_drawn_at_twice_its_resolution) {
    QImage picture(32, 32, QImage::Format_RGB32);
    picture.fill(Qt::red);
    QPainter painter(&picture);
    painter.fillRect(0, 0, 1, 32, Qt::blue); // one pixel of 32, which 16 could not show
    painter.end();
    set(0, picture, Qt::DecorationRole);
    QImage image(view.viewport()->size() * 2, QImage::Format_RGB32);
    image.setDevicePixelRatio(2);
    view.viewport()->render(&image);
    EXPECT_EQ(image.pixelColor(6, 20), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(7, 20), QColor(Qt::red));
}

TEST_F(ImageAnd2TextsInView, Fits_images_to_rows_of_each_height) {
    set(1, QVariant::fromValue(cells::square(Qt::red)), Qt::DecorationRole);
    view.verticalHeader()->resizeSection(1, 36);
    const QColor base = view.palette().color(QPalette::Base);
    EXPECT_EQ(cells::inked(shown(1), {}, base), QRect(3, 2, 32, 32));
    set(0, "", QWTableCell::SecondaryTextRole);
    set(0, "");
    EXPECT_EQ(cells::inked(shown(0), {}, base), QRect(3, 2, 16, 16));
}

TEST_F(ImageAnd2TextsInView, Shows_who_has_the_focus_by_the_colours_of_the_badge) {
    view.setCurrentIndex(at(3));
    EXPECT_EQ(badgeColor(), cells::inPixel(blueGrayColor()));
    select(0);
    EXPECT_EQ(badgeColor(), QColor(Qt::white));
    EXPECT_TRUE(cells::shows(shown(0), darkCyanColor()));
    elsewhere.setFocus();
    EXPECT_EQ(badgeColor(), QColor(Qt::white));
    EXPECT_TRUE(cells::shows(shown(0), blueGrayColor()));
    EXPECT_FALSE(cells::shows(shown(0), darkCyanColor()));
    deactivate();
    EXPECT_TRUE(cells::shows(shown(0), ironGrayColor()));
    view.clearSelection();
    EXPECT_EQ(badgeColor(), cells::inPixel(ironGrayColor()));
    activate();
    EXPECT_EQ(badgeColor(), cells::inPixel(blueGrayColor()));
}

TEST_F(ImageAnd2TextsInView, Keeps_the_colours_of_the_badge_where_the_current_item_is_shown) {
    select(0);
    const QImage selected = shown(0);
    view.selectionModel()->setCurrentIndex(at(0), QItemSelectionModel::NoUpdate);
    const QImage current = shown(0);
    EXPECT_NE(current, selected);
    EXPECT_EQ(badgeColor(), QColor(Qt::white));
    EXPECT_EQ(current.pixelColor(11, 10), QColor(Qt::red));
    EXPECT_TRUE(cells::shows(current, darkCyanColor()));
}

TEST_F(ImageAnd2TextsInView, Does_not_take_an_open_editor_for_the_focus_of_the_view) {
    select(0);
    view.openPersistentEditor(at(1));
    editor(1)->setFocus();
    EXPECT_TRUE(cells::shows(shown(0), blueGrayColor()));
    EXPECT_FALSE(cells::shows(shown(0), darkCyanColor()));
}

TEST_F(ImageAnd2TextsInView, Draws_templates_white_on_a_highlight_and_in_a_dark_view) {
    QIcon mask = cells::square(Qt::green);
    mask.setIsMask(true);
    set(0, QVariant::fromValue(mask), Qt::DecorationRole);
    EXPECT_EQ(shown(0).pixelColor(11, 10), QColor(Qt::black));
    select(0);
    QPalette palette = view.palette();
    palette.setColor(QPalette::Highlight, Qt::darkBlue);
    view.setPalette(palette);
    EXPECT_EQ(shown(0).pixelColor(11, 10), QColor(Qt::white));
    view.clearSelection();
    view.setPalette(cells::darkPalette());
    EXPECT_EQ(shown(0).pixelColor(11, 10), QColor(Qt::white));
    EXPECT_EQ(badgeColor(), cells::inPixel(blueGrayColor()));
    EXPECT_TRUE(cells::shows(shown(0), Qt::white, QRect(30, 0, 60, 20))); // the text
}

TEST_F(ImageAnd2TextsInView, Mirrors_itself_in_a_right_to_left_view) {
    view.setLayoutDirection(Qt::RightToLeft);
    const QImage row = shown(0);
    EXPECT_EQ(row.pixelColor(200 - 1 - 11, 10), QColor(Qt::red));
    EXPECT_EQ(row.pixelColor(4, 10), cells::inPixel(blueGrayColor()));
    const QColor base = view.palette().color(QPalette::Base);
    EXPECT_NEAR(cells::inked(row, QRect(80, 0, 96, 20), base).right(), 200 - 22 - 3,
                2); // the text beside the image
}

TEST_F(ImageAnd2TextsInView, Wants_room_for_images_text_and_badge) {
    view.resizeColumnToContents(0);
    view.resizeRowToContents(0);
    QStyleOptionViewItem option;
    option.font = cells::textFont();
    const qreal height = QFontMetricsF(option.font).height() + 4;
    const qreal badge =
        cell.sizeForSecondaryTextWithFont(ImageAnd2TextsCell::badgeFont(option.font)).width() + height;
    const qreal text = QFontMetricsF(option.font).horizontalAdvance("Weather") + 4;
    EXPECT_EQ(cell.sizeHint(option, at(0)), QSize(qCeil(height + 2 + text + badge), qCeil(height)));
    // Nothing is elided then.
    const QImage fitting = shown(0);
    view.setColumnWidth(0, 300);
    const QRect rest(int(height) + 2, 0, int(text), int(height));
    EXPECT_EQ(shown(0).copy(rest), fitting.copy(rest));
}

TEST_F(ImageAnd2TextsInView, Double_clicks_on_an_image_or_the_badge_open_no_editor) {
    doubleClickAt(0, {11, 10});
    EXPECT_FALSE(editor());
    doubleClickAt(0, {180, 10});
    EXPECT_FALSE(editor());
    doubleClickAt(0, {60, 10});
    EXPECT_TRUE(editor());
}

TEST_F(ImageAnd2TextsInView, Double_clicks_anywhere_activate_an_item_that_cannot_be_edited) {
    model.item(0)->setEditable(false);
    int activated = 0;
    QObject::connect(&view, &QAbstractItemView::activated, [&] { ++activated; });
    doubleClickAt(0, {11, 10});
    EXPECT_EQ(activated, 1);
    doubleClickAt(0, {60, 10});
    EXPECT_EQ(activated, 2);
    EXPECT_FALSE(editor());
}

TEST_F(ImageAnd2TextsInView, Edits_in_the_room_that_images_and_badge_leave_at_full_height) {
    cell.setAlignTextVertically(true);
    view.verticalHeader()->resizeSection(0, 30);
    QApplication::processEvents(); // the view lays its items out later
    doubleClickAt(0, {60, 15});
    auto* edit = qobject_cast<QLineEdit*>(editor());
    ASSERT_TRUE(edit);
    const qreal width =
        cell.sizeForSecondaryTextWithFont(ImageAnd2TextsCell::badgeFont(edit->font())).width();
    EXPECT_EQ(edit->geometry(), QRectF(32, 0, 200 - 32 - 30 - width, 30).toRect());
    EXPECT_EQ(edit->selectedText(), u"Weather");
    QTest::keyClicks(edit, "Storm");
    QTest::keyClick(edit, Qt::Key_Return);
    QApplication::processEvents(); // Qt reads the editor later
    EXPECT_EQ(model.data(at(0)).toString(), u"Storm");
    EXPECT_EQ(model.data(at(0), QWTableCell::SecondaryTextRole).toString(), u"888");
}

TEST_F(ImageAnd2TextsInView, The_editor_follows_the_column) {
    view.openPersistentEditor(at(0)); // which no change of the focus closes
    const int before = editor()->width();
    view.setColumnWidth(0, 230);
    QApplication::processEvents(); // the view lays its items out later
    EXPECT_EQ(editor()->width(), before + 30);
}

TEST_F(ImageAnd2TextsInView, Without_images_and_badge_behaves_like_a_plain_text_cell) {
    QWTextFieldCell plain;
    set(1, "Sea");
    QStyleOptionViewItem option;
    option.font = cells::textFont();
    const QSize size = cell.sizeHint(option, at(1));
    const QImage image = shown(1);
    view.edit(at(1));
    const QRect geometry = editor(1)->geometry();
    QTest::keyClick(editor(1), Qt::Key_Escape);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    use(plain);
    EXPECT_EQ(plain.sizeHint(option, at(1)), size);
    view.setCurrentIndex({});
    const QImage plainImage = shown(1);
    use(cell);
    EXPECT_EQ(shown(1), plainImage);
    EXPECT_EQ(image.size(), plainImage.size());
    use(plain);
    view.edit(at(1));
    EXPECT_EQ(editor(1)->geometry(), geometry);
}

TEST_F(ImageAnd2TextsInView, Serves_a_tree_and_a_list_as_it_serves_a_table) {
    QTreeView tree;
    QListView list;
    for (QAbstractItemView* other :
         {static_cast<QAbstractItemView*>(&tree), static_cast<QAbstractItemView*>(&list)}) {
        other->setFont(cells::textFont());
        other->setModel(&model);
        other->setItemDelegate(&cell);
        other->resize(240, 120);
        other->show();
        QImage image(other->viewport()->size(), QImage::Format_RGB32);
        other->viewport()->render(&image);
        const QRect row = other->visualRect(at(0));
        const QImage shownRow = image.copy(row);
        const qreal height = row.height();
        EXPECT_EQ(shownRow.pixelColor(int(3 + (height - 4) / 2), int(height / 2)), QColor(Qt::red));
        EXPECT_TRUE(cells::shows(shownRow, ironGrayColor()) || cells::shows(shownRow, blueGrayColor()));
        cells::doubleClick(*other->viewport(), row.topLeft() + QPoint(8, int(height / 2)));
        EXPECT_FALSE(other->indexWidget(at(0)));
        other->edit(at(0));
        ASSERT_TRUE(other->indexWidget(at(0)));
        EXPECT_EQ(other->indexWidget(at(0))->x(), row.x() + int(height - 4 + 6));
    }
}

} // namespace
