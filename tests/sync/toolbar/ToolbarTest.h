#pragma once

#include "support/Desktop.h"
#include "support/ScopedLocale.h"
#include "sync/toolbar/QWDropboxSyncUIController.h"
#include "sync/toolbar/QWPopover_p.h"
#include "sync/toolbar/QWSpinner_p.h"

#include <QApplication>
#include <QTest>
#include <QToolBar>
#include <QVBoxLayout>
#include <gmock/gmock.h>

// A window with a toolbar that bears the controller's button, and the engine of one desktop as the shared
// one.
class ToolbarTest : public testing::Test {
protected:
    // Notes what it is asked by the controller.
    struct Host final : Desktop {
        using Desktop::Desktop;
        void authenticateAndEnableCoreDataSync(QWDropboxSyncCoreData& asking) override {
            toAuthenticate << &asking;
            if (willAuthenticate)
                willAuthenticate();
        }
        std::function<void()> willAuthenticate;
        QList<const QWDropboxSyncCoreData*> toAuthenticate;
    };

    ToolbarTest() {
        toolbar.addWidget(&button);
        auto* layout = new QVBoxLayout(&window);
        layout->addWidget(&toolbar);
        layout->addStretch();
        window.setGeometry(200, 100, 400, 300);
        window.show();
        QApplication::setActiveWindow(&window);
    }
    ~ToolbarTest() override {
        controller.reset();
        QWDropboxSyncCoreData::setSharedInstance(nullptr);
        toolbar.setParent(nullptr);
    }

    static void share(Desktop& shared) {
        QWDropboxSyncCoreData::setSharedInstance(
            std::shared_ptr<QWDropboxSyncCoreData>(std::shared_ptr<void>(), shared.engine.get()));
    }
    QWDropboxSyncCoreData& engine() { return *desktop.engine; }
    QWSpinner& spinner() { return *button.findChild<QWSpinner*>(); }
    void click() { QTest::mouseClick(&button, Qt::LeftButton); }
    QWPopover* popover() { return qobject_cast<QWPopover*>(QApplication::activePopupWidget()); }
    QMessageBox* question() {
        const auto boxes = window.findChildren<QMessageBox*>();
        return boxes.isEmpty() ? nullptr : boxes.first();
    }
    // What the popover says.
    QString text() { return controller->view() ? controller->dropboxActionTextField()->text() : QString(); }

    const ScopedLocale english{"en"};
    Cloud cloud;
    Host desktop{cloud};
    std::unique_ptr<QWDropboxSyncUIController> controller =
        std::make_unique<QWDropboxSyncUIController>(desktop.environment);
    QToolButton& button = (share(desktop), *controller->dropboxToolbarIndicator());
    QWidget window;
    QToolBar toolbar;
};
