// What records refer to: members that several claim, and what a received deletion takes along or leaves behind.
#include "core/QWManagedObjectFieldDescription.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "platform/text/QWText.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWTravellingForm.h"
#include "sync/supervisor/QWPresentVersions_p.h"
#include "sync/supervisor/QWRecordKeeper_p.h"

#include <algorithm>

using qw::sync::hostsObject;

namespace {

using Properties = std::vector<const QWPropertyDescription*>;

bool travels(const QWManagedObjectWithSyncSupport& object, const QString& key) {
    const auto* fields = object.fieldDescriptions();
    return fields && std::any_of(fields->begin(), fields->end(), [&](const auto& field) {
               return field->key() == key;
           });
}

Properties oneWayReferences(const QWEntityDescription* entity) {
    Properties found;
    if (entity)
        std::copy_if(entity->properties().begin(), entity->properties().end(), std::back_inserter(found),
                     [](const auto* property) { return property->isRelationship() && !property->inverse(); });
    return found;
}

} // namespace

// Received references ---------------------------------------------------------------------------------------

// Desktops may make a record a member of several at once where its own file does not say whose it is. It stays the
// latest one's, at a tie that of the greater uuid, in whatever order they arrive; one that has it here and loses it is
// sent without. What is to be applied here is not left to the engine.
void QWRecordKeeper::settleMembers(QVariantMap received, const DBMetadata& metadata, bool isToBeApplied) {
    const QDateTime date = qw::sync::dateOfRecord(received);
    const auto named = qw::sync::objectNamedByFile(metadata.filename());
    const auto* entity =
        date.isValid() ? engine_.mainManagedObjectContext()->model().entity(named->entityName) : nullptr;
    for (const auto* property : entity ? entity->properties() : Properties()) {
        if (!property->isToMany() || !property->inverse() || property->inverse()->isToMany())
            continue;
        QVariantList members = received.value(property->name()).toList();
        const auto stay = members.removeIf([&](const QVariant& member) {
            const auto holder = holderOf(member, *property->inverse());
            if (!holder || holder->uuid().compare(named->uuid, Qt::CaseInsensitive) == 0)
                return false;
            const qint64 difference =
                qw::sync::wholeSeconds(holder->dateModified()) - qw::sync::wholeSeconds(date);
            const bool isLater =
                difference > 0
                || (difference == 0 && holder->uuid().compare(named->uuid, Qt::CaseInsensitive) > 0);
            if (!isLater)
                queue(*holder);
            return isLater;
        });
        if (stay > 0)
            received.insert(property->name(), members);
        isToBeApplied |= stay > 0;
    }
    if (isToBeApplied)
        engine_.applyReceivedRecord(*engine_.objectReferencedWithLowerCaseFileName(metadata.filename(), true),
                                    received, metadata);
}

// Whose member the record is here, by a reference that does not travel; null where nobody's that has a date.
QWRecordKeeper::Object QWRecordKeeper::holderOf(const QVariant& member,
                                                const QWPropertyDescription& reference) {
    const QString fileName = fileReferredTo(member);
    const auto object =
        fileName.isEmpty() ? Object() : engine_.objectReferencedWithLowerCaseFileName(fileName, false);
    if (!object || !object->entity().property(reference.name()) || travels(*object, reference.name()))
        return {};
    const Object holder(
        dynamic_cast<QWManagedObjectWithSyncSupport*>(object->relatedObject(reference.name()).data()));
    return holder && holder->dateModified().isValid() ? holder : Object();
}

// In lower case; null for what is no reference.
QString QWRecordKeeper::fileReferredTo(const QVariant& value) const {
    const QVariantMap reference = value.toMap();
    const QString uuid = reference.value(QWDropBoxUUIDKey).toString();
    const QString entityName = reference.value(QWDropBoxEntityNameKey).toString();
    if (uuid.isEmpty() || entityName.isEmpty())
        return {};
    return qw::text::lowercase(engine_.fileNameWithUUID(uuid, entityName, false));
}

