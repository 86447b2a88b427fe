#pragma once

#include "support/Desktop.h"
#include "support/EngineProbe.h"
#include "support/SilentClient.h"
#include "testing/QWLogCapture.h"

// One desktop whose engine, alone or supervised, talks to a client that the test answers for.
struct EngineTest : testing::Test {
    explicit EngineTest(Desktop::Supervision supervision = Desktop::Alone) {
        if (supervision == Desktop::Supervised)
            desktop.supervisor = QWSyncSupervisor::create(engine(), client);
    }

    Cloud cloud;
    Desktop desktop{cloud};
    std::shared_ptr<SilentClient> client = std::make_shared<SilentClient>();

    QWDropboxSyncCoreData& engine() { return *desktop.engine; }
    // Whom the client answers to.
    DBRestClientDelegate& delegate() { return desktop.supervisor ? *client->delegate() : engine(); }
    QWDropboxSyncCoreDataProbe probe() { return {engine()}; }
    QWUserDefaults& defaults() { return *desktop.world.userDefaults; }
    using Record = desktop::Record;

    void activate() {
        if (desktop.supervisor)
            desktop.supervisor->activate();
        else
            engine().activateSyncWithDropboxRestClient(client);
    }
    // Active and idle, the folder known, a first empty delta received.
    void activateIdle() {
        defaults().setBoolean(QWDBLastTimeTokenExpiredPrefKey, false);
        activate();
        page({}, "cursor-0");
        client->forget();
    }
    // Lets what was posted and is due run.
    void turn() { desktop.world.runLoop->runDue(); }
    void pass(double seconds) {
        desktop.advance(std::chrono::milliseconds(static_cast<qint64>(seconds * 1000)));
    }

    // Saves an edit and lets the engine see it.
    void saveAndTurn() {
        desktop.save();
        turn();
    }

    // As if everything so far had reached the cloud.
    void forgetQueue() {
        auto& cache = *engine().dropboxCacheManagedObjectContext();
        for (const auto& row :
             QWFetchCacheRecords<ObjectWaitingSync>(cache, QWFetchRequest(QWDBEntityNameObjectWaitingSync)))
            cache.deleteObject(*row);
        engine().saveCacheContext();
    }

    static QString dataFile(const QWManagedObjectWithSyncSupport& record) {
        return record.entity().name() + "!!!" + record.uuid() + ".data";
    }
    static QString imageFile(const QWManagedObjectWithSyncSupport& record) {
        return record.entity().name() + "!!!" + record.uuid() + ".image";
    }
    static QString remote(const QString& fileName) { return "/SyncCache.dbSync/" + fileName; }

    DBMetadata metadata(const QString& fileName, const QString& rev = "rev1") {
        DBMetadata result;
        result.path = remote(fileName);
        result.rev = rev;
        result.hash = "hash-" + rev;
        result.lastModifiedDate = QDateTime(QDate(2026, 1, 2), QTime(0, 0), Qt::UTC);
        return result;
    }
    DBDeltaEntryRef changed(const QString& fileName, const QString& rev = "rev1") {
        const auto meta = metadata(fileName, rev);
        return DBMakeDeltaEntry(meta.path.toLower(), meta);
    }
    DBDeltaEntryRef deleted(const QString& fileName) { return DBMakeDeltaEntry(remote(fileName).toLower()); }
    // A query and its only page.
    void receive(const QList<DBDeltaEntryRef>& entries, const QString& cursor = "cursor-1") {
        if (desktop.supervisor)
            desktop.supervisor->syncNow();
        else
            engine().loadDeltaPotentialUpdates();
        client->requests.pop_back();
        page(entries, cursor);
    }

    // Answers to requests.
    void page(const QList<DBDeltaEntryRef>& entries, const QString& cursor, bool hasMore = false) {
        delegate().restClientLoadedDeltaEntries(*client, entries, false, cursor, hasMore);
    }
    void uploaded(const QWRestRequest& request, const QString& rev = "rev1") {
        delegate().restClientUploadedFile(*client, request.path, request.localPath,
                                          metadata(request.path.section('/', -1), rev));
    }
    void loaded(const QWRestRequest& request, const QByteArray& bytes, const QString& rev = "rev1") {
        desktop.world.files->write(request.localPath, bytes);
        delegate().restClientLoadedFile(*client, request.localPath, {},
                                        metadata(request.path.section('/', -1), rev));
    }
    static QWError failure(int status, const QVariantMap& userInfo = {}) {
        return {"dropbox", status, "it failed", userInfo};
    }
    static QVariantMap info(const QWRestRequest& request) {
        if (request.kind == QWRestRequest::Upload)
            return {{"sourcePath", request.localPath}, {"destinationPath", request.path}};
        return {{"path", request.path}, {"destinationPath", request.localPath}};
    }
    static QByteArray record(const QString& title, const QString& dateModified) {
        return QStringLiteral(R"({"title":"%1","dateModified":"%2"})").arg(title, dateModified).toUtf8();
    }
};
