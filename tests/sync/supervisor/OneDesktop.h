#pragma once

#include "support/Desktop.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWTravellingForm.h"

#include <map>
#include <vector>

// One desktop and a cloud that other machines may write to: what its engine does alone, or supervised.
struct OneDesktop : testing::Test {
    explicit OneDesktop(Desktop::Supervision supervision) : desktop(cloud, 1, supervision) {}

    Cloud cloud;
    Desktop desktop;

    QWDropboxSyncCoreData& engine() { return *desktop.engine; }
    QWSyncSupervisor& supervisor() { return *desktop.supervisor; }
    int count(QWRestRequest::Kind kind) { return static_cast<int>(desktop.client->requests(kind).size()); }
    // Active, with the folder known, and idle.
    void begin() {
        desktop.world.userDefaults->setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
        desktop.activate();
        desktop.advance(std::chrono::seconds(1));
    }
    void pass(double seconds) {
        desktop.advance(std::chrono::milliseconds(static_cast<qint64>(seconds * 1000)));
    }
    double seconds() const { return double(cloud.world.runLoop->now().count()) / 1e6; }

    // When requests of a kind are made from now on, in whole seconds; filled as they come.
    std::vector<int>& timesOf(QWRestRequest::Kind kind) {
        auto times = std::make_shared<std::vector<int>>();
        desktop.client->on(kind).where([this, times](const QWRestRequest&) {
            times->push_back(static_cast<int>(seconds()));
            return true;
        });
        times_.push_back(times);
        return *times;
    }

    static QString fileName(const QWManagedObjectWithSyncSupport& record, const QString& extension) {
        return record.entity().name() + "!!!" + record.uuid() + '.' + extension;
    }
    static QVariantMap book(const QString& title, const QString& dateModified = "2025-01-01 00:00:00 +0000") {
        return {{"title", title}, {"dateModified", dateModified}};
    }
    // Another version of the book X, of the same second, whose form has a hash that is greater, or less.
    QVariantMap versionInSameSecond(bool isGreater) { return versionsInSameSecond(isGreater, 1)[0]; }
    // So many, those with the lesser hashes first.
    std::vector<QVariantMap> versionsInSameSecond(bool areGreater, size_t count) {
        const auto present = desktop.find("X");
        QVariantMap record =
            engine().syncDictionaryExporter().dictionaryToInsertOrUpdateObjectToSync(*present);
        const auto own = qw::sync::travellingHash(record, *present);
        std::map<QByteArray, QVariantMap> versions;
        for (int number = 0; versions.size() < count; ++number) {
            record["title"] = QString::number(number);
            if (const auto hash = qw::sync::travellingHash(record, *present); (*hash > *own) == areGreater)
                versions.emplace(*hash, record);
        }
        std::vector<QVariantMap> found;
        for (const auto& [hash, version] : versions)
            found.push_back(version);
        return found;
    }

private:
    std::vector<std::shared_ptr<std::vector<int>>> times_;
};
