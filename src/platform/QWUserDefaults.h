#pragma once

#include <QHash>
#include <QJsonValue>
#include <QSettings>
#include <QString>

// The host's small settings by key. Values keep their JSON type in every store: 5, "5", true and [] come back
// as what they were, in another process too.
class QWUserDefaults {
public:
    virtual ~QWUserDefaults();

    // The value of `key`; Undefined when there is none.
    virtual QJsonValue object(const QString& key) const = 0;
    virtual void setObject(const QString& key, const QJsonValue& value) = 0;
    virtual void remove(const QString& key) = 0;
    // Returns once everything that was set is in permanent storage.
    virtual void synchronize() = 0;

    // YES of a boolean, a number other than 0, and the texts "YES", "true" and "1"; else NO, as for no value.
    bool boolean(const QString& key) const;
    void setBoolean(const QString& key, bool value) { setObject(key, value); }
};

// Settings that end with the process: for tests, and hosts that keep their own.
class QWMemoryUserDefaults final : public QWUserDefaults {
public:
    QJsonValue object(const QString& key) const override;
    void setObject(const QString& key, const QJsonValue& value) override;
    void remove(const QString& key) override;
    void synchronize() override;

private:
    QHash<QString, QJsonValue> values_;
};

// Settings in a QSettings store, each value kept as JSON text, because an INI file forgets types.
class QWSettingsUserDefaults final : public QWUserDefaults {
public:
    // The application's own settings (QSettings' defaults).
    QWSettingsUserDefaults();
    // The INI file at `path`, created when first written.
    explicit QWSettingsUserDefaults(const QString& path);

    QJsonValue object(const QString& key) const override;
    void setObject(const QString& key, const QJsonValue& value) override;
    void remove(const QString& key) override;
    void synchronize() override;

private:
    QSettings settings_;
};
