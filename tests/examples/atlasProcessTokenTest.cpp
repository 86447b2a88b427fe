// Where the access token of the cloud can be found while the program runs and afterwards, and where not.

#include "AtlasProcess.h"

#include <QDirIterator>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace testing;

namespace {

class AtlasProcessToken : public AtlasProcessTest {
protected:
    AtlasProcessToken() : AtlasProcessTest("http") {
        write("token", TestCloud::token);
        QStringList connecting = cloud_.connecting();
        connecting.replaceInStrings("--token", "--token-file")
            .replaceInStrings(TestCloud::token, path("token"));
        a_.tell(connecting);
        a_.tell({"add", "Visit", "title=Trip"});
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
            ::dup2(output[1], STDOUT_FILENO), ::close(output[0]), ::execv(list[0], list.data());
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

TEST_F(AtlasProcessToken, Is_in_no_file_but_the_settings) {
    a_.tell({"prefs", "share", "theme"});
    a_.tell({"sync", "--once"});
    EXPECT_EQ(filesWithToken(), QStringList({"A/settings.ini", "token"}));
}

#ifdef Q_OS_LINUX
TEST_F(AtlasProcessToken, Is_neither_in_the_command_line_nor_in_the_environment_of_a_program_that_syncs) {
    const auto process = a_.start({"sync", "--watch"});
    while (!process->canReadLine() && process->waitForReadyRead(60'000))
        continue;
    for (const char* what : {"cmdline", "environ"})
        EXPECT_FALSE(showsToken(contents(QStringLiteral("/proc/%1/%2").arg(process->processId()).arg(what))))
            << what;
    ::kill(static_cast<pid_t>(process->processId()), SIGINT);
    EXPECT_FALSE(showsToken(Desktop::finish(*process).out.toUtf8()));
}
#endif

TEST_F(AtlasProcessToken, Is_in_no_core_file) {
    if (!leavesCoreFile(folder_.path(), {"/bin/sh", "-c", "echo ready; exec sleep 600"}, "ready"))
        GTEST_SKIP() << "nothing leaves a core file on this system";
    EXPECT_FALSE(leavesCoreFile(
        folder_.path(),
        {QCoreApplication::applicationDirPath() + "/atlas", "--library", a_.library(), "sync", "--watch"},
        "in step"));
}
