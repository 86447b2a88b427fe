#include "StandIn.h"

#include "service/Refusals.h"

#include <QTcpSocket>
#include <cstdio>

namespace standin {

namespace {
const QString statisticsPath = QStringLiteral("/stand-in/statistics");
}

StandIn::StandIn(Options options, std::shared_ptr<QWAppFolder> folder,
                 std::shared_ptr<QWEnvironment> environment)
    : options_(std::move(options)), environment_(std::move(environment)),
      service_(std::move(folder), environment_,
               {options_.token, options_.accountName,
                options_.pageSize > 0 ? options_.pageSize : Listing::mostEntries}) {
    QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
        while (QTcpSocket* socket = server_.nextPendingConnection())
            new Connection(socket, *this, &connections_);
    });
}

bool StandIn::listen(QWError* error) {
    if (server_.listen(QHostAddress::LocalHost, options_.port))
        return true;
    return qw::fail(error, {QStringLiteral("stand-in"), 0,
                            QStringLiteral("port %1 of 127.0.0.1 cannot be used: %2")
                                .arg(options_.port)
                                .arg(server_.errorString())});
}

QString StandIn::url() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(server_.serverPort());
}

Exchange StandIn::began(const Request& head) {
    Exchange exchange;
    if (head.target.path() == statisticsPath)
        return exchange;
    exchange.route = Service::routeOf(head.target);
    if (exchange.route.isEmpty())
        exchange.route = QStringLiteral("unknown");
    statistics_.began(exchange.route);
    // Every rule counts the request; the first one that strikes counts.
    for (FailureRule& rule : options_.failures) {
        if (rule.strikes(exchange.route) && !exchange.failure)
            exchange.failure = &rule.failure();
    }
    exchange.isDropped = exchange.failure && exchange.failure->kind == Failure::Drop;
    return exchange;
}

void StandIn::handle(const Exchange& exchange, const Request& request,
                     std::function<void(const Reply&)> answer) {
    if (exchange.route.isEmpty())
        return answer(jsonReply(statistics_.toJSON()));
    const Failure* const failure = exchange.failure;
    const auto delay = options_.latency + (failure ? failure->delay : std::chrono::milliseconds(0));
    const Reply::Fate fate = failure ? failure->fate() : Reply::Sent;
    const auto answerInTime = [this, delay, fate, answer = std::move(answer)](Reply reply) {
        reply.fate = fate;
        if (delay.count() == 0)
            return answer(reply);
        environment_->runLoop().after(delay, [answer, reply] { answer(reply); });
    };
    if (failure && !failure->isCarriedOut())
        return answerInTime(failure->reply(exchange.route));
    if (failure && failure->kind == Failure::Reset)
        service_.forgetCursors();
    service_.handle(request, answerInTime);
}

void StandIn::ended(const Exchange& exchange, int status) {
    if (exchange.route.isEmpty())
        return;
    statistics_.ended(exchange.route, status);
    if (!options_.isLogged)
        return;
    const QString answer = status == 0 ? QStringLiteral("no answer") : QString::number(status);
    std::fprintf(stderr, "%s %s\n", qPrintable(exchange.route), qPrintable(answer));
}

} // namespace standin
