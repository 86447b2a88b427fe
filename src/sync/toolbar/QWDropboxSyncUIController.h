#pragma once

#include "platform/QWEnvironment.h"
#include "sync/QWDropboxSyncCoreData.h"

#include <QLabel>
#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QToolButton>

class QWPopover;
class QWSpinner;

// A toolbar button that shows how the shared engine is doing (QWDropboxSyncCoreData::sharedInstance).
//
//     auto* controller = new QWDropboxSyncUIController(environment, window);
//     toolbar->addWidget(controller->dropboxToolbarIndicator());
//
// On the button, a cloud in the colour of its text, turns a spinner while the engine asks, downloads or
// uploads. A click, or the space bar, opens a popover with the status in words; when sync is off it asks
// whether to connect, and the engine's delegate is told of a Yes (authenticateAndEnableCoreDataSync). Nothing
// waits for the answer. Without a shared engine the button is disabled.
//
// It follows the engine that is the shared one: also another, when it becomes so. Its texts:
// QWLocalizedString; "Yes" and "No" are the host's. To be used on the main thread.
class QWDropboxSyncUIController : public QObject {
    Q_OBJECT
public:
    // `environment` is the one that the host's engines live in.
    explicit QWDropboxSyncUIController(std::shared_ptr<QWEnvironment> environment = QWEnvironment::standard(),
                                       QObject* parent = nullptr);
    // The button, the popover and a question that is open go with it.
    ~QWDropboxSyncUIController() override;

    // The button, made by the first call. The host puts it into its toolbar; it stays the controller's, but
    // may go with the toolbar.
    QToolButton* dropboxToolbarIndicator();
    // What a click on the button does.
    void clickedToolbarButton(QToolButton& button);

    // What the popover shows, in the size that it has; made by `loadView` when it is first asked for. A host
    // that gives a view of its own owns it no more.
    QWidget* view();
    void setView(QWidget* view);
    // Makes a view with one line of text, unless the host has given one, and shows the status in it.
    virtual void loadView();
    // Where the status is shown in words: the line of the view, or one that the host has in its own. Held
    // weakly.
    QLabel* dropboxActionTextField() const { return dropboxActionTextField_; }
    void setDropboxActionTextField(QLabel* field) { dropboxActionTextField_ = field; }

    // Shows the spinner for QWDropboxSyncStatusCheckingForUpdates and QWDropboxSyncStatusUploading; for any
    // other status it is not seen.
    void updateProgressIndicatorAnimationWithStatus(quint64 status);
    // Shows the shared engine's status in words; none for one that is disabled or whose token is invalid.
    void updateSyncStatusLabel();

private:
    void followSharedEngine();
    void showPopover();
    void askWhetherToConnect();
    void connectToDropbox();

    const std::shared_ptr<QWEnvironment> environment_;
    QWObservation sharedInstanceObservation_;
    QPointer<QWDropboxSyncCoreData> engine_; // the one that is followed
    QPointer<QToolButton> toolbarButton_;
    QPointer<QWSpinner> progressIndicator_; // a child of the button
    QPointer<QWidget> view_;                // a child of the popover, once there is one
    bool isViewLoaded_ = false;
    QPointer<QLabel> dropboxActionTextField_;
    QPointer<QWPopover> popover_; // a child of the button
    QPointer<QMessageBox> question_;
};
