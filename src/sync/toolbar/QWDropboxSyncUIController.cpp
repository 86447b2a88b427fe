#include "sync/toolbar/QWDropboxSyncUIController.h"

#include "platform/QWLocalizedString.h"
#include "sync/toolbar/QWPopover_p.h"
#include "sync/toolbar/QWSpinner_p.h"
#include "sync/toolbar/QWTemplateButton_p.h"

#include <QGridLayout>
#include <QPushButton>

namespace {

// Its size is that of its text.
class StatusLine final : public QLabel {
public:
    StatusLine() {
        setTextFormat(Qt::PlainText);
        setAlignment(Qt::AlignCenter);
        const int em = fontMetrics().height();
        setContentsMargins(em, em / 2, em, em / 2);
    }
};

// A text with a number in it, in the place that the tables mark.
QString withNumber(QString text, qint64 number) {
    return text.replace(QStringLiteral("%ld"), QString::number(number));
}

QString statusText(quint64 status, qint64 items) {
    switch (status) {
    case QWDropboxSyncStatusIdle:
        return QWLocalizedString("DropboxAllItemsUpToDate", "All items are up to date");
    case QWDropboxSyncStatusCheckingForUpdates:
        if (items == 0)
            return QWLocalizedString("DropboxCheckingForPotentialUpdates", "Checking for updates");
        return withNumber(
            QWLocalizedString("DropboxDownloadingPotentialUpdates", "Downloading %ld potential updates"),
            -items);
    case QWDropboxSyncStatusUploading:
        return withNumber(QWLocalizedString("DropboxUploadingUpdates", "Uploading %ld updates"), items);
    default:
        return {};
    }
}

} // namespace

QWDropboxSyncUIController::QWDropboxSyncUIController(std::shared_ptr<QWEnvironment> environment,
                                                     QObject* parent)
    : QObject(parent), environment_(std::move(environment)) {}

QWDropboxSyncUIController::~QWDropboxSyncUIController() {
    if (question_) { // which may be telling of its answer right now
        question_->hide();
        question_->deleteLater();
    }
    delete view_; // before its popover, if there is one
    delete toolbarButton_;
}

// The button ------------------------------------------------------------------------------------------------

QToolButton* QWDropboxSyncUIController::dropboxToolbarIndicator() {
    if (toolbarButton_)
        return toolbarButton_;
    toolbarButton_ = new QWTemplateButton(QStringLiteral("dropbox"));
    toolbarButton_->setAccessibleName(QWLocalizedString("DropboxSync"));
    toolbarButton_->setToolTip(toolbarButton_->accessibleName());
    connect(toolbarButton_, &QToolButton::clicked, this, [this] { clickedToolbarButton(*toolbarButton_); });
    progressIndicator_ = new QWSpinner(environment_->runLoop(), toolbarButton_);
    auto* centred = new QGridLayout(toolbarButton_);
    centred->setContentsMargins({});
    centred->addWidget(progressIndicator_, 0, 0, Qt::AlignCenter);

    followSharedEngine();
    sharedInstanceObservation_ =
        environment_->notificationCenter().observe(QWDropboxSyncCoreDataSharedInstanceChangedNotification,
                                                   [this](const QWNotification&) { followSharedEngine(); });
    return toolbarButton_;
}

void QWDropboxSyncUIController::followSharedEngine() {
    if (engine_)
        engine_->disconnect(this);
    engine_ = QWDropboxSyncCoreData::sharedInstance().get();
    if (engine_) {
        connect(engine_, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
                &QWDropboxSyncUIController::updateSyncStatusLabel);
        connect(engine_, &QWDropboxSyncCoreData::statusChanged, this, [this](quint64 status) {
            updateProgressIndicatorAnimationWithStatus(status);
            updateSyncStatusLabel();
        });
    }
    if (toolbarButton_)
        toolbarButton_->setEnabled(engine_);
    updateProgressIndicatorAnimationWithStatus(engine_ ? engine_->status() : QWDropboxSyncStatusDisabled);
    updateSyncStatusLabel();
}

void QWDropboxSyncUIController::clickedToolbarButton(QToolButton&) {
    const auto engine = QWDropboxSyncCoreData::sharedInstance();
    if (!engine)
        return;
    if (engine->status() == QWDropboxSyncStatusDisabled)
        askWhetherToConnect();
    else
        showPopover();
}

// The spinner is hidden only: what it shows next goes on from where it is.
void QWDropboxSyncUIController::updateProgressIndicatorAnimationWithStatus(quint64 status) {
    if (!progressIndicator_)
        return;
    const bool isWorking =
        status == QWDropboxSyncStatusCheckingForUpdates || status == QWDropboxSyncStatusUploading;
    progressIndicator_->setOpacity(isWorking ? 1 : 0);
    if (isWorking)
        progressIndicator_->startAnimation();
}

// The popover -----------------------------------------------------------------------------------------------

QWidget* QWDropboxSyncUIController::view() {
    if (!view_ || !isViewLoaded_) {
        loadView();
        isViewLoaded_ = true;
    }
    return view_;
}

void QWDropboxSyncUIController::setView(QWidget* view) {
    if (view == view_)
        return; // also for the popover that it is in
    delete view_;
    delete popover_;
    view_ = view;
    isViewLoaded_ = false;
}

void QWDropboxSyncUIController::loadView() {
    if (!view_) {
        dropboxActionTextField_ = new StatusLine;
        view_ = dropboxActionTextField_;
    }
    updateSyncStatusLabel();
}

void QWDropboxSyncUIController::updateSyncStatusLabel() {
    const auto engine = QWDropboxSyncCoreData::sharedInstance();
    const QString text = engine ? statusText(engine->status(), engine->numberOfItemsToProcess()) : QString();
    if (toolbarButton_)
        toolbarButton_->setAccessibleDescription(text);
    if (!dropboxActionTextField_)
        return;
    dropboxActionTextField_->setText(text);
    if (view_ == dropboxActionTextField_)
        view_->resize(view_->sizeHint()); // also where that is much of the screen
}

void QWDropboxSyncUIController::showPopover() {
    if (!popover_) {
        popover_ = new QWPopover(dropboxToolbarIndicator(), view());
        popover_->setAccessibleName(QWLocalizedString("DropboxSync"));
    }
    popover_->open();
}

// The question ----------------------------------------------------------------------------------------------

void QWDropboxSyncUIController::askWhetherToConnect() {
    if (question_)
        return question_->raise();
    const QString title = QWLocalizedString("DropboxSync");
    question_ = new QMessageBox(QMessageBox::Question, title, title, QMessageBox::NoButton,
                                dropboxToolbarIndicator()->window());
    question_->setAttribute(Qt::WA_DeleteOnClose);
    question_->setInformativeText(QWLocalizedString("AuthenticateDropbox"));
    for (auto* line : question_->findChildren<QLabel*>()) // the box passes a format on to the first only
        line->setTextFormat(Qt::PlainText);
    auto* yes = question_->addButton(QWLocalizedString("Yes"), QMessageBox::AcceptRole);
    // Of no role that Escape would press: that key answers neither.
    question_->addButton(QWLocalizedString("No"), QMessageBox::ActionRole);
    question_->setDefaultButton(yes);
    connect(yes, &QAbstractButton::clicked, this, &QWDropboxSyncUIController::connectToDropbox);
    question_->open();
}

void QWDropboxSyncUIController::connectToDropbox() {
    const auto engine = QWDropboxSyncCoreData::sharedInstance();
    if (auto* host = engine ? engine->delegate() : nullptr)
        host->authenticateAndEnableCoreDataSync(*engine);
}
