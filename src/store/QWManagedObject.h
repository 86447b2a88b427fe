#pragma once

#include "platform/QWError.h"
#include "platform/QWObservation.h"
#include "store/QWManagedObjectID.h"
#include "store/QWManagedObjectModel.h"
#include "store/QWPackedRow.h"

#include <QSharedData>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

class QWManagedObjectContext;

// One record of a store, live in one context: while anybody holds it, the context hands out this object for
// this identity. A context holds clean records weakly and changed ones strongly until they are saved or
// discarded.
//
// A record starts as a fault when nothing was read yet; its values are read from the store on first access.
// When that fails it has no values, cannot be edited, and is read again on the next access. After its
// deletion was saved, or its context has gone, the last values stay readable and setters do nothing.
//
// Belongs to the thread of its context.
class QWManagedObject : public QSharedData {
public:
    QWManagedObject();
    virtual ~QWManagedObject();
    QWManagedObject(const QWManagedObject&) = delete;
    QWManagedObject& operator=(const QWManagedObject&) = delete;

    QWManagedObjectID objectID() const { return {entity_, key_}; }
    const QWEntityDescription& entity() const { return *entity_; }
    // Null after a saved deletion and after the context has gone.
    QWManagedObjectContext* managedObjectContext() const { return context_; }

    bool isInserted() const { return state_ & Inserted; } // until a save succeeds
    bool isUpdated() const { return state_ & Updated; } // changed since fetch or save, equal values included
    bool isDeleted() const { return state_ & (Deleted | Gone | Forgotten); } // from the deletion to its save
    bool hasChanges() const {
        return state_ & (Inserted | Updated | Deleted);
    } // anything for a save to write
    // Something of it waits for the next change notice, which the present one does not report.
    bool hasUnreportedChanges() const { return state_ & ListedInEvent; }
    bool isFault() const { return !values_ && packed_.isEmpty(); }

    // The value of an attribute (see QWAttributeType), of a to-one relationship (QWRef<QWManagedObject>, or
    // no value) or of a to-many one (QList<QWRef<QWManagedObject>>). Any other key: `valueForUndefinedKey`.
    QVariant valueForKey(const QString& key) const;
    // Sets a value as a person's edit would: observers are told, the record becomes updated, inverses follow.
    // False with an error naming entity, key, expected and given when the value does not fit, or with the
    // store's error when the record is a fault that cannot be read; the value then stays. Subclasses with a
    // setter of their own for a key override this to run it.
    virtual bool setValueForKey(const QString& key, QVariant value, QWError* error = nullptr);

    // The same without any effect: no observers, no change, no inverse. Attributes only.
    QVariant primitiveValueForKey(const QString& key) const;
    void setPrimitiveValueForKey(const QString& key, const QVariant& value);
    // Announce a change made through primitives, or of a property outside the model (which observers see, but
    // which neither marks the record nor enters its changed keys). Calls nest and must pair.
    void willChangeValueForKey(const QString& key);
    void didChangeValueForKey(const QString& key);

    // Relationships. To-many results are in relationship order when ordered, else in a stable order. Linking
    // a record of another entity or context is a programming error.
    QWRef<QWManagedObject> relatedObject(const QString& key) const;
    QList<QWRef<QWManagedObject>> relatedObjects(const QString& key) const;
    void setRelatedObject(const QString& key, QWManagedObject* destination);
    // For an ordered relationship the list is the order. `setUnorderedRelatedObjects` treats it as a set:
    // members that stay keep their places, new ones follow in the list's order.
    void setRelatedObjects(const QString& key, const QList<QWRef<QWManagedObject>>& destinations);
    void setUnorderedRelatedObjects(const QString& key, const QList<QWRef<QWManagedObject>>& destinations);
    void addRelatedObject(const QString& key, QWManagedObject& destination);
    void removeRelatedObject(const QString& key, QWManagedObject& destination);

    // Keys changed in the event that is being reported: during a change notice what that notice reports,
    // otherwise what the next one will. Attributes and relationships only; keys set back drop out; in the
    // entity's order.
    QStringList changedKeysForCurrentEvent() const;
    QVariantMap changedValuesForCurrentEvent() const; // the same keys with the present values
    // Changed since the last fetch or save, with present values.
    QVariantMap changedValues() const;
    // The values of `keys` as last fetched or saved.
    QVariant committedValueForKey(const QString& key) const;

