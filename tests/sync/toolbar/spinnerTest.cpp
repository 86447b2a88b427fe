// The spinner on the button.

#include "toolbar/ToolbarTest.h"

namespace {

struct Spinner : ToolbarTest {
    QImage drawn() { return spinner().grab().toImage(); }
    void pass(QWRunLoop::Duration time) { desktop.world.runLoop->advance(time); }
    const QWRunLoop::Duration step = QWSpinner::turn / QWSpinner::spokes;
};

TEST_F(Spinner, Is_seen_while_the_engine_works_and_at_no_other_time) {
    for (const auto& [status, opacity] : {std::pair<quint64, double>{QWDropboxSyncStatusIdle, 0},
                                          {QWDropboxSyncStatusCheckingForUpdates, 1},
                                          {QWDropboxSyncStatusDisabled, 0},
                                          {QWDropboxSyncStatusUploading, 1},
                                          {QWDropboxSyncStatusTokenInvalid, 0},
                                          {QWDropboxSyncStatusUploading, 1},
                                          {5, 0}}) {
        engine().setStatus(status);
        EXPECT_EQ(spinner().opacity(), opacity) << status;
    }
}

TEST_F(Spinner, Begins_with_the_status_that_the_engine_has) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    QWDropboxSyncUIController later(desktop.environment);
    EXPECT_EQ(later.dropboxToolbarIndicator()->findChild<QWSpinner*>()->opacity(), 1);
}

TEST_F(Spinner, Turns_while_it_is_seen) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    const QImage first = drawn();
    pass(step);
    EXPECT_NE(drawn(), first);
    pass(step * (QWSpinner::spokes - 1));
    EXPECT_EQ(drawn(), first);
}

TEST_F(Spinner, Is_hidden_by_a_finished_sync_and_not_stopped) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    engine().setStatus(QWDropboxSyncStatusIdle);
    EXPECT_TRUE(spinner().isAnimating());
    EXPECT_EQ(spinner().opacity(), 0);
    EXPECT_TRUE(spinner().isVisible());
}

TEST_F(Spinner, Takes_no_time_while_it_is_not_seen) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    engine().setStatus(QWDropboxSyncStatusIdle);
    EXPECT_EQ(desktop.world.runLoop->runUntilIdle(100), 0u);
    engine().setStatus(QWDropboxSyncStatusUploading);
    window.hide();
    EXPECT_EQ(desktop.world.runLoop->runUntilIdle(100), 0u);
    window.show();
    EXPECT_EQ(desktop.world.runLoop->runUntilIdle(100), 100u);
}

TEST_F(Spinner, Stands_in_the_middle_of_the_button_whatever_its_size) {
    EXPECT_EQ(spinner().size(), QSize(16, 16));
    for (const QSize& size : {QSize(40, 30), QSize(60, 44)}) {
        button.resize(size);
        QApplication::processEvents();
        EXPECT_EQ(spinner().geometry().center(), button.rect().center());
    }
}

TEST_F(Spinner, Stands_on_the_solid_part_of_the_cloud) {
    const QImage glyph(":/qwlibrary/images/dropbox@3x.png");
    const QPointF middle(glyph.width() / 2.0, glyph.height() / 2.0);
    for (int spoke = 0; spoke < QWSpinner::spokes; ++spoke)
        for (const double radius : {4.9, 5.9, 6.5}) {
            const auto offset = QLineF::fromPolar(3 * radius, spoke * 360.0 / QWSpinner::spokes);
            const QPoint place = (middle + offset.p2()).toPoint();
            EXPECT_EQ(glyph.pixelColor(place).alpha(), 255) << spoke << ' ' << radius;
        }
}

TEST_F(Spinner, Lets_clicks_through_to_the_button) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    QTest::mouseClick(window.windowHandle(), Qt::LeftButton, {},
                      spinner().mapTo(&window, spinner().rect().center()));
    EXPECT_TRUE(popover());
}

// The colour of a spoke and its opposite ------------------------------------------------------------------

QColor darkestOf(const QImage& image) {
    QColor most(0, 0, 0, 0);
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixelColor(x, y).alpha() > most.alpha())
                most = image.pixelColor(x, y);
    return most;
}

TEST_F(Spinner, Has_the_inverted_colour_of_the_buttons_text) {
    QPalette colours;
    colours.setColor(QPalette::ButtonText, QColor(20, 40, 60));
    window.setPalette(colours);
    engine().setStatus(QWDropboxSyncStatusUploading);
    QImage alone(16, 16, QImage::Format_ARGB32);
    alone.fill(Qt::transparent);
    spinner().render(&alone, {}, {}, {});
    const QColor spoke = darkestOf(alone);
    EXPECT_GT(spoke.alpha(), 200);
    EXPECT_NEAR(spoke.red(), 235, 2);
    EXPECT_NEAR(spoke.green(), 215, 2);
    EXPECT_NEAR(spoke.blue(), 195, 2);
}

TEST_F(Spinner, Is_drawn_also_when_it_does_not_turn) {
    QWSpinner still(*desktop.world.runLoop, nullptr);
    ASSERT_FALSE(still.isAnimating());
    QImage alone(16, 16, QImage::Format_ARGB32);
    alone.fill(Qt::transparent);
    still.render(&alone, {}, {}, {});
    EXPECT_GT(darkestOf(alone).alpha(), 200);
}

TEST_F(Spinner, Is_not_drawn_when_it_is_not_seen) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    QImage alone(16, 16, QImage::Format_ARGB32);
    alone.fill(Qt::transparent);
    spinner().render(&alone, {}, {}, {});
    EXPECT_EQ(darkestOf(alone).alpha(), 0);
}

} // namespace
