#pragma once

#include "Trace.h"

#include "dropbox/DBRestClient.h"
#include "dropbox/folder/QWAppFolder.h"
#include "platform/QWEnvironment.h"

#include <deque>

// The way of one machine's requests to the cloud and of the answers back, on virtual time. What has been sent
// arrives, whatever becomes of the process that sent it; its answer is heard only by that process.
//
// It keeps the contract of a client: each request is answered once, and a file that is loaded is the whole file
// or stays as it was.
class SimulatedNetwork final : public DBRestClient, public std::enable_shared_from_this<SimulatedNetwork> {
public:
    // What becomes of some of the next requests.
    struct Fault {
        enum Kind { Status, LoseAnswer, DelayRequest, DelayAnswer, Duplicate, Truncate } kind = Status;
        int status = 0; // 0: no connection
        std::chrono::seconds delay{0};
    };
    // Counted over the life of a machine, whose processes come and go.
    struct Ledger {
        std::deque<Fault> faults;     // each for one request
        QHash<QString, int> refusals; // of downloads in a row, by path
        QWRunLoop::Duration offlineUntil{0};
        qint64 requests = 0;
        qint64 faultsMet = 0;     // also by downloads for which the disk had no room
        qint64 furtherPages = 0;  // of queries
        qint64 tokensRefused = 0; // as it has heard
        // Called when the cloud has taken a file.
        std::function<void(const QString& path, const QByteArray& bytes)> cloudTook;
        // Called when the cloud looks for changes. Further pages tell of none that came after the first.
        std::function<void(bool isFirstPage, bool isFromScratch)> queried;
        QSet<QString> cursorsOfFurtherPages;
        // Called when the machine has one.
        std::function<void(const QString& path, const QByteArray& bytes)> loaded;
    };

    SimulatedNetwork(std::shared_ptr<QWAppFolder> cloud, std::shared_ptr<QWEnvironment> environment,
                     Ledger& ledger, Trace& trace, QString machine)
        : cloud_(std::move(cloud)), environment_(std::move(environment)), ledger_(ledger), trace_(trace),
          machine_(std::move(machine)) {}

    // Called with each request, before it is sent. False: the machine is dead, and nothing is sent.
    std::function<bool()> mayBeSent;

    qint64 requestsSent() const { return sent_; }
    qint64 requestsOut() const { return out_; } // not answered
    qint64 queriesSent() const { return queries_; }
    // Of records and images, asked for since the engine was deactivated last, and not answered.
    int downloadsOut() const { return *downloadsOut_; }
    // Whether one file was uploaded so often since this was asked last and answered by yes.
    bool takeManyUploads(int count);
    void forgetDownloadsOut() { downloadsOut_ = std::make_shared<int>(0); }

    void loadDelta(const QString& cursor) override;
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override;
    void deletePath(const QString& path) override;
    void loadFile(const QString& path, const QString& localPath) override;
    void loadMetadata(const QString& path) override;

private:
    using Answer = std::function<void(SimulatedNetwork&, DBRestClientDelegate&)>;
    struct Request {
        const char* kind;
        QString path;
        std::function<Answer(QWAppFolder&)> carryOut;    // in the cloud
        std::function<Answer(const QWError&)> fail;      // without it
        std::function<void(SimulatedNetwork&)> truncate; // what a connection that breaks leaves here
        std::shared_ptr<int> out;                        // counts those of its kind until they are answered
    };

    void send(const Request& request);
    Fault nextFault(const Request& request, bool& isFaulty);
    void answer(QWRunLoop::Duration delay, const Request& request, const Answer& answer);

    const std::shared_ptr<QWAppFolder> cloud_;
    const std::shared_ptr<QWEnvironment> environment_;
    Ledger& ledger_;
    Trace& trace_;
    const QString machine_;
    qint64 sent_ = 0, out_ = 0, queries_ = 0;
    QHash<QString, int> uploads_; // by path
    int mostUploads_ = 0;
    std::shared_ptr<int> downloadsOut_ = std::make_shared<int>(0);
};
