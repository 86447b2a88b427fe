#include "sync/supervisor/QWLosingVersions_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"
#include "sync/records/QWTravellingForm.h"
#include "sync/supervisor/QWPresentVersions_p.h"

using qw::sync::hostsObject;

using Origin = QWArchivedVersion::Origin;
using Reason = QWArchivedVersion::Reason;

namespace {

// A batch may replace very many: they are not all held in memory.
constexpr int mostUnsaved = 1000;

Reason reasonFor(const QDateTime& loser, const QDateTime& winner) {
    const bool isTie = loser.isValid() && winner.isValid()
                       && qw::sync::wholeSeconds(loser) == qw::sync::wholeSeconds(winner);
    return isTie ? Reason::SameSecond : Reason::Earlier;
}

} // namespace

QWLosingVersions::QWLosingVersions(QWDropboxSyncCoreData& engine, QWVersionArchive& archive)
    : engine_(engine), archive_(archive),
      imagesTaken_(engine.dropboxCacheManagedObjectContext(), QStringLiteral("taken by a batch")) {
    connect(&engine, &QWDropboxSyncCoreData::versionGivesWay, this, &QWLosingVersions::versionGivesWay);
    connect(&engine, &QWDropboxSyncCoreData::imageGivesWay, this,
            [this](const QWManagedObjectWithSyncSupport& object, bool* mayGo) {
                *mayGo = addDeletedImage(object);
            });
    connect(&engine, &QWDropboxSyncCoreData::batchWillBeSaved, this, [this](bool* mayBeSaved) {
        if (unsaved_ > 0)
            *mayBeSaved &= save();
    });
    hostSaveObservation_ = engine.mainManagedObjectContext()->observeDidSave(
        [this](const QWDidSaveNotice& notice) { hostDidSave(notice); });
}

bool QWLosingVersions::save() {
    isPruneDue_ = true;
    engine_.saveCacheContext();
    if (engine_.dropboxCacheManagedObjectContext()->hasChanges())
        return false; // it has no room; the user has been told
    unsaved_ = 0;
    return true;
}

// Before, what the batch itself replaces might be dropped, and the batch not be saved. Records that are here all the same have
// lost their image to a batch that was given up, and the disk had not taken it back: it may have gone from the cloud since.
void QWLosingVersions::finishBatch() {
    const QStringList taken = imagesTaken_.names();
    for (const QString& note : taken) {
        const QString fileName = note.section(QLatin1Char('/'), 0, 0);
        const auto present = hostsObject(engine_, fileName);
        const bool isHere = present && noteOf(*present) == note;
        if (isHere && !putBackImageOf(*present))
            continue;
        imagesTaken_.erase(note);
        if (!isHere)
            continue;
        engine_.fileMetadataManager().deleteDropboxFileMetadataWithName(fileName);
        engine_.queueForUpload(*present);
    }
    holdImagesTaken();
    if (isPruneDue_)
        archive_.prune();
    if (std::exchange(isPruneDue_, false) || !taken.isEmpty())
        engine_.saveCacheContext();
}

void QWLosingVersions::giveBatchUp() {
    const QStringList taken = imagesTaken_.names();
    for (const QString& note : taken)
        if (const auto object = ownerOf(note); !object || putBackImageOf(*object))
            imagesTaken_.erase(note);
    holdImagesTaken();
    if (!taken.isEmpty())
        engine_.saveCacheContext();
}

// The archive has the only copy of them.
void QWLosingVersions::holdImagesTaken() {
    archive_.holdImages(!imagesTaken_.names().isEmpty());
}

QString QWLosingVersions::noteOf(const QWManagedObjectWithSyncSupport& object) const {
    return qw::text::lowercase(engine_.fileNameWithUUID(object.uuid(), object.entity().name(), true))
           + QLatin1Char('/') + QString::number(object.objectID().key);
}

// Also one that the host has deleted and not saved. Null where the batch was saved after all, and the record is not here any
// more, or is another one.
QWRef<QWManagedObjectWithSyncSupport> QWLosingVersions::ownerOf(const QString& note) {
    const auto present = hostsObject(engine_, note.section(QLatin1Char('/'), 0, 0));
    if (present && noteOf(*present) == note)
        return present;
    for (const auto& record : engine_.mainManagedObjectContext()->deletedObjects())
        if (auto* object = dynamic_cast<QWManagedObjectWithSyncSupport*>(record.data());
            object && noteOf(*object) == note)
            return QWRef<QWManagedObjectWithSyncSupport>(object);
    return {};
}

// False when it is in the archive alone, for now.
bool QWLosingVersions::putBackImageOf(const QWManagedObjectWithSyncSupport& object) {
    const QString path = object.imageURL().toLocalFile();
    if (path.isEmpty() || environment().files().exists(path))
        return true;
    const auto versions = archive_.versions(object.uuid());
    const auto image = std::find_if(versions.begin(), versions.end(), [&](const auto& version) {
        return version.isImage() && version.entityName == object.entity().name()
               && version.origin == Origin::Here && version.reason == Reason::Deletion;
    });
    QWError error;
    if (image == versions.end() || archive_.putBackImage(*image, path, &error))
        return true;
    qCWarning(qwSyncLog).noquote() << "the image is in the archive alone:" << path << error.message;
    return false;
}

