#pragma once

#include "dropbox/DBRestClient.h"
#include "dropbox/folder/QWAppFolder.h"

struct QWFolderRestClientOptions {
    // From a request to its answer. Not given: 50 ms for a folder in memory, none for one in a directory.
    std::optional<QWRunLoop::Duration> latency;
    int pageSize = 1000; // entries in a page of changes
};

// The embedded client: answers from an app folder on this machine. Each request is carried out and answered
// on one later turn of the environment's run loop, in the order of the requests.
//
// Codes of errors: 400 malformed path, 404 nothing there, 409 conflict, 503 the folder cannot be used, 507 no
// space, 0 the local file cannot be read or written. An upload asks the folder to update the parent revision
// (no file has an empty one) and to rename on conflict: whatever stands in the way of other content, the
// answer is a conflicted copy. The local file is read on the turn that answers.
//
// A cursor that the folder does not know is answered with the first page of a fresh listing; only that page
// carries the reset flag.
//
// Requests that wait when the client is destroyed are neither carried out nor answered.
class QWFolderRestClient final : public DBRestClient {
public:
    QWFolderRestClient(std::shared_ptr<QWAppFolder> folder, std::shared_ptr<QWEnvironment> environment,
                       QWFolderRestClientOptions options = {});

    // A client for the cloud address "folder:PATH", whose directory is made when missing. Null, with an
    // error, for any other address or a directory that cannot be used.
    static std::unique_ptr<QWFolderRestClient>
    open(const QString& address, std::shared_ptr<QWEnvironment> environment, QWError* error = nullptr);

    // The status with which the service answers where the app folder refuses or fails; 0: it is not reached.
    static int statusOf(const QWError& error);

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

private:
    void later(std::function<void()> request);

    std::shared_ptr<QWAppFolder> folder_;
    std::shared_ptr<QWEnvironment> environment_;
    QWRunLoop::Duration latency_;
    int pageSize_;
    std::shared_ptr<bool> life_ = std::make_shared<bool>(true);
};
