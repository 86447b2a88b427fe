#include "views/ImageAnd2TextsFixture.h"
#include "views/NSColor_ImageAnd2TextsColors.h"
#include "views/NSString_NSStringToNSBezierPath.h"

#include <QFontInfo>
#include <QIconEngine>
#include <QLineEdit>
#include <QStyle>

namespace {

// The list of images

TEST_F(ImageAnd2Texts, Begins_without_images_and_secondary_text) {
    EXPECT_TRUE(cell.templateImage().isNull());
    EXPECT_TRUE(cell.secondaryText().isEmpty());
    EXPECT_FALSE(cell.alignTextVertically());
}

TEST_F(ImageAnd2Texts, Setting_an_image_makes_it_the_only_one) {
    cell.addTemplateImage(red);
    cell.addTemplateImage(red);
    cell.setTemplateImage(blue);
    EXPECT_EQ(cell.templateImage().cacheKey(), blue.cacheKey());
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 24 + 6);
}

TEST_F(ImageAnd2Texts, Setting_the_image_that_is_the_first_already_changes_nothing) {
    cell.addTemplateImage(red);
    cell.addTemplateImage(blue);
    drawImages();
    cell.setTemplateImage(red);
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 2 * (16 + 6)); // both, and their sizes
}

TEST_F(ImageAnd2Texts, Setting_no_image_removes_all_and_adding_none_is_ignored) {
    cell.addTemplateImage({});
    EXPECT_EQ(cell.dividedCellFrame(frame), frame);
    cell.addTemplateImage(red);
    cell.addTemplateImage(blue);
    cell.setTemplateImage({});
    EXPECT_TRUE(cell.templateImage().isNull());
    cell.addTemplateImage(red);
    cell.removeAllTemplateImages();
    EXPECT_EQ(cell.dividedCellFrame(frame), frame);
}

TEST_F(ImageAnd2Texts, A_copy_has_a_list_of_images_and_a_text_of_its_own) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("12");
    cell.setAlignTextVertically(true);
    const auto copied = cell.copy();
    auto& copy = dynamic_cast<ImageAnd2TextsCell&>(*copied);
    EXPECT_EQ(copy.templateImage().cacheKey(), red.cacheKey());
    EXPECT_EQ(copy.secondaryText(), u"12");
    EXPECT_TRUE(copy.alignTextVertically());
    const QRectF before = cell.dividedCellFrame(frame);
    EXPECT_EQ(copy.dividedCellFrame(frame), before);
    copy.addTemplateImage(blue);
    copy.setSecondaryText({});
    EXPECT_EQ(cell.dividedCellFrame(frame), before);
    EXPECT_NE(copy.dividedCellFrame(frame), before);
    cell.removeAllTemplateImages();
    EXPECT_FALSE(copy.templateImage().isNull());
}

TEST_F(ImageAnd2Texts, A_copy_of_a_cell_whose_images_wait_to_be_resized_resizes_its_own) {
    cell.addTemplateImage(red);
    const auto copied = cell.copy();
    auto& copy = dynamic_cast<ImageAnd2TextsCell&>(*copied);
    drawImages();
    EXPECT_EQ(copy.dividedCellFrame(frame).left(), frame.left() + 38);
    cells::drawn(copy, frame);
    EXPECT_EQ(copy.dividedCellFrame(frame).left(), frame.left() + 22);
}

TEST_F(ImageAnd2Texts, A_copy_made_while_an_editor_is_placed_leaves_it_the_full_height_too) {
    struct CopiedMeanwhile final : ImageAnd2TextsCell {
        QRectF drawingRectForBounds(const QRectF& bounds) const override {
            copied = copy();
            return ImageAnd2TextsCell::drawingRectForBounds(bounds);
        }
        mutable std::unique_ptr<QWTableCell> copied;
    } original;
    original.setAlignTextVertically(true);
    QLineEdit edit;
    original.editWithFrame({10, 5, 200, 40}, nullptr, edit);
    auto& copy = dynamic_cast<ImageAnd2TextsCell&>(*original.copied);
    EXPECT_EQ(copy.drawingRectForBounds({10, 5, 200, 40}).height(), 40);
    EXPECT_LT(
        dynamic_cast<ImageAnd2TextsCell&>(*original.copy()).drawingRectForBounds({10, 5, 200, 40}).height(),
        40);
}

// Dividing the frame

TEST_F(ImageAnd2Texts, Leaves_the_whole_frame_to_the_text_without_images_and_badge) {
    EXPECT_EQ(cell.dividedCellFrame(frame), frame);
    cell.setSecondaryText("");
    EXPECT_EQ(cell.dividedCellFrame(frame), frame);
}

TEST_F(ImageAnd2Texts, Cuts_a_slice_for_each_image_from_the_left) {
    cell.addTemplateImage(red);
    EXPECT_EQ(cell.dividedCellFrame(frame), frame.adjusted(32 + 6, 0, 0, 0));
    cell.addTemplateImage(red); // twice
    EXPECT_EQ(cell.dividedCellFrame(frame), frame.adjusted(2 * (32 + 6), 0, 0, 0));
}

TEST_F(ImageAnd2Texts, Cuts_for_an_image_of_several_sizes_the_largest_and_for_one_of_none_a_small_icons) {
    struct Drawing final : QIconEngine { // in whatever size is asked for
        void paint(QPainter*, const QRect&, QIcon::Mode, QIcon::State) override {}
        QIconEngine* clone() const override { return new Drawing; }
    };
    QIcon several;
    for (const int side : {16, 48, 24})
        several.addPixmap(QPixmap(side, side));
    cell.addTemplateImage(several);
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 48 + 6);
    cell.setTemplateImage(QIcon(new Drawing));
    const int small = QApplication::style()->pixelMetric(QStyle::PM_SmallIconSize);
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + small + 6);
}

