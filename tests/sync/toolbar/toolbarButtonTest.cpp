// The button in the toolbar, and the engine that it follows.

#include "toolbar/ToolbarTest.h"

#include <QTranslator>

namespace {

// Which of the library's texts are looked up.
struct LookUps final : QTranslator {
    LookUps() { QCoreApplication::installTranslator(this); }
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* key, const char*, int) const override {
        if (qstrcmp(context, "QWLibrary") == 0)
            keys << key;
        return {};
    }
    mutable QStringList keys;
};

struct ToolbarButton : ToolbarTest {
    // The colour of the cloud on the button, below the place of the spinner.
    QColor cloudColour() {
        const QImage drawn = button.grab().toImage();
        return drawn.pixelColor(button.width() / 2, button.height() / 2 + 6);
    }
    void setPalette(const QColor& ground, const QColor& text, const QColor& disabled) {
        QPalette colours(ground);
        colours.setColor(QPalette::ButtonText, text);
        colours.setColor(QPalette::Disabled, QPalette::ButtonText, disabled);
        window.setPalette(colours);
    }
};

TEST_F(ToolbarButton, Is_made_once_and_has_one_spinner) {
    EXPECT_EQ(controller->dropboxToolbarIndicator(), &button);
    EXPECT_EQ(button.findChildren<QWSpinner*>().size(), 1);
}

TEST_F(ToolbarButton, Observes_once_however_often_it_is_asked_for) {
    controller->dropboxToolbarIndicator();
    const LookUps lookUps;
    engine().setStatus(QWDropboxSyncStatusUploading);
    EXPECT_EQ(lookUps.keys, QStringList{"DropboxUploadingUpdates"});
    engine().setNumberOfItemsToProcess(1);
    EXPECT_EQ(lookUps.keys.size(), 2);
}

TEST_F(ToolbarButton, Bears_no_text_and_a_cloud_in_its_natural_size) {
    EXPECT_EQ(button.text(), QString());
    EXPECT_EQ(button.iconSize(), QSize(24, 24));
    EXPECT_FALSE(button.icon().isNull());
}

TEST_F(ToolbarButton, Draws_the_cloud_in_the_colour_of_its_text) {
    for (const auto& [ground, text] : {std::pair<QColor, QColor>{QColor(240, 240, 240), QColor(20, 30, 40)},
                                       {QColor(40, 40, 40), QColor(230, 220, 210)}}) {
        setPalette(ground, text, Qt::gray);
        EXPECT_EQ(cloudColour(), text);
    }
}

TEST_F(ToolbarButton, Draws_the_cloud_in_the_colour_of_disabled_texts_without_an_engine) {
    setPalette(QColor(240, 240, 240), Qt::black, QColor(150, 160, 170));
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
    EXPECT_FALSE(button.isEnabled());
    EXPECT_EQ(cloudColour(), QColor(150, 160, 170));
}

TEST_F(ToolbarButton, Has_a_sharper_cloud_for_sharper_screens) {
    for (const int scale : {1, 2, 3}) {
        const QString name = scale == 1 ? QString() : QStringLiteral("@%1x").arg(scale);
        QImage image(":/qwlibrary/images/dropbox" + name + ".png");
        ASSERT_EQ(image.width(), 24 * scale);
        const QImage drawn = button.icon().pixmap(QSize(24, 24), scale).toImage();
        EXPECT_EQ(drawn.size(), image.size());
        for (int x = 0; x < image.width(); ++x)
            EXPECT_EQ(drawn.pixelColor(x, 9 * scale).alpha(), image.pixelColor(x, 9 * scale).alpha());
    }
}

TEST_F(ToolbarButton, Shrinks_the_cloud_where_there_is_less_room_and_never_enlarges_it) {
    toolbar.clear();
    button.setParent(&window);
    button.show();
    button.resize(16, 16);
    const QImage small = button.grab().toImage();
    EXPECT_EQ(small.pixelColor(1, 4), small.pixelColor(1, 14)); // beside the cloud: all of it is there
    EXPECT_NE(small.pixelColor(3, 10), small.pixelColor(1, 4));
    EXPECT_EQ(small.pixelColor(3, 10), small.pixelColor(12, 10));
    button.resize(80, 60);
    const QImage drawn = button.grab().toImage();
    const QColor inside = drawn.pixelColor(40, 36);
    EXPECT_NE(drawn.pixelColor(40, 8), inside);
    EXPECT_EQ(drawn.pixelColor(20, 36), drawn.pixelColor(60, 36)); // beside the cloud on both sides
    EXPECT_NE(drawn.pixelColor(20, 36), inside);
}

