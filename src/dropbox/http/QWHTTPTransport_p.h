#pragma once

#include "dropbox/http/QWHTTPExchange_p.h"
#include "dropbox/http/QWHTTPRestClient.h"
#include "dropbox/http/QWServiceAnswers_p.h"

#include <array>
#include <map>

namespace qw::http {
// Why a header cannot carry the token, without showing it; empty when one can.
QString objectionTo(const QByteArray& token);
// Why the token must not go there; empty when it may.
QString objectionTo(const QUrl& host);
} // namespace qw::http

// Brings requests to the service, a few at a time and in their order, keeps the waits that the service asks
// for, and sends again what it refused meanwhile.
//
// Each request is answered once, on a later turn of the run loop, as long as the transport lives.
class QWHTTPTransport {
public:
    // Makes the request when its turn to be sent has come, and again when it has to be sent again. Nothing,
    // with an error, when it cannot be made.
    using Maker = std::function<std::optional<QWHTTPRequest>(QWError* error)>;
    using Completion = QWHTTPExchange::Completion;

    QWHTTPTransport(const QWHTTPRestClientOptions& options, std::shared_ptr<QWEnvironment> environment);

    void setAccessToken(const QString& token) { token_ = token.toUtf8(); }

    // A place in the order. Several requests of one operation share one, so that what has begun goes first.
    quint64 newTurn() { return nextTurn_++; }
    void send(QWHTTPLane lane, quint64 turn, Maker maker, Completion completion);
    void send(QWHTTPLane lane, const QWHTTPRequest& request, Completion completion);

private:
    struct Pending {
        QWHTTPLane lane;
        quint64 turn;
        Maker make;
        Completion complete;
        int refusals = 0;
    };
    struct Lane {
        std::multimap<quint64, Pending> waiting; // by turn
        QWRunLoop::Duration openFrom{0};
    };

    void wait(Pending pending);
    void sendWaiting();
    Lane* nextLane();
    void start(Pending pending);
    void answered(Pending pending, const QWHTTPAnswer& answer);
    // Closes the lanes that the pause is about; answers how long it is.
    QWRunLoop::Duration keep(const qw::http::Pause& pause, QWHTTPLane refused, const QWHTTPAnswer& answer);
    QUrl hostOf(QWHTTPLane lane) const;
    QWHTTPPost postOf(QWHTTPLane lane, const QWHTTPRequest& request) const;
    void later(QWRunLoop::Duration delay, std::function<void()> action);

    const QWHTTPRestClientOptions options_;
    std::shared_ptr<QWEnvironment> environment_;
    QByteArray token_;
    quint64 nextTurn_ = 0;
    quint64 nextExchange_ = 0;
    std::array<Lane, 4> lanes_; // by QWHTTPLane
    QWHTTPWire wire_;
    std::map<quint64, std::unique_ptr<QWHTTPExchange>> out_;
    std::shared_ptr<bool> life_ = std::make_shared<bool>(true);
};
