#pragma once

#include "http/Messages.h"

namespace standin {

// Reads one HTTP/1.1 request from bytes as they come. The body, chunked or not, goes into the request's
// spool.
class RequestReader {
public:
    enum Problem { NoProblem, Malformed, HeadTooLong, BodyTooLong };

    static constexpr quint32 longestHead = 64 * 1024;
    static constexpr quint64 longestBody = 150 * 1024 * 1024; // the service's limit for one call

    RequestReader();
    ~RequestReader();

    // Takes what it can use and answers how much: it stops after the head, and after the body. What it has
    // not taken is to be given again, with more behind it.
    qsizetype take(QByteArrayView bytes);

    Problem problem() const { return problem_; }
    bool hasHead() const;
    bool isWhole() const;
    // Holds everything but the body once there is a head, the body too when the request is whole.
    const Request& request() const { return request_; }

private:
    struct Parser;

    std::unique_ptr<Parser> parser_;
    Request request_;
    Problem problem_ = NoProblem;
};

// Writes one reply piece by piece.
class ReplyWriter {
public:
    ReplyWriter(const Reply& reply, bool keepsAlive);
    ~ReplyWriter();

    bool isDone() const;
    // The next piece of the head or body, of moderate size.
    QByteArray next();

private:
    struct Serializer;

    std::shared_ptr<Spool> body_;
    std::unique_ptr<Serializer> serializer_;
};

} // namespace standin
