#include "util/NSURLConnection_BlockAddition.h"

#include "platform/QWAssert.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace {

constexpr const char* initialiser =
    "-[NSURLConnection initWithRequest:completionBlock:errorBlock:startImmediately:]";

// Qt reports an error status as an error from 201 on.
bool isAnswer(const QNetworkReply& reply) {
    const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    return reply.error() == QNetworkReply::NoError
           || (status >= 400 && reply.error() >= QNetworkReply::ContentAccessDenied);
}

} // namespace

std::shared_ptr<QWURLConnection> QWURLConnection::create(QNetworkAccessManager& network,
                                                         const QNetworkRequest& request,
                                                         CompletionBlock completionBlock,
                                                         ErrorBlock errorBlock, bool startImmediately) {
    QWAssert(completionBlock, "completionBlock", initialiser);
    QWAssert(errorBlock, "errorBlock", initialiser);
    const std::shared_ptr<QWURLConnection> connection(
        new QWURLConnection(network, request, std::move(completionBlock), std::move(errorBlock)));
    if (startImmediately)
        connection->start();
    return connection;
}

QWURLConnection::QWURLConnection(QNetworkAccessManager& network, const QNetworkRequest& request,
                                 CompletionBlock completionBlock, ErrorBlock errorBlock)
    : network_(network), request_(request), completionBlock_(std::move(completionBlock)),
      errorBlock_(std::move(errorBlock)) {}

void QWURLConnection::start() {
    if (std::exchange(started_, true))
        return;
    QNetworkReply* reply = network_.get(request_);
    // The reply holds the connection until it is deleted.
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [self = shared_from_this(), reply] {
        self->connectionDidReceiveData(reply->readAll());
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [self = shared_from_this(), reply] {
        self->replyFinished(*reply);
        reply->deleteLater();
    });
}

void QWURLConnection::replyFinished(QNetworkReply& reply) {
    const auto fail = [&](QNetworkReply::NetworkError code, const QString& why) {
        connectionDidFailWithError(
            {QStringLiteral("network"), int(code), why, {{QStringLiteral("url"), reply.url()}}});
    };
    if (!isAnswer(reply))
        return fail(reply.error(), reply.errorString());
    connectionDidReceiveData(reply.readAll());
    // Of an error status whose body was cut off, Qt reports the status or the end of the connection, by
    // chance.
    if (connectionData_.size() < reply.header(QNetworkRequest::ContentLengthHeader).toLongLong())
        return fail(QNetworkReply::RemoteHostClosedError, QStringLiteral("the answer was cut off"));
    connectionDidFinishLoading();
}

void QWURLConnection::connectionDidReceiveData(const QByteArray& data) {
    connectionData_.append(data);
}

void QWURLConnection::connectionDidFinishLoading() {
    completionBlock_(*this, connectionData_);
}

void QWURLConnection::connectionDidFailWithError(const QWError& error) {
    errorBlock_(*this, error);
}
