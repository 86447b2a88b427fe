#pragma once

#include "dropbox/DBDeltaEntry.h"
#include "dropbox/DBMetadata.h"
#include "platform/QWError.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class DBRestClient;

// Receives the answers of a DBRestClient: exactly one for each request, on the client's thread, never inside
// the call that asked.
//
// An error has the domain "dropbox" and as code the HTTP status (0: no answer at all); its userInfo holds
// "sourcePath" and "destinationPath" for uploads, "path" and "destinationPath" for file loads, "path" for
// deletions and metadata.
class DBRestClientDelegate {
public:
    virtual ~DBRestClientDelegate() = default;

    virtual void restClientLoadedDeltaEntries(DBRestClient& client, const QList<DBDeltaEntryRef>& entries,
                                              bool reset, const QString& cursor, bool hasMore) = 0;
    virtual void restClientLoadDeltaFailedWithError(DBRestClient& client, const QWError& error) = 0;

    // `destinationPath` is where the cloud has put the file: a renamed upload shows it here.
    virtual void restClientUploadedFile(DBRestClient& client, const QString& destinationPath,
                                        const QString& sourcePath, const DBMetadata& metadata) = 0;
    virtual void restClientUploadFileFailedWithError(DBRestClient& client, const QWError& error) = 0;

    virtual void restClientDeletedPath(DBRestClient& client, const QString& path) = 0;
    virtual void restClientDeletePathFailedWithError(DBRestClient& client, const QWError& error) = 0;

    virtual void restClientLoadedFile(DBRestClient& client, const QString& localPath,
                                      const QString& contentType, const DBMetadata& metadata) = 0;
    virtual void restClientLoadFileFailedWithError(DBRestClient& client, const QWError& error) = 0;

    virtual void restClientLoadedMetadata(DBRestClient& client, const DBMetadata& metadata) = 0;
    virtual void restClientLoadMetadataFailedWithError(DBRestClient& client, const QWError& error) = 0;
};

// What the engine asks of the cloud service. Requests are asynchronous and may overlap. The delegate is held
// weakly; answers without a delegate are dropped.
class DBRestClient {
public:
    virtual ~DBRestClient() = default;

    // `lifetime` is the QObject with which the delegate lives and dies (usually the delegate itself).
    void setDelegate(DBRestClientDelegate* delegate, QObject* lifetime) {
        delegate_ = delegate;
        lifetime_ = lifetime;
    }
    DBRestClientDelegate* delegate() const { return lifetime_ ? delegate_ : nullptr; }

    // Changes since `cursor`; an empty cursor lists everything. Of several changes of one path only its
    // present state is given. `reset` in the answer: the cursor was lost and this is a listing from scratch.
    virtual void loadDelta(const QString& cursor) = 0;
    // Writes the local file as `folder`/`filename`. With a parent revision that is still current it replaces
    // the file; with any other, or none where a file of other content stands, the cloud keeps that file and
    // stores this one as a conflicted copy.
    virtual void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                            const QString& localPath) = 0;
    virtual void deletePath(const QString& path) = 0;
    // Writes the file to `localPath`, whole or not at all. It need not be on the disk yet when the delegate is
    // told: who keeps it syncs it (QWFileManager::sync).
    virtual void loadFile(const QString& path, const QString& localPath) = 0;
    virtual void loadMetadata(const QString& path) = 0;

private:
    DBRestClientDelegate* delegate_ = nullptr;
    QPointer<QObject> lifetime_;
};
