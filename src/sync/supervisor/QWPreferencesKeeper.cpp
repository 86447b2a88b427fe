#include "sync/supervisor/QWPreferencesKeeper_p.h"

#include "platform/text/QWText.h"
#include "sync/QWSyncFileNames_p.h"
#include "sync/QWSyncedPreferences_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>

using qw::sync::preferencesFileName;

namespace {

// Keys of `Metadata` rows.
const QString baseKey = QStringLiteral("Preferences");
const QString sentKey = QStringLiteral("PreferencesSent");
const QString receivingKey = QStringLiteral("PreferencesReceiving");
const QString listedKey = QStringLiteral("PreferencesListed");

// "/preferencessync (ann's conflicted copy).data"
bool isConflictedCopy(const QString& path, const QWDropboxFileMetadataManager& manager) {
    const QString name = qw::text::lastPathComponent(qw::text::lowercase(path));
    return path.lastIndexOf(QLatin1Char('/')) == 0 && manager.isFileNameConflicted(name)
           && name.startsWith(qw::text::lowercase(qw::text::deletingPathExtension(preferencesFileName())));
}

} // namespace

// Books -----------------------------------------------------------------------------------------------------

std::optional<QJsonObject> QWPreferencesKeeper::base() const {
    const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), baseKey);
    return row ? qw::sync::preferencesFromFileBytes(row->value().toUtf8()) : std::nullopt;
}

void QWPreferencesKeeper::setBase(const QByteArray& bytes) {
    engine_.metadataWithKey(baseKey)->setValue(QString::fromUtf8(bytes));
    for (const QString& key : {sentKey, listedKey})
        if (const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), key))
            row->setValue(QString());
}

QJsonArray QWPreferencesKeeper::sentSinceBase() const {
    const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), sentKey);
    return row ? QJsonDocument::fromJson(row->value().toUtf8()).array() : QJsonArray();
}

bool QWPreferencesKeeper::isReceiving() const {
    const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), receivingKey);
    return row && !row->value().isEmpty();
}

void QWPreferencesKeeper::setReceiving(bool isReceiving) {
    if (isReceiving == this->isReceiving())
        return;
    engine_.metadataWithKey(receivingKey)->setValue(isReceiving ? QStringLiteral("yes") : QString());
    engine_.saveCacheContext();
}

QWRef<FileMetadata> QWPreferencesKeeper::known() const {
    return engine_.fileMetadataManager().fileMetadataForFileName(preferencesFileName(), false);
}

DBMetadata QWPreferencesKeeper::knownFile() const {
    DBMetadata file;
    file.path = QWDBFileSyncedPreferencesInDropboxFolder;
    if (const auto row = known()) {
        file.rev = row->rev();
        file.hash = row->remoteHash();
        file.lastModifiedDate = row->lastModifiedDate();
    }
    return file;
}

// While a file was being received, a default that is what the cloud held before is one that was not set yet; any
// other one was changed here.
void QWPreferencesKeeper::recover() {
    auto& defaults = engine_.mainManagedObjectContext()->environment().userDefaults();
    const QJsonObject base = this->base().value_or(QJsonObject());
    const QJsonObject shared = engine_.syncedPreferences();
    const bool wasReceiving = isReceiving();
    for (auto preference = shared.begin(); preference != shared.end(); ++preference) {
        const QJsonValue present = defaults.object(preference.key());
        const auto travelling = qw::sync::travellingPreference(present);
        if (!travelling || *travelling == *preference)
            continue;
        const bool isReceived = wasReceiving && base.value(preference.key()) == *travelling;
        const QJsonValue value = isReceived ? QJsonValue(*preference) : present;
        defaults.setObject(preference.key(), value.isNull() ? QJsonValue(QJsonValue::Undefined) : value);
    }
    setReceiving(false);
    // A change that was kept beside a received one, or a file that was missed: the engine writes down that it waits when
    // it is sent.
    const auto row = known();
    if ((this->base() && isBehindHere()) || (row && row->rev().isEmpty()))
        engine_.uploadSyncedPreferences();
}

// Upload ----------------------------------------------------------------------------------------------------

// What was sent without an answer may stand in the cloud in place of the base, or not: until the values here are sent
// nobody can tell it from what another desktop sends.
bool QWPreferencesKeeper::isUploadDue() const {
    if (engine_.syncedPreferences().isEmpty())
        return false;
    const auto row = known();
    const auto here = files().read(engine_.syncedPreferencesLocalCacheURL().toLocalFile());
    return !row || row->rev().isEmpty() || !here || !sentSinceBase().isEmpty()
           || qw::sync::preferencesFromFileBytes(*here) != base();
}

