#pragma once

#include "dropbox/http/QWHTTPRequest_p.h"
#include "dropbox/http/QWHTTPWire_p.h"
#include "platform/QWRunLoop.h"

#include <functional>

// One request that is on the wire, until its answer is there. The answer comes once, on a turn of the run
// loop of its own. Destroying the exchange breaks the request off, and no answer comes.
class QWHTTPExchange final : public QWHTTPListener {
public:
    using Completion = std::function<void(const QWHTTPAnswer&)>;

    QWHTTPExchange(const std::shared_ptr<QWFileDownload>& download, QWRunLoop& runLoop,
                   QWRunLoop::Duration stallLimit, Completion completion);
    ~QWHTTPExchange();
    QWHTTPExchange(const QWHTTPExchange&) = delete;
    QWHTTPExchange& operator=(const QWHTTPExchange&) = delete;

    void begin(QWHTTPWire& wire, const QWHTTPPost& post);

    void sent(qint64 bytes) override;
    void headCame(const QWHTTPHead& head) override;
    bool bytesCame(const QByteArray& bytes) override;
    void ended(const QString& trouble) override;

private:
    bool bringsFile() const { return download_ && head_.status == 200; }
    bool take(const QByteArray& bytes);
    void moved(qint64 bytes);
    void end(QWHTTPAnswer answer);
    void watchForStall();

    const std::shared_ptr<QWFileDownload> download_;
    QWRunLoop& runLoop_;
    const QWRunLoop::Duration stallLimit_;
    Completion completion_;
    QWHTTPHead head_; // status 0 until it is there
    QByteArray body_;
    QString objection_;            // to what came
    QWRunLoop::Duration lastMove_; // when as much had moved as counts
    qint64 movedSince_ = 0;        // bytes
    qint64 bytesSent_ = 0;
    QWRunLoop::Handle watch_;
    QWRunLoop::Handle answer_;
    QWHTTPWire::TransferPtr transfer_; // null once it has ended
};
