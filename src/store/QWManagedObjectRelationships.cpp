#include "store/QWManagedObject.h"

#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext.h"
#include "store/QWManagedObject_p.h"
#include "store/QWStoreError.h"

// Relationships of a record. A to-one slot holds the destination's key; a to-many one has its members in a
// list of ids, read from the store when first asked for. Changing one end changes the other at once: `attach`
// and `detach` undo and make a link as seen from this end, `assignEnd` is what the far end does about it.

using Record = QWManagedObject;

const QWPropertyDescription* Record::relationship(const QString& key, const char* operation) const {
    const QWPropertyDescription* property = entity_->property(key);
    QWAssert(property && property->isRelationship(), "relationship", operation);
    return property;
}

const QWPropertyDescription* Record::toMany(const QString& key, const char* operation) const {
    const QWPropertyDescription* property = relationship(key, operation);
    QWAssert(property->isToMany(), "toMany", operation);
    return property;
}

bool Record::canLink(const QWPropertyDescription& property, const QWManagedObject* destination) const {
    return destination && destination->entity().isKindOf(*property.destination())
           && destination->managedObjectContext() == context_;
}

void Record::assertFits(const QWPropertyDescription& property, const QWManagedObject* destination,
                        const char* operation) const {
    QWAssert(canLink(property, destination), "destination of the relationship's entity in the same context",
             operation);
}

Record::Members& Record::memberChanges(const QWPropertyDescription& property) const {
    if (!members_)
        members_ = std::make_unique<Members[]>(entity_->properties().size());
    return members_[property.index()];
}

Record::Members& Record::members(const QWPropertyDescription& property) const {
    Members& members = memberChanges(property);
    if (members.loaded)
        return members;
    QWMemberList present;
    if (context_ && !isInserted())
        for (const QWManagedObjectID& id : context_->savedMembers(property, *this))
            if (!members.sinceSave.removed.contains(id))
                present.add(id);
    for (const QWManagedObjectID& id : members.sinceSave.added.ids())
        present.add(id);
    if (members.sinceSave.reordered)
        present.arrange(members.list); // the order given here, which a reload must not lose
    members.list = std::move(present);
    members.loaded = true;
    return members;
}

QWRef<Record> Record::relatedObject(const QString& key) const {
    const QWPropertyDescription* property = relationship(key, "-[QWManagedObject relatedObject:]");
    QWAssert(!property->isToMany(), "!toMany", "-[QWManagedObject relatedObject:]");
    const QVariant destination = value(*property);
    if (!destination.isValid() || !context_)
        return {};
    return context_->recordForKey(*property->destination(), destination.toLongLong());
}

QList<QWRef<Record>> Record::relatedObjects(const QString& key) const {
    const QWPropertyDescription* property = toMany(key, "-[QWManagedObject relatedObjects:]");
    QList<QWRef<Record>> result;
    if (!context_)
        return result;
    const std::vector<QWManagedObjectID> ids = members(*property).list.ids();
    result.reserve(qsizetype(ids.size()));
    for (const QWManagedObjectID& id : ids)
        result.append(context_->objectWithID(id));
    return result;
}

void Record::setRelatedObject(const QString& key, QWManagedObject* destination) {
    const char* const operation = "-[QWManagedObject setRelatedObject:]";
    const QWPropertyDescription* property = relationship(key, operation);
    QWAssert(!property->isToMany(), "!toMany", operation);
    if (!context_)
        return;
    if (destination)
        assertFits(*property, destination, operation);
    setToOne(*property, destination);
}

void Record::setRelatedObjects(const QString& key, const QList<QWRef<Record>>& destinations) {
    const char* const operation = "-[QWManagedObject setRelatedObjects:]";
    const QWPropertyDescription* property = toMany(key, operation);
    if (!context_)
        return;
    for (const auto& destination : destinations)
        assertFits(*property, destination.data(), operation);
    setMembers(*property, destinations);
}

void Record::setUnorderedRelatedObjects(const QString& key, const QList<QWRef<Record>>& destinations) {
    const char* const operation = "-[QWManagedObject setUnorderedRelatedObjects:]";
    const QWPropertyDescription* property = toMany(key, operation);
    if (!context_)
        return;
    QSet<QWManagedObjectID> wanted;
    for (const auto& destination : destinations) {
        assertFits(*property, destination.data(), operation);
        wanted.insert(destination->objectID());
    }
    QList<QWRef<Record>> inOrder;
    const QWMemberList& present = members(*property).list;
    for (const QWManagedObjectID& id : present.ids())
        if (wanted.contains(id))
            inOrder.append(context_->objectWithID(id));
    for (const auto& destination : destinations)
        if (!present.contains(destination->objectID()))
            inOrder.append(destination);
    setMembers(*property, inOrder);
}

void Record::addRelatedObject(const QString& key, QWManagedObject& destination) {
    const char* const operation = "-[QWManagedObject addRelatedObject:]";
    const QWPropertyDescription* property = toMany(key, operation);
    if (!context_)
        return;
    assertFits(*property, &destination, operation);
    if (!willChange(*property))
        return;
    if (!members(*property).list.contains(destination.objectID()))
        attach(*property, destination);
    didChange(*property);
}

void Record::removeRelatedObject(const QString& key, QWManagedObject& destination) {
    const QWPropertyDescription* property = toMany(key, "-[QWManagedObject removeRelatedObject:]");
    if (!context_)
        return;
    if (!willChange(*property))
        return;
    if (members(*property).list.contains(destination.objectID()))
        detach(*property, destination);
    didChange(*property);
}

