// Where the access token of the cloud can be found while a program runs and afterwards, and where not.

#include "AtlasProcess.h"

#include <QDirIterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace testing;

namespace {

// Of each program: the command line, and the window.
class AtlasProcessToken : public AtlasProcessTest, public WithParamInterface<const char*> {
protected:
    AtlasProcessToken() : AtlasProcessTest("http") {
        write("token", TestCloud::token);
        a_.tell(QStringList{"connect"} + cloudOptions());
        a_.tell({"add", "Visit", "title=Trip"});
    }

    QStringList cloudOptions() const {
        return {"--cloud", cloud_.server().url().toString(), "--token-file", path("token")};
    }
    // What makes the program sync until it is interrupted. It says when it is in step.
    QStringList arguments() const {
        const QStringList library = {"--library", a_.library()};
        return library
               + (GetParam() == std::string("atlas") ? QStringList{"sync", "--watch"} : cloudOptions());
    }

    static bool showsToken(const QByteArray& bytes) {
        const QString token = TestCloud::token;
        const QByteArray utf16(reinterpret_cast<const char*>(token.utf16()), token.size() * 2);
        return bytes.contains(TestCloud::token) || bytes.contains(utf16)
               || bytes.contains(QByteArray(TestCloud::token).toBase64());
    }
    static QByteArray contents(const QString& file) {
        QFile opened(file);
        EXPECT_TRUE(opened.open(QIODevice::ReadOnly)) << qPrintable(file);
        return opened.readAll();
    }
    QStringList filesWithToken() const {
        QStringList found;
        for (QDirIterator each(folder_.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
             each.hasNext();)
            if (const QString file = each.next(); showsToken(contents(file)))
                found.append(file.mid(folder_.path().size() + 1));
        found.sort();
        return found;
    }
};

// Starts a program in `folder` with leave to leave an image of its memory, waits for a line of its output and
// aborts it; answers whether it has left one.
bool leavesCoreFile(const QString& folder, const QStringList& command, const QByteArray& line) {
    std::vector<QByteArray> arguments;
    for (const QString& argument : command)
        arguments.push_back(argument.toLocal8Bit());
    std::vector<char*> list;
    for (QByteArray& argument : arguments)
        list.push_back(argument.data());
    list.push_back(nullptr);
    const QByteArray place = folder.toLocal8Bit();
    int output[2];
    EXPECT_EQ(::pipe(output), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit all{RLIM_INFINITY, RLIM_INFINITY};
        if (::setrlimit(RLIMIT_CORE, &all) == 0 && ::chdir(place.constData()) == 0)
            ::dup2(output[1], STDOUT_FILENO), ::dup2(output[1], STDERR_FILENO), ::close(output[0]),
                ::execv(list[0], list.data());
        ::_exit(127);
    }
    ::close(output[1]);
    QFile said;
    EXPECT_TRUE(said.open(output[0], QIODevice::ReadOnly, QFile::AutoCloseHandle));
    for (;;) {
        const QByteArray read = said.readLine();
        EXPECT_FALSE(read.isEmpty()) << "it has ended";
        if (read.isEmpty() || read.contains(line))
            break;
    }
    ::kill(child, SIGABRT);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
    return WCOREDUMP(status);
}

} // namespace

TEST_P(AtlasProcessToken, Is_in_no_file_but_the_settings_and_in_no_line_of_the_log) {
    a_.tell({"prefs", "share", "theme"});
    const auto process = startProgram(GetParam(), arguments(), [this](QProcess& program) {
        setVariable(program, "HOME", path("home")); // of which each file is looked into as well
        setVariable(program, "QT_LOGGING_RULES", "*=true");
        program.setProcessChannelMode(QProcess::MergedChannels);
    });
    QByteArray log;
    while (!log.contains("in step") && process->waitForReadyRead(60'000))
        log += process->readAll();
    EXPECT_EQ(process->state(), QProcess::Running) << "it has ended: " << log.toStdString();
    EXPECT_EQ(filesWithToken(), QStringList({"A/settings.ini", "token"}));
#ifdef Q_OS_LINUX
    for (const char* what : {"cmdline", "environ"})
        EXPECT_FALSE(showsToken(contents(QStringLiteral("/proc/%1/%2").arg(process->processId()).arg(what))))
            << what;
#endif
    ::kill(static_cast<pid_t>(process->processId()), SIGINT);
    EXPECT_TRUE(process->waitForFinished(60'000));
    log += process->readAll();
    EXPECT_FALSE(showsToken(log)) << log.toStdString();
    EXPECT_EQ(filesWithToken(), QStringList({"A/settings.ini", "token"}));
}

TEST_P(AtlasProcessToken, Is_in_no_core_file) {
    if (!leavesCoreFile(folder_.path(), {"/bin/sh", "-c", "echo ready; exec sleep 600"}, "ready"))
        GTEST_SKIP() << "nothing leaves a core file on this system";
    const QStringList command = {"/usr/bin/env", "QT_QPA_PLATFORM=offscreen",
                                 "QT_LOGGING_RULES=atlas.cloud.info=true",
                                 QCoreApplication::applicationDirPath() + '/' + GetParam()};
    EXPECT_FALSE(leavesCoreFile(folder_.path(), command + arguments(), "in step"));
}

INSTANTIATE_TEST_SUITE_P(Program, AtlasProcessToken, Values("atlas", "atlas-desktop"));