QStringList QWRecordKeeper::filesReferredTo(const QVariantMap& record) const {
    QStringList names;
    for (const QVariant& value : record)
        for (const QVariant& reference : QVariantList{value} + value.toList())
            if (const QString name = fileReferredTo(reference); !name.isEmpty())
                names.append(name);
    return names;
}

// Deletions -------------------------------------------------------------------------------------------------

void QWRecordKeeper::prepareDeletion(QWManagedObjectWithSyncSupport& version) {
    deletedHere_.insert(version.objectID());
    sendWhatRefersTo(version);
    deleteWhatIsTakenAlong(version);
    // One that was never saved may have been sent after its deletion was listed: the next query must bring it.
    if (const QString fileName = fileNameOf(version);
        version.isInserted() && deletionsListed_.contains(fileName))
        forgetRevision(fileName);
}

// A delete rule takes along what the deleting desktop did not know, or has sent only now: its file goes as well, so that
// it is gone everywhere. What the batch has made again stays.
void QWRecordKeeper::deleteWhatIsTakenAlong(QWManagedObjectWithSyncSupport& version) {
    const QString fileName = fileNameOf(version);
    const auto known = engine_.fileMetadataManager().fileMetadataForFileName(fileName, false);
    if (deletionsListed_.contains(fileName) || !known || known->rev().isEmpty())
        return;
    const auto batch = engine_.objectReferencedWithLowerCaseFileName(fileName, false);
    if (!batch || !batch->isInserted())
        engine_.insertInSyncQueueManagedObject(version, QWDropboxSyncActionDelete);
}

// What refers to the record loses the reference here, and keeps its date: where it was changed while it was being
// deleted, or the deletion is taken back, other desktops have it with the reference. It is sent, so that all come to
// hold the one or the other.
void QWRecordKeeper::sendWhatRefersTo(const QWManagedObjectWithSyncSupport& version) {
    for (const auto* property : version.entity().properties()) {
        const auto* reference = property->isRelationship() ? property->inverse() : nullptr;
        if (!reference)
            continue;
        for (const auto& member : property->isToMany() ? version.relatedObjects(property->name())
                                                       : QList{version.relatedObject(property->name())}) {
            const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(member.data());
            if (object && keepsReference(*object, *reference))
                queue(*object);
        }
    }
}

// Where a reference has no inverse, nobody but the record that refers knows of it.
void QWRecordKeeper::sendWhatRefersOneWay() {
    const QSet<QWManagedObjectID> deleted = std::exchange(deletedHere_, {});
    auto& context = *engine_.mainManagedObjectContext();
    for (const QString& entityName : deleted.isEmpty() ? QStringList() : engine_.entityNames()) {
        const auto references = oneWayReferences(context.model().entity(entityName));
        if (references.empty())
            continue;
        for (const auto& record : context.fetch(QWFetchRequest(entityName)).value_or(QWManagedObjectSet())) {
            const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
            if (object && qw::sync::refersToAny(*object, deleted)
                && std::any_of(references.begin(), references.end(),
                               [&](const auto* reference) { return keepsReference(*object, *reference); }))
                queue(*object);
        }
    }
}

void QWRecordKeeper::prepareBatchSave() {
    sendWhatRefersOneWay();
    if (!referringFiles_.isEmpty())
        noteReferencesToDeleted();
    if (engine_.dropboxCacheManagedObjectContext()->hasChanges())
        engine_.saveCacheContext();
}

// A reference to what the batch or the host has deleted is lost here, and the record is sent without it. Where the host's
// deletion is not saved, which may never be, it is sent when that is: till then another desktop would answer with its own
// version each time.
void QWRecordKeeper::noteReferencesToDeleted() {
    const auto deletedIn = [this](const QWManagedObjectContext& context) {
        QSet<QString> files;
        for (const auto& record : context.deletedObjects())
            if (const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data()))
                files.insert(fileNameOf(*object));
        return files;
    };
    QSet<QString> deleted = deletedIn(*engine_.syncSupportManagedObjectContextCopy());
    const QSet<QString> unsaved = deletedIn(*engine_.mainManagedObjectContext()) - deleted;
    for (const auto& row : QWFetchCacheRecords<ObjectWaitingSync>(*engine_.dropboxCacheManagedObjectContext(),
                                                                  QWRequestOfWaitingDeletions()))
        deleted.insert(qw::text::lowercase(engine_.fileNameForObjectWaitingToSync(*row, false)));
    for (const QString& target : std::as_const(unsaved))
        filesToSendOnSave_ += referringFiles_.value(target);
    for (const QString& target : deleted - unsaved)
        for (const QString& name : referringFiles_.value(target))
            if (const auto object = engine_.objectReferencedWithLowerCaseFileName(name, false))
                queue(*object);
}