bool Record::setRelationship(const QWPropertyDescription& property, const QVariant& value, QWError* error) {
    using Ref = QWRef<QWManagedObject>;
    QList<Ref> destinations;
    bool fits = true;
    if (value.canConvert<QList<Ref>>() && property.isToMany())
        destinations = value.value<QList<Ref>>();
    else if (value.canConvert<Ref>() && !property.isToMany())
        destinations = {value.value<Ref>()};
    else
        fits = !value.isValid();
    if (destinations.size() == 1 && !destinations.first() && !property.isToMany())
        destinations.clear();
    for (const Ref& destination : destinations)
        fits = fits && canLink(property, destination.data());
    if (!fits)
        return qw::fail(error,
                        QWMakeStoreError(QWStoreErrorCode::WrongType,
                                         QStringLiteral("%1.%2 holds %3 of entity %4 in the same context")
                                             .arg(entity_->name(), property.name(),
                                                  property.isToMany() ? QStringLiteral("records")
                                                                      : QStringLiteral("a record"),
                                                  property.destinationName()),
                                         {{"entity", entity_->name()},
                                          {"key", property.name()},
                                          {"expected", property.destinationName()},
                                          {"given", QString::fromLatin1(value.typeName())}}));
    if (!context_)
        return true;
    if (property.isToMany())
        setMembers(property, destinations);
    else
        setToOne(property, destinations.isEmpty() ? nullptr : destinations.first().data());
    return true;
}

void Record::setToOne(const QWPropertyDescription& property, QWManagedObject* destination) {
    const QWRef<Record> keepAlive(destination);
    if (!willChange(property))
        return;
    const QVariant old = slot(property.index());
    const bool same = destination ? old.isValid() && old.toLongLong() == destination->key_ : !old.isValid();
    if (!same) {
        if (old.isValid())
            if (const QWRef<Record> previous =
                    context_->recordForKey(*property.destination(), old.toLongLong()))
                detach(property, *previous);
        if (destination)
            attach(property, *destination);
        else
            values_[property.index()] = QVariant();
    }
    didChange(property);
}

void Record::setMembers(const QWPropertyDescription& property, const QList<QWRef<Record>>& destinations) {
    if (!willChange(property))
        return;
    Members& present = members(property);
    QWMemberList wanted;
    for (const auto& destination : destinations)
        wanted.add(destination->objectID());
    for (const QWManagedObjectID& id : present.list.ids())
        if (!wanted.contains(id))
            detach(property, *context_->objectWithID(id));
    for (const auto& destination : destinations)
        if (!present.list.contains(destination->objectID()))
            attach(property, *destination);
    if (property.isOrdered() && present.list.ids() != wanted.ids()) {
        present.list = wanted;
        present.sinceSave.reordered = present.sinceEvent.reordered = true;
    }
    didChange(property);
}

// Makes the link at both ends. This end's `willChange` has been announced already.
void Record::attach(const QWPropertyDescription& property, QWManagedObject& destination) {
    if (const QWPropertyDescription* inverse = property.inverse())
        destination.assignEnd(*inverse, *this, true);
    if (!property.isToMany()) {
        values_[property.index()] = QVariant(qlonglong(destination.key_));
        return;
    }
    changeMember(property, destination.objectID(), true);
}

void Record::detach(const QWPropertyDescription& property, QWManagedObject& destination) {
    if (const QWPropertyDescription* inverse = property.inverse())
        destination.assignEnd(*inverse, *this, false);
    if (!property.isToMany()) {
        values_[property.index()] = QVariant();
        return;
    }
    changeMember(property, destination.objectID(), false);
}

// Members that are not loaded stay so: the change is laid over them when they are.
void Record::changeMember(const QWPropertyDescription& property, const QWManagedObjectID& id, bool linked) {
    Members& own = memberChanges(property);
    if (own.loaded && !(linked ? own.list.add(id) : own.list.remove(id)))
        return;
    for (QWMemberDelta* delta : {&own.sinceSave, &own.sinceEvent})
        linked ? delta->noteAdded(id) : delta->noteRemoved(id);
}

// The far end of a link that `other` makes (`linked`) or undoes. A to-one end that gets a new owner first
// leaves the one that it had.
void Record::assignEnd(const QWPropertyDescription& property, QWManagedObject& other, bool linked) {
    if (isDeleted())
        return;
    if (!willChange(property))
        return;
    if (property.isToMany()) {
        changeMember(property, other.objectID(), linked);
    } else {
        const QVariant old = slot(property.index());
        if (linked && old.isValid() && old.toLongLong() != other.key_)
            if (const QWRef<Record> previous =
                    context_->recordForKey(*property.destination(), old.toLongLong()))
                if (const QWPropertyDescription* back = property.inverse())
                    previous->assignEnd(*back, *this, false);
        values_[property.index()] = linked ? QVariant(qlonglong(other.key_)) : QVariant();
    }
    didChange(property);
}

// The far ends of links that are not saved.
std::vector<QWManagedObjectID> Record::linkedSinceSave(const QWPropertyDescription& property) const {
    const int index = property.index();
    if (property.isToMany())
        return members_ ? members_[index].sinceSave.added.ids() : std::vector<QWManagedObjectID>();
    if (!changes_ || !Changes::find(changes_->sinceSave, index) || !slot(index).isValid())
        return {};
    return {{property.destination(), slot(index).toLongLong()}};
}
