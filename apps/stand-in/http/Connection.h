#pragma once

#include "http/Codec.h"

#include <QObject>
#include <QString>
#include <functional>

class QTcpSocket;

namespace standin {

struct Failure;

// What is on its way between the head of a request and the end of its answer.
struct Exchange {
    QString route;
    bool isDropped = false;           // the connection is closed before the body is read
    const Failure* failure = nullptr; // what the handler does to it on purpose, if anything
};

// What connections ask of the program that they belong to.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;

    // The head of a request has come.
    virtual Exchange began(const Request& head) = 0;
    // The request is whole. Calls `answer` once, now or later.
    virtual void handle(const Exchange& exchange, const Request& request,
                        std::function<void(const Reply&)> answer) = 0;
    // Every exchange that began ends. Status 0: the client got no answer, or not the whole of it.
    virtual void ended(const Exchange& exchange, int status) = 0;
};

// One client's connection. Requests are answered one after the other, in the order in which they come; the
// next one is read when the answer has left. Deletes itself when the connection ends.
class Connection final : public QObject {
public:
    // Takes the socket over. The handler outlives the connection.
    Connection(QTcpSocket* socket, RequestHandler& handler, QObject* parent);
    ~Connection() override;

private:
    void read();
    bool begin();
    void answer(const Reply& reply);
    void refuse(int status, const QString& text);
    void send(const Reply& reply, bool keepsAlive);
    void write();
    void end(int status);

    QTcpSocket* socket_;
    RequestHandler& handler_;
    QByteArray received_; // not yet taken by the reader
    std::unique_ptr<RequestReader> reader_ = std::make_unique<RequestReader>();
    std::optional<Exchange> exchange_;
    bool isAnswering_ = false; // nothing is read meanwhile
    std::unique_ptr<ReplyWriter> writer_;
    int status_ = 0; // of the answer being written, when it is written whole
    bool keepsAlive_ = true;
};

} // namespace standin
