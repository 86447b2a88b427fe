#include "views/QWMessageBoxErrorPresenter.h"

#include <QApplication>

QWMessageBoxErrorPresenter::~QWMessageBoxErrorPresenter() {
    texts_.clear();
    delete box_;
}

void QWMessageBoxErrorPresenter::presentError(const QWError& error) {
    const QString text =
        error.message.isEmpty() ? QStringLiteral("%1 (%2)").arg(error.domain).arg(error.code) : error.message;
    if (texts_.contains(text))
        return;
    texts_.append(text);
    if (texts_.size() == 1)
        showFirst();
}

void QWMessageBoxErrorPresenter::showFirst() {
    if (texts_.isEmpty())
        return;
    box_ = new QMessageBox(QMessageBox::Warning, QGuiApplication::applicationDisplayName(), texts_.first(),
                           QMessageBox::Ok, QApplication::activeWindow());
    box_->setAttribute(Qt::WA_DeleteOnClose);
    box_->setTextFormat(Qt::PlainText);
    // However it goes: closed, or with the window that it lies over, which then is going itself.
    QObject::connect(box_, &QObject::destroyed, [this] {
        if (!texts_.isEmpty())
            texts_.removeFirst();
        QMetaObject::invokeMethod(
            &life_, [this] { showFirst(); }, Qt::QueuedConnection);
    });
    box_->open();
}
