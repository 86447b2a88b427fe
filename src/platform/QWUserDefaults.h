#pragma once

#include "platform/QWObservation.h"

#include <QHash>
#include <QJsonValue>
#include <QSettings>
#include <QString>
#include <functional>

// The host's small settings by key. Values keep their JSON type in every store: 5, "5", true and [] come back
// as what they were, in another process too. A number that is not finite is no JSON, and may come back as
// null.
//
// One thread. Observers are told of what is set and removed through this object. What another object or
// process does to the same settings is seen by `object`, at the latest after `synchronize`, and told to
// nobody.
class QWUserDefaults {
public:
    // Gets the value that a key has now; Undefined when it was removed.
    using Callback = std::function<void(const QJsonValue&)>;

    virtual ~QWUserDefaults();

    // The value of `key`; Undefined when there is none.
    virtual QJsonValue object(const QString& key) const = 0;
    // Undefined removes the key.
    void setObject(const QString& key, const QJsonValue& value);
    void remove(const QString& key);
    // Returns once everything that was set is in permanent storage.
    virtual void synchronize() = 0;

    // Calls `callback` with each value that is set for `key`, an equal one too, and at each removal, before
    // the call that does it returns. A key is compared whole: one with a full stop or a slash in it is a key
    // like any other, and so is the empty one.
    QWObservation observe(const QString& key, Callback callback);

    // YES of a boolean, a number other than 0, and the texts "YES", "true" and "1"; else NO, as for no value.
    bool boolean(const QString& key) const;
    void setBoolean(const QString& key, bool value) { setObject(key, value); }

protected:
    // What an implementation does with a value, which is not Undefined, and with a key to be removed.
    virtual void storeObject(const QString& key, const QJsonValue& value) = 0;
    virtual void removeObject(const QString& key) = 0;

private:
    QHash<QString, QWObserverList<const QJsonValue&>> observers_;
};

// Settings that end with the process: for tests, and hosts that keep their own.
class QWMemoryUserDefaults final : public QWUserDefaults {
public:
    QJsonValue object(const QString& key) const override;
    void synchronize() override;

private:
    void storeObject(const QString& key, const QJsonValue& value) override;
    void removeObject(const QString& key) override;

    QHash<QString, QJsonValue> values_;
};

// Settings in a QSettings store, each value kept as JSON text, because an INI file forgets types. In its keys
// the characters %, / and \ are percent-encoded, and the empty one is "%": no key makes a group.
class QWSettingsUserDefaults final : public QWUserDefaults {
public:
    // The application's own settings (QSettings' defaults).
    QWSettingsUserDefaults();
    // The INI file at `path`, created when first written.
    explicit QWSettingsUserDefaults(const QString& path);

    QJsonValue object(const QString& key) const override;
    void synchronize() override;

private:
    void storeObject(const QString& key, const QJsonValue& value) override;
    void removeObject(const QString& key) override;

    QSettings settings_;
};
