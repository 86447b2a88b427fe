// What a click shows while sync is active: the status in words.

#include "support/HostTranslator.h"
#include "toolbar/ToolbarTest.h"

#include <QScreen>

namespace {

using Popover = ToolbarTest;

struct Said {
    quint64 status;
    qint64 items;
    QString text;
};

TEST_F(Popover, Says_the_status_in_words) {
    const Said table[] = {
        {QWDropboxSyncStatusIdle, 0, "All items are up to date"},
        {QWDropboxSyncStatusCheckingForUpdates, 0, "Checking for updates"},
        {QWDropboxSyncStatusCheckingForUpdates, -7, "Downloading 7 potential updates"},
        {QWDropboxSyncStatusCheckingForUpdates, -12345, "Downloading 12345 potential updates"},
        {QWDropboxSyncStatusCheckingForUpdates, 5, "Downloading -5 potential updates"},
        {QWDropboxSyncStatusUploading, 3, "Uploading 3 updates"},
        {QWDropboxSyncStatusUploading, -3, "Uploading -3 updates"},
        {QWDropboxSyncStatusUploading, 0, "Uploading 0 updates"},
        {QWDropboxSyncStatusDisabled, 0, QString()},
        {QWDropboxSyncStatusTokenInvalid, 0, QString()},
        {5, 0, QString()},
    };
    for (const auto& [status, items, expected] : table) {
        engine().setStatus(status);
        engine().setNumberOfItemsToProcess(items);
        EXPECT_EQ(text(), expected) << status << ' ' << items;
    }
}

TEST_F(Popover, Speaks_the_language_of_the_user_and_the_words_of_the_host) {
    engine().setStatus(QWDropboxSyncStatusUploading);
    engine().setNumberOfItemsToProcess(2);
    const HostTranslator host({{"DropboxUploadingUpdates", "100 % %ld/%s"}});
    controller->updateSyncStatusLabel();
    EXPECT_EQ(text(), "100 % 2/%s");
}

TEST_F(Popover, Speaks_English_in_a_language_that_it_does_not_know) {
    const ScopedLocale unknown("C");
    QStringList texts;
    for (const auto& [status, items] : {std::pair<quint64, qint64>{QWDropboxSyncStatusIdle, 0},
                                        {QWDropboxSyncStatusCheckingForUpdates, 0},
                                        {QWDropboxSyncStatusCheckingForUpdates, -7},
                                        {QWDropboxSyncStatusUploading, 3}}) {
        engine().setStatus(status);
        engine().setNumberOfItemsToProcess(items);
        texts << text();
    }
    EXPECT_EQ(texts, QStringList({"All items are up to date", "Checking for updates",
                                  "Downloading 7 potential updates", "Uploading 3 updates"}));
}

TEST_F(Popover, Shows_the_words_of_the_host_as_plain_text) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    const HostTranslator host({{"DropboxAllItemsUpToDate", "<b>A</b> & B"}});
    click();
    EXPECT_EQ(controller->dropboxActionTextField()->text(), "<b>A</b> & B");
    EXPECT_EQ(controller->dropboxActionTextField()->textFormat(), Qt::PlainText);
}

TEST_F(Popover, Is_not_made_before_the_first_click) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    EXPECT_FALSE(controller->dropboxActionTextField());
    click();
    ASSERT_TRUE(controller->dropboxActionTextField());
    EXPECT_EQ(controller->dropboxActionTextField()->text(), "All items are up to date");
    EXPECT_TRUE(controller->dropboxActionTextField()->isVisible());
}

TEST_F(Popover, Opens_below_the_button_around_its_view) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    ASSERT_TRUE(popover());
    const QRect anchor(button.mapToGlobal(QPoint()), button.size());
    EXPECT_EQ(popover()->y(), anchor.y() + anchor.height());
    EXPECT_NEAR(popover()->geometry().center().x(), anchor.center().x(), 1);
    const int frame = popover()->frameWidth();
    EXPECT_EQ(popover()->size(), controller->view()->size() + QSize(2 * frame, 2 * frame));
    EXPECT_EQ(popover()->accessibleName(), "Synchronisation with Dropbox");
}

TEST_F(Popover, Cuts_nothing_off_a_long_text) {
    const HostTranslator host({{"DropboxAllItemsUpToDate", QString(30, 'W') + " " + QString(30, 'W')}});
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    ASSERT_TRUE(popover());
    EXPECT_EQ(controller->view()->size(), controller->view()->sizeHint());
}

