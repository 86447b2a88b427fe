#include "desktop/EditHistory.h"

#include "store/QWManagedObjectContext.h"

namespace atlas {

namespace {

// A value as it is remembered: a record by its uuid.
QVariant remembered(const QVariant& value) {
    if (!value.canConvert<QWRef<QWManagedObject>>())
        return value;
    const auto record = value.value<QWRef<QWManagedObject>>();
    return record ? record->valueForKey("uuid") : QVariant();
}

bool areEqual(const QVariant& left, const QVariant& right) {
    return remembered(left) == remembered(right) && left.isValid() == right.isValid();
}

bool isIdentity(const QString& key) {
    return key == QLatin1String("uuid") || key == QLatin1String("dateModified");
}

} // namespace

// One value of one record, before and after.
class EditHistory::Change final : public QUndoCommand {
public:
    Change(EditHistory& history, const Record& record, const QString& key, QVariant before, QVariant after,
           quint64 session, const QString& text)
        : QUndoCommand(text), history_(history), entityName_(record.entity().name()), uuid_(record.uuid()),
          key_(key), before_(std::move(before)), after_(std::move(after)), session_(session) {}

    void undo() override { set(before_); }
    void redo() override {
        if (std::exchange(isDone_, true)) // the edit itself comes before its command
            set(after_);
    }
    int id() const override { return 1; }
    bool mergeWith(const QUndoCommand* other) override {
        const auto& next = static_cast<const Change&>(*other);
        if (session_ == 0 || next.session_ != session_ || next.uuid_ != uuid_ || next.key_ != key_)
            return false;
        after_ = next.after_;
        return true;
    }

private:
    void set(const QVariant& value) {
        if (const auto record = history_.find(entityName_, uuid_)) {
            history_.write(*record, key_, value);
            Q_EMIT history_.touched(uuid_);
        }
    }

    EditHistory& history_;
    const QString entityName_, uuid_, key_;
    const QVariant before_;
    QVariant after_;
    const quint64 session_;
    bool isDone_ = false;
};

// That a record is there, or not.
class EditHistory::Presence final : public QUndoCommand {
public:
    Presence(EditHistory& history, const Record& record, bool isAdded, const QString& text,
             QUndoCommand* parent = nullptr)
        : QUndoCommand(text, parent), history_(history), entityName_(record.entity().name()),
          uuid_(record.uuid()), values_(history.valuesOf(record)), isAdded_(isAdded) {}

    void undo() override { isAdded_ ? remove() : restore(); }
    void redo() override {
        if (std::exchange(isDone_, true))
            isAdded_ ? restore() : remove();
    }

private:
    void remove() {
        if (const auto record = history_.find(entityName_, uuid_)) {
            values_ = history_.valuesOf(*record); // what it had last is what comes back
            history_.context_.deleteObject(*record);
        }
    }
    void restore() {
        const auto record = Record::fetchObjectWithUUID(uuid_, entityName_, history_.context_,
                                                        /* createIfNotExisting */ true);
        for (auto value = values_.begin(); value != values_.end(); ++value)
            history_.write(*record, value.key(), value.value());
        Q_EMIT history_.touched(uuid_);
    }

    EditHistory& history_;
    const QString entityName_, uuid_;
    QVariantMap values_;
    const bool isAdded_;
    bool isDone_ = false;
};

QWRef<EditHistory::Record> EditHistory::add(const QString& entityName, const QVariantMap& values,
                                            const QString& name) {
    const QWRef<Record> record(static_cast<Record*>(context_.insertObject(entityName).data()));
    for (auto value = values.begin(); value != values.end(); ++value)
        record->setValueForKey(value.key(), value.value());
    stack_.push(new Presence(*this, *record, true, name));
    return record;
}

void EditHistory::remove(const QList<QWRef<Record>>& records, const QString& name) {
    if (records.isEmpty())
        return;
    auto* command = new QUndoCommand(name);
    for (const auto& record : records) {
        new Presence(*this, *record, false, QString(), command);
        context_.deleteObject(*record);
    }
    stack_.push(command);
}

bool EditHistory::setValue(Record& record, const QString& key, const QVariant& value, const QString& name,
                           quint64 session, QWError* error) {
    const QVariant before = record.valueForKey(key);
    if (areEqual(before, value))
        return true;
    if (!record.setValueForKey(key, value, error))
        return false;
    noteChange(record, key, before, name, session);
    return true;
}

void EditHistory::noteChange(const Record& record, const QString& key, const QVariant& before,
                             const QString& name, quint64 session) {
    const QVariant after = record.valueForKey(key);
    if (!areEqual(before, after))
        stack_.push(new Change(*this, record, key, remembered(before), remembered(after), session, name));
}

QVariantMap EditHistory::valuesOf(const Record& record) const {
    QVariantMap values;
    for (const QWPropertyDescription* property : record.entity().properties())
        if (!property->isToMany() && !isIdentity(property->name()))
            values[property->name()] = remembered(record.valueForKey(property->name()));
    return values;
}

bool EditHistory::write(Record& record, const QString& key, const QVariant& value, QWError* error) {
    const QWPropertyDescription* property = record.entity().property(key);
    if (!property || property->isAttribute())
        return record.setValueForKey(key, value, error);
    const auto destination = find(property->destinationName(), value.toString());
    return record.setValueForKey(
        key, destination ? QVariant::fromValue(QWRef<QWManagedObject>(destination.data())) : QVariant(),
        error);
}

QWRef<EditHistory::Record> EditHistory::find(const QString& entityName, const QString& uuid) const {
    return uuid.isEmpty() ? QWRef<Record>() : Record::fetchObjectWithUUID(uuid, entityName, context_);
}

} // namespace atlas
