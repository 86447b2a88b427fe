#pragma once

#include "model/AtlasRecords.h"
#include "store/QWManagedObjectContext.h"
#include "sync/QWDropboxSyncCoreData.h"

#include <QLockFile>
#include <QObject>
#include <memory>

namespace atlas {

// A library: one folder with everything that an atlas keeps.
//
//     Atlas.sqlite   the records
//     images/        flags, see Country
//     cache/         the engine's own files
//     settings.ini   where to sync, and the token for it
//     preferences.ini  the user's settings, of which some travel, and the engine's
//     lock           held by the process that has the library open
//
// The engine is made with the library, so that every edit is queued; whoever synchronises activates it.
class AtlasLibrary final : public QObject, private QWDropboxSyncCoreDataDelegate {
    Q_OBJECT

public:
    // Opens the library in `folder`, made when missing. Null, with an error that names the file and the
    // reason, when another process has it open or a file of it cannot be used (damaged, written by a later
    // version, read-only).
    //
    // `parts` are those of the world outside that a program or a test brings along; the user defaults are
    // always the library's own. A program that brings an error presenter shows what the engine could not do;
    // without one that is logged, and `save` fails.
    static std::unique_ptr<AtlasLibrary> open(const QString& folder, QWError* error = nullptr,
                                              QWEnvironment::Parts parts = {});
    static bool exists(const QString& folder);
    // Moves the engine's cache file out of the way of a library that is not open, usable or not. `newPath` is
    // where it is now; null when there was none. The next opening makes a new one, queues every record and takes over
    // the versions that lost; one that ends in the middle of this leaves it to the next.
    static bool putCacheAside(const QString& folder, QString* newPath, QWError* error = nullptr);
    ~AtlasLibrary() override;

    QWManagedObjectContext& context() { return *context_; }
    const std::shared_ptr<QWManagedObjectContext>& sharedContext() const { return context_; }
    QWDropboxSyncCoreData& engine() { return *engine_; }
    const std::shared_ptr<QWDropboxSyncCoreData>& sharedEngine() const { return engine_; }
    const std::shared_ptr<QWEnvironment>& environment() const { return environment_; }
    QWUserDefaults& preferences() { return environment_->userDefaults(); }

    // The record of any entity; null when there is none.
    QWRef<QWManagedObjectWithSyncSupport> record(const QString& uuid);

    // Lets the engine note all edits, then writes them. On failure they are not written.
    bool save(QWError* error = nullptr);
    // Whether there was something that the engine could not note since it was last asked. It is forgotten, and for who
    // asks to see to: `save` does not fail for it any more.
    bool takeTrouble();
    // Forgets everything that the engine knows of the cloud and queues every record.
    void forgetCloudState();

    // Where to sync, as `connect` was told ("folder:/path", "https://host"), and the token for it; null
    // before, and where none is needed. What the engine knows of one cloud is forgotten when another one is
    // set.
    QString cloud() const;
    QString accessToken() const;
    void setCloud(const QString& address, const QString& accessToken);

Q_SIGNALS:
    // The cloud has refused the token; the engine has stopped.
    void accessTokenExpired();
    // The user wants to sync, from the question of a window.
    void signInRequested();

private:
    AtlasLibrary() = default;
    bool openSettings(const QString& folder, QWEnvironment::Parts parts, QWError* error);
    bool openRecords(const QString& folder, QWError* error);
    bool makeEngine(const QString& folder, QWError* error);
    bool replaceAsides(const QStringList& asides, QWError* error);

    void accessTokenExpiredDropbox(QWDropboxSyncCoreData&) override { Q_EMIT accessTokenExpired(); }
    bool shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) override;
    void authenticateAndEnableCoreDataSync(QWDropboxSyncCoreData&) override { Q_EMIT signInRequested(); }

    class Presenter;

    // In the order in which they are made.
    std::unique_ptr<QLockFile> lock_;
    std::shared_ptr<Presenter> presenter_; // null when the program has brought its own
    std::unique_ptr<QWUserDefaults>
        settings_; // apart from the preferences, which are other desktops' to change
    std::shared_ptr<QWEnvironment> environment_;
    std::shared_ptr<QWManagedObjectContext> context_;
    std::shared_ptr<QWDropboxSyncCoreData> engine_;
};

} // namespace atlas
