#include "platform/QWDeadlineTimer_p.h"

#include <QSocketNotifier>
#include <algorithm>

#ifdef Q_OS_LINUX
#include <sys/timerfd.h>
#include <unistd.h>
#endif

using namespace std::chrono;

QWDeadlineTimer::QWDeadlineTimer(std::function<void()> callback) : callback_(std::move(callback)) {
#ifdef Q_OS_LINUX
    if (const int descriptor = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC); descriptor >= 0) {
        expirations_ = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
        QObject::connect(expirations_.get(), &QSocketNotifier::activated, expirations_.get(),
                         [this, descriptor] {
                             quint64 count = 0; // nothing to read: stopped, or started anew, meanwhile
                             if (read(descriptor, &count, sizeof count) == sizeof count)
                                 callback_();
                         });
        return;
    }
#endif
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setSingleShot(true);
    QObject::connect(&timer_, &QTimer::timeout, &timer_, callback_);
}

QWDeadlineTimer::~QWDeadlineTimer() {
#ifdef Q_OS_LINUX
    if (expirations_) {
        expirations_->setEnabled(false);
        close(int(expirations_->socket()));
    }
#endif
}

void QWDeadlineTimer::start(microseconds duration) {
#ifdef Q_OS_LINUX
    if (expirations_) {
        const auto left = std::max<nanoseconds>(duration, 1ns); // zero would stop it
        itimerspec setting{};
        setting.it_value.tv_sec = duration_cast<seconds>(left).count();
        setting.it_value.tv_nsec = long((left % seconds(1)).count());
        timerfd_settime(int(expirations_->socket()), 0, &setting, nullptr);
        return;
    }
#endif
    // QTimer counts in an int of milliseconds: a later deadline is reached in several steps.
    timer_.start(std::clamp(ceil<milliseconds>(duration), 0ms, milliseconds(24h)));
}

void QWDeadlineTimer::stop() {
#ifdef Q_OS_LINUX
    if (expirations_) {
        const itimerspec none{};
        timerfd_settime(int(expirations_->socket()), 0, &none, nullptr);
        return;
    }
#endif
    timer_.stop();
}
