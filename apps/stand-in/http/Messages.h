#pragma once

#include "http/Spool.h"

#include <QByteArray>
#include <QUrl>
#include <QUrlQuery>
#include <optional>
#include <utility>
#include <vector>

namespace standin {

using Header = std::pair<QByteArray, QByteArray>;

struct Request {
    QByteArray method;
    QUrl target; // path and query
    std::vector<Header> headers;
    bool keepsAlive = true; // the client wants the connection to stay
    std::shared_ptr<Spool> body = std::make_shared<Spool>();

    // Nothing when the request does not have it. Letter case does not count.
    std::optional<QByteArray> header(const char* name) const;
};

struct Reply {
    enum Fate {
        Sent,
        Cut,  // half of the body is sent, then the connection is closed
        Lost, // nothing is sent, the connection is closed
    };
    int status = 200;
    std::vector<Header> headers;
    std::shared_ptr<Spool> body = std::make_shared<Spool>();
    Fate fate = Sent;

    static Reply text(int status, const QString& text, const char* contentType = "text/plain; charset=utf-8");
};

} // namespace standin