bool QWPreferencesKeeper::stage(QWError* error) {
    const QString path = engine_.syncedPreferencesLocalCacheURL().toLocalFile();
    const QByteArray bytes = qw::sync::preferencesFileBytes(engine_.syncedPreferences());
    return files().read(path) == bytes || files().write(path, bytes, error);
}

// What is not written down may have come from elsewhere, to a process that finds it in the cloud.
bool QWPreferencesKeeper::uploadBegins(QWError* error) {
    const QByteArray bytes =
        files().read(engine_.syncedPreferencesLocalCacheURL().toLocalFile()).value_or(QByteArray());
    QJsonArray sent = sentSinceBase();
    sent.append(qw::sync::preferencesFromFileBytes(bytes).value_or(QJsonObject()));
    const auto row = engine_.metadataWithKey(sentKey);
    const QString before = row->value();
    row->setValue(QString::fromUtf8(QJsonDocument(sent).toJson(QJsonDocument::Compact)));
    if (!engine_.dropboxCacheManagedObjectContext()->save(error)) {
        row->setValue(before);
        return false;
    }
    sent_ = bytes;
    isBaseInDoubt_ = false;
    return true;
}

bool QWPreferencesKeeper::uploadEnds(const std::optional<DBMetadata>& file) {
    const QByteArray bytes = *std::exchange(sent_, std::nullopt);
    if (!file)
        return true;
    if (!qw::sync::isPreferencesFile(file->path) || isBaseInDoubt_)
        return false;
    setBase(bytes);
    engine_.saveCacheContext();
    return true;
}

// Download --------------------------------------------------------------------------------------------------

QString QWPreferencesKeeper::downloadPath() const {
    const QString path = engine_.syncedPreferencesLocalCacheURL().toLocalFile();
    return path.section(QLatin1Char('/'), 0, -2) + QLatin1Char('/')
           + *qw::sync::downloadFileName(preferencesFileName());
}

// A file that nobody can read holds nothing: what is here takes its place.
bool QWPreferencesKeeper::prepareImport(QWError* error) {
    const auto bytes = files().read(downloadPath(), error);
    if (!bytes)
        return false;
    const QJsonObject received = qw::sync::preferencesFromFileBytes(*bytes).value_or(QJsonObject());
    const QJsonObject base = this->base().value_or(QJsonObject());
    const QJsonArray sent = sentSinceBase();
    QJsonObject merged = engine_.syncedPreferences();
    for (auto preference = received.begin(); preference != received.end(); ++preference) {
        const QString key = preference.key();
        // Nor has this desktop's own value, whose answer was lost, been changed there.
        const bool isUnchangedThere =
            base.value(key) == *preference || std::any_of(sent.begin(), sent.end(), [&](const auto& each) {
                return each.toObject().value(key) == *preference;
            });
        if (!isUnchangedThere || !merged.contains(key))
            merged.insert(key, *preference);
    }
    setReceiving(true);
    if (!files().write(engine_.syncedPreferencesLocalCacheURL().toLocalFile(),
                       qw::sync::preferencesFileBytes(merged), error))
        return false;
    files().remove(downloadPath());
    isBaseInDoubt_ = true;
    setBase(qw::sync::preferencesFileBytes(received));
    return true;
}

// Changes ---------------------------------------------------------------------------------------------------

void QWPreferencesKeeper::prepareEntry(const DBDeltaEntry& entry, QStringList& copies) {
    auto& manager = engine_.fileMetadataManager();
    if (qw::sync::isPreferencesFile(entry.lowercasePath)) {
        if (!entry.metadata)
            fileIsMissing();
        else
            engine_.metadataWithKey(listedKey)->setValue(entry.metadata->rev);
        return;
    }
    if (entry.metadata && isConflictedCopy(entry.lowercasePath, manager))
        copies.append(entry.metadata->path);
}

bool QWPreferencesKeeper::isFileDue() const {
    const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), listedKey);
    return row && !row->value().isEmpty() && row->value() != knownFile().rev;
}

// What it held is remembered: another desktop may have sent it again by the time that this one does, and it may be a lie.
void QWPreferencesKeeper::fileIsMissing() {
    isBaseInDoubt_ = true;
    if (const auto row = known())
        row->setRev(QString());
    engine_.metadataWithKey(listedKey)->setValue(QString());
    engine_.saveCacheContext();
}

void QWPreferencesKeeper::noteMissing(const QStringList& fileNames) {
    if (fileNames.contains(preferencesFileName(), Qt::CaseInsensitive))
        fileIsMissing();
}
