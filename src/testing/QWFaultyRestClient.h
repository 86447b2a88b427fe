#pragma once

#include "dropbox/DBRestClient.h"
#include "platform/QWEnvironment.h"

#include <deque>
#include <functional>
#include <limits>
#include <optional>
#include <vector>

// One request to a DBRestClient.
struct QWRestRequest {
    enum Kind { LoadDelta, Upload, Delete, LoadFile, LoadMetadata };

    Kind kind = LoadDelta;
    QString path;      // in the cloud; empty for LoadDelta
    QString localPath; // of Upload and LoadFile
    QString parentRev; // of Upload
    QString cursor;    // of LoadDelta
};

// What goes wrong with some requests: which ones, then how. Everything that is not said stays as it is, so
// `on(Upload).number(3).answersWith(500)` lets all but the third upload pass. Faults add up when several name
// the same request.
class QWRestFault {
public:
    // Which of the requests that the fault is for, counted from 1 since it was made; without this: all.
    QWRestFault& number(int number);
    QWRestFault& first(int count);
    // Only requests for which the condition holds; the others are not counted.
    QWRestFault& where(std::function<bool(const QWRestRequest&)> condition);

    // The request never arrives, and is answered with this status (0: no connection).
    QWRestFault& answersWith(int status);
    // The request is carried out, but its answer is this status.
    QWRestFault& losesAcknowledgement(int status = 0);
    // The request is carried out and never answered.
    QWRestFault& staysUnanswered();
    // A loaded file ends after so many bytes.
    QWRestFault& truncatesFile(qint64 bytes);
    // The request arrives twice; the second answer is dropped.
    QWRestFault& arrivesTwice();
    // Others overtake the request, or its answer.
    QWRestFault& delaysRequest(QWRunLoop::Duration duration);
    QWRestFault& delaysAnswer(QWRunLoop::Duration duration);

private:
    friend class QWFaultyRestClient;
    struct Effect {
        std::optional<int> statusInstead;
        std::optional<int> statusAfterwards;
        bool isUnanswered = false;
        bool isSentTwice = false;
        std::optional<qint64> fileSize;
        QWRunLoop::Duration requestDelay{0};
        QWRunLoop::Duration answerDelay{0};
    };

    explicit QWRestFault(std::optional<QWRestRequest::Kind> kind) : kind_(kind) {}
    void applyTo(Effect& effect, const QWRestRequest& request);

    std::optional<QWRestRequest::Kind> kind_;
    std::function<bool(const QWRestRequest&)> condition_;
    int firstNumber_ = 1;
    int lastNumber_ = std::numeric_limits<int>::max();
    int requestsSeen_ = 0;
    std::vector<std::function<void(Effect&)>> changes_;
};

// A client that passes everything on to another one and writes it down, with faults where a test asks for
// them. It makes itself the other's delegate; the engine is its delegate. The other client must outlive it,
// and have nobody else who makes requests.
class QWFaultyRestClient final : public QObject, public DBRestClient, private DBRestClientDelegate {
public:
    QWFaultyRestClient(DBRestClient& client, std::shared_ptr<QWEnvironment> environment);

    // A new fault, for requests of one kind or of any. It does nothing until it is told what to do.
    QWRestFault& on(QWRestRequest::Kind kind);
    QWRestFault& onAny();
    void removeFaults() { faults_.clear(); }

    // What was asked of this client so far, in order.
    const std::vector<QWRestRequest>& requests() const { return requests_; }
    std::vector<QWRestRequest> requests(QWRestRequest::Kind kind) const;
    void forgetRequests() { requests_.clear(); }

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

private:
    using Answer = std::function<void(DBRestClientDelegate&)>;
    // A request that the other client has not answered yet.
    struct Sent {
        QWRestRequest request;
        QWRestFault::Effect effect;
    };

    void take(const QWRestRequest& request);
    void send(const QWRestRequest& request, const QWRestFault::Effect& effect);
    void answered(QWRestRequest::Kind kind, const QString& key, const Answer& answer);
    void answer(QWRunLoop::Duration delay, const Answer& answer);
    Answer failure(const QWRestRequest& request, int status);
    void truncate(const QString& localPath, qint64 size);

    void restClientLoadedDeltaEntries(DBRestClient& client, const QList<DBDeltaEntryRef>& entries, bool reset,
                                      const QString& cursor, bool hasMore) override;
    void restClientLoadDeltaFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientUploadedFile(DBRestClient& client, const QString& destinationPath,
                                const QString& sourcePath, const DBMetadata& metadata) override;
    void restClientUploadFileFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientDeletedPath(DBRestClient& client, const QString& path) override;
    void restClientDeletePathFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientLoadedFile(DBRestClient& client, const QString& localPath, const QString& contentType,
                              const DBMetadata& metadata) override;
    void restClientLoadFileFailedWithError(DBRestClient& client, const QWError& error) override;
    void restClientLoadedMetadata(DBRestClient& client, const DBMetadata& metadata) override;
    void restClientLoadMetadataFailedWithError(DBRestClient& client, const QWError& error) override;

    DBRestClient& client_;
    std::shared_ptr<QWEnvironment> environment_;
    std::deque<QWRestFault> faults_; // a deque: callers hold references
    std::vector<QWRestRequest> requests_;
    std::deque<Sent> sent_;
};
