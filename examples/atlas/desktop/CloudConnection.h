#pragma once

#include "model/AtlasLibrary.h"
#include "session/CloudAddress.h"
#include "sync/supervisor/QWSyncSupervisor.h"

#include <optional>

namespace atlas {

// The sync of a window's library: through one supervisor after the other, one for each time that the user
// signs in.
class CloudConnection final : public QObject {
    Q_OBJECT

public:
    explicit CloudConnection(AtlasLibrary& library, QObject* parent = nullptr);
    ~CloudConnection() override;

    // Syncs with that cloud from now on, and remembers its address. False, with an error, when the cloud
    // cannot be used; what was before then goes on. The token is remembered in the library only where
    // `remembersToken` says so: a keychain is the better place for it.
    bool start(const CloudAddress& cloud, bool remembersToken, QWError* error = nullptr);
    // The same with a client that is open already.
    void start(std::shared_ptr<DBRestClient> client);
    // Until it is started again. What waits stays queued.
    void stop();

    // Null before the first start, and after a stop.
    QWSyncSupervisor* supervisor() const { return supervisor_.get(); }
    bool isActive() const;

    // Asks for changes at once. The second one leaves it when somebody has asked within the last minute: it
    // is for what happens often, such as that the window becomes active.
    void syncNow();
    void syncNowUnlessJustDone();

    // What the cloud answered when it failed last; empty since it has answered again.
    const QString& trouble() const { return trouble_; }

Q_SIGNALS:
    void supervisorChanged();
    // Very many records were deleted elsewhere: the supervisor asks whether they are to be deleted here.
    void deletionsHeld(qint64 count, qint64 total);
    void troubleChanged();

private:
    void setTrouble(const QString& trouble);

    AtlasLibrary& library_;
    std::shared_ptr<QWSyncSupervisor> supervisor_;
    std::optional<QWRunLoop::Duration> lastAsked_; // by the run loop
    QDateTime lastQuery_;                          // the engine's, when the trouble began
    QString trouble_;
    bool isInStep_ = false;
};

} // namespace atlas
