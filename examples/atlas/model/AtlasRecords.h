#pragma once

#include "core/QWManagedObjectWithSyncSupport.h"

#include <functional>

// The records of an atlas. Attribute and relationship names are the keys of their field descriptions;
// AtlasModel.cpp declares their types.
namespace atlas {

class Currency final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

class Language final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

// A country has a flag: the image file DIR/images/Country-UUID, where DIR is the folder of the library's
// store. The file need not exist. An empty one means that the flag was taken away: the cloud carries files,
// not their absence.
class Country final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;

    // Never empty while the record is in a context.
    QUrl imageURL() const override;
    // Replaces the file, which then bears `date`. Whoever edits stamps the record afterwards, so that the
    // change is sent.
    bool writeFlag(const QByteArray& bytes, const QDateTime& date, QWError* error = nullptr);

    // Setting "name" sets "sortName" too.
    bool setValueForKey(const QString& key, QVariant value, QWError* error = nullptr) override;
    QVariant valueForUndefinedKey(const QString& key) const override; // "flag": its URL
    // The file of a deleted country goes once the deletion is saved.
    void willSave() override;
    void didSave() override;

private:
    std::function<void()> removeFlag_;
};

class Region final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;
};

class Visit final : public QWManagedObjectWithSyncSupport {
public:
    const QWFieldDescriptions* fieldDescriptions() const override;

    // Setting "title" sets "sortTitle" too.
    bool setValueForKey(const QString& key, QVariant value, QWError* error = nullptr) override;
    QVariant valueForUndefinedKey(const QString& key) const override; // "statusName"
};

// The form that names and titles are sorted by.
QString sortForm(const QString& text);

} // namespace atlas
