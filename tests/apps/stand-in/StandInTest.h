#pragma once

#include "support/StandIn.h"

#include <QJsonArray>
#include <QMap>
#include <QTemporaryDir>
#include <gmock/gmock.h>

// What came back, as it stood on the wire.
struct HTTPAnswer {
    int status = 0;                       // 0: the connection was closed without a whole head
    QMap<QByteArray, QByteArray> headers; // names in lower case
    QByteArray body;
    bool isWhole = false; // the body is as long as the head says

    QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    // A value in the depth of the JSON: "error/path/.tag", "entries/0/name".
    QJsonValue field(const QString& path) const {
        QJsonValue value = json();
        for (const QString& name : path.split('/'))
            value = value.isArray() ? value.toArray().at(name.toInt()) : value.toObject().value(name);
        return value;
    }
    QString summary() const { return json()["error_summary"].toString(); }
};

// A connection that sends exactly the bytes that it is told to. Waits without turning the event loop.
class RawConnection {
public:
    explicit RawConnection(const QUrl& url) {
        socket_.connectToHost(url.host(), quint16(url.port()));
        EXPECT_TRUE(socket_.waitForConnected(limit));
    }

    void send(const QByteArray& bytes) {
        socket_.write(bytes);
        while (socket_.bytesToWrite() > 0 && socket_.waitForBytesWritten(limit))
            continue;
    }
    HTTPAnswer receive() {
        HTTPAnswer answer;
        while (!buffer_.contains("\r\n\r\n")) {
            if (!readMore())
                return answer;
        }
        const qsizetype end = buffer_.indexOf("\r\n\r\n");
        QList<QByteArray> lines = buffer_.left(end).split('\n');
        buffer_.remove(0, end + 4);
        answer.status = lines.takeFirst().split(' ').value(1).toInt();
        for (const QByteArray& line : lines) {
            const qsizetype colon = line.indexOf(':');
            answer.headers[line.left(colon).toLower()] = line.mid(colon + 1).trimmed();
        }
        if (answer.status == 100)
            return answer;
        const qsizetype length = answer.headers["content-length"].toLongLong();
        while (buffer_.size() < length && readMore())
            continue;
        answer.isWhole = buffer_.size() >= length;
        answer.body = buffer_.left(length);
        buffer_.remove(0, length);
        return answer;
    }
    bool isClosed() { return socket_.state() != QAbstractSocket::ConnectedState || !readMore(); }

private:
    static constexpr int limit = 60'000;

    bool readMore() {
        if (socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(limit))
            return false;
        buffer_ += socket_.readAll();
        return true;
    }

    QTcpSocket socket_;
    QByteArray buffer_;
};

using HeaderLines = QList<QByteArray>;

// A stand-in, and calls of its routes. The calls of a test share a connection for as long as it lasts.
class StandInTest : public ::testing::Test {
protected:
    void start(const QStringList& options = {}) {
        connection_.reset();
        standIn = std::make_unique<StandIn>(options);
    }

    static QByteArray compact(const QJsonObject& object) {
        return QJsonDocument(object).toJson(QJsonDocument::Compact);
    }
    static QByteArray requestText(const QByteArray& target, const HeaderLines& headers,
                                  const QByteArray& body, const QByteArray& method = "POST") {
        QByteArray text = method + ' ' + target + " HTTP/1.1\r\nHost: stand-in\r\n";
        for (const QByteArray& header : headers)
            text += header + "\r\n";
        return text + "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
    }

    HTTPAnswer request(const QByteArray& target, const HeaderLines& headers, const QByteArray& body,
                       const QByteArray& method = "POST") {
        if (!connection_)
            connection_ = std::make_unique<RawConnection>(standIn->url());
        connection_->send(requestText(target, headers, body, method));
        const HTTPAnswer answer = connection_->receive();
        if (!answer.isWhole || answer.headers["connection"] == "close")
            connection_.reset();
        return answer;
    }
    HTTPAnswer rpc(const QByteArray& route, const QJsonObject& argument) {
        return request("/2/" + route, {bearer, json}, compact(argument));
    }
    HTTPAnswer content(const QByteArray& route, const QJsonObject& argument, const QByteArray& body) {
        return request("/2/" + route, {bearer, bytes, "Dropbox-API-Arg: " + compact(argument)}, body);
    }
    HTTPAnswer upload(const QString& path, const QByteArray& body, QJsonObject argument = {}) {
        argument["path"] = path;
        return content("files/upload", argument, body);
    }
    HTTPAnswer download(const QString& path) {
        return request("/2/files/download", {bearer, "Dropbox-API-Arg: " + compact({{"path", path}})}, {});
    }
    // A page of a listing; its entries, each as its path, deleted ones with "-" before it.
    HTTPAnswer list(const QString& cursor = {}) {
        return cursor.isEmpty() ? rpc("files/list_folder", {{"path", ""}, {"recursive", true}})
                                : rpc("files/list_folder/continue", {{"cursor", cursor}});
    }
    static QStringList entriesOf(const HTTPAnswer& page) {
        QStringList texts;
        for (const QJsonValue& entry : page.json()["entries"].toArray())
            texts += (entry[QStringLiteral(".tag")] == QLatin1String("deleted") ? "-" : "")
                     + entry[QStringLiteral("path_display")].toString();
        return texts;
    }
    static QString cursorOf(const HTTPAnswer& page) { return page.json()["cursor"].toString(); }
    // The error of a 409, without the dots of its summary.
    static QString conflict(const HTTPAnswer& answer) {
        EXPECT_EQ(answer.status, 409) << answer.body.toStdString();
        QString summary = answer.summary();
        while (summary.endsWith('.'))
            summary.chop(1);
        return summary;
    }
    // A call that the service cannot read: answered 400 in plain text; the text.
    static std::string bad(const HTTPAnswer& answer) {
        EXPECT_EQ(answer.status, 400);
        EXPECT_TRUE(answer.headers["content-type"].startsWith("text/plain"));
        return answer.body.toStdString();
    }

    const QByteArray bearer = "Authorization: Bearer anything";
    const QByteArray json = "Content-Type: application/json";
    const QByteArray bytes = "Content-Type: application/octet-stream";
    std::unique_ptr<StandIn> standIn;

private:
    std::unique_ptr<RawConnection> connection_;
};
