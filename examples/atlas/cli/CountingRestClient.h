#pragma once

#include "dropbox/DBRestClient.h"

#include <QObject>
#include <memory>

// Passes requests on to another client and its answers back, and counts them by kind.
class CountingRestClient final : public QObject, public DBRestClient, private DBRestClientDelegate {
    Q_OBJECT

public:
    explicit CountingRestClient(std::unique_ptr<DBRestClient> client);

    qint64 requests() const { return queries_ + uploads_ + downloads_ + deletions_; }
    qint64 queries() const { return queries_; } // for changes and for what stands at a path
    qint64 uploads() const { return uploads_; }
    qint64 downloads() const { return downloads_; }
    qint64 deletions() const { return deletions_; }
    qint64 unanswered() const { return unanswered_; }

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

Q_SIGNALS:
    // After the delegate has had the answer.
    void answered();

private:
    DBRestClient& request(qint64& kind);
    template <class... Parameters, class... Answer>
    void answer(void (DBRestClientDelegate::*operation)(DBRestClient&, Parameters...),
                const Answer&... values);

    void restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries, bool reset,
                                      const QString& cursor, bool hasMore) override;
    void restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientUploadedFile(DBRestClient&, const QString& destinationPath, const QString& sourcePath,
                                const DBMetadata& metadata) override;
    void restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientDeletedPath(DBRestClient&, const QString& path) override;
    void restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientLoadedFile(DBRestClient&, const QString& localPath, const QString& contentType,
                              const DBMetadata& metadata) override;
    void restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) override;
    void restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) override;
    void restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) override;

    std::unique_ptr<DBRestClient> client_;
    qint64 queries_ = 0, uploads_ = 0, downloads_ = 0, deletions_ = 0;
    qint64 unanswered_ = 0;
};
