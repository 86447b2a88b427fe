#include "sync/QWRecordVersions_p.h"

#include <QHash>
#include <QSet>
#include <algorithm>

namespace qw::sync {

namespace {

using Record = QWManagedObject;
using Ref = QWRef<QWManagedObject>;

// The links of such a relationship are values of the records at the far end.
bool isHeldByFarEnd(const QWPropertyDescription& property) {
    return property.isToMany() && property.inverse() && !property.inverse()->isToMany();
}

std::vector<const QWPropertyDescription*> relationships(const Record& record) {
    std::vector<const QWPropertyDescription*> found;
    for (const auto* property : record.entity().properties())
        if (property->isRelationship())
            found.push_back(property);
    return found;
}

// The destinations of a relationship, whatever its kind.
QList<Ref> destinations(const Record& record, const QWPropertyDescription& property) {
    if (property.isToMany())
        return record.relatedObjects(property.name());
    const Ref destination = record.relatedObject(property.name());
    return destination ? QList{destination} : QList<Ref>();
}

void setDestinations(Record& record, const QWPropertyDescription& property, const QList<Ref>& destinations) {
    if (property.isToMany())
        record.setRelatedObjects(property.name(), destinations);
    else
        record.setRelatedObject(property.name(),
                                destinations.isEmpty() ? nullptr : destinations.first().data());
}

void moveLinks(Record& from, Record& to, bool takesValues) {
    for (const auto* property : relationships(from)) {
        const QList<Ref> linked = destinations(from, *property);
        if (isHeldByFarEnd(*property)) {
            for (const auto& member : linked)
                member->setRelatedObject(property->inverse()->name(), &to);
            continue;
        }
        setDestinations(from, *property, {});
        if (takesValues)
            setDestinations(to, *property, linked);
    }
}

// After `record` was reloaded: unsaved members that are linked to it, or were taken from it, are so still.
void keepUnsavedLinks(Record& record, const QWPropertyDescription& property, const QList<Ref>& members) {
    const QSet<Ref> before(members.begin(), members.end());
    for (const auto& member : destinations(record, property))
        if (member->hasChanges() && !before.contains(member))
            record.removeRelatedObject(property.name(), *member);
    for (const auto& member : members)
        if (member->hasChanges())
            record.addRelatedObject(property.name(), *member);
}

void redirectOneWayLinks(Record& record, const QHash<const Record*, Ref>& successors) {
    for (const auto* property : relationships(record)) {
        if (property->inverse())
            continue;
        QList<Ref> linked = destinations(record, *property);
        bool isRedirected = false;
        for (auto& destination : linked) {
            if (const Ref successor = successors.value(destination.data())) {
                destination = successor;
                isRedirected = true;
            }
        }
        if (isRedirected)
            setDestinations(record, *property, linked);
    }
}

} // namespace

bool receivedVersionWins(const QDateTime& received, const QDateTime& host) {
    return received.isValid() && (!host.isValid() || host < received);
}

qint64 wholeSeconds(const QDateTime& date) {
    const qint64 milliseconds = date.toMSecsSinceEpoch();
    return milliseconds / 1000 - (milliseconds % 1000 < 0);
}

bool holdsOwnChanges(const Record& record) {
    if (record.isInserted() || record.isDeleted())
        return true;
    const QStringList changed = record.changedValues().keys();
    return std::any_of(changed.begin(), changed.end(),
                       [&](const QString& key) { return !isHeldByFarEnd(*record.entity().property(key)); });
}

void discardChanges(Record& record) {
    auto& context = *record.managedObjectContext();
    const auto storeView =
        std::make_shared<QWManagedObjectContext>(context.coordinator(), QWConcurrencyType::PrivateQueue);
    const Ref stored = storeView->objectWithID(record.objectID());

    std::vector<std::pair<const QWPropertyDescription*, QList<Ref>>> heldElsewhere;
    for (const auto* property : relationships(record)) {
        if (isHeldByFarEnd(*property)) {
            heldElsewhere.emplace_back(property, destinations(record, *property));
            continue;
        }
        QList<Ref> saved;
        for (const auto& destination : destinations(*stored, *property))
            if (const Ref present = context.objectWithID(destination->objectID()); !present->isDeleted())
                saved.append(present);
        setDestinations(record, *property, saved);
    }
    context.refreshObject(record, false);
    dropReferencesToDeleted(record);
    for (const auto& [property, members] : heldElsewhere)
        keepUnsavedLinks(record, *property, members);
}

bool refersToAny(const Record& record, const QSet<QWManagedObjectID>& targets) {
    for (const auto* property : relationships(record))
        if (!isHeldByFarEnd(*property))
            for (const auto& destination : destinations(record, *property))
                if (targets.contains(destination->objectID()))
                    return true;
    return false;
}

QSet<QWManagedObjectID> neededOf(const QSet<QWManagedObjectID>& targets, const Record& record) {
    QSet<QWManagedObjectID> needed;
    for (const auto* property : relationships(record)) {
        const auto* inverse = property->inverse();
        const bool isNeeded =
            !property->isOptional() || (inverse && inverse->deleteRule() == QWDeleteRule::Deny);
        if (isHeldByFarEnd(*property) || !isNeeded)
            continue;
        for (const auto& destination : destinations(record, *property))
            if (targets.contains(destination->objectID()))
                needed.insert(destination->objectID());
    }
    return needed;
}

// Without one that is required the host could save nothing any more. The store empties it with the deletion.
void dropReferencesToDeleted(Record& record) {
    for (const auto* property : relationships(record)) {
        if (isHeldByFarEnd(*property) || !property->isOptional())
            continue;
        QList<Ref> left = destinations(record, *property);
        if (left.removeIf([](const Ref& destination) { return destination->isDeleted(); }) > 0)
            setDestinations(record, *property, left);
    }
}

void deleteWithoutRules(Record& record) {
    for (const auto* property : relationships(record))
        setDestinations(record, *property, {});
    record.managedObjectContext()->deleteObject(record);
}

QWManagedObjectSet deletedTogether(const QWManagedObjectSet& records) {
    QWManagedObjectSet deleted;
    QSet<const Record*> seen;
    const auto add = [&](const Ref& record) {
        if (!record->isDeleted() && !seen.contains(record.data())) {
            seen.insert(record.data());
            deleted.push_back(record);
        }
    };
    std::for_each(records.begin(), records.end(), add);
    for (size_t next = 0; next < deleted.size(); ++next) {
        const Ref record = deleted[next];
        for (const auto* property : relationships(*record))
            if (property->deleteRule() == QWDeleteRule::Cascade)
                for (const auto& destination : destinations(*record, *property))
                    add(destination);
    }
    return deleted;
}

void replaceRecords(QWManagedObjectContext& context, const std::vector<RecordReplacement>& replacements) {
    if (replacements.empty())
        return;
    QHash<const Record*, Ref> successors;
    for (const auto& replacement : replacements)
        successors.insert(replacement.from.data(), replacement.to);

    // Only an unsaved record can refer to an unsaved one. With an inverse, the link is moved from this end.
    for (const auto& set : {context.insertedObjects(), context.updatedObjects()})
        for (const auto& record : set)
            redirectOneWayLinks(*record, successors);

    for (const auto& [from, to, takesValues] : replacements) {
        if (takesValues)
            for (const auto* property : from->entity().properties())
                if (property->isAttribute())
                    to->setValueForKey(property->name(), from->valueForKey(property->name()));
        moveLinks(*from, *to, takesValues);
        context.deleteObject(*from);
    }
}

} // namespace qw::sync
