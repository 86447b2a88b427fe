#pragma once

#include "AtlasFixture.h"

#include "model/ISOImport.h"
#include "support/Images.h"
#include "support/StandIn.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <csignal>
#include <gmock/gmock.h>

// How a run of the program ended.
struct AtlasRun {
    int exitCode = -1; // -1: it crashed, was killed or did not end
    QString out, err;

    // What it printed, without the end of the last line.
    QString line() const { return out.trimmed(); }
    QJsonDocument json() const { return QJsonDocument::fromJson(out.toUtf8()); }
};

// A process that runs one of the built programs; `prepare` may change it first.
inline std::unique_ptr<QProcess> startProgram(const QString& name, const QStringList& arguments,
                                              const std::function<void(QProcess&)>& prepare = {}) {
    auto process = std::make_unique<QProcess>();
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "C.UTF-8");
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    process->setProcessEnvironment(environment);
    if (prepare)
        prepare(*process);
    process->start(QCoreApplication::applicationDirPath() + '/' + name, arguments);
    EXPECT_TRUE(process->waitForStarted());
    return process;
}

// Sets a variable of the environment that a process will have.
inline void setVariable(QProcess& process, const QString& name, const QString& value) {
    auto environment = process.processEnvironment();
    environment.insert(name, value);
    process.setProcessEnvironment(environment);
}

