#pragma once

#include "Options.h"
#include "Statistics.h"
#include "http/Connection.h"
#include "service/Service.h"

#include <QTcpServer>

namespace standin {

// The program: a service, a server socket on 127.0.0.1, and what makes requests late or fail.
class StandIn final : public RequestHandler {
public:
    // Nothing is served before `listen`.
    StandIn(Options options, std::shared_ptr<QWAppFolder> folder, std::shared_ptr<QWEnvironment> environment);

    bool listen(QWError* error);
    QString url() const;

private:
    Exchange began(const Request& head) override;
    void handle(const Exchange& exchange, const Request& request,
                std::function<void(const Reply&)> answer) override;
    void ended(const Exchange& exchange, int status) override;

    Options options_;
    std::shared_ptr<QWEnvironment> environment_;
    Service service_;
    Statistics statistics_;
    QTcpServer server_;
    QObject connections_; // their parent; goes first, as they report to all the rest
};

} // namespace standin
