#include "store/QWManagedObject.h"

#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext.h"
#include "store/QWManagedObject_p.h"
#include "store/QWStoreError.h"

// A record's values stand in one array, by property index. Every change passes `willChange`, which remembers
// the value before it (for the next save and for the next notice) and marks the record in its context; after
// that the slot is simply overwritten.

QWManagedObject::QWManagedObject() = default;

QWManagedObject::~QWManagedObject() {
    if (context_)
        context_->unregister(*this);
}

QVariant QWManagedObject::value(const QWPropertyDescription& property) const {
    if (isFault() && context_)
        context_->realise(const_cast<QWManagedObject&>(*this));
    if (values_)
        return values_[property.index()];
    return packed_.isEmpty() ? QVariant() : packed_.value(property);
}

QVariant* QWManagedObject::unpackedValues() const {
    if (isFault() && context_)
        context_->realise(const_cast<QWManagedObject&>(*this));
    if (!packed_.isEmpty()) {
        const auto& properties = entity_->properties();
        values_ = std::make_unique<QVariant[]>(properties.size());
        for (const QWPropertyDescription* property : properties)
            values_[property->index()] = packed_.value(*property);
        packed_.clear();
    }
    return values_.get();
}

const QVariant& QWManagedObject::slot(int index) const {
    static const QVariant none;
    const QVariant* all = values_ ? values_.get() : unpackedValues();
    return all ? all[index] : none;
}

QWManagedObject::Changes& QWManagedObject::changes() {
    if (!changes_)
        changes_ = std::make_unique<Changes>();
    return *changes_;
}

QVariant QWManagedObject::valueForKey(const QString& key) const {
    const QWPropertyDescription* property = entity_->property(key);
    if (!property)
        return valueForUndefinedKey(key);
    if (property->isAttribute())
        return value(*property);
    if (property->isToMany())
        return QVariant::fromValue(relatedObjects(key));
    const QWRef<QWManagedObject> destination = relatedObject(key);
    return destination ? QVariant::fromValue(destination) : QVariant();
}

bool QWManagedObject::setValueForKey(const QString& key, QVariant value, QWError* error) {
    const QWPropertyDescription* property = entity_->property(key);
    if (!property)
        return qw::fail(error,
                        QWMakeStoreError(QWStoreErrorCode::UnknownKey,
                                         QStringLiteral("%1 has no key \"%2\"").arg(entity_->name(), key),
                                         {{"entity", entity_->name()}, {"key", key}}));
    if (property->isRelationship())
        return setRelationship(*property, value, error);
    const QMetaType type = value.metaType();
    std::optional<QVariant> converted = property->converted(std::move(value));
    if (!converted) {
        const QString expected = QWAttributeTypeName(property->type());
        const QString given = QString::fromLatin1(type.name());
        return qw::fail(
            error,
            QWMakeStoreError(
                QWStoreErrorCode::WrongType,
                QStringLiteral("%1.%2 holds %3, not %4").arg(entity_->name(), key, expected, given),
                {{"entity", entity_->name()}, {"key", key}, {"expected", expected}, {"given", given}}));
    }
    if (!context_)
        return true;
    if (!willChange(*property, error))
        return false;
    values_[property->index()] = std::move(*converted);
    didChange(*property);
    return true;
}

QVariant QWManagedObject::primitiveValueForKey(const QString& key) const {
    const QWPropertyDescription* property = entity_->property(key);
    QWAssert(property && property->isAttribute(), "attribute", "-[QWManagedObject primitiveValueForKey:]");
    return value(*property);
}

void QWManagedObject::setPrimitiveValueForKey(const QString& key, const QVariant& value) {
    const QWPropertyDescription* property = entity_->property(key);
    QWAssert(property && property->isAttribute(), "attribute",
             "-[QWManagedObject setPrimitiveValue:forKey:]");
    const std::optional<QVariant> converted = property->converted(value);
    QWAssert(converted, "value of the attribute's type", "-[QWManagedObject setPrimitiveValue:forKey:]");
    if (!context_ || !unpackedValues())
        return;
    const int index = property->index();
    if (state_ & Awakening) {
        // What an ordinary setter has changed or announced stays a change of the insertion.
        const bool announced = changes_ && Changes::find(changes_->sinceEvent, index);
        if (!announced && !differsInEvent(index))
            Changes::set(changes().baseline, index, *converted);
    } else if (!isInserted()) {
        Changes::note(changes().sinceSave, index, values_[index]); // for a save that something else causes
    }
    values_[index] = *converted;
    if (property->isIndexed() || property->isFolded())
        context_->refile(*this);
}

void QWManagedObject::willChangeValueForKey(const QString& key) {
    if (!context_)
        return;
    const QWPropertyDescription* property = entity_->property(key);
    if (!property)
        return notifyObservers(key, Phase::WillChange);
    if (willChange(*property) && state_ & Awakening && property->isAttribute())
        Changes::note(changes().sinceEvent, property->index(), slot(property->index()));
}

void QWManagedObject::didChangeValueForKey(const QString& key) {
    if (context_)
        notifyObservers(key, Phase::DidChange);
}

