#include "http/Connection.h"

#include <QPointer>
#include <QTcpSocket>
#include <utility>

namespace standin {

namespace {
constexpr qint64 mostUnread = 256 * 1024;
constexpr qint64 mostUnsent = 256 * 1024;
} // namespace

Connection::Connection(QTcpSocket* socket, RequestHandler& handler, QObject* parent)
    : QObject(parent), socket_(socket), handler_(handler) {
    socket_->setParent(this);
    socket_->setReadBufferSize(mostUnread);
    socket_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    connect(socket_, &QTcpSocket::readyRead, this, &Connection::read);
    connect(socket_, &QTcpSocket::bytesWritten, this, &Connection::write);
    connect(socket_, &QTcpSocket::disconnected, this, [this] {
        end(0);
        deleteLater();
    });
}

Connection::~Connection() {
    socket_->disconnect(this);
}

void Connection::read() {
    while (!isAnswering_ && socket_->state() == QAbstractSocket::ConnectedState) {
        received_ += socket_->readAll();
        if (received_.isEmpty())
            return;
        const qsizetype taken = reader_->take(received_);
        received_.remove(0, taken);
        if (reader_->hasHead() && !exchange_ && !begin())
            return;
        switch (reader_->problem()) {
        case RequestReader::NoProblem:
            break;
        case RequestReader::Malformed:
            return refuse(400, QStringLiteral("This is no HTTP request."));
        case RequestReader::HeadTooLong:
            return refuse(431, QStringLiteral("The headers are too long."));
        case RequestReader::BodyTooLong:
            return refuse(413, QStringLiteral("The body is too long."));
        }
        if (reader_->isWhole()) {
            isAnswering_ = true;
            // Copies: the answer may come within the call, and then both are over.
            const Exchange exchange = *exchange_;
            const Request request = reader_->request();
            keepsAlive_ = request.keepsAlive;
            handler_.handle(exchange, request, [self = QPointer(this)](const Reply& reply) {
                if (self && self->exchange_)
                    self->answer(reply);
            });
        } else if (taken == 0 && socket_->bytesAvailable() == 0) {
            return;
        }
    }
}

// False when the connection is closed instead.
bool Connection::begin() {
    exchange_ = handler_.began(reader_->request());
    if (exchange_->isDropped) {
        socket_->abort();
        return false;
    }
    const auto expectation = reader_->request().header("Expect");
    if (expectation && expectation->compare("100-continue", Qt::CaseInsensitive) == 0 && !reader_->isWhole())
        socket_->write("HTTP/1.1 100 Continue\r\n\r\n");
    return true;
}

void Connection::answer(const Reply& reply) {
    if (reply.fate == Reply::Lost)
        return socket_->abort();
    status_ = reply.fate == Reply::Sent ? reply.status : 0;
    send(reply, reply.fate == Reply::Sent && keepsAlive_);
}

void Connection::refuse(int status, const QString& text) {
    isAnswering_ = true;
    status_ = status;
    send(Reply::text(status, text), false);
}

void Connection::send(const Reply& reply, bool keepsAlive) {
    keepsAlive_ = keepsAlive;
    writer_ = std::make_unique<ReplyWriter>(reply, keepsAlive);
    write();
}

void Connection::write() {
    while (writer_ && socket_->bytesToWrite() < mostUnsent) {
        socket_->write(writer_->next());
        if (!writer_->isDone())
            continue;
        writer_.reset();
        end(status_);
        if (!keepsAlive_)
            return socket_->disconnectFromHost();
        reader_ = std::make_unique<RequestReader>();
        isAnswering_ = false;
        // Not from here: an answer may be given within the call that reads.
        if (!received_.isEmpty() || socket_->bytesAvailable() > 0)
            QMetaObject::invokeMethod(this, &Connection::read, Qt::QueuedConnection);
    }
}

void Connection::end(int status) {
    if (const auto exchange = std::exchange(exchange_, std::nullopt))
        handler_.ended(*exchange, status);
}

} // namespace standin
