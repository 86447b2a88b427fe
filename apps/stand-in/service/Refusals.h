#pragma once

#include "http/Messages.h"
#include "platform/QWError.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

namespace standin {

// How a request ends that is not carried out. Thrown by whatever finds out, turned into a reply by `Service`.

// The request cannot be understood: 400 and a line of text.
struct BadRequest {
    QString problem;
};

// The token is not the one that is accepted: 401.
struct BadToken {};

// The route's own error: 409 and JSON. Each tag holds the next one under its name.
struct EndpointError {
    QStringList tags;
    QJsonObject innermost = {}; // further fields beside the last tag
    QJsonObject outermost = {}; // further fields beside the first tag
};

// The app folder cannot be used: 500.
struct Breakdown {
    QString problem;
};

// What the service calls a failure of the app folder, as a lookup or as a write; throws Breakdown for one
// that it has no name for.
QStringList tagsOf(const QWError& error);

// An error body: {".tag": "a", "a": {".tag": "b"}} for the tags a, b. Some routes lay the first tag's content
// out beside it: an upload's "path" holds its reason under "reason".
QJsonObject errorObject(const QString& route, const EndpointError& error);

// A JSON reply with an error of any status. The summary is the chain of tags and up to five dots.
Reply errorReply(int status, const QStringList& tags, const QJsonObject& error);

Reply jsonReply(const QByteArray& json, int status = 200);
Reply jsonReply(const QJsonObject& object, int status = 200);

} // namespace standin
