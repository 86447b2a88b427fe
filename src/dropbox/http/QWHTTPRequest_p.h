#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <memory>

class QWFileDownload;

// What a request does: that decides the host, the form, and which waits it has to keep.
enum class QWHTTPLane {
    Query,    // asks the API host
    Change,   // changes something there
    Upload,   // sends bytes to the content host
    Download, // fetches bytes from it
};

struct QWHTTPRequest {
    QString route; // "files/delete_v2"
    QJsonObject argument;
    QByteArray body = {};                          // of an upload
    std::shared_ptr<QWFileDownload> download = {}; // where the bytes of a download go
};

struct QWHTTPAnswer {
    int status = 0;       // HTTP; 0: no whole answer came
    QByteArray body = {}; // empty where the bytes went to a file
    QByteArray contentType = {};
    QByteArray retryAfter = {};
    QString trouble = {};  // what came instead of an answer, or what this client has against one
    QString host = {};     // who was asked
    QByteArray token = {}; // that went with the request: no text may show it
};
