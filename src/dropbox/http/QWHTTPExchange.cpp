#include "dropbox/http/QWHTTPExchange_p.h"

#include "dropbox/http/QWFileDownload_p.h"

namespace {

// Far above any page of changes.
constexpr qsizetype longestBody = 64 * 1024 * 1024;
// A trickle is as good as nothing: a request that lived on it would hold up whatever waits for it.
constexpr qint64 leastMove = 1024;

} // namespace

QWHTTPExchange::QWHTTPExchange(const std::shared_ptr<QWFileDownload>& download, QWRunLoop& runLoop,
                               QWRunLoop::Duration stallLimit, Completion completion)
    : download_(download), runLoop_(runLoop), stallLimit_(stallLimit), completion_(std::move(completion)),
      lastMove_(runLoop.now()) {
    watchForStall();
}

QWHTTPExchange::~QWHTTPExchange() {
    watch_.cancel();
    answer_.cancel();
}

void QWHTTPExchange::begin(QWHTTPWire& wire, const QWHTTPPost& post) {
    transfer_ = wire.post(post, *this);
    // Not after all that is due in this turn: the service can be at work meanwhile.
    wire.push();
}

void QWHTTPExchange::sent(qint64 bytes) {
    // Less than before when the request is sent again.
    moved(std::max<qint64>(0, bytes - std::exchange(bytesSent_, bytes)));
}

void QWHTTPExchange::headCame(const QWHTTPHead& head) {
    head_ = head;
    QWError error;
    if (bringsFile() && !download_->begin(head_.result, &error))
        objection_ = error.message;
}

bool QWHTTPExchange::bytesCame(const QByteArray& bytes) {
    moved(bytes.size());
    return objection_.isEmpty() && take(bytes);
}

bool QWHTTPExchange::take(const QByteArray& bytes) {
    QWError error;
    if (bringsFile()) {
        if (!download_->add(bytes, &error))
            objection_ = error.message;
    } else {
        body_ += bytes;
        if (body_.size() > longestBody)
            objection_ = QStringLiteral("an answer without end came");
    }
    return objection_.isEmpty();
}

void QWHTTPExchange::ended(const QString& trouble) {
    if (!objection_.isEmpty())
        return end({.trouble = objection_});
    if (!trouble.isEmpty())
        return end({.trouble = (head_.status > 0 ? QStringLiteral("only a part of the answer came: %1")
                                                 : QStringLiteral("no answer came: %1"))
                                   .arg(trouble)});
    end({.status = head_.status,
         .body = body_,
         .contentType = head_.contentType,
         .retryAfter = head_.retryAfter});
}

void QWHTTPExchange::moved(qint64 bytes) {
    movedSince_ += bytes;
    if (movedSince_ < leastMove)
        return;
    movedSince_ = 0;
    lastMove_ = runLoop_.now();
}

void QWHTTPExchange::end(QWHTTPAnswer answer) {
    watch_.cancel();
    transfer_.reset();
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
