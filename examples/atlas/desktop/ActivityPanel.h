#pragma once

#include "sync/supervisor/QWSyncSupervisor.h"

#include <QMap>
#include <QPointer>
#include <QTreeWidget>

namespace atlas {

// What a library's sync is at: what is in flight, what waits to be sent, what is still to be fetched, and
// what has failed and why. It follows them while it is shown.
class ActivityPanel final : public QTreeWidget {
    Q_OBJECT
public:
    // Of what waits this many are listed by name; the rest is counted.
    static constexpr int mostListed = 100;

    explicit ActivityPanel(QWidget* parent = nullptr);
    ~ActivityPanel() override;

    // From now on; failures of before are forgotten. Null for either: nothing is followed. Held weakly.
    void follow(QWSyncSupervisor* supervisor, QWDropboxSyncCoreData* engine);

protected:
    void showEvent(QShowEvent* event) override;

private:
    struct Line {
        QString what, how;
    };

    void refreshSoon();
    void refresh();
    void fill(QTreeWidgetItem* group, const QString& title, qint64 count, const QList<Line>& lines);
    QString describe(const QString& fileName) const;
    void settle(const QString& fileName);

    QPointer<QWSyncSupervisor> supervisor_;
    QPointer<QWDropboxSyncCoreData> engine_;
    QMap<QString, QString> failures_; // why, by file name
    QString queryFailure_;            // why the cloud could not be asked; null when it could
    QDateTime lastAnswerBefore_;      // of the engine, when that failed
    QWRunLoop::Handle refreshing_;    // gathers what happens together
    QTreeWidgetItem *inFlight_, *toSend_, *toFetch_, *failed_;
};

} // namespace atlas
