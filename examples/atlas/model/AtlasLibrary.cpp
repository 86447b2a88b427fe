#include "model/AtlasLibrary.h"

#include "model/AtlasModel.h"
#include "store/QWStoreError.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QDir>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryFile>
#include <algorithm>

namespace atlas {

namespace {

Q_LOGGING_CATEGORY(libraryLog, "atlas.library")

const QString cloudKey = QStringLiteral("AtlasCloud");
const QString tokenKey = QStringLiteral("AtlasAccessToken");

bool fail(QWError* error, const QString& message) {
    return qw::fail(error, {QStringLiteral("atlas"), 1, message});
}

QString recordsFile(const QString& folder) {
    return folder + "/Atlas.sqlite";
}
QString cacheFolder(const QString& folder) {
    return folder + "/cache";
}
QString cacheFile(const QString& folder) {
    return cacheFolder(folder) + "/DropboxCache.sqlite";
}

std::unique_ptr<QLockFile> lock(const QString& folder, QWError* error) {
    const QString path = folder + "/lock";
    auto lock = std::make_unique<QLockFile>(path);
    lock->setStaleLockTime(0); // only the end of its process makes a lock stale, not its age
    if (lock->tryLock(0))
        return lock;
    qint64 process = 0;
    QString host, program;
    const bool isOwned = lock->getLockInfo(&process, &host, &program);
    if (lock->error() == QLockFile::LockFailedError && isOwned) {
        fail(error, QStringLiteral("%1: another process has the library open (%2, process %3)")
                        .arg(folder, program)
                        .arg(process));
        return nullptr;
    }
    // A lock without an owner is being made this very moment, or its maker was killed in between.
    lock->setStaleLockTime(1000);
    if (lock->error() == QLockFile::LockFailedError && lock->tryLock(2000))
        return lock;
    // Why, the lock does not tell; a file beside it does.
    QTemporaryFile file(folder + "/lock-XXXXXX");
    const bool isWritable = file.open() && file.write("0") == 1 && file.flush();
    fail(error, path + ": the lock cannot be taken" + (isWritable ? QString() : ": " + file.errorString()));
    return nullptr;
}

// Made here, and not by QSettings, since it is not for everybody's eyes; written anew it stays like this.
std::unique_ptr<QWUserDefaults> settingsFile(const QString& path, QWError* error) {
    QFile file(path);
    const bool isOwnersAlone =
        file.open(QIODevice::ReadWrite) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    file.close();
    const QSettings settings(path, QSettings::IniFormat);
    if (isOwnersAlone && settings.status() == QSettings::NoError && settings.isWritable())
        return std::make_unique<QWSettingsUserDefaults>(path);
    fail(error, path + ": the settings cannot be used");
    return nullptr;
}

// Whether a cache file is one that the engine can work with: it opens, or is made, and can be read. The
// engine itself carries on without one, and would then queue nothing.
bool checkCache(const QString& folder, const std::shared_ptr<QWEnvironment>& environment, QWError* error) {
    if (!environment->files().makeFolder(cacheFolder(folder), error))
        return false;
    const auto coordinator =
        std::make_shared<QWPersistentStoreCoordinator>(QWMakeDropboxCacheModel(), environment);
    if (!coordinator->addStore(cacheFile(folder), {}, error))
        return false;
    const auto context = std::make_shared<QWManagedObjectContext>(coordinator);
    const auto& entities = coordinator->model().entities();
    return std::all_of(entities.begin(), entities.end(), [&](const auto& entity) {
        return context->count(QWFetchRequest(entity->name()), error).has_value();
    });
}

// Cache files that are put aside are numbered. One that nothing is to be done for any more has a file beside it.
QString doneMark(const QString& aside) {
    return aside + ".done";
}

QString newAside(const QString& folder) {
    for (int number = 1;; ++number)
        if (const QString path = cacheFile(folder) + QStringLiteral(".aside-%1").arg(number);
            !QFileInfo::exists(path) && !QFileInfo::exists(doneMark(path)))
            return path;
}

// The paths of those without a mark, the first that was put aside first.
QStringList unfinishedAsides(const QString& folder) {
    static const QRegularExpression form(QStringLiteral("\\.aside-[0-9]+\\z"));
    QStringList found;
    for (const QFileInfo& file : QDir(cacheFolder(folder)).entryInfoList(QDir::Files | QDir::Hidden))
        if (form.match(file.fileName()).hasMatch() && !QFileInfo::exists(doneMark(file.filePath())))
            found.append(file.filePath());
    const auto number = [](const QString& path) { return path.section(u'-', -1).toInt(); };
    std::sort(found.begin(), found.end(),
              [&](const QString& a, const QString& b) { return number(a) < number(b); });
    return found;
}

// Of a store: they hold what was not yet moved into it.
bool moveCompanions(const QString& store, const QString& newPath, QWError* error) {
    for (const char* companion : {"-wal", "-shm"})
        if (QFileInfo::exists(store + companion) && !QFile::rename(store + companion, newPath + companion))
            return fail(error, store + companion + ": cannot be renamed");
    return true;
}

// Whether a store can be read when the world is a better one.
bool isForNow(const QWError& error) {
    return error.code == static_cast<int>(QWStoreErrorCode::DiskFull)
           || error.code == static_cast<int>(QWStoreErrorCode::Busy);
}

} // namespace

// Logs the failures that the engine would show to a person, and keeps the first, so that the operation that
// led to it fails.
class AtlasLibrary::Presenter final : public QWErrorPresenter {
public:
    void presentError(const QWError& error) override {
        log_.presentError(error);
        if (!first_.isError())
            first_ = error;
    }
    QWError take() { return std::exchange(first_, QWError()); }

private:
    QWLogErrorPresenter log_;
    QWError first_;
};

AtlasLibrary::~AtlasLibrary() {
    if (engine_)
        environment_->notificationCenter().post({NSApplicationWillTerminateNotification});
}

bool AtlasLibrary::exists(const QString& folder) {
    return QFileInfo::exists(recordsFile(folder));
}

std::unique_ptr<AtlasLibrary> AtlasLibrary::open(const QString& folder, QWError* error,
                                                 QWEnvironment::Parts parts) {
    const QString path = QDir(folder).absolutePath();
    if (!QDir().mkpath(path)) {
        fail(error, path + ": the folder cannot be made");
        return nullptr;
    }
    std::unique_ptr<AtlasLibrary> library(new AtlasLibrary);
    library->lock_ = lock(path, error);
    if (library->lock_ && library->openSettings(path, std::move(parts), error)
        && library->openRecords(path, error) && library->makeEngine(path, error))
        return library;
    return nullptr;
}

bool AtlasLibrary::openSettings(const QString& folder, QWEnvironment::Parts parts, QWError* error) {
    settings_ = settingsFile(folder + "/settings.ini", error);
    parts.userDefaults = settingsFile(folder + "/preferences.ini", error);
    if (!settings_ || !parts.userDefaults)
        return false;
    if (!parts.errorPresenter)
        parts.errorPresenter = presenter_ = std::make_shared<Presenter>();
    environment_ = std::make_shared<QWEnvironment>(std::move(parts));
    return true;
}

bool AtlasLibrary::openRecords(const QString& folder, QWError* error) {
    const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(makeModel(), environment_);
    if (!coordinator->addStore(recordsFile(folder), {}, error))
        return false;
    context_ = std::make_shared<QWManagedObjectContext>(coordinator);
    return true;
}

bool AtlasLibrary::makeEngine(const QString& folder, QWError* error) {
    const QString cache = cacheFile(folder);
    const QStringList asides = unfinishedAsides(folder);
    // A new cache file would take over the companions that the last one has left.
    if (!asides.isEmpty() && !QFileInfo::exists(cache) && !moveCompanions(cache, asides.last(), error))
        return false;
    if (!checkCache(folder, environment_, error))
        return false;
    engine_ = std::make_shared<QWDropboxSyncCoreData>(context_, entityNames(),
                                                      QUrl::fromLocalFile(cacheFolder(folder)));
    engine_->setDelegate(this, this);
    return asides.isEmpty() || replaceAsides(asides, error);
}

// Does for the new cache file what the ones put aside were there for. Until all of it is done it is done again.
bool AtlasLibrary::replaceAsides(const QStringList& asides, QWError* error) {
    forgetCloudState();
    for (const QString& aside : asides) {
        QWError reason;
        if (QWVersionArchive(*engine_).takeOver(aside, &reason))
            continue;
        if (isForNow(reason))
            return qw::fail(error, reason);
        qCWarning(libraryLog).noquote() << "lost versions cannot be taken over:" << reason.message;
    }
    if (!save(error))
        return false;
    if (engine_->dropboxCacheManagedObjectContext()->hasChanges())
        return fail(error, asides.last() + ": its successor cannot be written");
    return std::all_of(asides.begin(), asides.end(), [error](const QString& aside) {
        QFile mark(doneMark(aside));
        return mark.open(QIODevice::WriteOnly) || fail(error, mark.fileName() + ": " + mark.errorString());
    });
}

bool AtlasLibrary::putCacheAside(const QString& folder, QString* newPath, QWError* error) {
    const auto held = lock(folder, error);
    if (!held)
        return false;
    const QString path = cacheFile(folder);
    newPath->clear();
    if (!QFileInfo::exists(path))
        return true;
    *newPath = newAside(folder);
    // The store goes first: without its companions it would be opened as it is, short of what they hold.
    if (!QFile::rename(path, *newPath))
        return fail(error, path + ": cannot be renamed");
    return moveCompanions(path, *newPath, error);
}

QWRef<QWManagedObjectWithSyncSupport> AtlasLibrary::record(const QString& uuid) {
    for (const QString& name : entityNames())
        if (auto record = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, name, *context_))
            return record;
    return {};
}

