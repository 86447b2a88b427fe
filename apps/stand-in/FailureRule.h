#pragma once

#include "http/Messages.h"

#include <QString>
#include <QStringList>
#include <chrono>
#include <limits>
#include <random>

namespace standin {

// What the command line asks for and cannot have; the message says what is wrong.
struct UsageError {
    QString message;
};

// What is done to a request instead of serving it well.
struct Failure {
    enum Kind {
        Status, // answered with that status, and not carried out
        HTML,   // answered with a page, as by a network that wants a login; not carried out
        Empty,  // answered with nothing in the body; not carried out
        Drop,   // the connection is closed once the request's head is there; not carried out
        Lost,   // carried out, then the connection is closed
        Cut,    // carried out, then half of the answer is sent
        Delay,  // carried out
        Reset,  // every cursor is forgotten, then it is carried out
    };
    Kind kind = Status;
    int status = 0;
    QString tags;                     // of an error in JSON: "path/insufficient_space"
    bool isPlain = false;             // the error is text where the service may answer either
    std::optional<qint64> retryAfter; // seconds
    std::chrono::milliseconds delay{0};

    // The answer of a request that is not carried out.
    Reply reply(const QString& route) const;
    // What happens to the answer of any request.
    Reply::Fate fate() const { return kind == Lost ? Reply::Lost : kind == Cut ? Reply::Cut : Reply::Sent; }
    bool isCarriedOut() const { return kind == Lost || kind == Cut || kind == Delay || kind == Reset; }
};

// When a failure happens: KIND[:NAME=VALUE,…], as docs/stand-in.md describes it. Counts the requests of its
// route, and chooses by them alone, so that the same requests meet the same failures.
class FailureRule {
public:
    // `routes` are those that a rule can name. Throws UsageError.
    FailureRule(const QString& text, const QStringList& routes);

    const Failure& failure() const { return failure_; }
    // Another request has come: whether this failure happens to it.
    bool strikes(const QString& route);

private:
    bool parseKind(const QString& kind);
    void parseSelector(const QString& text, const QStringList& routes);

    Failure failure_;
    QString route_;                         // empty: all
    qint64 nth_ = 0, every_ = 1, from_ = 1; // nth 0: not only one
    qint64 to_ = std::numeric_limits<qint64>::max();
    qint64 count_ = std::numeric_limits<qint64>::max();
    double rate_ = 1;
    std::mt19937_64 random_{1};
    qint64 seen_ = 0, struck_ = 0;
};

} // namespace standin