TEST_F(ToolbarButton, Tells_the_mouse_what_it_is) {
    EXPECT_EQ(button.toolTip(), "Synchronisation with Dropbox");
}

TEST_F(ToolbarButton, Says_to_screen_readers_what_it_is_and_how_the_sync_is_doing) {
    EXPECT_EQ(button.accessibleName(), "Synchronisation with Dropbox");
    engine().setStatus(QWDropboxSyncStatusUploading);
    engine().setNumberOfItemsToProcess(3);
    EXPECT_EQ(button.accessibleDescription(), "Uploading 3 updates");
}

TEST_F(ToolbarButton, Is_reached_and_pressed_by_keys) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    button.setFocus(Qt::TabFocusReason);
    ASSERT_TRUE(button.hasFocus());
    QTest::keyClick(&button, Qt::Key_Space);
    EXPECT_TRUE(popover());
}

// The engine that it follows --------------------------------------------------------------------------------

TEST_F(ToolbarButton, Passes_through_the_states_of_a_sync) {
    for (const char* title : {"One", "Two", "Three"})
        desktop.add("Book", {{"title", title}});
    QStringList texts;
    const auto note = [&] {
        if (texts.isEmpty() || texts.last() != text())
            texts << text();
    };
    QObject::connect(&engine(), &QWDropboxSyncCoreData::statusChanged, controller.get(), note);
    QObject::connect(&engine(), &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, controller.get(),
                     note);

    Desktop other(cloud, 2);
    for (int number = 0; number < 7; ++number)
        other.add("Author", {{"name", QString::number(number)}});
    other.sync();
    desktop.sync();

    EXPECT_EQ(texts.first(), "All items are up to date");
    EXPECT_TRUE(texts.contains("Checking for updates"));
    EXPECT_TRUE(texts.contains("Downloading 7 potential updates"));
    EXPECT_TRUE(texts.contains("Uploading 3 updates"));
    EXPECT_EQ(texts.last(), "All items are up to date");
    EXPECT_EQ(spinner().opacity(), 0);
}

TEST_F(ToolbarButton, Follows_the_engine_that_becomes_the_shared_one) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    Host other(cloud, 2);
    other.world.notificationCenter = desktop.world.notificationCenter;
    other.crash();
    other.start();
    other.engine->setStatus(QWDropboxSyncStatusUploading);
    other.engine->setNumberOfItemsToProcess(4);
    share(other);
    EXPECT_EQ(text(), "Uploading 4 updates");
    EXPECT_EQ(spinner().opacity(), 1);

    engine().setStatus(QWDropboxSyncStatusIdle); // the one before counts no more
    EXPECT_EQ(spinner().opacity(), 1);
    engine().setStatus(QWDropboxSyncStatusCheckingForUpdates);
    EXPECT_EQ(text(), "Uploading 4 updates");
    other.engine->setStatus(QWDropboxSyncStatusIdle);
    EXPECT_EQ(text(), "All items are up to date");
    EXPECT_EQ(spinner().opacity(), 0);
    share(desktop);
    EXPECT_EQ(text(), "Checking for updates");
}

TEST_F(ToolbarButton, Is_disabled_while_there_is_no_engine) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
    EXPECT_FALSE(button.isEnabled());
    EXPECT_EQ(spinner().opacity(), 0);
    EXPECT_EQ(text(), QString());
    controller->clickedToolbarButton(button);
    EXPECT_FALSE(popover());
    EXPECT_FALSE(question());
    share(desktop);
    EXPECT_TRUE(button.isEnabled());
    EXPECT_EQ(spinner().opacity(), 1);
}

TEST_F(ToolbarButton, Goes_with_the_controller_which_follows_nothing_any_more) {
    const QPointer<QToolButton> indicator(&button);
    controller.reset();
    EXPECT_FALSE(indicator);
    engine().setStatus(QWDropboxSyncStatusUploading);
    share(desktop);
}

TEST(ToolbarButtonAlone, Is_made_anew_after_its_toolbar_has_gone) {
    Cloud cloud;
    Desktop desktop(cloud);
    QWDropboxSyncUIController controller(desktop.environment);
    auto toolbar = std::make_unique<QToolBar>();
    toolbar->addWidget(controller.dropboxToolbarIndicator());
    toolbar.reset();
    QWDropboxSyncCoreData::setSharedInstance(
        std::shared_ptr<QWDropboxSyncCoreData>(std::shared_ptr<void>(), desktop.engine.get()));
    desktop.engine->setStatus(QWDropboxSyncStatusUploading);
    EXPECT_TRUE(controller.dropboxToolbarIndicator()->isEnabled());
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
}

} // namespace