bool AtlasLibrary::save(QWError* error) {
    // An edit that the engine could not note must not be saved: it would never be sent.
    context_->processPendingChanges();
    if (const QWError noted = presenter_ ? presenter_->take() : QWError(); noted.isError()) {
        context_->rollback();
        return qw::fail(error, noted);
    }
    return context_->save(error);
}

bool AtlasLibrary::takeTrouble() {
    return presenter_ && presenter_->take().isError();
}

void AtlasLibrary::forgetCloudState() {
    engine_->metadataWithKey(QWDBMetadataCursorKey)->setValue({});
    engine_->resetSyncAndUploadAllItems();
    environment_->userDefaults().remove(QWDBLastTimeTokenExpiredPrefKey);
    environment_->userDefaults().synchronize();
}

QString AtlasLibrary::cloud() const {
    return settings_->object(cloudKey).toString();
}

QString AtlasLibrary::accessToken() const {
    return settings_->object(tokenKey).toString();
}

void AtlasLibrary::setCloud(const QString& address, const QString& accessToken) {
    if (!cloud().isEmpty() && cloud() != address)
        forgetCloudState();
    settings_->setObject(cloudKey, address);
    settings_->setObject(tokenKey, accessToken);
    settings_->synchronize();
}

bool AtlasLibrary::shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) {
    return changedDescribedKey(object);
}

} // namespace atlas
