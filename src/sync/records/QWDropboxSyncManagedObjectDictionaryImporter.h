#pragma once

#include "core/QWManagedObjectValueVisitor.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "sync/records/QWSyncRecord.h"

#include <QStringList>
#include <QVariantMap>
#include <optional>

// Judges whether a received sync record is newer than the local record, and applies it. Reusable; one thread
// at a time. An empty dictionary stands for a file that could not be read.
class QWDropboxSyncManagedObjectDictionaryImporter final : public QWManagedObjectValueVisitor {
public:
    explicit QWDropboxSyncManagedObjectDictionaryImporter(const QStringList& entityDependencyNames);

    // YES for a record that was never saved or has no modification date, and for one whose date is earlier
    // than the received one. A tie, and a received date that is missing or unreadable, keep the local record.
    bool needsToUpdateObject(const QWManagedObjectWithSyncSupport& object,
                             const QVariantMap& dictionary) const;

    // Writes every described field that travels but images: a key that the dictionary lacks, or holds as
    // null, clears the field (and a "dateModified" becomes now). Text that should be a date and cannot be
    // read is null. Relationships that travel are set to the records referred to, which are made, bare, where
    // they are missing. A value that does not fit its attribute, or a reference that names no record, leaves
    // its key as it is, with one line in the log that names `fileName`, the key, what was expected and what
    // was given.
    void updateObject(QWManagedObjectWithSyncSupport& object, const QVariantMap& dictionary,
                      const QString& fileName = {});

    // The received value; no value for null and for a missing key. During an update only.
    QVariant updatedValueForKey(const QString& key) const;

    // The record that a reference names, made in the context when it does not exist; null for a dictionary
    // that names none: without a plain uuid, or with an entity that the model lacks or whose records have no
    // uuid.
    static QWRef<QWManagedObjectWithSyncSupport>
    objectReferencedByDictionary(const QVariantMap& reference, QWManagedObjectContext& context);

    void beginVisitOfObject(QWManagedObject& object) override;
    void endVisitOfObject(QWManagedObject& object) override;
    void visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString& name,
                               const QWDateFormatterRef& formatter) override;
    void visitObjectImageURLForKey(QWManagedObject& object, const QString& key, const QString& name) override;
    // Always NO: no destination is visited.
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override;

private:
    void visitObjectValueForKey(QWManagedObject& object, const QString& key) override;
    void apply(QWManagedObject& object, const QString& key, const QVariant& value);

    QStringList entityNames_;
    QVariantMap updateDictionary_; // the dictionary being applied; empty between updates
    QString fileName_;             // where it came from, for the log
};
