#pragma once

#include "store/sqlite/QWSQLiteStore.h"

#include <deque>
#include <gtest/gtest.h>

// What tests of the store's rows share: rows as they come, and short ways to write and read them.

struct CollectedRow {
    const QWEntityDescription* entity;
    qint64 key;
    qint64 version;
    QWPackedRow values;

    QVariant operator[](const QString& name) const { return values.value(*entity->property(name)); }
};

class RowCollector final : public QWSQLiteStore::RowSink {
public:
    QWPackedRow* row(const QWSQLiteStore::Row& row) override {
        return &rows.emplace_back(CollectedRow{row.entity, row.key, row.version, {}}).values;
    }
    std::deque<CollectedRow> rows; // stay where they are
};

class OpenStore {
public:
    OpenStore(const QString& path, const QWManagedObjectModel& model, const QWStoreOptions& options = {})
        : model_(model), store_(QWSQLiteStore::open(path, model, options, &error)) {}

    explicit operator bool() const { return static_cast<bool>(store_); }
    QWSQLiteStore* operator->() const { return store_.get(); }
    void close() { store_.reset(); }

    const QWEntityDescription& entity(const QString& name) const { return *model_.entity(name); }
    const QWPropertyDescription& property(const QString& entityName, const QString& name) const {
        return *entity(entityName).property(name);
    }

    // Runs `write` in a transaction.
    template <class Action>
    bool save(Action write) {
        if (!store_->begin(&error))
            return false;
        write();
        return store_->commit(&error);
    }
    // Saves one new row; links are given as keys.
    QWManagedObjectID insert(const QString& entityName, const QVariantMap& values = {}) {
        const QWEntityDescription& kind = entity(entityName);
        const QWManagedObjectID id{&kind, store_->reserveKeys(kind.root())};
        const auto slots = slotsOf(kind, values);
        EXPECT_TRUE(save([&] { EXPECT_TRUE(store_->insert(id, slots.data(), &error)) << message(); }))
            << message();
        return id;
    }
    QWSQLiteStore::Write update(const QWManagedObjectID& id, qint64 version, const QVariantMap& values) {
        std::vector<int> changed;
        for (auto value = values.begin(); value != values.end(); ++value)
            changed.push_back(id.entity->property(value.key())->index());
        QWSQLiteStore::Write result = QWSQLiteStore::Write::Failed;
        const auto slots = slotsOf(*id.entity, values);
        save([&] { result = store_->update(id, version, slots.data(), changed, &error); });
        return result;
    }
    bool setMembers(const QWManagedObjectID& owner, const QString& name,
                    const std::vector<QWManagedObjectID>& members) {
        return save([&] { store_->writeMembers(*owner.entity->property(name), owner, members, &error); });
    }

    std::deque<CollectedRow> rows(const QWFetchRequest& request) {
        RowCollector collector;
        EXPECT_TRUE(store_->select(request, collector, &error)) << message();
        return std::move(collector.rows);
    }
    std::vector<qint64> keys(const QWFetchRequest& request) {
        std::vector<qint64> found;
        for (const CollectedRow& row : rows(request))
            found.push_back(row.key);
        return found;
    }
    std::optional<CollectedRow> row(const QWManagedObjectID& id) {
        RowCollector collector;
        if (!store_->readRow(id.entity->root(), id.key, collector, &error))
            return std::nullopt;
        return std::move(collector.rows.front());
    }
    QVariant value(const QWManagedObjectID& id, const QString& name) {
        const auto found = row(id);
        return found ? (*found)[name] : QVariant();
    }
    std::string message() const { return error.message.toStdString(); }

    QWError error;

private:
    static std::vector<QVariant> slotsOf(const QWEntityDescription& kind, const QVariantMap& values) {
        std::vector<QVariant> slots(kind.properties().size());
        for (auto value = values.begin(); value != values.end(); ++value) {
            const QWPropertyDescription& property = *kind.property(value.key());
            slots[property.index()] =
                property.isAttribute() ? property.converted(*value).value() : QVariant(value->toLongLong());
        }
        return slots;
    }

    const QWManagedObjectModel& model_;
    std::unique_ptr<QWSQLiteStore> store_;
};
