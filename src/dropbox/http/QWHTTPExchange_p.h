#pragma once

#include "dropbox/http/QWHTTPRequest_p.h"
#include "platform/QWRunLoop.h"

#include <QObject>
#include <functional>

class QNetworkReply;

// One request that is on the wire, until its answer is there. The answer comes once, on a turn of the run
// loop of its own. Destroying the exchange breaks the request off, and no answer comes.
class QWHTTPExchange {
public:
    using Completion = std::function<void(const QWHTTPAnswer&)>;

    QWHTTPExchange(QNetworkReply& reply, const std::shared_ptr<QWFileDownload>& download, QWRunLoop& runLoop,
                   QWRunLoop::Duration stallLimit, Completion completion);
    ~QWHTTPExchange();
    QWHTTPExchange(const QWHTTPExchange&) = delete;
    QWHTTPExchange& operator=(const QWHTTPExchange&) = delete;

private:
    bool bringsFile() const;
    void moved(qint64 bytes);
    void readBytes();
    void finished();
    void end(QWHTTPAnswer answer);
    void dropReply();
    void watchForStall();

    QNetworkReply* reply_; // null once it has ended
    const std::shared_ptr<QWFileDownload> download_;
    QWRunLoop& runLoop_;
    const QWRunLoop::Duration stallLimit_;
    Completion completion_;
    QByteArray body_;
    QWRunLoop::Duration lastMove_; // when as much had moved as counts
    qint64 movedSince_ = 0;        // bytes
    qint64 bytesSent_ = 0;
    QWRunLoop::Handle watch_;
    QWRunLoop::Handle answer_;
    QObject listener_; // receives the reply's signals
};