TEST_F(Popover, Stays_on_the_screen) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    const QRect room = window.screen()->availableGeometry();
    window.move(room.left(), room.bottom() - 50);
    click();
    ASSERT_TRUE(popover());
    EXPECT_TRUE(room.contains(popover()->geometry()));
    EXPECT_LT(popover()->geometry().bottom(), button.mapToGlobal(QPoint()).y());
}

TEST_F(Popover, Follows_the_status_while_it_is_open) {
    engine().setStatus(QWDropboxSyncStatusCheckingForUpdates);
    click();
    ASSERT_TRUE(popover());
    const int width = popover()->width();
    engine().setNumberOfItemsToProcess(-1234567);
    EXPECT_EQ(text(), "Downloading 1234567 potential updates");
    EXPECT_GT(popover()->width(), width);
    EXPECT_NEAR(popover()->geometry().center().x(), button.mapToGlobal(button.rect().center()).x(), 1);
}

TEST_F(Popover, Closes_on_a_click_elsewhere) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    ASSERT_TRUE(popover());
    QTest::mouseClick(popover(), Qt::LeftButton, {}, QPoint(-100, 150));
    EXPECT_FALSE(popover());
}

TEST_F(Popover, Closes_on_Escape_and_opens_again) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    ASSERT_TRUE(popover());
    QTest::keyClick(popover(), Qt::Key_Escape);
    EXPECT_FALSE(popover());
    click();
    EXPECT_TRUE(popover());
}

TEST_F(Popover, Opens_also_when_the_token_was_refused) {
    engine().setStatus(QWDropboxSyncStatusTokenInvalid);
    click();
    EXPECT_TRUE(popover());
    EXPECT_FALSE(question());
}

TEST_F(Popover, Shows_the_view_of_the_host_in_its_size) {
    auto* panel = new QWidget;
    auto* field = new QLabel(panel);
    panel->resize(260, 90);
    controller->setView(panel);
    controller->setDropboxActionTextField(field);
    engine().setStatus(QWDropboxSyncStatusIdle);
    field->clear();
    click();
    ASSERT_TRUE(popover());
    EXPECT_EQ(field->text(), "All items are up to date");
    const int frame = popover()->frameWidth();
    EXPECT_EQ(popover()->size(), QSize(260 + 2 * frame, 90 + 2 * frame));
    EXPECT_EQ(controller->view(), panel);
}

TEST_F(Popover, Shows_another_view_after_the_first) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    const QPointer<QWidget> first(controller->view());
    auto* panel = new QWidget;
    panel->resize(120, 40);
    controller->setView(panel);
    EXPECT_FALSE(first);
    EXPECT_FALSE(popover());
    click();
    ASSERT_TRUE(popover());
    EXPECT_TRUE(panel->isVisible());
    EXPECT_EQ(panel->parentWidget(), popover());
}

TEST_F(Popover, Keeps_the_view_that_is_set_again) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    const QPointer<QWidget> view(controller->view());
    controller->setView(view);
    ASSERT_TRUE(view);
    EXPECT_TRUE(view->isVisible());
}

TEST_F(Popover, Holds_the_text_field_of_the_host_weakly) {
    auto field = std::make_unique<QLabel>();
    controller->setDropboxActionTextField(field.get());
    engine().setStatus(QWDropboxSyncStatusUploading);
    EXPECT_EQ(field->text(), "Uploading 0 updates");
    field.reset();
    EXPECT_EQ(controller->dropboxActionTextField(), nullptr);
    engine().setStatus(QWDropboxSyncStatusIdle);
}

// A controller whose loading makes no view.
struct WithoutView final : QWDropboxSyncUIController {
    using QWDropboxSyncUIController::QWDropboxSyncUIController;
    void loadView() override {}
};

TEST_F(Popover, Is_empty_without_a_view) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    WithoutView bare(desktop.environment);
    toolbar.addWidget(bare.dropboxToolbarIndicator());
    bare.clickedToolbarButton(*bare.dropboxToolbarIndicator());
    ASSERT_TRUE(popover());
    EXPECT_EQ(popover()->contentsRect().size(), QSize(0, 0));
}

TEST_F(Popover, Goes_with_the_controller) {
    engine().setStatus(QWDropboxSyncStatusIdle);
    click();
    const QPointer<QWPopover> open(popover());
    ASSERT_TRUE(open);
    controller.reset();
    EXPECT_FALSE(open);
}

} // namespace