void QWLosingVersions::addDeclined(const QString& fileName, const QVariantMap& received,
                                   const QWManagedObjectWithSyncSupport* present) {
    const auto named = qw::sync::objectNamedByFile(fileName);
    QWArchivedVersion version;
    version.entityName = named->entityName;
    version.uuid = present ? present->uuid() : named->uuid;
    version.dateModified = qw::sync::dateOfRecord(received);
    version.archivedAt = environment().clock().now();
    version.origin = Origin::Cloud;
    version.reason = present ? reasonFor(version.dateModified, present->dateModified()) : Reason::Deletion;
    version.record = received;
    archive_.add(version);
    ++unsaved_;
    if (engine_.fileMetadataManager().isFileNameConflicted(qw::text::lowercase(fileName)))
        save();
}

QWRef<QWManagedObjectWithSyncSupport>
QWLosingVersions::versionOfBatch(const QString& fileName, QWManagedObjectWithSyncSupport& present) {
    const auto& batch = engine_.syncSupportManagedObjectContextCopy();
    QWRef<QWManagedObjectWithSyncSupport> object(&present);
    if (present.managedObjectContext() != batch.get())
        object = present.isInserted()
                     ? engine_.objectReferencedWithLowerCaseFileName(fileName, false)
                     : QWRef<QWManagedObjectWithSyncSupport>(dynamic_cast<QWManagedObjectWithSyncSupport*>(
                         batch->registeredObject(present.objectID()).data()));
    return object && object->hasChanges() && qw::sync::holdsOwnChanges(*object)
               ? object
               : QWRef<QWManagedObjectWithSyncSupport>();
}

void QWLosingVersions::addOvertaken(QWManagedObjectWithSyncSupport& version, const QVariantMap& received) {
    archive_.add(version, Origin::Cloud, reasonFor(version.dateModified(), qw::sync::dateOfRecord(received)));
    ++unsaved_;
}

bool QWLosingVersions::addImage(QWArchivedVersion image, QWError* error) {
    image.archivedAt = environment().clock().now();
    ++unsaved_;
    return archive_.add(image, error) && engine_.dropboxCacheManagedObjectContext()->save(error);
}

// What the host has not saved goes at once, whatever becomes of the batch.
bool QWLosingVersions::addDeletedImage(const QWManagedObjectWithSyncSupport& object) {
    QWArchivedVersion image;
    image.entityName = object.entity().name();
    image.uuid = object.uuid();
    image.imagePath = object.imageURL().toLocalFile();
    image.reason = Reason::Deletion;
    const bool isHosts = object.managedObjectContext() == engine_.mainManagedObjectContext().get();
    if (isHosts && !object.isInserted()) {
        imagesToTakeOnSave_.insert(object.objectID(), image);
        return false;
    }
    if (isHosts)
        return takeImage(image);
    imagesTaken_.insert(noteOf(object));
    holdImagesTaken();
    const bool isKept = takeImage(image);
    if (!isKept)
        imagesTaken_.erase(noteOf(object));
    return isKept;
}

bool QWLosingVersions::takeImage(QWArchivedVersion image) {
    image.dateModified = environment().files().modificationDate(image.imagePath).value_or(QDateTime());
    QWError error;
    const bool isKept = addImage(image, &error);
    if (!isKept)
        qCWarning(qwSyncLog).noquote()
            << "the image of a deleted record stays:" << image.imagePath << error.message;
    return isKept;
}

// Of a record that the host has made again since, the image is there to stay.
void QWLosingVersions::hostDidSave(const QWDidSaveNotice& notice) {
    const auto images = std::exchange(imagesToTakeOnSave_, {});
    for (const auto& record : notice.deleted) {
        const auto image = images.constFind(record->objectID());
        if (image == images.end() || !environment().files().exists(image->imagePath)
            || QWManagedObjectWithSyncSupport::fetchObjectWithUUID(image->uuid, image->entityName,
                                                                   *engine_.mainManagedObjectContext()))
            continue;
        if (takeImage(*image))
            environment().files().remove(image->imagePath);
    }
}

// Two versions of one second may be the same one.
void QWLosingVersions::versionGivesWay(QWManagedObjectWithSyncSupport& version,
                                       QWManagedObjectWithSyncSupport* winner) {
    const bool isHosts = version.managedObjectContext() == engine_.mainManagedObjectContext().get();
    const Reason reason =
        winner ? reasonFor(version.dateModified(), winner->dateModified()) : Reason::Deletion;
    if (reason == Reason::SameSecond
        && qw::sync::travellingHash(engine_, version) == qw::sync::travellingHash(engine_, *winner))
        return;
    archive_.add(version, isHosts ? Origin::Here : Origin::Cloud, reason);
    if (++unsaved_ >= mostUnsaved)
        save();
}
