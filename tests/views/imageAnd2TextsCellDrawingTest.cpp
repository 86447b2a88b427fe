#include "views/ImageAnd2TextsFixture.h"
#include "views/NSColor_ImageAnd2TextsColors.h"

namespace {

TEST_F(ImageAnd2Texts, Without_images_and_badge_is_drawn_like_a_plain_text_cell) {
    QWTextFieldCell plain;
    plain.setFont(cells::textFont());
    plain.setValue("Weather");
    EXPECT_EQ(cells::drawn(cell, frame), cells::drawn(plain, frame));
    cell.setSecondaryText("");
    EXPECT_EQ(cells::drawn(cell, frame), cells::drawn(plain, frame));
    cell.setHighlighted(true);
    plain.setHighlighted(true);
    EXPECT_EQ(cells::drawn(cell, frame, {240, 40}, 2, Qt::blue),
              cells::drawn(plain, frame, {240, 40}, 2, Qt::blue));
}

TEST_F(ImageAnd2Texts, Draws_the_text_as_a_plain_cell_does_in_what_is_left) {
    cell.addTemplateImage(red);
    cell.addTemplateImage(blue);
    cell.setSecondaryText("123");
    const QImage image = cells::drawn(cell, frame);
    QWTextFieldCell plain;
    plain.setFont(cells::textFont());
    plain.setValue("Weather");
    const QRectF rest = cell.dividedCellFrame(frame);
    EXPECT_EQ(rest.left(), frame.left() + 44);
    const QRect whole = rest.toRect().adjusted(0, 0, -1, 0); // the badge may begin within a pixel
    EXPECT_EQ(image.copy(whole), cells::drawn(plain, rest).copy(whole));
}

TEST_F(ImageAnd2Texts, Elides_the_text_in_what_is_left) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    cell.setValue("so much text that it would run below the badge and beyond it");
    const QImage image = cells::drawn(cell, frame);
    const QRectF rest = cell.dividedCellFrame(frame);
    const QRect ink = cells::inked(image, rest.toRect());
    EXPECT_LE(ink.right(), rest.right() - 2);
    EXPECT_GT(ink.right(), rest.right() - 20);
}

TEST_F(ImageAnd2Texts, Draws_images_in_their_slices_in_order) {
    cell.setValue({});
    cell.addTemplateImage(red);
    cell.addTemplateImage(blue);
    const QImage image = cells::drawn(cell, frame);
    QImage expected(image.size(), image.format());
    expected.fill(Qt::white);
    QPainter painter(&expected);
    painter.fillRect(13, 7, 16, 16, Qt::red);
    painter.fillRect(13 + 22, 7, 16, 16, Qt::blue);
    painter.end();
    EXPECT_EQ(image, expected);
}

TEST_F(ImageAnd2Texts, Stretches_an_image_to_a_square) {
    cell.setValue({});
    QPixmap flag(40, 10);
    flag.fill(Qt::red);
    cell.addTemplateImage(flag);
    EXPECT_EQ(cells::inked(cells::drawn(cell, frame)), QRect(13, 7, 16, 16));
}

TEST_F(ImageAnd2Texts, Draws_an_image_of_another_rows_size_in_the_middle_and_no_higher_than_the_row) {
    cell.setValue({});
    cell.addTemplateImage(red);
    drawImages();
    EXPECT_EQ(cells::inked(cells::drawn(cell, {10, 5, 200, 30})), QRect(13, 12, 16, 16));
    EXPECT_EQ(cells::inked(cells::drawn(cell, {10, 5, 200, 8})), QRect(17, 5, 8, 8));
}

TEST_F(ImageAnd2Texts, Draws_images_from_the_right_and_the_badge_at_the_left_in_a_right_to_left_view) {
    cell.setValue({});
    cell.addTemplateImage(red);
    cell.addTemplateImage(blue);
    cell.setSecondaryText("123");
    cell.setLayoutDirection(Qt::RightToLeft);
    const QImage image = cells::drawn(cell, frame);
    EXPECT_EQ(image.pixelColor(210 - 3 - 8, 15), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(210 - 22 - 3 - 8, 15), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(10 + 4, 15), cells::inPixel(blueGrayColor()));
    EXPECT_EQ(cells::inked(image).left(), 12);
}

TEST_F(ImageAnd2Texts, Keeps_the_detail_of_images_on_a_screen_of_twice_the_resolution) {
    cell.setValue({});
    QPixmap halves(32, 32);
    halves.fill(Qt::red);
    QPainter painter(&halves);
    painter.fillRect(0, 0, 1, 32, Qt::blue); // one pixel of 32, which 16 could not show
    painter.end();
    cell.addTemplateImage(halves);
    const QImage image = cells::drawn(cell, frame, {240, 40}, 2);
    EXPECT_EQ(cells::inked(image), QRect(26, 14, 32, 32));
    EXPECT_EQ(image.pixelColor(26, 30), QColor(Qt::blue));
    EXPECT_EQ(image.pixelColor(27, 30), QColor(Qt::red));
}

