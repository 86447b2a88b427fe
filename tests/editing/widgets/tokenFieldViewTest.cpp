#include "WidgetFixture.h"

#include <QAbstractButton>
#include <QImage>
#include <QScrollBar>
#include <QStyleFactory>

namespace {

// What the field looks like. With QW_PICTURES=FOLDER in the environment the pictures are kept there.
class TokenFieldView : public TokenFieldTest {
protected:
    TokenFieldView() {
        QApplication::setStyle(QStyleFactory::create("Fusion"));
        save("tags", {"Roma", "Rome, Rouen", "Réunion", "ruins"});
    }
    ~TokenFieldView() override { QApplication::setPalette(QPalette()); }

    QImage picture(const QString& name) {
        QApplication::processEvents(); // the layout has been asked to work
        QPixmap shot(window.size() * 2);
        shot.setDevicePixelRatio(2);
        shot.fill(Qt::transparent);
        window.render(&shot);
        if (QWidget* popup = QApplication::activePopupWidget())
            popup->render(&shot, window.mapFromGlobal(popup->mapToGlobal(QPoint())));
        const QString album = qEnvironmentVariable("QW_PICTURES");
        if (!album.isEmpty())
            shot.save(album + "/token-field-" + name + ".png");
        return shot.toImage();
    }
    void darken() {
        QPalette dark;
        dark.setColor(QPalette::Window, QColor(45, 45, 48));
        dark.setColor(QPalette::WindowText, Qt::white);
        dark.setColor(QPalette::Base, QColor(30, 30, 30));
        dark.setColor(QPalette::Text, QColor(230, 230, 230));
        dark.setColor(QPalette::Button, QColor(60, 60, 64));
        dark.setColor(QPalette::ButtonText, Qt::white);
        dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
        dark.setColor(QPalette::HighlightedText, Qt::white);
        dark.setColor(QPalette::PlaceholderText, QColor(140, 140, 140));
        dark.setColor(QPalette::Disabled, QPalette::Highlight, QColor(90, 90, 90));
        dark.setColor(QPalette::Disabled, QPalette::Text, QColor(130, 130, 130));
        QApplication::setPalette(dark);
    }
    QColor colourInChip(const QImage& image) {
        const QAbstractButton* chip = chips().first();
        return image.pixelColor(2 * chip->mapTo(&window, QPoint(4, chip->height() / 2)));
    }
};

TEST_F(TokenFieldView, Empty_it_is_one_row_with_its_placeholder) {
    field->setPlaceholderText("Add a tag");
    other.setFocus();
    picture("empty");
    EXPECT_EQ(edit().placeholderText(), "Add a tag");
    field->setTokens({"red"});
    EXPECT_EQ(edit().placeholderText(), "");
    EXPECT_NEAR(field->height(), other.height(), 8);
}

TEST_F(TokenFieldView, It_grows_with_its_rows_and_then_scrolls) {
    QApplication::processEvents();
    const int one = field->height();
    field->setTokens({"architecture", "cathedrals", "museums", "coast", "a walk in the old town"});
    picture("chips");
    EXPECT_GT(field->height(), one);
    EXPECT_FALSE(field->verticalScrollBar()->isVisible());
    QStringList many;
    for (int i = 0; i < 60; ++i)
        many << QStringLiteral("token %1").arg(i);
    field->setTokens(many);
    picture("scrolled");
    EXPECT_LE(field->height(), 5 * one);
    EXPECT_TRUE(field->verticalScrollBar()->isVisible());
    EXPECT_TRUE(field->viewport()->rect().contains(edit().mapTo(field->viewport(), edit().rect().center())))
        << "where one types is in sight";
}

TEST_F(TokenFieldView, A_token_wider_than_the_field_is_cut_short) {
    field->setTokens({QString("a very long token ").repeated(10).trimmed(), "b"});
    picture("long");
    for (const QAbstractButton* chip : chips())
        EXPECT_LE(chip->geometry().right(), field->viewport()->width());
}

TEST_F(TokenFieldView, Completions_are_listed_below_what_is_typed) {
    field->setTokens({"coast"});
    type("ro");
    picture("popup");
    const QWidget* list = QApplication::activePopupWidget();
    ASSERT_TRUE(list);
    EXPECT_GE(list->mapToGlobal(QPoint()).y(), edit().mapToGlobal(QPoint(0, edit().height())).y() - 2);
    EXPECT_NEAR(list->mapToGlobal(QPoint()).x(), edit().mapToGlobal(QPoint()).x(), 4);
}

TEST_F(TokenFieldView, Right_to_left_it_is_mirrored) {
    window.setLayoutDirection(Qt::RightToLeft);
    field->setTokens({"ירוק", "אדום כהה"});
    press(Qt::Key_Right);
    picture("rtl");
    EXPECT_GT(chips().first()->x(), edit().x());
    press(Qt::Key_Left);
    type("ro");
    picture("rtl-popup");
    EXPECT_GT(edit().inputMethodQuery(Qt::ImCursorRectangle).toRect().x(), edit().width() / 2)
        << "beside the chips, though the text runs from the left";
    const QWidget* list = QApplication::activePopupWidget();
    ASSERT_TRUE(list);
    EXPECT_NEAR(list->mapToGlobal(list->rect().topRight()).x(),
                edit().mapToGlobal(edit().rect().topRight()).x(), 4);
}

TEST_F(TokenFieldView, Its_colours_are_those_of_the_palette) {
    field->setTokens({"red", "blue", "green"});
    const QColor light = colourInChip(picture("light"));
    darken();
    const QColor dark = colourInChip(picture("dark"));
    EXPECT_GT(light.lightness(), 150);
    EXPECT_LT(dark.lightness(), 100);
    press(Qt::Key_Left);
    press(Qt::Key_Home);
    EXPECT_EQ(colourInChip(picture("dark-focus")), QApplication::palette().color(QPalette::Highlight));
    field->setEnabled(false);
    EXPECT_NE(colourInChip(picture("disabled")), dark);
}

} // namespace
