#pragma once

#include "support/EngineTest.h"

// An engine that shares preferences, and the answers about their file.
struct PreferencesTest : EngineTest {
    using EngineTest::EngineTest;

    static inline const QString path = "/PreferencesSync.data";
    const QString upload = "upload " + path, load = "load " + path, lookUp = "metadata " + path;

    QString localPath() { return desktop.path("cache/PreferencesSync.data"); }
    QByteArray localFile() { return desktop.world.files->read(localPath()).value_or(QByteArray("no file")); }
    QJsonObject shared() { return engine().syncedPreferences(); }
    bool waits() { return engine().needToUploadSyncedPreferences(); }
    bool isOut() { return engine().isSyncedPreferencesRequestOut(); }
    bool persistedFlag() { return defaults().boolean("NeedToUploadPrefKey"); }
    QString knownRevision() {
        const auto known = desktop.fileMetadata("PreferencesSync.data");
        return known ? known->rev() : QString();
    }

    static DBMetadata preferences(const QString& rev = "rev1", const QString& at = path) {
        DBMetadata metadata;
        metadata.path = at;
        metadata.rev = rev;
        metadata.hash = "hash-" + rev;
        metadata.lastModifiedDate = QDateTime(QDate(2026, 1, 2), QTime(0, 0), Qt::UTC);
        return metadata;
    }
    static DBDeltaEntryRef changedThere(const QString& rev = "rev2") {
        return DBMakeDeltaEntry("/preferencessync.data", preferences(rev));
    }
    static DBDeltaEntryRef deletedThere() { return DBMakeDeltaEntry("/preferencessync.data"); }

    // Answers.
    void sent(const QString& rev = "rev1") {
        delegate().restClientUploadedFile(*client, path, localPath(), preferences(rev));
    }
    void notSent(int status = 500) {
        delegate().restClientUploadFileFailedWithError(
            *client, failure(status, {{"sourcePath", localPath()}, {"destinationPath", path}}));
    }
    void found(const QString& rev = "rev1") {
        delegate().restClientLoadedMetadata(*client, preferences(rev));
    }
    void notFound(int status = 404) {
        delegate().restClientLoadMetadataFailedWithError(*client, failure(status, {{"path", path}}));
    }
    // To the last download that was asked for.
    void arrived(const QByteArray& bytes, const QString& rev = "rev2") {
        const QString to = client->requests.back().localPath;
        desktop.world.files->write(to, bytes);
        delegate().restClientLoadedFile(*client, to, {}, preferences(rev));
    }

    void notLoaded(int status) {
        delegate().restClientLoadFileFailedWithError(*client, failure(status, info(client->requests.back())));
    }

    // Active and idle, with these values shared and sent.
    void activateSharing(const QJsonObject& values) {
        for (auto value = values.begin(); value != values.end(); ++value)
            defaults().setObject(value.key(), *value);
        activateIdle();
        engine().syncPreferenceWithKeys(values.keys());
        pass(5.1);
        for (int uploads = client->count(QWRestRequest::Upload); uploads > 0; --uploads)
            sent();
        pass(5.1);
        client->forget();
        ASSERT_FALSE(waits());
    }
    // The process dies, and the next one begins.
    void crash() {
        desktop.supervisor.reset();
        desktop.crash();
        desktop.start();
        if (isSupervised_)
            desktop.supervisor = QWSyncSupervisor::create(engine(), client);
    }

protected:
    const bool isSupervised_ = desktop.supervisor != nullptr;
};