bool QWManagedObject::willChange(const QWPropertyDescription& property, QWError* error) {
    if (isFault() && !context_->realise(*this, error))
        return false;
    context_->noteChange(*this, property);
    notifyObservers(property.name(), Phase::WillChange);
    return true;
}

void QWManagedObject::didChange(const QWPropertyDescription& property) {
    notifyObservers(property.name(), Phase::DidChange);
}

void QWManagedObject::notifyObservers(const QString& key, Phase phase) {
    if (!(state_ & Observed))
        return;
    const auto observers = context_->keyObservers_.constFind(this);
    if (observers == context_->keyObservers_.cend())
        return;
    const auto observersOfKey = observers->constFind(key);
    if (observersOfKey == observers->cend())
        return;
    // A copy, which shares the entries: an observer may make the hash grow.
    auto list = *observersOfKey; // NOLINT(performance-unnecessary-copy-initialization)
    list.notify(*this, key, phase);
}

QWObservation QWManagedObject::observeKey(const QString& key, KeyObserver observer) {
    if (!context_)
        return {};
    state_ |= Observed;
    return context_->keyObservers_[this][key].add(std::move(observer));
}

// Asks the memory for the texts' counts of holders, which the record's end touches.
void QWManagedObject::prefetchTexts() const {
#ifdef __GNUC__ // and Clang; elsewhere the end takes a little longer
    if (!values_)
        return;
    for (const QWPropertyDescription* property : entity_->properties())
        if (const QVariant& value = values_[property->index()]; value.typeId() == QMetaType::QString)
            __builtin_prefetch(static_cast<const QString*>(value.constData())->constData()
                               - sizeof(QArrayData) / sizeof(QChar));
#endif
}

// Changed keys ----------------------------------------------------------------------------------------------

// Whether the slot's present value is another than it was when the present event began.
bool QWManagedObject::differsInEvent(int index) const {
    const QWPropertyDescription& property = *entity_->properties()[index];
    if (property.isToMany()) {
        if (!members_)
            return false;
        // All members of an insertion are new, loaded or not.
        return state_ & InsertedInEvent ? !members_[index].sinceSave.added.isEmpty()
                                        : !members_[index].sinceEvent.isEmpty();
    }
    if (!values_)
        return false;
    if (state_ & InsertedInEvent) {
        const QVariant* baseline = changes_ ? Changes::find(changes_->baseline, index) : nullptr;
        return values_[index] != (baseline ? *baseline : property.defaultValue());
    }
    const QVariant* before = changes_ ? Changes::find(changes_->sinceEvent, index) : nullptr;
    return before && *before != values_[index];
}

QStringList QWManagedObject::changedKeysForCurrentEvent() const {
    QStringList keys;
    const auto& properties = entity_->properties();
    if (state_ & ReportedInserted) {
        // The insertion as it was when the notice was made: observers' changes since then are undone here.
        for (const QWPropertyDescription* property : properties) {
            const int index = property->index();
            if (property->isToMany()) {
                if (members_ && members_[index].hadAdded())
                    keys << property->name();
                continue;
            }
            const QVariant* before = changes_ ? Changes::find(changes_->sinceEvent, index) : nullptr;
            const QVariant* baseline = changes_ ? Changes::find(changes_->baseline, index) : nullptr;
            const QVariant& reported = before ? *before : slot(index);
            if (reported != (baseline ? *baseline : property->defaultValue()))
                keys << property->name();
        }
        return keys;
    }
    if (state_ & Reported) {
        if (changes_)
            for (int index : changes_->reported)
                keys << properties[index]->name();
        return keys;
    }
    if (state_ & ListedInEvent)
        for (const QWPropertyDescription* property : properties)
            if (differsInEvent(property->index()))
                keys << property->name();
    return keys;
}

QVariantMap QWManagedObject::changedValuesForCurrentEvent() const {
    QVariantMap values;
    for (const QString& key : changedKeysForCurrentEvent())
        values.insert(key, valueForKey(key));
    return values;
}

QVariantMap QWManagedObject::changedValues() const {
    QVariantMap values;
    for (const QWPropertyDescription* property : entity_->properties()) {
        const int index = property->index();
        bool changed = false;
        if (property->isToMany())
            changed = members_ && !members_[index].sinceSave.isEmpty();
        else if (isInserted())
            changed = values_[index] != property->defaultValue();
        else if (const QVariant* before = changes_ ? Changes::find(changes_->sinceSave, index) : nullptr)
            changed = values_ && *before != values_[index];
        if (changed)
            values.insert(property->name(), valueForKey(property->name()));
    }
    return values;
}

QVariant QWManagedObject::committedValueForKey(const QString& key) const {
    const QWPropertyDescription* property = entity_->property(key);
    QWAssert(property && property->isAttribute(), "attribute", "-[QWManagedObject committedValuesForKeys:]");
    if (isInserted())
        return {};
    const QVariant* before = changes_ ? Changes::find(changes_->sinceSave, property->index()) : nullptr;
    return before ? *before : value(*property);
}

// Hooks -----------------------------------------------------------------------------------------------------

void QWManagedObject::awakeFromInsert() {}

void QWManagedObject::willSave() {}

void QWManagedObject::didSave() {}

QVariant QWManagedObject::valueForUndefinedKey(const QString&) const {
    return {};
}
