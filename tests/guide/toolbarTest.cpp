// The code of docs/guide/toolbar.md.

#include "support/BookLibrary.h"
#include "sync/toolbar/QWDropboxSyncUIController.h"

#include <QPushButton>
#include <QToolBar>
#include <QVBoxLayout>

namespace {

TEST(ToolbarGuide, Shows_how_the_shared_engine_is_doing) {
    BookLibrary library;
    const auto& coordinator = library.coordinator;
    const auto engine = std::make_shared<QWDropboxSyncCoreData>(
        library.context, QStringList{"Author", "Book"}, QUrl::fromLocalFile(library.path("cache")));
    QWidget window;
    QToolBar toolbar;

    auto* controller = new QWDropboxSyncUIController(coordinator->environment(), &window);
    toolbar.addWidget(controller->dropboxToolbarIndicator());
    QWDropboxSyncCoreData::setSharedInstance(engine); // now, or later
    EXPECT_TRUE(controller->dropboxToolbarIndicator()->isEnabled());

    auto* view = new QWidget;
    auto* layout = new QVBoxLayout(view);
    auto* status = new QLabel;
    layout->addWidget(status);
    layout->addWidget(new QPushButton("Sync now"));
    view->adjustSize();
    controller->setView(view);
    controller->setDropboxActionTextField(status);
    engine->setStatus(QWDropboxSyncStatusIdle);
    EXPECT_EQ(status->text(), "All items are up to date");
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
}

} // namespace
