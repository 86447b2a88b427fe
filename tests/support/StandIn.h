#pragma once

#include <QByteArray>
#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpSocket>
#include <QUrl>
#include <gtest/gtest.h>

// The cloud service on this machine, as a process of its own: the built program, which lies beside the tests.
class StandIn {
public:
    // Starts it on a free port, or the one in the options, and waits until it listens. Ends with this object.
    explicit StandIn(const QStringList& options = {}) {
        process_.start(program(), QStringList{"--port", "0"} + options);
        EXPECT_TRUE(process_.waitForStarted());
        while (!process_.canReadLine() && process_.waitForReadyRead(20'000))
            continue;
        url_ = QUrl(QString::fromUtf8(process_.readLine()).trimmed());
        EXPECT_TRUE(url_.isValid() && url_.port() > 0) << process_.readAllStandardError().toStdString();
    }
    ~StandIn() { stop(); }

    static QString program() { return QCoreApplication::applicationDirPath() + "/qw-stand-in"; }

    QUrl url() const { return url_; }
    QProcess& process() { return process_; }

    // Asks it to end and waits for that; answers its exit code, or -1 when it crashed. What it had in memory
    // is gone.
    int stop() {
        if (process_.state() != QProcess::NotRunning) {
            process_.terminate();
            EXPECT_TRUE(process_.waitForFinished(20'000));
        }
        return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
    }

    // What has been asked of it so far: docs/stand-in.md. Does not turn the event loop.
    QJsonObject statistics() const {
        QTcpSocket socket;
        socket.connectToHost(url_.host(), quint16(url_.port()));
        EXPECT_TRUE(socket.waitForConnected(20'000));
        socket.write("GET /stand-in/statistics HTTP/1.1\r\nHost: stand-in\r\nConnection: close\r\n\r\n");
        while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead(20'000))
            continue;
        const QByteArray answer = socket.readAll();
        return QJsonDocument::fromJson(answer.mid(answer.indexOf("\r\n\r\n") + 4)).object();
    }
    // Requests of one route, or of all.
    int requests(const QString& route = {}) const {
        const QJsonObject counts = statistics()["requests"].toObject();
        int sum = 0;
        for (auto count = counts.begin(); count != counts.end(); ++count)
            sum += route.isEmpty() || count.key() == route ? count.value().toInt() : 0;
        return sum;
    }

private:
    QProcess process_;
    QUrl url_;
};