TEST_F(ImageAnd2Texts, Resizes_images_to_the_row_when_they_are_drawn_first_and_not_again) {
    cell.addTemplateImage(red);
    drawImages();
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 16 + 6);
    drawImages({10, 5, 200, 30});
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 16 + 6);
    cell.addTemplateImage(blue);
    drawImages({10, 5, 200, 30});
    EXPECT_EQ(cell.dividedCellFrame(frame).left(), frame.left() + 2 * (26 + 6));
}

TEST_F(ImageAnd2Texts, Cuts_the_height_and_the_width_of_its_text_from_the_right_for_the_badge) {
    cell.setSecondaryText("123");
    EXPECT_GT(textWidth(), 20);
    EXPECT_EQ(cell.dividedCellFrame(frame), frame.adjusted(0, 0, -(20 + textWidth()), 0));
}

TEST_F(ImageAnd2Texts, Cuts_no_more_than_there_is) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    EXPECT_EQ(cell.dividedCellFrame({10, 5, 30, 20}), QRectF(40, 5, 0, 20));
}

TEST_F(ImageAnd2Texts, Mirrors_the_frame_in_a_right_to_left_view) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    cell.setLayoutDirection(Qt::RightToLeft);
    EXPECT_EQ(cell.dividedCellFrame(frame), frame.adjusted(20 + textWidth(), 0, -38, 0));
}

// Fonts and sizes

TEST_F(ImageAnd2Texts, Measures_the_secondary_text_in_the_font_given) {
    cell.setSecondaryText("123");
    QFont font = cells::textFont();
    font.setPixelSize(20);
    const QFontMetricsF metrics(font);
    EXPECT_EQ(cell.sizeForSecondaryTextWithFont(font),
              QSizeF(metrics.horizontalAdvance("123"), metrics.height()));
}

TEST_F(ImageAnd2Texts, Writes_the_badge_in_Arial_Black_or_a_face_nearly_as_heavy_of_the_texts_size) {
    const QFont badge = ImageAnd2TextsCell::badgeFont(cells::textFont());
    EXPECT_EQ(badge.family(), u"Arial Black");
    EXPECT_EQ(badge.pixelSize(), 12);
    EXPECT_GE(QFontInfo(badge).weight(), int(QFont::Bold));
    QFont inPoints("DejaVu Sans");
    inPoints.setPointSizeF(10.5);
    EXPECT_EQ(ImageAnd2TextsCell::badgeFont(inPoints).pointSizeF(), 10.5);
}

TEST_F(ImageAnd2Texts, Lays_a_text_out_with_font_and_colour_and_the_padding_of_a_text_container) {
    const auto layout = newLayoutManagerWithFont("12", cells::textFont(), Qt::red);
    ASSERT_EQ(layout->lineCount(), 1);
    EXPECT_EQ(layout->text(), u"12");
    EXPECT_EQ(layout->font(), cells::textFont());
    EXPECT_EQ(layout->lineAt(0).position(), QPointF(5, 0));
    EXPECT_EQ(layout->formats().first().format.foreground().color(), QColor(Qt::red));
    EXPECT_EQ(layout->formats().first().length, 2);
    EXPECT_NEAR(layout->lineAt(0).ascent(), QFontMetricsF(cells::textFont()).ascent(), 0.01);
}

TEST_F(ImageAnd2Texts, Has_the_colours_of_its_group) {
    EXPECT_EQ(darkCyanColor().rgba(), qRgb(94, 155, 222));
    EXPECT_EQ(blueGrayColor().rgba(), qRgb(172, 181, 211));
    EXPECT_EQ(ironGrayColor().rgba(), qRgb(155, 169, 199));
}

// Clicks and editors

TEST_F(ImageAnd2Texts, Neither_an_image_nor_the_badge_hits_the_text) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    drawImages();
    const auto hit = [&](qreal x) { return cell.hitTestForEvent(cells::click({x, 15}), frame, nullptr); };
    EXPECT_EQ(hit(20), QWTableCell::HitNone);
    EXPECT_EQ(hit(badge().center().x()), QWTableCell::HitNone);
    EXPECT_EQ(hit(31.9), QWTableCell::HitNone);
    EXPECT_TRUE(hit(32.1) & QWTableCell::HitEditableTextArea);
    cell.setLayoutDirection(Qt::RightToLeft);
    EXPECT_EQ(hit(200), QWTableCell::HitNone);
    EXPECT_EQ(hit(20), QWTableCell::HitNone);
}

TEST_F(ImageAnd2Texts, Centres_its_text_but_gives_an_editor_the_full_height) {
    cell.setAlignTextVertically(true);
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    const QRectF row(10, 5, 200, 40);
    drawImages(row);
    QWidget view;
    QLineEdit edit("Weather", &view);
    cell.selectWithFrame(row, &view, edit, 0, 2);
    EXPECT_EQ(edit.geometry(), cell.dividedCellFrame(row).toRect());
    EXPECT_EQ(edit.selectedText(), u"We");
    const QRectF rect = cell.drawingRectForBounds(row);
    EXPECT_LT(rect.height(), 20);
    EXPECT_NEAR(rect.center().y(), row.center().y(), 0.01);
}

} // namespace
