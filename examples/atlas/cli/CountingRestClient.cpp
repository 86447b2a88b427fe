#include "cli/CountingRestClient.h"

using Delegate = DBRestClientDelegate;

CountingRestClient::CountingRestClient(std::unique_ptr<DBRestClient> client) : client_(std::move(client)) {
    client_->setDelegate(this, this);
}

DBRestClient& CountingRestClient::request(qint64& kind) {
    ++kind;
    ++unanswered_;
    return *client_;
}

template <class... Parameters, class... Answer>
void CountingRestClient::answer(void (Delegate::*operation)(DBRestClient&, Parameters...),
                                const Answer&... values) {
    --unanswered_;
    if (auto* receiver = delegate())
        (receiver->*operation)(*this, values...);
    Q_EMIT answered();
}

void CountingRestClient::loadDelta(const QString& cursor) {
    request(queries_).loadDelta(cursor);
}

void CountingRestClient::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                    const QString& localPath) {
    request(uploads_).uploadFile(filename, folder, parentRev, localPath);
}

void CountingRestClient::deletePath(const QString& path) {
    request(deletions_).deletePath(path);
}

void CountingRestClient::loadFile(const QString& path, const QString& localPath) {
    request(downloads_).loadFile(path, localPath);
}

void CountingRestClient::loadMetadata(const QString& path) {
    request(queries_).loadMetadata(path);
}

void CountingRestClient::restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries,
                                                      bool reset, const QString& cursor, bool hasMore) {
    answer(&Delegate::restClientLoadedDeltaEntries, entries, reset, cursor, hasMore);
}

void CountingRestClient::restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) {
    answer(&Delegate::restClientLoadDeltaFailedWithError, error);
}

void CountingRestClient::restClientUploadedFile(DBRestClient&, const QString& destinationPath,
                                                const QString& sourcePath, const DBMetadata& metadata) {
    answer(&Delegate::restClientUploadedFile, destinationPath, sourcePath, metadata);
}

void CountingRestClient::restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) {
    answer(&Delegate::restClientUploadFileFailedWithError, error);
}

void CountingRestClient::restClientDeletedPath(DBRestClient&, const QString& path) {
    answer(&Delegate::restClientDeletedPath, path);
}

void CountingRestClient::restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) {
    answer(&Delegate::restClientDeletePathFailedWithError, error);
}

void CountingRestClient::restClientLoadedFile(DBRestClient&, const QString& localPath,
                                              const QString& contentType, const DBMetadata& metadata) {
    answer(&Delegate::restClientLoadedFile, localPath, contentType, metadata);
}

void CountingRestClient::restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) {
    answer(&Delegate::restClientLoadFileFailedWithError, error);
}

void CountingRestClient::restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) {
    answer(&Delegate::restClientLoadedMetadata, metadata);
}

void CountingRestClient::restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) {
    answer(&Delegate::restClientLoadMetadataFailedWithError, error);
}
