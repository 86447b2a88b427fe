#pragma once

#include "dropbox/RecordingDelegate.h"
#include "dropbox/http/QWHTTPRestClient.h"
#include "dropbox/http/ScriptedServer.h"
#include "support/EventLoopWait.h"
#include "testing/QWVirtualWorld.h"

#include <QTemporaryDir>
#include <gmock/gmock.h>

// A client of a scripted server, in virtual time, and a directory for local files.
class HTTPClientTest : public testing::Test {
protected:
    static constexpr const char* token = "sl.token-of-this-test";

    void TearDown() override {
        QCoreApplication::processEvents();
        world.runLoop->runDue();
        EXPECT_TRUE(delegate.lines.isEmpty()) << delegate.lines.join(u'\n').toStdString();
    }

    QWHTTPRestClientOptions options() {
        QWHTTPRestClientOptions result;
        result.accessToken = QLatin1String(token);
        result.apiHost = result.contentHost = server.url();
        return result;
    }
    void useClient(const QWHTTPRestClientOptions& with) {
        client = std::make_unique<QWHTTPRestClient>(with, world.environment());
        client->setDelegate(&delegate, &delegate);
    }

    // Lets what is due happen until the condition holds; the time stands still.
    template <class Condition>
    bool wait(Condition condition) {
        return runEventLoopUntil([&] {
            world.runLoop->runDue();
            return condition();
        });
    }
    // The same while the time goes on, a hundred times as fast as the real one.
    template <class Condition>
    bool waitWhileTimePasses(Condition condition) {
        using namespace std::chrono_literals;
        QTimer tick;
        QObject::connect(&tick, &QTimer::timeout, &tick, [this] { world.runLoop->advance(100ms); });
        tick.start(1ms);
        return wait(condition);
    }
    bool waitForRequests(std::size_t count) {
        return wait([&] { return server.requests().size() >= count; });
    }
    // The next answers to the delegate, so many of them.
    QStringList answers(qsizetype count = 1) {
        EXPECT_TRUE(wait([&] { return delegate.lines.size() >= count; }));
        return std::exchange(delegate.lines, {});
    }
    // The message of the only error so far.
    QString message() const {
        return delegate.errors.size() == 1 ? delegate.errors[0].message : QString("no error");
    }

    QString localFile(const QString& name, const QByteArray& bytes) {
        const QString path = directory.filePath(name);
        EXPECT_TRUE(world.files->write(path, bytes));
        return path;
    }
    QByteArray bytesAt(const QString& name) const {
        return world.files->read(directory.filePath(name)).value_or("nothing");
    }
    QStringList localFiles() const {
        return QDir(directory.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    static QByteArray fileJson(const QByteArray& path, qint64 size, const QByteArray& more = {}) {
        return R"({"name":"x","path_lower":")" + path.toLower() + R"(","path_display":")" + path
               + R"(","id":"id:1","client_modified":"2024-01-02T03:04:05Z","server_modified":"2024-05-06T07:08:09Z",)"
                 R"("rev":"0123456789abc","size":)"
               + QByteArray::number(size) + more + "}";
    }
    void sendFile(const QByteArray& result, const QByteArray& body) {
        server.send("200 OK", body,
                    "Content-Type: application/octet-stream\r\nDropbox-API-Result: " + result + "\r\n");
    }
    void sendConflict(const QByteArray& error) {
        server.sendJson(R"({"error_summary":"summary/...","error":)" + error + "}", "409 Conflict");
    }

    QTemporaryDir directory;
    QWVirtualWorld world;
    ScriptedServer server;
    RecordingDelegate delegate;
    std::unique_ptr<QWHTTPRestClient> client = [this] {
        auto made = std::make_unique<QWHTTPRestClient>(options(), world.environment());
        made->setDelegate(&delegate, &delegate);
        return made;
    }();
};