// Waits for a line that holds `text`; false when the process ends without it.
inline bool waitForLine(QProcess& process, const QByteArray& text,
                        QProcess::ProcessChannel channel = QProcess::StandardError) {
    process.setReadChannel(channel);
    do {
        while (process.canReadLine())
            if (process.readLine().contains(text))
                return true;
    } while (process.waitForReadyRead(120'000));
    return false;
}

// One desktop: a library that the built programs work on.
class Desktop {
public:
    explicit Desktop(const QString& library) : library_(library) {}

    const QString& library() const { return library_; }
    // Of the environment of its commands.
    void setVariables(const QMap<QString, QString>& variables) { variables_ = variables; }
    QString file(const QString& name) const { return library_ + '/' + name; }

    // A process that runs a command.
    std::unique_ptr<QProcess> start(const QStringList& command,
                                    const std::function<void(QProcess&)>& prepare = {}) const {
        return startProgram("atlas", QStringList{"--library", library_} + command, [&](QProcess& process) {
            for (auto variable = variables_.begin(); variable != variables_.end(); ++variable)
                setVariable(process, variable.key(), variable.value());
            if (prepare)
                prepare(process);
        });
    }
    // The window; it says "in step" on stderr.
    std::unique_ptr<QProcess> startWindow() const {
        return startProgram("atlas-desktop", {"--library", library_}, [](QProcess& process) {
            setVariable(process, "QT_LOGGING_RULES", "atlas.cloud.info=true");
        });
    }
    static AtlasRun finish(QProcess& process) {
        const bool ended = (process.state() == QProcess::NotRunning || process.waitForFinished(120'000))
                           && process.exitStatus() == QProcess::NormalExit;
        return {ended ? process.exitCode() : -1, QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    AtlasRun run(const QStringList& command, const std::function<void(QProcess&)>& prepare = {}) const {
        return finish(*start(command, prepare));
    }
    // Syncs once, but interrupts it when it says that it waits for a better day of the cloud's.
    AtlasRun syncUntilFailure() const {
        const auto process = start({"sync", "--once", "--timeout", "60"});
        process->setReadChannel(QProcess::StandardError);
        while (process->waitForReadyRead(60'000) && !process->peek(10'000).contains("trying again"))
            continue;
        if (process->state() == QProcess::Running)
            ::kill(static_cast<pid_t>(process->processId()), SIGINT);
        return finish(*process);
    }
    // Runs a command that must succeed; answers what it printed.
    QString tell(const QStringList& command) const {
        const AtlasRun run = this->run(command);
        EXPECT_EQ(run.exitCode, 0) << qPrintable(command.join(' ') + ": " + run.err);
        return run.line();
    }
    // Runs a command that must fail with exit code 1; answers the reason.
    std::string fails(const QStringList& command, const std::function<void(QProcess&)>& prepare = {}) const {
        const AtlasRun run = this->run(command, prepare);
        EXPECT_EQ(run.exitCode, 1) << qPrintable(command.join(' ') + ": " + run.out + run.err);
        EXPECT_TRUE(run.err.startsWith("atlas: ")) << qPrintable(run.err);
        return run.err.toStdString();
    }

    void importISO(const ISOFixture& iso) const {
        tell({"import", "iso", "--tables", iso.path(), "--flags", iso.flagsPath()});
    }
    QJsonObject show(const QString& uuid) const {
        return QJsonDocument::fromJson(tell({"show", uuid, "--json"}).toUtf8()).object();
    }
    int count(const QString& entity) const {
        return static_cast<int>(tell({"list", entity}).split('\n', Qt::SkipEmptyParts).size());
    }
    QJsonObject status() const {
        return QJsonDocument::fromJson(tell({"status", "--json"}).toUtf8()).object();
    }
    int waiting() const { return status()["waiting"].toInt(); }
    QString digest() const { return tell({"digest"}); }
    // Makes the flags older than anything that the cloud will date within this second: its dates are whole
    // seconds.
    void ageFlags() const {
        for (const QFileInfo& flag : QDir(file("images")).entryInfoList(QDir::Files)) {
            QFile image(flag.filePath());
            EXPECT_TRUE(image.open(QIODevice::ReadWrite)
                        && image.setFileTime(atlas::importedDate(), QFileDevice::FileModificationTime));
        }
    }

private:
    QString library_;
    QMap<QString, QString> variables_;
};

// The cloud between the desktops: a directory, which they use themselves ("folder") or through a server of
// the service's API ("http").
class TestCloud {
public:
    static constexpr const char* token = "sl.token-of-these-tests";

    TestCloud(const QString& directory, const std::string& kind)
        : directory_(directory), isHTTP_(kind == "http") {
        start();
    }

    // Starts the server, in its old place when it was there before.
    void start(const QStringList& options = {}) {
        if (!isHTTP_)
            return;
        const QString port = server_ ? QString::number(server_->url().port()) : QString("0");
        server_.reset();
        server_ = std::make_unique<StandIn>(QStringList{"--port", port, "--dir", directory_} + options);
    }
    void stop() {
        if (server_)
            server_->stop();
    }
    // The machine that it runs on fails.
    void kill() {
        server_->process().kill();
        server_->process().waitForFinished();
    }
    const StandIn& server() const { return *server_; }
    // Takes everything out of it.
    void empty() {
        stop();
        QDir(directory_).removeRecursively();
        start();
    }

    // The command that connects a desktop with it.
    QStringList connecting() const {
        if (!isHTTP_)
            return {"connect", "--cloud", "folder:" + directory_};
        return {"connect", "--cloud", server_->url().toString(), "--token", token};
    }

private:
    const QString directory_;
    const bool isHTTP_;
    std::unique_ptr<StandIn> server_;
};

// For suites that are run with each kind of cloud.
inline const auto everyCloud = ::testing::Values("folder", "http");

// Two desktops and a cloud in a folder of their own.
class AtlasProcessTest : public ::testing::Test {
protected:
    explicit AtlasProcessTest(const std::string& cloud = "folder") : cloud_(path("cloud"), cloud) {}

    QString path(const QString& name) const { return folder_.filePath(name); }
    QString cloudPath() const { return path("cloud"); }
    void write(const QString& name, const QByteArray& bytes) const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(name);
        file.write(bytes);
    }
    void connect(const Desktop& desktop) const { desktop.tell(cloud_.connecting()); }
    // Until neither has anything to tell the other.
    void syncBoth() const {
        for (const Desktop* desktop : {&a_, &b_, &a_, &b_})
            desktop->tell({"sync", "--once", "--timeout", "60"});
    }
    // A visit that both have. B has renamed it since A has, and has told so; A will lose its version when it syncs.
    QString visitOfTwoVersions() const {
        connect(a_);
        connect(b_);
        const QString uuid = a_.tell({"add", "Visit", "title=Old"});
        syncBoth();
        a_.tell({"set", uuid, "title=Mine", "dateModified=2030-01-01 10:00:00 +0000"});
        b_.tell({"set", uuid, "title=Theirs", "dateModified=2030-01-01 11:00:00 +0000"});
        b_.tell({"sync", "--once", "--timeout", "60"});
        return uuid;
    }

    QTemporaryDir folder_;
    Desktop a_{path("A")}, b_{path("B")};
    TestCloud cloud_;
};
