#include "dropbox/http/QWHTTPExchange_p.h"

#include "dropbox/http/QWFileDownload_p.h"

#include <QNetworkReply>

namespace {

// Far above any page of changes.
constexpr qsizetype longestBody = 64 * 1024 * 1024;
// A trickle is as good as nothing: a request that lived on it would hold up whatever waits for it.
constexpr qint64 leastMove = 1024;

int statusOf(const QNetworkReply& reply) {
    return reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

// Qt reports a status from 400 on as an error of its own, above those of the connection.
bool hasAnswered(const QNetworkReply& reply) {
    const auto error = reply.error();
    return statusOf(reply) > 0
           && (error == QNetworkReply::NoError
               || (error >= QNetworkReply::ContentAccessDenied && error != QNetworkReply::ProtocolFailure));
}

} // namespace

QWHTTPExchange::QWHTTPExchange(QNetworkReply& reply, const std::shared_ptr<QWFileDownload>& download,
                               QWRunLoop& runLoop, QWRunLoop::Duration stallLimit, Completion completion)
    : reply_(&reply), download_(download), runLoop_(runLoop), stallLimit_(stallLimit),
      completion_(std::move(completion)), lastMove_(runLoop.now()) {
    QObject::connect(reply_, &QNetworkReply::uploadProgress, &listener_,
                     [this](qint64 sent) { moved(sent - std::exchange(bytesSent_, sent)); });
    QObject::connect(reply_, &QNetworkReply::readyRead, &listener_, [this] { readBytes(); });
    QObject::connect(reply_, &QNetworkReply::finished, &listener_, [this] { finished(); });
    watchForStall();
}

QWHTTPExchange::~QWHTTPExchange() {
    watch_.cancel();
    answer_.cancel();
    if (reply_)
        dropReply();
}

void QWHTTPExchange::dropReply() {
    // Not all of its signals: by some of them it breaks itself off.
    QObject::disconnect(reply_, nullptr, &listener_, nullptr);
    if (!reply_->isFinished())
        reply_->abort();
    reply_->deleteLater();
    reply_ = nullptr;
}

bool QWHTTPExchange::bringsFile() const {
    return download_ && statusOf(*reply_) == 200;
}

void QWHTTPExchange::moved(qint64 bytes) {
    movedSince_ += bytes;
    if (movedSince_ < leastMove)
        return;
    movedSince_ = 0;
    lastMove_ = runLoop_.now();
}

void QWHTTPExchange::readBytes() {
    const QByteArray bytes = reply_->readAll();
    moved(bytes.size());
    if (!bringsFile()) {
        body_ += bytes;
        if (body_.size() > longestBody)
            end({.trouble = QStringLiteral("an answer without end came")});
        return;
    }
    QWError error;
    const bool isTaken =
        (download_->hasBegun() || download_->begin(reply_->rawHeader("Dropbox-API-Result"), &error))
        && download_->add(bytes, &error);
    if (!isTaken)
        end({.trouble = error.message});
}

void QWHTTPExchange::finished() {
    readBytes();
    if (!reply_)
        return;
    if (!hasAnswered(*reply_))
        return end({.trouble = QStringLiteral("no answer came: %1").arg(reply_->errorString())});
    // Of a refusal whose body was cut off, Qt reports the status or the end of the connection, by chance.
    if (!bringsFile() && body_.size() < reply_->header(QNetworkRequest::ContentLengthHeader).toLongLong())
        return end({.trouble = QStringLiteral("only a part of the answer came")});
    end({.status = statusOf(*reply_),
         .body = body_,
         .contentType = reply_->rawHeader("Content-Type"),
         .retryAfter = reply_->rawHeader("Retry-After")});
}

void QWHTTPExchange::end(QWHTTPAnswer answer) {
    watch_.cancel();
    dropReply();
    answer_ = runLoop_.post(
        [completion = std::move(completion_), answer = std::move(answer)] { completion(answer); });
}

void QWHTTPExchange::watchForStall() {
    watch_ = runLoop_.after(lastMove_ + stallLimit_ - runLoop_.now(), [this] {
        if (runLoop_.now() - lastMove_ < stallLimit_)
            return watchForStall();
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(stallLimit_).count();
        end({.trouble = QStringLiteral("less than 1 KiB has moved for %1 seconds").arg(seconds)});
    });
}