TEST_F(ImageAnd2Texts, Draws_templates_black_or_on_a_dark_background_white_and_other_images_as_they_are) {
    QImage halfThere(32, 32, QImage::Format_ARGB32);
    halfThere.fill(Qt::transparent);
    QPainter half(&halfThere);
    half.fillRect(0, 0, 16, 32, Qt::green);
    half.end();
    QIcon mask(QPixmap::fromImage(halfThere));
    mask.setIsMask(true);
    cell.addTemplateImage(mask);
    cell.addTemplateImage(red);
    EXPECT_EQ(cells::drawn(cell, frame, {240, 40}, 1, Qt::gray).pixelColor(17, 15), QColor(Qt::black));
    cell.setBackgroundStyle(QWTableCell::BackgroundStyle::Dark);
    const QImage dark = cells::drawn(cell, frame, {240, 40}, 1, Qt::gray);
    EXPECT_EQ(dark.pixelColor(17, 15), QColor(Qt::white));
    EXPECT_EQ(dark.pixelColor(26, 15), QColor(Qt::gray)); // where the shape is not
    EXPECT_EQ(dark.pixelColor(42, 15), QColor(Qt::red));
}

TEST_F(ImageAnd2Texts, Draws_a_capsule_two_smaller_than_the_row_at_either_end) {
    cell.setValue({});
    cell.setSecondaryText("123");
    const QImage image = cells::drawn(cell, frame);
    const QRectF capsule = badge().adjusted(2, 2, -2, -2);
    const QRect ink = cells::inked(image);
    EXPECT_NEAR(ink.left(), capsule.left(), 1);
    EXPECT_EQ(QRect(208 - ink.width(), 7, ink.width(), 16), ink);
    // An outline that one might draw by hand, but for the text inside and the rounding at its edge.
    QImage expected(image.size(), image.format());
    expected.fill(Qt::white);
    QPainter painter(&expected);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(blueGrayColor());
    painter.drawRoundedRect(capsule, 8, 8);
    painter.end();
    const int textLeft = int(badge().left() + 8), textRight = int(badge().right() - 8);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (x < textLeft || x > textRight) {
                EXPECT_NEAR(qRed(image.pixel(x, y)), qRed(expected.pixel(x, y)), 3) << x << ", " << y;
            }
}

// A badge of that height with its text beginning there, but for its round ends.
void expectBadgeText(ImageAnd2TextsCell& cell, qreal height, const QPointF& topLeft, const QRect& within) {
    const QImage image = cells::drawn(cell, {10, 5, 200, height}, {240, 60});
    const QFont font = ImageAnd2TextsCell::badgeFont(cells::textFont());
    QImage expected(image.size(), image.format());
    expected.fill(blueGrayColor());
    QPainter painter(&expected);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(topLeft + QPointF(0, QFontMetricsF(font).ascent()), "123"); // of whichever face there is
    painter.end();
    EXPECT_EQ(image.copy(within), expected.copy(within)) << height;
}

TEST_F(ImageAnd2Texts, Writes_the_secondary_text_a_quarter_of_the_height_and_the_padding_into_the_badge) {
    cell.setValue({});
    cell.setSecondaryText("123");
    const qreal width = textWidth();
    for (const qreal height : {20, 40}) {
        const qreal left = frame.right() - height - width, top = 5 + (height - 1.5 * 12) / 2;
        expectBadgeText(cell, height, {left + height / 4 + 5, top},
                        QRectF(left + height / 2 - 1, 8, width, height - 6).toRect());
    }
}

TEST_F(ImageAnd2Texts, Writes_it_as_far_from_the_other_end_in_a_right_to_left_view) {
    cell.setValue({});
    cell.setSecondaryText("123");
    cell.setLayoutDirection(Qt::RightToLeft);
    for (const qreal height : {20, 40}) {
        const qreal right = 10 + height + textWidth();
        expectBadgeText(cell, height, {right - height / 4 - 5 - textWidth(), 5 + (height - 1.5 * 12) / 2},
                        QRectF(10 + height / 2, 8, textWidth(), height - 6).toRect());
    }
}

TEST_F(ImageAnd2Texts, Is_mirrored_at_once_when_it_is_drawn_for_a_right_to_left_view) {
    QWidget view;
    view.setLayoutDirection(Qt::RightToLeft);
    cell.addTemplateImage(red);
    QImage image(240, 40, QImage::Format_RGB32);
    QPainter painter(&image);
    cell.drawWithFrame(painter, frame, &view);
    EXPECT_EQ(image.pixelColor(210 - 3 - 8, 15), QColor(Qt::red));
}

