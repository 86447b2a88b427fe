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

// Members of what is noted while a file is received: the values here before, and those of the file.
const QString ownMember = QStringLiteral("own");
const QString receivedMember = QStringLiteral("received");

// "/preferencessync (ann's conflicted copy).data"
bool isConflictedCopy(const QString& path, const QWDropboxFileMetadataManager& manager) {
    const QString name = qw::text::lastPathComponent(qw::text::lowercase(path));
    return path.lastIndexOf(QLatin1Char('/')) == 0 && manager.isFileNameConflicted(name)
           && name.startsWith(qw::text::lowercase(qw::text::deletingPathExtension(preferencesFileName())));
}

} // namespace

// Notes -----------------------------------------------------------------------------------------------------

QString QWPreferencesKeeper::note(const QString& key) const {
    const auto row = QWFindMetadata(*engine_.dropboxCacheManagedObjectContext(), key);
    return row ? row->value() : QString();
}

void QWPreferencesKeeper::setNote(const QString& key, const QString& note) {
    if (note != this->note(key))
        engine_.metadataWithKey(key)->setValue(note);
}

bool QWPreferencesKeeper::writeNote(const QString& key, const QJsonDocument& note, QWError* error) {
    const QString before = this->note(key);
    setNote(key, QString::fromUtf8(note.toJson(QJsonDocument::Compact)));
    if (engine_.dropboxCacheManagedObjectContext()->save(error))
        return true;
    setNote(key, before);
    return false;
}

std::optional<QJsonObject> QWPreferencesKeeper::base() const {
    return qw::sync::preferencesFromFileBytes(note(baseKey).toUtf8());
}

// A listing that came while the file was under way may be of a later one.
void QWPreferencesKeeper::setBase(const QJsonObject& values, const QString& rev) {
    setNote(baseKey, QString::fromUtf8(qw::sync::preferencesFileBytes(values)));
    setNote(sentKey, {});
    setNote(receivingKey, {});
    const QString listed = note(listedKey);
    if (listed == listedBefore_ || listed == rev)
        setNote(listedKey, {});
    engine_.saveCacheContext();
}

QJsonArray QWPreferencesKeeper::sentSinceBase() const {
    return QJsonDocument::fromJson(note(sentKey).toUtf8()).array();
}

QJsonObject QWPreferencesKeeper::receiving() const {
    return QJsonDocument::fromJson(note(receivingKey).toUtf8()).object();
}

QWRef<FileMetadata> QWPreferencesKeeper::known() const {
    return engine_.fileMetadataManager().fileMetadataForFileName(preferencesFileName(), false);
}

DBMetadata QWPreferencesKeeper::knownFile() const {
    const auto row = known();
    DBMetadata file = row ? QWDropboxFileMetadataManager::metadataOf(*row) : DBMetadata();
    file.path = QWDBFileSyncedPreferencesInDropboxFolder;
    return file;
}

// A process that has died ------------------------------------------------------------------------------------

void QWPreferencesKeeper::recover() {
    recoverImport();
    const QJsonObject shared = engine_.syncedPreferences();
    for (auto preference = shared.begin(); preference != shared.end(); ++preference) {
        const QJsonValue present = defaults().object(preference.key());
        const auto travelling = qw::sync::travellingPreference(present);
        if (travelling && *travelling != *preference)
            defaults().setObject(preference.key(), present);
    }
    // A change that was kept beside a received one, or a file that was missed: the engine writes down that it waits when
    // it is sent.
    const auto row = known();
    if ((base() && isBehindHere()) || (row && row->rev().isEmpty()))
        engine_.uploadSyncedPreferences();
}

// What has come is of the cloud, be it set here or not: only that keeps the next file from being taken for what was
// there before. A default that is what it was is one that was not set yet; any other one was changed here.
void QWPreferencesKeeper::recoverImport() {
    const QJsonObject receiving = this->receiving();
    if (receiving.isEmpty())
        return;
    const QJsonObject before = receiving.value(ownMember).toObject();
    const QJsonObject received = receiving.value(receivedMember).toObject();
    const QJsonObject merged = this->merged(before, received);
    for (auto preference = merged.begin(); preference != merged.end(); ++preference) {
        const QString key = preference.key();
        const auto present = qw::sync::travellingPreference(defaults().object(key));
        const bool isAsBefore = !before.contains(key) || before.value(key) == present;
        if (isAsBefore && present != *preference)
            defaults().setObject(key, preference->isNull() ? QJsonValue(QJsonValue::Undefined) : *preference);
    }
    defaults().synchronize();
    setBase(received, {});
}

