#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <chrono>
#include <functional>
#include <optional>

namespace QKeychain {
class Job;
}

namespace atlas {

// The tokens for clouds, in the keychain of the system, each by the address of its cloud. A token that the
// keychain does not take is known until the program ends.
//
// Nothing waits: each call is answered exactly once, later, on the thread that made it, unless this object
// goes before. An error is a sentence for the user.
class TokenKeychain final : public QObject {
    Q_OBJECT
public:
    using Found = std::function<void(std::optional<QString> token, QString error)>;
    using Done = std::function<void(QString error)>; // empty: it was done

    explicit TokenKeychain(QObject* parent = nullptr);

    // The token for that cloud; none, without an error, when none was kept.
    void read(const QString& address, const Found& callback);
    void write(const QString& address, const QString& token, const Done& callback);

    // How long the keychain may take, which may ask the user meanwhile; 5 seconds at first. What comes later
    // counts as no answer.
    void setTimeLimit(std::chrono::milliseconds limit) { timeLimit_ = limit; }

private:
    // Starts a job, which deletes itself.
    void run(QKeychain::Job* job, const QString& address, const Found& callback);

    QHash<QString, QString> tokensOfThisRun_; // by address
    std::chrono::milliseconds timeLimit_{5000};
};

} // namespace atlas
