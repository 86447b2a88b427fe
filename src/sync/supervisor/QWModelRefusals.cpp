#include "sync/supervisor/QWModelRefusals_p.h"

#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWStoreError.h"
#include "sync/QWRecordVersions_p.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncLog_p.h"

#include <algorithm>
#include <array>

namespace {

// One record and the property for which it is refused.
struct Refusal {
    QWRef<QWManagedObject> record;
    const QWPropertyDescription* property = nullptr;
};

std::vector<Refusal> refusalsOf(QWManagedObjectContext& context, const QWError& error) {
    const bool areSeveral = error.code == int(QWStoreErrorCode::SeveralValidationErrors);
    std::vector<Refusal> refusals;
    for (const QVariant& each :
         areSeveral ? error.userInfo["errors"].toList() : QVariantList{error.userInfo}) {
        const QVariantMap refusal = each.toMap();
        const auto record = context.registeredObject(refusal["object"].value<QWManagedObjectID>());
        if (record)
            refusals.push_back({record, record->entity().property(refusal["key"].toString())});
    }
    return refusals;
}

// One that only a reference has made: what has come has a date, or was here before.
bool isBare(const QWManagedObject& record) {
    const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record);
    return object && object->isInserted() && !object->dateModified().isValid();
}

std::optional<QWSyncedIdentity> identityOf(const DBMetadata& file) {
    const auto named = qw::sync::objectNamedByFile(file.filename());
    return named ? std::optional<QWSyncedIdentity>({named->entityName, named->uuid}) : std::nullopt;
}

QVariant emptyValue(const QWPropertyDescription& attribute) {
    const std::array<QVariant, 4> candidates{QString(""), 0, QDateTime::fromSecsSinceEpoch(0, Qt::UTC),
                                             QByteArray("")};
    const auto found = std::find_if(candidates.begin(), candidates.end(), [&](const QVariant& value) {
        return attribute.converted(value).has_value();
    });
    return found == candidates.end() ? QVariant() : *found;
}

} // namespace

bool QWModelRefusals::holdBackBatch() {
    auto& batch = *engine_.syncSupportManagedObjectContextCopy();
    batch.processPendingChanges();
    QWError error;
    if (!batch.validate(&error)) {
        completeBareRecords(error);
        batch.processPendingChanges();
        isGivenUp_ = !batch.validate(&error) && note(error);
    }
    isGivenUp_ |= noteWhatTheHostNeeds();
    if (isGivenUp_)
        imported_.clear();
    return isGivenUp_;
}

// With a date it would be a version of the record, and win over the record itself when that comes.
void QWModelRefusals::completeBareRecords(const QWError& error) {
    for (const auto& [record, property] : refusalsOf(*engine_.syncSupportManagedObjectContextCopy(), error)) {
        if (!isBare(*record))
            continue;
        if (property->isAttribute() && property->name() != QLatin1String("dateModified"))
            record->setValueForKey(property->name(), emptyValue(*property));
        else
            qw::sync::deleteWithoutRules(*record);
    }
}

// False when all of it was known before, and has not helped.
bool QWModelRefusals::note(const QWError& error) {
    const auto recordsBefore = recordsToKeep_.size();
    bool isNew = false;
    for (const auto& [record, property] : refusalsOf(*engine_.syncSupportManagedObjectContextCopy(), error)) {
        if (property->isRelationship() && !record->isInserted())
            recordsToKeep_.insert(record->objectID());
        const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(record.data());
        if (!object)
            continue;
        const QWSyncedIdentity identity(*object);
        const QSet<QString> revisions = imported_.value(identity);
        if (refused_.contains(identity) && refused_[identity].contains(revisions))
            continue;
        refused_[identity].unite(revisions);
        isNew = true;
        qCWarning(qwSyncLog).noquote()
            << "left out, because the model refuses it for its" << property->name() + QLatin1Char(':')
            << engine_.fileNameWithUUID(object->uuid(), object->entity().name(), false);
    }
    return isNew || recordsToKeep_.size() > recordsBefore;
}

// The batch is validated against what the host has saved.
bool QWModelRefusals::noteWhatTheHostNeeds() {
    QSet<QWManagedObjectID> deleted;
    for (const auto& record : engine_.syncSupportManagedObjectContextCopy()->deletedObjects())
        deleted.insert(record->objectID());
    if (deleted.isEmpty())
        return false;
    const auto before = recordsToKeep_.size();
    const auto& host = *engine_.mainManagedObjectContext();
    for (const auto& changed : {host.insertedObjects(), host.updatedObjects()})
        for (const auto& record : changed) {
            const auto needed = qw::sync::neededOf(deleted, *record);
            if (!needed.isEmpty() && !deleted.contains(record->objectID()) && !isReplaced(*record))
                recordsToKeep_ |= needed;
        }
    return recordsToKeep_.size() > before;
}

// What has lost to the host's version has no changes any more.
bool QWModelRefusals::isReplaced(const QWManagedObject& hosts) const {
    const auto* object = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&hosts);
    if (!object)
        return false;
    const auto received = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
        object->uuid(), object->entity().name(), *engine_.syncSupportManagedObjectContextCopy());
    return received && imported_.contains(QWSyncedIdentity(*received)) && received->hasChanges()
           && qw::sync::holdsOwnChanges(*received)
           && engine_.receivedVersionWins(*received, object->dateModified());
}

bool QWModelRefusals::refusesFile(const DBMetadata& file) const {
    const auto identity = identityOf(file);
    return identity && refused_.value(*identity).contains(file.rev);
}

void QWModelRefusals::noteImport(const DBMetadata& file) {
    if (const auto identity = identityOf(file))
        imported_[*identity].insert(file.rev);
}

bool QWModelRefusals::refusesDeletion(const QWManagedObjectSet& records) const {
    QSet<QWManagedObjectID> deleted;
    for (const auto& record : records)
        deleted.insert(record->objectID());
    return std::any_of(recordsToKeep_.begin(), recordsToKeep_.end(), [&](const QWManagedObjectID& id) {
        return deleted.contains(id)
               || qw::sync::refersToAny(*engine_.mainManagedObjectContext()->objectWithID(id), deleted);
    });
}

void QWModelRefusals::finishBatch() {
    if (isGivenUp_)
        return;
    imported_.clear();
    refused_.clear();
    recordsToKeep_.clear();
}
