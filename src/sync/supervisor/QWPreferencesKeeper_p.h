#pragma once

#include "sync/QWDropboxSyncCoreData.h"

#include <QJsonArray>
#include <QJsonDocument>

// Keeps the changes that desktops make to shared preferences from undoing each other. The engine takes over
// every value of a received file, and sends all of its own; this knows the base, what the cloud's file held
// when it was last sent or received here, and so what has changed on which side since. The base is in the
// cache store.
class QWPreferencesKeeper {
public:
    explicit QWPreferencesKeeper(QWDropboxSyncCoreData& engine) : engine_(engine) {}

    // What the last process has left undone, when it died at a bad instant: a changed default that the engine
    // did not get to know is told to it, a received one that was not set is set.
    void recover();

    // Whether the local copy holds anything that the cloud's file, as far as it is known, does not.
    bool isUploadDue() const;
    // The cloud's file, as far as it is known.
    DBMetadata knownFile() const;
    // Whether a value here is another one than there, also where that is the cloud's fault.
    bool isBehindHere() const { return engine_.syncedPreferences() != base(); }

    // Transfers, of which one is out at a time: of two nobody could tell what the cloud had first.
    bool isTransferring() const { return sent_ || isDownloading_; }

    // Sees to it that the local copy, which is what is sent, is that of the present values: the engine may not have
    // been able to write it. False while it cannot be written.
    bool stage(QWError* error);
    // False when it cannot be written down that it begins.
    bool uploadBegins(QWError* error);
    // Nothing when the upload failed; else where the cloud has put the file. False when what the cloud's file holds
    // must be looked at: this is in a conflicted copy, or the file went meanwhile, before or after it was stored.
    bool uploadEnds(const std::optional<DBMetadata>& file);

    // Where the file is loaded to, beside the local copy.
    QString downloadPath() const;
    void downloadBegins();
    // False when the file went meanwhile, before or after it was read.
    bool downloadEnds();
    // Before the engine has a downloaded file: puts it in the place of the local copy, with the values that
    // were changed here and not there. False when it cannot be read or placed for now.
    bool prepareImport(QWError* error);
    // The values of the file are set.
    void finishImport(const DBMetadata& file);

    // Before the engine has a page of changes. `copies` gets the paths of conflicted copies of the file, which belong to
    // nobody: whoever sent one may not have learnt of it.
    void prepareEntry(const DBDeltaEntry& entry, QStringList& copies);
    // Whether a version of the file was listed that is not here. It may be that no further query tells of it: a
    // full re-upload forgets what its batch was loading, and goes on.
    bool isFileDue() const;
    void fileIsMissing();
    // Of the files that a listing from scratch lacks: true when theirs is among them.
    bool noteMissing(const QStringList& fileNames);

private:
    // Rows of `Metadata`.
    QString note(const QString& key) const;
    void setNote(const QString& key, const QString& note);
    bool writeNote(const QString& key, const QJsonDocument& note, QWError* error);

    std::optional<QJsonObject> base() const;
    // `rev` is that of the file with these values.
    void setBase(const QJsonObject& values, const QString& rev);
    // What was sent since the cloud last said what it holds: it may hold any of them.
    QJsonArray sentSinceBase() const;
    // Empty when no file is being received.
    QJsonObject receiving() const;
    // The values here, `own`, with those of a received file that were changed there.
    QJsonObject merged(QJsonObject own, const QJsonObject& received) const;
    void transferBegins();
    void recoverImport();
    QWRef<FileMetadata> known() const;
    QWUserDefaults& defaults() const {
        return engine_.mainManagedObjectContext()->environment().userDefaults();
    }
    QWFileManager& files() const { return engine_.mainManagedObjectContext()->environment().files(); }

    QWDropboxSyncCoreData& engine_;
    std::optional<QJsonObject> sent_; // not answered
    bool isDownloading_ = false;
    // Since the transfer began:
    bool isBaseInDoubt_ = false;
    QString listedBefore_; // the revision that was listed by then
};
