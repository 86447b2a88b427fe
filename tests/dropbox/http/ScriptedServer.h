#pragma once

#include <QHash>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>
#include <deque>
#include <sys/socket.h>
#include <vector>

// A server on loopback that keeps every request and answers the way a test says, byte by byte: the first
// request with the first answer, and so on. A request beyond the last answer waits for one.
class ScriptedServer {
public:
    struct Request {
        QByteArray line;                       // "POST /2/files/upload HTTP/1.1"
        QHash<QByteArray, QByteArray> headers; // by name in lower case
        QByteArray body;
        int connection = 0; // counted from 1
    };
    enum After { KeepsOpen, Closes, Resets };

    explicit ScriptedServer(std::unique_ptr<QTcpServer> server = std::make_unique<QTcpServer>(),
                            const QHostAddress& address = QHostAddress::LocalHost)
        : server_(std::move(server)) {
        QObject::connect(server_.get(), &QTcpServer::pendingConnectionAvailable, server_.get(), [this] {
            while (QTcpSocket* socket = server_->nextPendingConnection())
                accept(socket);
        });
        server_->listen(address);
    }

    QUrl url(const char* scheme = "http") const {
        return QUrl(QStringLiteral("%1://%2:%3")
                        .arg(QLatin1String(scheme), server_->serverAddress().toString())
                        .arg(server_->serverPort()));
    }
    void stopListening() { server_->close(); }

    // The exact bytes of an answer.
    void sendBytes(const QByteArray& bytes, After after = KeepsOpen) {
        answers_.push_back({bytes, after});
        answerNext();
    }
    // The answer to every request that the others are not for.
    void always(const QByteArray& bytes, After after) { usual_ = Answer{bytes, after}; }
    void send(const QByteArray& status, const QByteArray& body, const QByteArray& headers = {}) {
        sendBytes("HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n"
                  + headers + "\r\n" + body);
    }
    void sendJson(const QByteArray& body, const QByteArray& status = "200 OK") {
        send(status, body, "Content-Type: application/json\r\n");
    }

    const std::vector<Request>& requests() const { return requests_; }
    const Request& request(std::size_t number) const { return requests_.at(number); }
    int connections() const { return connections_; }
    int closedConnections() const { return closedConnections_; }

private:
    struct Answer {
        QByteArray bytes;
        After after;
    };

    void accept(QTcpSocket* socket) {
        const int connection = ++connections_;
        QObject::connect(socket, &QTcpSocket::disconnected, socket, [this] { ++closedConnections_; });
        auto received = std::make_shared<QByteArray>();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, received, connection] {
            *received += socket->readAll();
            while (takeRequest(*received, connection))
                waiting_.push_back(socket);
            answerNext();
        });
    }

    bool takeRequest(QByteArray& received, int connection) {
        const qsizetype end = received.indexOf("\r\n\r\n");
        if (end < 0)
            return false;
        Request request;
        request.connection = connection;
        QList<QByteArray> lines = received.left(end).split('\n');
        request.line = lines.takeFirst().trimmed();
        for (const QByteArray& line : lines)
            request.headers[line.left(line.indexOf(':')).toLower()] =
                line.mid(line.indexOf(':') + 1).trimmed();
        const qsizetype length = request.headers.value("content-length").toLongLong();
        if (received.size() < end + 4 + length)
            return false;
        request.body = received.mid(end + 4, length);
        received.remove(0, end + 4 + length);
        requests_.push_back(request);
        return true;
    }

    void answerNext() {
        while (!waiting_.empty() && (usual_ || !answers_.empty())) {
            const Answer answer = answers_.empty() ? *usual_ : answers_.front();
            if (!answers_.empty())
                answers_.pop_front();
            QTcpSocket* const socket = waiting_.front();
            waiting_.pop_front();
            socket->write(answer.bytes);
            socket->flush();
            if (answer.after == Closes)
                socket->disconnectFromHost();
            if (answer.after == Resets)
                reset(*socket);
        }
    }

    // What waits to be sent is dropped, and the other side told of an error.
    static void reset(QTcpSocket& socket) {
        const linger atOnce{1, 0};
        setsockopt(int(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        socket.abort();
    }

    std::unique_ptr<QTcpServer> server_;
    std::deque<Answer> answers_;
    std::optional<Answer> usual_;
    std::deque<QTcpSocket*> waiting_; // for an answer, one place for each request
    std::vector<Request> requests_;
    int connections_ = 0;
    int closedConnections_ = 0;
};