TEST_F(ImageAnd2Texts, Elides_a_badge_that_has_no_room_and_draws_none_where_not_even_a_circle_fits) {
    cell.setValue({});
    cell.setSecondaryText("a very long badge");
    const QRectF narrow(10, 5, 60, 20);
    const QImage image = cells::drawn(cell, narrow);
    EXPECT_EQ(cells::inked(image), QRect(12, 7, 56, 16));
    EXPECT_FALSE(cells::shows(image, Qt::white, QRect(64, 10, 2, 10))); // the text ends before the round end
    EXPECT_TRUE(cells::inked(cells::drawn(cell, {10, 5, 15, 20})).isNull());
    EXPECT_TRUE(cells::inked(cells::drawn(cell, {10, 5, 60, 4})).isNull());
}

TEST_F(ImageAnd2Texts, Is_half_transparent_but_for_its_text_when_it_is_not_enabled) {
    cell.addTemplateImage(red);
    cell.setSecondaryText("123");
    cell.setEnabled(false);
    const QImage image = cells::drawn(cell, frame);
    EXPECT_NEAR(image.pixelColor(20, 15).green(), 127, 2);
    EXPECT_NEAR(image.pixelColor(int(badge().left()) + 4, 15).red(), (172 + 255) / 2, 2);
    EXPECT_TRUE(cells::shows(image, QApplication::palette().color(QPalette::Disabled, QPalette::Text)));
}

TEST_F(ImageAnd2Texts, Fades_a_badge_that_is_not_enabled_as_a_whole) {
    cell.setValue({});
    cell.setSecondaryText("123");
    for (const bool highlighted : {false, true})
        for (const qreal ratio : {1.0, 2.0}) {
            cell.setHighlighted(highlighted);
            cell.setEnabled(true);
            const QImage clear = cells::drawn(cell, frame, {240, 40}, ratio, Qt::black);
            cell.setEnabled(false);
            const QImage faded = cells::drawn(cell, frame, {240, 40}, ratio, Qt::black);
            for (int y = 0; y < clear.height(); ++y)
                for (int x = 0; x < clear.width(); ++x)
                    ASSERT_NEAR(qGreen(faded.pixel(x, y)), qGreen(clear.pixel(x, y)) / 2, 2)
                        << x << ", " << y;
        }
    EXPECT_TRUE(cells::inked(cells::drawn(cell, {10, 5, 60, 0})).isNull());
}

struct BadgeState {
    bool highlighted, active, focused;
    QColor text, background;
};

TEST_F(ImageAnd2Texts, Has_five_pairs_of_colours_for_its_badge) {
    cell.setValue({});
    cell.setSecondaryText("888");
    for (const auto& [highlighted, active, focused, text, background] :
         {BadgeState{false, true, false, Qt::white, blueGrayColor()},
          BadgeState{false, true, true, Qt::white, blueGrayColor()},
          BadgeState{false, false, false, Qt::white, ironGrayColor()},
          BadgeState{true, true, true, darkCyanColor(), Qt::white},
          BadgeState{true, true, false, blueGrayColor(), Qt::white},
          BadgeState{true, false, true, ironGrayColor(), Qt::white}}) {
        cell.setHighlighted(highlighted);
        cell.setWindowActive(active);
        cell.setViewFocused(focused);
        QColor textColor, backgroundColor;
        cell.getTextColor(&textColor, &backgroundColor);
        EXPECT_EQ(textColor, text);
        EXPECT_EQ(backgroundColor, background);
        const QImage image = cells::drawn(cell, frame, {240, 40}, 2, Qt::red);
        EXPECT_EQ(image.pixel(2 * int(badge().left()) + 8, 30), background.rgb());
        EXPECT_TRUE(cells::shows(image, text));
    }
}

TEST_F(ImageAnd2Texts, Draws_the_badge_anew_when_text_or_font_change) {
    cell.setSecondaryText("12");
    const QImage first = cells::drawn(cell, frame);
    cell.setSecondaryText("34");
    EXPECT_NE(cells::drawn(cell, frame), first);
    cell.setSecondaryText("12");
    EXPECT_EQ(cells::drawn(cell, frame), first);
    QFont large = cells::textFont();
    large.setPixelSize(14);
    cell.setFont(large);
    ImageAnd2TextsCell another;
    another.setFont(large);
    another.setValue("Weather");
    another.setSecondaryText("12");
    EXPECT_EQ(cells::drawn(cell, frame), cells::drawn(another, frame));
    cell.setFont(cells::textFont());
    EXPECT_EQ(cells::drawn(cell, frame), first);
}

} // namespace
