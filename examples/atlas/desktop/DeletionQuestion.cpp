#include "desktop/DeletionQuestion.h"

#include "desktop/MessageBar.h"

#include <QAbstractButton>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>

namespace atlas {

DeletionQuestion::DeletionQuestion(QWDropboxSyncCoreData& engine, CloudConnection& connection,
                                   MessageBar& messageBar, QWidget& window)
    : connection_(connection), messageBar_(messageBar), window_(window) {
    connect(&connection_, &CloudConnection::deletionsHeld, this, &DeletionQuestion::ask);
    connect(&engine, &QWDropboxSyncCoreData::statusChanged, this, [this](quint64 status) {
        if (status >= QWDropboxSyncStatusDisabled)
            withdraw();
    });
}

void DeletionQuestion::ask(qint64 count, qint64 total) {
    withdraw();
    const QLocale locale;
    box_ = new QMessageBox(QMessageBox::Warning, tr("Atlas"),
                           tr("%1 of %2 records were deleted on another desktop.")
                               .arg(locale.toString(count), locale.toString(total)),
                           QMessageBox::NoButton, &window_);
    box_->setAttribute(Qt::WA_DeleteOnClose);
    box_->setInformativeText(
        tr("Nothing is received until you decide. Kept records are sent to the cloud again, "
           "and come back to your other desktops."));
    auto* keep = box_->addButton(tr("&Keep Them"), QMessageBox::ActionRole);
    auto* remove = box_->addButton(tr("&Delete Here Too"), QMessageBox::DestructiveRole);
    auto* later = box_->addButton(tr("Decide &Later"), QMessageBox::RejectRole);
    box_->setDefaultButton(keep);
    box_->setEscapeButton(later);
    connect(keep, &QAbstractButton::clicked, this, [this] { answer(false); });
    connect(remove, &QAbstractButton::clicked, this, [this] { answer(true); });
    connect(box_, &QDialog::rejected, this, [this, count, total] { offerAgain(count, total); });
    box_->open();
}

void DeletionQuestion::answer(bool areDeletionsWanted) {
    if (auto* supervisor = connection_.supervisor())
        supervisor->answerDeletionQuestion(areDeletionsWanted);
    withdraw();
}

void DeletionQuestion::offerAgain(qint64 count, qint64 total) {
    const auto* supervisor = connection_.supervisor();
    if (!supervisor || !supervisor->isDeletionQuestionOpen())
        return;
    offer_ = tr("Nothing is received until you decide about records that were deleted on another desktop.");
    messageBar_.showMessage(offer_, tr("&Decide…"), [this, count, total] { ask(count, total); });
}

void DeletionQuestion::withdraw() {
    if (box_) {
        box_->hide();
        box_->deleteLater();
    }
    box_.clear();
    if (!offer_.isEmpty() && messageBar_.text() == offer_)
        messageBar_.clear();
    offer_.clear();
}

} // namespace atlas
