#pragma once

#include "desktop/CloudConnection.h"

#include <QPointer>

class QMessageBox;

namespace atlas {

class MessageBar;

// Asks the user whether very many records that were deleted elsewhere are to be deleted here as well. The question
// lies over the window and waits for nobody; closed without an answer it stays open, and the message bar offers it
// again. It goes when the sync ends.
class DeletionQuestion final : public QObject {
    Q_OBJECT

public:
    // Those whom it works for must outlive it; the question lies over `window`.
    DeletionQuestion(QWDropboxSyncCoreData& engine, CloudConnection& connection, MessageBar& messageBar,
                     QWidget& window);

private:
    void ask(qint64 count, qint64 total);
    void answer(bool areDeletionsWanted);
    void offerAgain(qint64 count, qint64 total);
    void withdraw();

    CloudConnection& connection_;
    MessageBar& messageBar_;
    QWidget& window_;
    QPointer<QMessageBox> box_;
    QString offer_; // what the message bar says
};

} // namespace atlas