    // Observers of single keys, of the model or not, told before (`willChange`) and after each set, equal
    // values included.
    enum class Phase { WillChange, DidChange };
    using KeyObserver = std::function<void(QWManagedObject&, const QString& key, Phase)>;
    QWObservation observeKey(const QString& key, KeyObserver observer);

    // Once, when the record is inserted into a context; never on fetch, merge or refresh. Ordinary setters
    // called here count as changes of the insertion, primitive ones are its baseline.
    virtual void awakeFromInsert();
    // Before the record is written, and after. `willSave` may still change records.
    virtual void willSave();
    virtual void didSave();
    // The value of a key that the model lacks: derived properties of the host's class. Default: no value.
    virtual QVariant valueForUndefinedKey(const QString& key) const;

private:
    friend class QWFetchCriteria;
    friend class QWManagedObjectContext;
    friend class QWPredicate;
    friend class QWRecordTable;

    // Since the last save, and since the last change notice ("…InEvent").
    enum State : quint16 {
        Inserted = 1,
        Updated = 2,
        Deleted = 4,
        InsertedInEvent = 8,
        UpdatedInEvent = 16,
        RefreshedInEvent = 32,
        DeletedInEvent = 64,
        ListedInEvent = 128, // in the context's list for the next notice
        Reported = 256,      // in the sets of the notice that is being delivered
        ReportedInserted = 512,
        Awakening = 1024,  // inside awakeFromInsert
        Observed = 2048,   // has key observers
        Pending = 4096,    // in the context's list of unsaved records
        Gone = 8192,       // deleted by another context's save: leaves once that is reported
        Forgotten = 16384, // an unsaved insertion that was deleted: leaves likewise
    };
    static constexpr quint16 EventStates =
        InsertedInEvent | UpdatedInEvent | RefreshedInEvent | DeletedInEvent | ListedInEvent;

    struct Changes; // what a changed record remembers: QWManagedObject_p.h
    struct Members; // the members of one to-many relationship: QWManagedObject_p.h

    QVariant value(const QWPropertyDescription& property) const; // realises a fault
    const QVariant& slot(int index) const;                       // … and unpacks
    QVariant* unpackedValues() const; // all of them; null for a fault without context
    void prefetchTexts() const;
    const QWPropertyDescription* relationship(const QString& key, const char* operation) const;
    const QWPropertyDescription* toMany(const QString& key, const char* operation) const;
    bool canLink(const QWPropertyDescription& property, const QWManagedObject* destination) const;
    void assertFits(const QWPropertyDescription& property, const QWManagedObject* destination,
                    const char* operation) const;
    void setToOne(const QWPropertyDescription& property, QWManagedObject* destination);
    void setMembers(const QWPropertyDescription& property, const QList<QWRef<QWManagedObject>>& destinations);
    bool setRelationship(const QWPropertyDescription& property, const QVariant& value, QWError* error);
    // False, with nothing announced, when the record is a fault that cannot be read.
    bool willChange(const QWPropertyDescription& property, QWError* error = nullptr);
    void didChange(const QWPropertyDescription& property);
    void notifyObservers(const QString& key, Phase phase);
    void attach(const QWPropertyDescription& property, QWManagedObject& destination);
    void detach(const QWPropertyDescription& property, QWManagedObject& destination);
    void changeMember(const QWPropertyDescription& property, const QWManagedObjectID& id, bool linked);
    void assignEnd(const QWPropertyDescription& property, QWManagedObject& other, bool linked);
    Members& members(const QWPropertyDescription& property) const;       // loaded
    Members& memberChanges(const QWPropertyDescription& property) const; // perhaps not loaded
    std::vector<QWManagedObjectID> linkedSinceSave(const QWPropertyDescription& property) const;
    bool differsInEvent(int index) const;
    Changes& changes();

    const QWEntityDescription* entity_ = nullptr;
    QWManagedObjectContext* context_ = nullptr;
    qint64 key_ = 0;
    qint64 version_ = 0; // of the stored row that the values are based on; 0: not stored
    quint16 state_ = 0;
    // What was read of the row, until a value is changed or needed in place; then `values_` holds all of
    // them, by property index. A to-one's value is the destination's key.
    mutable QWPackedRow packed_;
    mutable std::unique_ptr<QVariant[]> values_;
    mutable std::unique_ptr<Members[]> members_; // by property index; null until a to-many is used
    std::unique_ptr<Changes> changes_;
    QWManagedObject* next_ = nullptr; // in the context's table of live records
};

Q_DECLARE_METATYPE(QWRef<QWManagedObject>)
