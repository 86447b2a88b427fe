#pragma once

#include "dropbox/DBMetadata.h"
#include "dropbox/http/QWHTTPRequest_p.h"
#include "platform/QWError.h"
#include "platform/QWRunLoop.h"

#include <QList>
#include <QStringList>
#include <optional>

// What the service's answers mean. Nothing is taken for granted: what is not of the form that the service
// gives is nothing.
namespace qw::http {

std::optional<QJsonObject> jsonObject(const QByteArray& text);

// Of a file or a folder; `tag` says which where the object itself does not.
std::optional<DBMetadata> metadata(const QJsonObject& object, const QString& tag = {});
std::optional<DBMetadata> fileMetadata(const QByteArray& text);

struct Page {
    struct Entry {
        QString lowercasePath;
        std::optional<DBMetadata> metadata; // none: deleted
    };
    QList<Entry> entries;
    QString cursor;
    bool hasMore = false;
};
std::optional<Page> page(const QByteArray& text);

// The tags of a refusal (409 and 429), the outer one first: "path", "conflict", "file".
QStringList errorTags(const QWHTTPAnswer& answer);

// The argument of an upload or a download as header text, which is ASCII.
QByteArray headerText(const QJsonObject& argument);

// The wait that an answer asks for.
struct Pause {
    enum Scope {
        Request,    // nobody else is concerned
        Changes,    // whatever writes
        Host,       // whatever goes to the same host
        Everything, // whatever bears this token
    };
    Scope scope = Request;
    std::optional<QWRunLoop::Duration> length; // none: the service names none
};
std::optional<Pause> pauseAskedFor(const QWHTTPAnswer& answer, const QDateTime& now);

// The error of an answer that is none of the expected ones. `task` says what was asked: "Deleting /a".
QWError failure(const QString& task, const QWHTTPAnswer& answer, const QVariantMap& userInfo);

} // namespace qw::http
