#include "desktop/TokenKeychain.h"

#include <QThread>
#include <QTimer>
#include <memory>
#include <qt6keychain/keychain.h>

namespace atlas {

namespace {

const QString service = QStringLiteral("Atlas"); // under which the keychain lists the tokens

// The thread of all jobs, for as long as the program runs: some wait for services of the system, and one of
// those may never answer.
QThread& keychainThread() {
    static auto* const thread = [] {
        auto* made = new QThread;
        made->start();
        return made;
    }();
    return *thread;
}

// Why a job has failed; empty when it has not. That there is nothing is no failure.
QString explanation(const QKeychain::Job& job) {
    switch (job.error()) {
    case QKeychain::NoError:
    case QKeychain::EntryNotFound:
        return {};
    case QKeychain::AccessDenied:
    case QKeychain::AccessDeniedByUser:
        return TokenKeychain::tr("The keychain of this system has denied access.");
    default:
        return TokenKeychain::tr("This system has no keychain that Atlas can use (%1).")
            .arg(job.errorString());
    }
}

} // namespace

TokenKeychain::TokenKeychain(QObject* parent) : QObject(parent) {}

void TokenKeychain::read(const QString& address, const Found& callback) {
    if (const auto known = tokensOfThisRun_.constFind(address); known != tokensOfThisRun_.constEnd())
        QTimer::singleShot(0, this, [callback, token = *known] { callback(token, {}); });
    else
        run(new QKeychain::ReadPasswordJob(service), address, callback);
}

void TokenKeychain::write(const QString& address, const QString& token, const Done& callback) {
    tokensOfThisRun_.insert(address, token);
    auto* job = new QKeychain::WritePasswordJob(service);
    job->setTextData(token);
    run(job, address, [callback](const std::optional<QString>&, const QString& error) {
        callback(error.isEmpty() ? error : error + ' ' + tr("The token is forgotten when Atlas ends."));
    });
}

// The job is left to itself when its time is over: it cannot be called back.
void TokenKeychain::run(QKeychain::Job* job, const QString& address, const Found& callback) {
    struct Outcome {
        std::optional<QString> token;
        QString error;
    };
    const auto outcome = std::make_shared<Outcome>();
    job->setKey(address);
    connect(job, &QKeychain::Job::finished, job, [job, outcome] { // in its thread
        outcome->error = explanation(*job);
        const auto* read = qobject_cast<QKeychain::ReadPasswordJob*>(job);
        if (read && read->error() == QKeychain::NoError)
            outcome->token = read->textData();
    });

    auto* deadline = new QTimer(this);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, this, [this, deadline, callback] {
        deadline->deleteLater();
        const double seconds = std::chrono::duration<double>(timeLimit_).count();
        callback({}, tr("The keychain of this system has not answered within %1 seconds.").arg(seconds));
    });
    connect(job, &QKeychain::Job::finished, deadline, [deadline, outcome, callback] {
        if (!deadline->isActive())
            return;
        deadline->stop();
        deadline->deleteLater();
        callback(outcome->token, outcome->error);
    });
    deadline->start(timeLimit_);
    job->moveToThread(&keychainThread());
    QMetaObject::invokeMethod(job, &QKeychain::Job::start);
}

} // namespace atlas
