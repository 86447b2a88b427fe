#include "store/QWManagedObjectContext.h"

#include "store/QWManagedObjectContext_p.h"
#include "store/QWManagedObject_p.h"
#include "store/sqlite/QWSQLiteStore.h"

// Taking over what another context of the same coordinator has saved. Identity crosses by id, values are
// copied from the saving context's records where they are loaded and as saved. No setter runs, so nothing
// here counts as an edit; the merge is reported before the call returns.

using Context = QWManagedObjectContext;
using Record = QWManagedObject;

void Context::mergeChangesFromContextDidSave(const QWDidSaveNotice& notice) {
    willMerge_.notify(notice);
    for (const auto& saved : notice.inserted)
        mergeInserted(*saved);
    for (const auto& saved : notice.updated)
        mergeUpdated(*saved);
    for (const auto& saved : notice.deleted)
        mergeDeleted(*saved);
    processPendingChanges();
    didMerge_.notify(notice);
}

void Context::mergeInserted(const Record& saved) {
    const QWRef<Record> record = objectWithID(saved.objectID());
    listInEvent(*record, Record::InsertedInEvent);
}

// A fault, or a row that nobody here holds, is left alone: its next access reads the new row anyway. A record
// deleted here stays deleted; its save will replace the new row.
void Context::mergeUpdated(const Record& saved) {
    const QWRef<Record> record = registeredObject(saved.objectID());
    if (!record || record->isFault())
        return;
    Record stored;
    const Record* source = &saved;
    if (saved.isFault() || saved.hasChanges()) {
        stored.entity_ = record->entity_;
        stored.key_ = record->key_;
        realise(stored);
        if (stored.version_ == 0)
            return; // gone meanwhile, or unreadable: what is here stays
        source = &stored;
    }
    if (record->isDeleted()) {
        record->version_ = source->version_;
        return;
    }
    reload(*record, source->unpackedValues(), source->version_);
    listInEvent(*record, Record::RefreshedInEvent);
}

// The deletion wins over changes here. Records that were linked to the record here, unsaved, let go of it;
// those that were linked in the store were changed by the saving context's own delete rules and come in its
// updated set.
void Context::mergeDeleted(const Record& saved) {
    const QWRef<Record> record = registeredObject(saved.objectID());
    if (!record)
        return;
    for (const QWPropertyDescription* property : record->entity_->properties())
        if (property->inverse())
            for (const QWManagedObjectID& id : record->linkedSinceSave(*property))
                if (const QWRef<Record> linked = registeredObject(id))
                    linked->assignEnd(*property->inverse(), *record, false);
    if (record->isFault() && !saved.isFault()) {
        const size_t count = record->entity_->properties().size();
        record->values_ = std::make_unique<QVariant[]>(count);
        std::copy_n(saved.unpackedValues(), count, record->values_.get());
    }
    const bool changed = record->hasChanges();
    forgetChanges(*record);
    record->state_ |= Record::Gone;
    listInEvent(*record, Record::DeletedInEvent);
    if (changed)
        didDiscard_.notify({record});
}