// The host's deletions may leave the date of what refers to them, of one that knows nothing of it: where the reference has
// no inverse, or the record was deleted as a refresh had left it. Should a deletion be taken back by a version from
// elsewhere, other desktops have the reference still.
void QWRecordKeeper::noteReferencesLost() {
    auto& context = *engine_.mainManagedObjectContext();
    QSet<QWManagedObjectID> deleted;
    QVariantList targets;
    for (const auto& record : context.deletedObjects())
        if (dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data())) {
            deleted.insert(record->objectID());
            targets.append(QVariant::fromValue(record->objectID()));
        }
    if (deleted.isEmpty())
        return;
    for (const auto& records : {context.insertedObjects(), context.updatedObjects()})
        for (const auto& record : records)
            noteReferencesLost(*record, deleted);
    for (const QString& entityName : engine_.entityNames())
        for (const auto* reference : oneWayReferences(context.model().entity(entityName))) {
            QWFetchRequest request(entityName);
            if (!reference->isToMany())
                request.predicate =
                    QWPredicate::comparison(reference->name(), QWPredicate::Operator::In, targets);
            for (const auto& record : context.fetch(request).value_or(QWManagedObjectSet()))
                noteReferencesLost(*record, deleted);
        }
}

void QWRecordKeeper::noteReferencesLost(const QWManagedObject& record,
                                        const QSet<QWManagedObjectID>& deleted) {
    const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record);
    if (!object || !object->dateModified().isValid() || !qw::sync::refersToAny(record, deleted))
        return;
    for (const auto* property : record.entity().properties()) {
        if (!property->isRelationship() || !travels(*object, property->name()))
            continue;
        for (const auto& target : property->isToMany() ? record.relatedObjects(property->name())
                                                       : QList{record.relatedObject(property->name())})
            if (target && deleted.contains(target->objectID()))
                filesUnlinked_.insert(fileNameOf(static_cast<const QWManagedObjectWithSyncSupport&>(*target))
                                      + QLatin1Char('/') + fileNameOf(*object));
    }
}

void QWRecordKeeper::sendWhatReferredTo(const QString& fileName) {
    for (const QString& names : filesUnlinked_.names(fileName + QLatin1Char('/'))) {
        if (const auto object = hostsObject(engine_, names.section(QLatin1Char('/'), 1)))
            queue(*object);
        filesUnlinked_.erase(names);
    }
}

// The deletion was sent, and what was in the cloud by then has been seen.
void QWRecordKeeper::forgetReferencesLost() {
    for (const QString& names : filesUnlinked_.names())
        if (!qw::sync::waitingDeletion(engine_, names.section(QLatin1Char('/'), 0, 0)))
            filesUnlinked_.erase(names);
}

bool QWRecordKeeper::prepareHostsSave() {
    noteReferencesLost();
    for (const QString& fileName : std::as_const(filesToSendOnSave_))
        if (const auto object = hostsObject(engine_, fileName))
            queue(*object);
    return !std::exchange(filesToSendOnSave_, {}).isEmpty();
}

// One that travels, of an object that is not deleted, and of which the running batch has received no version: the
// received one says itself what it refers to, and the host's is queued where it wins.
bool QWRecordKeeper::keepsReference(const QWManagedObjectWithSyncSupport& object,
                                    const QWPropertyDescription& reference) {
    if (!travels(object, reference.name()) || object.isDeleted() || !object.dateModified().isValid())
        return false;
    const auto batch = engine_.objectReferencedWithLowerCaseFileName(
        engine_.fileNameWithUUID(object.uuid(), object.entity().name(), false), false);
    return batch ? !isReceived(*batch) : object.isInserted();
}
