#include "dropbox/http/QWHTTPTransport_p.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <algorithm>

Q_LOGGING_CATEGORY(qwDropboxLog, "qwlibrary.dropbox")

namespace {

using namespace std::chrono_literals;
using qw::http::Pause;

// As many as the connections to a host: what is not sent yet must not count as stalled.
constexpr std::size_t requestsAtATime = 6;
// A request that the service puts off more often is answered with its refusal.
constexpr int mostRefusals = 4;
// Where the service names no time: around this one, so that several clients do not meet again.
constexpr QWRunLoop::Duration usualPause = 5s;

bool isWrite(QWHTTPLane lane) {
    return lane == QWHTTPLane::Change || lane == QWHTTPLane::Upload;
}

bool isContent(QWHTTPLane lane) {
    return lane == QWHTTPLane::Upload || lane == QWHTTPLane::Download;
}

bool concerns(Pause::Scope scope, QWHTTPLane refused, QWHTTPLane lane) {
    switch (scope) {
    case Pause::Request:
        return false;
    case Pause::Changes:
        return isWrite(lane);
    case Pause::Host:
        return isContent(lane) == isContent(refused);
    case Pause::Everything:
        return true;
    }
    return true;
}

QString nameOf(const QUrl& host) {
    return host.port() < 0 ? host.host() : QStringLiteral("%1:%2").arg(host.host()).arg(host.port());
}

// Half as long to one and a half times as long as the usual pause.
QWRunLoop::Duration somePause(QWUUIDSource& uuids) {
    const int percent = 50 + int(uuids.next().left(8).toUInt(nullptr, 16) % 100);
    return usualPause * percent / 100;
}

} // namespace

QString qw::http::objectionTo(const QByteArray& token) {
    if (token.isEmpty())
        return QStringLiteral("there is no access token");
    const auto bad = std::find_if(token.begin(), token.end(), [](char c) { return c <= ' ' || c > '~'; });
    if (bad == token.end())
        return {};
    return QStringLiteral("the access token cannot be sent: byte %1 of it is 0x%2")
        .arg(bad - token.begin() + 1)
        .arg(static_cast<uchar>(*bad), 2, 16, QLatin1Char('0'));
}

QString qw::http::objectionTo(const QUrl& host) {
    const bool isHere = host.host() == QLatin1String("localhost") || QHostAddress(host.host()).isLoopback();
    if (host.scheme() == QLatin1String("https") || (host.scheme() == QLatin1String("http") && isHere))
        return {};
    return QStringLiteral("the access token is sent over https alone; http is for a server on this machine, "
                          "which is localhost or a loopback address");
}

QWHTTPTransport::QWHTTPTransport(const QWHTTPRestClientOptions& options,
                                 std::shared_ptr<QWEnvironment> environment)
    : options_(options), environment_(std::move(environment)), wire_(options.certificates) {
    setAccessToken(options.accessToken);
}

void QWHTTPTransport::send(QWHTTPLane lane, quint64 turn, Maker maker, Completion completion) {
    wait({lane, turn, std::move(maker), std::move(completion)});
    sendWaiting();
}

void QWHTTPTransport::send(QWHTTPLane lane, const QWHTTPRequest& request, Completion completion) {
    send(
        lane, newTurn(), [request](QWError*) { return request; }, std::move(completion));
}

void QWHTTPTransport::wait(Pending pending) {
    lanes_[size_t(pending.lane)].waiting.emplace(pending.turn, std::move(pending));
}

void QWHTTPTransport::sendWaiting() {
    while (out_.size() < requestsAtATime) {
        Lane* const lane = nextLane();
        if (!lane)
            return;
        start(std::move(lane->waiting.extract(lane->waiting.begin()).mapped()));
    }
}

// The lane whose first request has waited longest, of those that the service has not closed.
QWHTTPTransport::Lane* QWHTTPTransport::nextLane() {
    Lane* next = nullptr;
    for (Lane& lane : lanes_) {
        const bool isOpen = !lane.waiting.empty() && lane.openFrom <= environment_->runLoop().now();
        if (isOpen && (!next || lane.waiting.begin()->first < next->waiting.begin()->first))
            next = &lane;
    }
    return next;
}

