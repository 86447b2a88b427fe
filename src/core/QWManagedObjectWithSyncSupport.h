#pragma once

#include "core/QWManagedObjectFieldDescription.h"
#include "store/QWManagedObject.h"

#include <QDateTime>
#include <QUrl>

class QWManagedObjectContext;
class QWManagedObjectVisitor;

// The base of every record that takes part in synchronisation: an identifier that is the same on every
// machine, a modification date that orders its versions, and its fields described for visitors.
//
//     class Book : public QWManagedObjectWithSyncSupport {
//         const QWFieldDescriptions* fieldDescriptions() const override;
//     };
//     auto& book = model->addEntity<Book>("Book");
//     addSyncAttributes(book);
//
// Observable keys: "uuid", "dateModified", "doNotUpdateDateModifiedDuringNextSave".
class QWManagedObjectWithSyncSupport : public QWManagedObject {
public:
    // Upper-case UUID text, given once by `awakeFromInsert`; records made for a known identifier have that
    // one, spelt as it was given.
    QString uuid() const;
    void setUuid(const QString& uuid);

    // When the record last changed in a way that matters; a null date when it never did.
    QDateTime dateModified() const;
    // Stores the date, now for a null one, and raises the flag below: whoever sets a date explicitly wants it
    // to survive the next pass of the sync engine. Setting "dateModified" by key does the same.
    void setDateModified(const QDateTime& date);

    // Whether the date was set explicitly since the sync engine last looked. Kept in this object only.
    bool doNotUpdateDateModifiedDuringNextSave() const { return doNotUpdateDateModifiedDuringNextSave_; }
    void resetDoNotUpdateDateModifiedDuringNextSave() { doNotUpdateDateModifiedDuringNextSave_ = false; }

    // The local file of the record's image; empty, as here, for entities without one.
    virtual QUrl imageURL() const;

    // The entity's fields, including a date field "dateModified". Null, as here, for a class whose records do
    // not accept visitors.
    virtual const QWFieldDescriptions* fieldDescriptions() const;
    // Announces the record to the visitor, lets each field be visited in its declared order, ends the visit.
    // The record is not retained by it. Without field descriptions: assertion "unknown operation".
    virtual void acceptVisitor(QWManagedObjectVisitor& visitor);
    // Whether the record answers the optional operation of that selector (QWAcceptVisitorSelector).
    virtual bool respondsToSelector(const QString& selector) const;

    // The record of that entity whose uuid is the given one, letter case ignored; unsaved records count. Null
    // when there is none, or the fetch fails, unless it is to be created: then a new record with that very
    // uuid, unsaved. Two records with one uuid are a programming error: assertion "[objects count] == 1".
    //
    // Belongs to the context's thread. Creating takes a process-wide lock, so that two callers that miss the
    // same identifier do not both insert it.
    static QWRef<QWManagedObjectWithSyncSupport> fetchObjectWithUUID(const QString& uuid,
                                                                     const QString& entityName,
                                                                     QWManagedObjectContext& context,
                                                                     bool createIfNotExisting = false);

    // For modification dates written as text; shared by the process.
    static const QWDateFormatterRef& dateModifiedFormatter();

    void awakeFromInsert() override;
    bool setValueForKey(const QString& key, QVariant value, QWError* error = nullptr) override;
    QVariant valueForUndefinedKey(const QString& key) const override; // "imageURL" and the flag

private:
    bool doNotUpdateDateModifiedDuringNextSave_ = false;
};

inline const QString QWAcceptVisitorSelector = QStringLiteral("acceptVisitor:");

// Gives an entity the attributes of a synced record: "uuid" (indexed by its folded form) and "dateModified".
void addSyncAttributes(QWEntityDescription& entity);
