#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"

#include <QObject>
#include <QUndoStack>

class QWManagedObjectContext;

namespace atlas {

// The user's edits of synced records, which can be taken back and done again. Records are remembered by
// uuid, so that an edit can be taken back whatever has become of the record meanwhile: a deletion that has
// been saved and sent is taken back by a new record of the same uuid. What another desktop changes is no part
// of the history.
class EditHistory final : public QObject {
    Q_OBJECT

public:
    using Record = QWManagedObjectWithSyncSupport;

    explicit EditHistory(QWManagedObjectContext& context) : context_(context) {}

    QUndoStack& stack() { return stack_; }

    // A new record with these values. `name` names it to the user, in the menu: "Undo Add Visit".
    QWRef<Record> add(const QString& entityName, const QVariantMap& values, const QString& name);
    void remove(const QList<QWRef<Record>>& records, const QString& name);
    // Sets one value; an equal one is no edit. False, and nothing has changed, when it does not fit. Edits of
    // one key in one session (not 0), one after the other, are taken back together.
    bool setValue(Record& record, const QString& key, const QVariant& value, const QString& name,
                  quint64 session = 0, QWError* error = nullptr);
    // A value was set already, by somebody else in the user's name; `before` is what it was.
    void noteChange(const Record& record, const QString& key, const QVariant& before, const QString& name,
                    quint64 session = 0);

Q_SIGNALS:
    // A record has come back, or is to be shown because something of it was taken back or done again.
    void touched(const QString& uuid);

private:
    class Change;
    class Presence;

    // What a record holds, its to-one relationships by uuid, without identity and date.
    QVariantMap valuesOf(const Record& record) const;
    bool write(Record& record, const QString& key, const QVariant& remembered, QWError* error = nullptr);
    QWRef<Record> find(const QString& entityName, const QString& uuid) const;

    QWManagedObjectContext& context_;
    QUndoStack stack_;
};

} // namespace atlas
