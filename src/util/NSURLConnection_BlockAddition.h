#pragma once

#include "platform/QWError.h"

#include <QNetworkRequest>
#include <functional>
#include <memory>

class QNetworkAccessManager;
class QNetworkReply;

// One request, whose whole answer comes to one of two callbacks: exactly one is called, once, on the thread
// of the network access manager. As long as the manager lives, a started connection keeps itself until then;
// the callbacks and the bytes received live as long as the connection.
class QWURLConnection final : public std::enable_shared_from_this<QWURLConnection> {
public:
    // `data` is the body. An HTTP error status is an answer too: it completes, with the bytes that came.
    using CompletionBlock = std::function<void(QWURLConnection& connection, const QByteArray& data)>;
    // Domain "network", the code a QNetworkReply::NetworkError, userInfo "url". Bytes received before are
    // dropped.
    using ErrorBlock = std::function<void(QWURLConnection& connection, const QWError& error)>;

    // A GET of `request`. Both callbacks must be given.
    static std::shared_ptr<QWURLConnection> create(QNetworkAccessManager& network,
                                                   const QNetworkRequest& request,
                                                   CompletionBlock completionBlock, ErrorBlock errorBlock,
                                                   bool startImmediately = true);

    // Sends the request of a connection that was not started immediately; later calls do nothing.
    void start();

private:
    QWURLConnection(QNetworkAccessManager& network, const QNetworkRequest& request,
                    CompletionBlock completionBlock, ErrorBlock errorBlock);

    void connectionDidReceiveData(const QByteArray& data);
    void connectionDidFinishLoading();
    void connectionDidFailWithError(const QWError& error);
    void replyFinished(QNetworkReply& reply);

    QNetworkAccessManager& network_;
    const QNetworkRequest request_;
    const CompletionBlock completionBlock_;
    const ErrorBlock errorBlock_;
    QByteArray connectionData_;
    bool started_ = false;
};
