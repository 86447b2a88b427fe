#pragma once

#include "cli/Progress.h"
#include "model/AtlasLibrary.h"
#include "sync/supervisor/QWSyncSupervisor.h"

#include <QEventLoop>
#include <chrono>
#include <optional>

// One run of a library's engine, from its activation on.
class SyncSession final : public QObject {
    Q_OBJECT

public:
    enum class Outcome { InStep, TokenRefused, TimedOut, Interrupted, DeletionsHeld };

    // `areDeletionsWanted` answers when very many records were deleted elsewhere. Without it nothing is deleted, and
    // the session ends when what waits here has been sent.
    SyncSession(atlas::AtlasLibrary& library, std::shared_ptr<DBRestClient> client,
                std::optional<bool> areDeletionsWanted = {});

    // Syncs until the library is in step, the token is refused, the time is over, or the user interrupts.
    // When nothing but a preference waits, the time is over after `preferenceTimeout`. What the engine could not
    // note, for want of space, say, it notes after `troublePause`, and the cloud is asked again for what it may have
    // given up.
    Outcome runOnce(std::optional<std::chrono::seconds> timeout,
                    std::chrono::seconds preferenceTimeout = std::chrono::seconds(30),
                    std::chrono::seconds troublePause = std::chrono::seconds(10));
    // Syncs until the token is refused or the user interrupts.
    Outcome watch();
    // 0, 3, 4, 1 and 5, in this order.
    static int exitCode(Outcome outcome);
    const QWSyncSupervisor& supervisor() const { return *supervisor_; }
    // What the cloud answered last when it failed; null when it never did.
    QString lastFailure() const { return lastFailure_; }
    // What the outcome is about when deletions are held: so many of so many records.
    std::pair<qint64, qint64> heldDeletions() const { return heldDeletions_; }

Q_SIGNALS:
    // Each time that the library has come to be in step.
    void inStep();

private:
    Outcome run();
    // Looks again, soon, whether anything is to be done: called for whatever may have moved the engine on.
    void somethingHappened();
    void look();
    void limitWaitForPreference();
    void tryAgainLater();
    bool isOnlyAnswerMissing() const;
    void finish(Outcome outcome);
    void showProgress();
    void noteFailure(const QString& what);

    atlas::AtlasLibrary& library_;
    QWDropboxSyncCoreData& engine_;
    std::shared_ptr<QWSyncSupervisor> supervisor_;
    bool endsInStep_ = false;
    std::chrono::seconds preferenceTimeout_{0}, troublePause_{0};
    QWRunLoop::Handle preferenceDeadline_, troubleTimer_;
    bool wasInStep_ = false;
    bool willLook_ = false;
    QEventLoop loop_;
    Outcome outcome_ = Outcome::Interrupted;
    QString lastFailure_;
    std::pair<qint64, qint64> heldDeletions_;
    Progress progress_;
    qint64 mostItems_ = 0; // since nothing was to be processed
};
