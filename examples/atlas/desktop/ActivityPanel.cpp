#include "desktop/ActivityPanel.h"

#include "core/QWManagedObjectFieldDescription.h"
#include "core/QWManagedObjectWithSyncSupport.h"

#include <QHeaderView>

namespace atlas {

namespace {

constexpr QWRunLoop::Duration pause = std::chrono::milliseconds(200); // between two looks

bool isImage(const QString& fileName) {
    return fileName.endsWith('.' + QWDBFileNameImageExtension);
}

} // namespace

ActivityPanel::ActivityPanel(QWidget* parent) : QTreeWidget(parent) {
    setHeaderLabels({tr("Item"), tr("State")});
    header()->setSectionResizeMode(QHeaderView::Stretch); // what is cut off stands in the tool tip
    setAccessibleName(tr("Activity"));
    setUniformRowHeights(true);
    for (auto** group : {&inFlight_, &toSend_, &toFetch_, &failed_}) {
        *group = new QTreeWidgetItem(this);
        (*group)->setFirstColumnSpanned(true);
        (*group)->setExpanded(true);
    }
    refresh();
}

ActivityPanel::~ActivityPanel() {
    refreshing_.cancel();
}

void ActivityPanel::follow(QWSyncSupervisor* supervisor, QWDropboxSyncCoreData* engine) {
    for (QObject* before : {static_cast<QObject*>(supervisor_), static_cast<QObject*>(engine_)})
        if (before)
            before->disconnect(this);
    refreshing_.cancel();
    supervisor_ = supervisor;
    engine_ = engine;
    failures_.clear();
    queryFailure_.clear();
    if (supervisor && engine) {
        connect(supervisor, &QWSyncSupervisor::progressed, this, &ActivityPanel::refreshSoon);
        connect(supervisor, &QWSyncSupervisor::fileQueued, this, &ActivityPanel::refreshSoon);
        connect(supervisor, &QWSyncSupervisor::fileSent, this, &ActivityPanel::settle);
        connect(supervisor, &QWSyncSupervisor::fileReceived, this, &ActivityPanel::settle);
        connect(supervisor, &QWSyncSupervisor::fileDeclined, this, &ActivityPanel::settle);
        connect(supervisor, &QWSyncSupervisor::fileFailed, this,
                [this](const QString& fileName, const QString& reason) {
                    failures_.insert(fileName, reason);
                    refreshSoon();
                });
        connect(supervisor, &QWSyncSupervisor::queryFailed, this, [this](const QString& reason) {
            queryFailure_ = reason;
            lastAnswerBefore_ = engine_ ? engine_->lastTimeQueriedDeltaEntries() : QDateTime();
            refreshSoon();
        });
        connect(engine, &QWDropboxSyncCoreData::statusChanged, this, &ActivityPanel::refreshSoon);
        connect(engine, &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
                &ActivityPanel::refreshSoon);
        connect(engine, &QObject::destroyed, this, [this] { refreshing_.cancel(); });
    }
    refresh();
}

void ActivityPanel::showEvent(QShowEvent* event) {
    refresh();
    QTreeWidget::showEvent(event);
}

void ActivityPanel::settle(const QString& fileName) {
    failures_.remove(fileName);
    refreshSoon();
}

void ActivityPanel::refreshSoon() {
    if (engine_ && isVisible() && !refreshing_.isPending())
        refreshing_ =
            engine_->mainManagedObjectContext()->environment().runLoop().after(pause, [this] { refresh(); });
}

void ActivityPanel::refresh() {
    qint64 waiting = 0, sending = 0, entries = 0;
    QList<Line> inFlight, toSend, toFetch, failed;
    if (engine_ && supervisor_) {
        sending = engine_->numberOfObjectsSyncing();
        waiting = engine_->numberOfObjectsWaitingSync() - sending;
        QWFetchRequest request(QWDBEntityNameObjectWaitingSync);
        request.limit = mostListed; // the engine sends them in this order
        for (const auto& row :
             QWFetchCacheRecords<ObjectWaitingSync>(*engine_->dropboxCacheManagedObjectContext(), request)) {
            const QString fileName = engine_->fileNameForObjectWaitingToSync(*row, false);
            const bool deletes = row->action() == QWDropboxSyncActionDelete;
            const QString imageName = engine_->fileNameForObjectWaitingToSync(*row, true);
            if (!engine_->objectSyncingForFileWithName(fileName))
                toSend.append({describe(fileName), deletes ? tr("to be deleted") : tr("to be sent")});
            else if (failures_.contains(fileName) || failures_.contains(imageName))
                --sending; // it waits to be tried again
            else
                inFlight.append({describe(fileName), deletes ? tr("being deleted") : tr("being sent")});
        }
        entries = engine_->deltaEntriesToImport().count();
        for (const auto& entry : engine_->deltaEntriesToImport().entries().mid(0, mostListed))
            toFetch.append({describe(entry->metadata ? entry->metadata->filename()
                                                     : entry->lowercasePath.section('/', -1)),
                            entry->metadata ? tr("to be fetched") : tr("deleted elsewhere")});
        if (engine_->lastTimeQueriedDeltaEntries() != lastAnswerBefore_)
            queryFailure_.clear();
    }
    if (!queryFailure_.isNull())
        failed.append({tr("Asking for changes"), queryFailure_});
    for (auto failure = failures_.begin(); failure != failures_.end(); ++failure)
        failed.append({describe(failure.key()), *failure});

    fill(inFlight_, tr("In flight"), sending, inFlight);
    fill(toSend_, tr("Waiting to be sent"), waiting, toSend);
    fill(toFetch_, tr("Waiting to be fetched"), entries, toFetch);
    fill(failed_, tr("Failed, to be tried again"), failed.size(), failed.mid(0, mostListed));
}

// Keeps the items that there are, so that the view stays where it is.
void ActivityPanel::fill(QTreeWidgetItem* group, const QString& title, qint64 count,
                         const QList<Line>& lines) {
    group->setText(0, tr("%1 (%2)").arg(title, locale().toString(count)));
    QList<Line> shown = lines;
    if (count > lines.size())
        shown.append({tr("… and %1 more").arg(locale().toString(count - lines.size())), {}});
    while (group->childCount() > shown.size())
        delete group->child(group->childCount() - 1);
    while (group->childCount() < shown.size())
        new QTreeWidgetItem(group);
    for (qsizetype index = 0; index < shown.size(); ++index) {
        QTreeWidgetItem* item = group->child(int(index));
        item->setText(0, shown[index].what);
        item->setText(1, shown[index].how);
        item->setToolTip(0, shown[index].what);
        item->setToolTip(1, shown[index].how);
    }
}

// A file as the user knows it: by the name of its record, or the kind of one that is not here.
QString ActivityPanel::describe(const QString& fileName) const {
    if (QLatin1Char('/') + fileName == QWDBFileSyncedPreferencesInDropboxFolder)
        return tr("Preferences");
    const auto record = engine_ ? QWDropboxSyncCoreData::objectReferencedByFile(
                            fileName, *engine_->mainManagedObjectContext(), false)
                                : QWRef<QWManagedObjectWithSyncSupport>();
    if (!record)
        return fileName.section(QWDBFileNameSeparator, 0, 0);
    const QString kind = record->entity().name();
    const QString name = record->valueForKey(record->fieldDescriptions()->first()->key()).toString();
    const QString what = name.isEmpty() ? kind : tr("%1 (%2)").arg(name, kind);
    return isImage(fileName) ? tr("%1, image").arg(what) : what;
}

} // namespace atlas
