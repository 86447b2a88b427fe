#pragma once

#include "platform/QWErrorPresenter.h"

#include <QList>
#include <QMessageBox>
#include <QPointer>

// Shows failures in a message box over the active window, one after the other. A host with windows gives it
// to its environment:
//
//     QWEnvironment::Parts parts;
//     parts.errorPresenter = std::make_shared<QWMessageBoxErrorPresenter>();
//
// Nothing waits for the box to be closed. A failure that is being shown, or is next, is not shown again: what
// is tried every few seconds and keeps failing opens one box. To be used on the main thread.
class QWMessageBoxErrorPresenter final : public QWErrorPresenter {
public:
    ~QWMessageBoxErrorPresenter() override; // an open box goes with it

    // The message of the error, as it is; when it has none, its domain and code.
    void presentError(const QWError& error) override;

private:
    void showFirst();

    QList<QString> texts_; // of failures; that of the first is in the box
    QPointer<QMessageBox> box_;
    QObject life_; // what is still to be done goes with it
};
