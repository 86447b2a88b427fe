#include "platform/QWInterrupt.h"

#include <QObject>
#include <csignal>

#ifdef Q_OS_WIN
#include <QPointer>
#include <windows.h>
#else
#include <QSocketNotifier>
#include <sys/socket.h>
#include <unistd.h>
#endif

#ifdef Q_OS_WIN

namespace {
QPointer<QObject> interrupted;
std::function<void()> onInterruption;

// Runs on a thread of its own.
BOOL WINAPI consoleInterrupted(DWORD) {
    SetConsoleCtrlHandler(consoleInterrupted, FALSE);
    QMetaObject::invokeMethod(interrupted, onInterruption, Qt::QueuedConnection);
    return TRUE;
}
} // namespace

void QWOnInterrupt(QObject* receiver, std::function<void()> callback) {
    interrupted = receiver;
    onInterruption = std::move(callback);
    SetConsoleCtrlHandler(consoleInterrupted, TRUE);
}

#else

namespace {
int sockets[2]; // a signal handler may do little more than write to one

void signalled(int signal) {
    std::signal(signal, SIG_DFL);
    const char byte = 0;
    [[maybe_unused]] const auto written = write(sockets[0], &byte, 1);
}
} // namespace

void QWOnInterrupt(QObject* receiver, std::function<void()> callback) {
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) != 0)
        return;
    auto* notifier = new QSocketNotifier(sockets[1], QSocketNotifier::Read, receiver);
    QObject::connect(notifier, &QSocketNotifier::activated, receiver,
                     [notifier, callback = std::move(callback)] {
                         notifier->setEnabled(false);
                         callback();
                     });
    std::signal(SIGINT, signalled);
    std::signal(SIGTERM, signalled);
}

#endif