// Transfers -------------------------------------------------------------------------------------------------

void QWPreferencesKeeper::transferBegins() {
    isBaseInDoubt_ = false;
    listedBefore_ = note(listedKey);
}

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
    const QJsonObject values = qw::sync::preferencesFromFileBytes(bytes).value_or(QJsonObject());
    QJsonArray sent = sentSinceBase();
    if (!sent.contains(values))
        sent.append(values);
    if (!writeNote(sentKey, QJsonDocument(sent), error))
        return false;
    sent_ = values;
    transferBegins();
    return true;
}

bool QWPreferencesKeeper::uploadEnds(const std::optional<DBMetadata>& file) {
    const QJsonObject values = *std::exchange(sent_, std::nullopt);
    if (!file)
        return true;
    if (!qw::sync::isPreferencesFile(file->path) || isBaseInDoubt_)
        return false;
    setBase(values, file->rev);
    return true;
}

QString QWPreferencesKeeper::downloadPath() const {
    const QString path = engine_.syncedPreferencesLocalCacheURL().toLocalFile();
    return path.section(QLatin1Char('/'), 0, -2) + QLatin1Char('/')
           + *qw::sync::downloadFileName(preferencesFileName());
}

void QWPreferencesKeeper::downloadBegins() {
    isDownloading_ = true;
    transferBegins();
}

bool QWPreferencesKeeper::downloadEnds() {
    isDownloading_ = false;
    return !isBaseInDoubt_;
}

// Import ----------------------------------------------------------------------------------------------------

QJsonObject QWPreferencesKeeper::merged(QJsonObject own, const QJsonObject& received) const {
    const QJsonObject base = this->base().value_or(QJsonObject());
    const QJsonArray sent = sentSinceBase();
    for (auto preference = received.begin(); preference != received.end(); ++preference) {
        const QString key = preference.key();
        // Nor has this desktop's own value, whose answer was lost, been changed there.
        const bool isUnchangedThere =
            base.value(key) == *preference || std::any_of(sent.begin(), sent.end(), [&](const auto& each) {
                return each.toObject().value(key) == *preference;
            });
        if (!isUnchangedThere || !own.contains(key))
            own.insert(key, *preference);
    }
    return own;
}

// A file that nobody can read holds nothing: what is here takes its place.
bool QWPreferencesKeeper::prepareImport(QWError* error) {
    const auto bytes = files().read(downloadPath(), error);
    if (!bytes)
        return false;
    const QJsonObject received = qw::sync::preferencesFromFileBytes(*bytes).value_or(QJsonObject());
    const QJsonObject own = engine_.syncedPreferences();
    const QJsonObject receiving{{ownMember, own}, {receivedMember, received}};
    if (!writeNote(receivingKey, QJsonDocument(receiving), error))
        return false;
    if (!files().write(engine_.syncedPreferencesLocalCacheURL().toLocalFile(),
                       qw::sync::preferencesFileBytes(merged(own, received)), error)) {
        setNote(receivingKey, {});
        return false;
    }
    files().remove(downloadPath());
    return true;
}

void QWPreferencesKeeper::finishImport(const DBMetadata& file) {
    setBase(receiving().value(receivedMember).toObject(), file.rev);
}

// Changes ---------------------------------------------------------------------------------------------------

void QWPreferencesKeeper::prepareEntry(const DBDeltaEntry& entry, QStringList& copies) {
    auto& manager = engine_.fileMetadataManager();
    if (qw::sync::isPreferencesFile(entry.lowercasePath)) {
        if (!entry.metadata)
            fileIsMissing();
        else
            setNote(listedKey, entry.metadata->rev);
        return;
    }
    if (entry.metadata && isConflictedCopy(entry.lowercasePath, manager))
        copies.append(entry.metadata->path);
}

bool QWPreferencesKeeper::isFileDue() const {
    const QString listed = note(listedKey);
    return !listed.isEmpty() && listed != knownFile().rev;
}

// What it held is remembered: another desktop may have sent it again by the time that this one does, and it may be a lie.
void QWPreferencesKeeper::fileIsMissing() {
    isBaseInDoubt_ = true;
    if (const auto row = known())
        row->setRev(QString());
    setNote(listedKey, {});
    engine_.saveCacheContext();
}

bool QWPreferencesKeeper::noteMissing(const QStringList& fileNames) {
    const bool isMissing = fileNames.contains(preferencesFileName(), Qt::CaseInsensitive);
    if (isMissing)
        fileIsMissing();
    return isMissing;
}