void QWHTTPTransport::start(Pending pending) {
    const QString host = nameOf(hostOf(pending.lane));
    const auto refuse = [&](int status, const QString& trouble) {
        const QWHTTPAnswer answer{.status = status, .body = {}, .trouble = trouble, .host = host};
        later(0s, [complete = std::move(pending.complete), answer] { complete(answer); });
    };
    if (const QString objection = qw::http::objectionTo(token_); !objection.isEmpty())
        return refuse(401, objection);
    if (const QString objection = qw::http::objectionTo(hostOf(pending.lane)); !objection.isEmpty())
        return refuse(0, objection);
    QWError error;
    const auto request = pending.make(&error);
    if (!request)
        return refuse(0, error.message);

    const quint64 number = nextExchange_++;
    const QWHTTPPost post = postOf(pending.lane, *request);
    const auto done = [this, number, host, token = token_,
                       pending = std::move(pending)](QWHTTPAnswer answer) {
        out_.erase(number);
        answer.host = host;
        answer.token = token;
        answered(pending, answer);
    };
    auto& exchange = out_[number];
    exchange = std::make_unique<QWHTTPExchange>(request->download, environment_->runLoop(),
                                                options_.stallLimit, done);
    exchange->begin(wire_, post);
}

void QWHTTPTransport::answered(Pending pending, const QWHTTPAnswer& answer) {
    const auto pause = qw::http::pauseAskedFor(answer, environment_->clock().now());
    const bool isSentAgain = pause && ++pending.refusals <= mostRefusals;
    if (pause) {
        const QWRunLoop::Duration length = keep(*pause, pending.lane, answer);
        later(length, [this, again = isSentAgain ? std::optional(pending) : std::nullopt] {
            if (again)
                wait(*again);
            sendWaiting();
        });
    }
    sendWaiting();
    // May destroy the transport.
    if (!isSentAgain)
        pending.complete(answer);
}

QWRunLoop::Duration QWHTTPTransport::keep(const Pause& pause, QWHTTPLane refused,
                                          const QWHTTPAnswer& answer) {
    const QWRunLoop::Duration length =
        std::min(pause.length ? *pause.length : somePause(environment_->uuids()), options_.longestPause);
    qCWarning(qwDropboxLog).noquote()
        << answer.host << "puts requests off for" << std::chrono::duration<double>(length).count()
        << "seconds: status" << answer.status;
    const QWRunLoop::Duration end = environment_->runLoop().now() + length;
    for (std::size_t lane = 0; lane < lanes_.size(); ++lane) {
        if (concerns(pause.scope, refused, QWHTTPLane(lane)))
            lanes_[lane].openFrom = std::max(lanes_[lane].openFrom, end);
    }
    return length;
}

QUrl QWHTTPTransport::hostOf(QWHTTPLane lane) const {
    return isContent(lane) ? options_.contentHost : options_.apiHost;
}

QWHTTPPost QWHTTPTransport::postOf(QWHTTPLane lane, const QWHTTPRequest& request) const {
    QWHTTPPost post{
        .url = hostOf(lane),
        // Most bodies are small, and a file must come as it is.
        .headers = {"Authorization: Bearer " + token_, "User-Agent: QWLibrary", "Accept-Encoding: identity"},
        .body = request.body};
    QString base = post.url.path();
    if (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    post.url.setPath(base + QStringLiteral("/2/") + request.route);
    if (isContent(lane)) {
        post.headers += "Content-Type: application/octet-stream";
        post.headers += "Dropbox-API-Arg: " + qw::http::headerText(request.argument);
    } else {
        post.headers += "Content-Type: application/json";
        post.body = QJsonDocument(request.argument).toJson(QJsonDocument::Compact);
    }
    return post;
}

void QWHTTPTransport::later(QWRunLoop::Duration delay, std::function<void()> action) {
    environment_->runLoop().after(delay, [life = std::weak_ptr<bool>(life_), action = std::move(action)] {
        if (!life.expired())
            action();
    });
}
