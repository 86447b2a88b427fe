#pragma once

#include "sync/QWDropboxSyncCoreData.h"

#include <QJsonArray>

// Keeps the changes that desktops make to shared preferences from undoing each other. The engine takes over
// every value of a received file, and sends all of its own; this knows the base, what the cloud's file held
// when it was last sent or received here, and so what has changed on which side since. The base is in the
// cache store.
class QWPreferencesKeeper {
public:
    explicit QWPreferencesKeeper(QWDropboxSyncCoreData& engine) : engine_(engine) {}

    // The values of a received file are set.
    void finishImport() { setReceiving(false); }
    // What the last process has left undone, when it died at a bad instant: a changed default that the engine
    // did not get to know is told to it, a received one that was not set is set.
    void recover();

    // Whether the local copy holds anything that the cloud's file, as far as it is known, does not.
    bool isUploadDue() const;
    // The cloud's file, as far as it is known.
    DBMetadata knownFile() const;
    // Sees to it that the local copy, which is what is sent, is that of the present values: the engine may not have
    // been able to write it. False while it cannot be written.
    bool stage(QWError* error);
    // One at a time. False when it cannot be written down that it begins.
    bool uploadBegins(QWError* error);
    bool isUploading() const { return sent_.has_value(); }
    // Nothing when the upload failed; else where the cloud has put the file. False when what the cloud's file holds
    // must be looked at: this is in a conflicted copy, or a version came or the file went meanwhile, before or after
    // it was stored.
    bool uploadEnds(const std::optional<DBMetadata>& file);

    // Where the file is loaded to, beside the local copy.
    QString downloadPath() const;
    // Before the engine has a downloaded file: puts it in the place of the local copy, with the values that
    // were changed here and not there. False when it cannot be read or placed for now.
    bool prepareImport(QWError* error);
    // Whether a value here is another one than there, also where that is the cloud's fault.
    bool isBehindHere() const { return engine_.syncedPreferences() != base(); }

    // Before the engine has a page of changes. `copies` gets the paths of conflicted copies of the file, which belong to
    // nobody: whoever sent one may not have learnt of it.
    void prepareEntry(const DBDeltaEntry& entry, QStringList& copies);
    // Whether a version of the file was listed that is not here. It may be that no further query tells of it: a
    // full re-upload forgets what its batch was loading, and goes on.
    bool isFileDue() const;
    void fileIsMissing();
    // Of the files that a listing from scratch lacks.
    void noteMissing(const QStringList& fileNames);

private:
    std::optional<QJsonObject> base() const;
    void setBase(const QByteArray& bytes);
    // What was sent since the cloud last said what it holds: it may hold any of them.
    QJsonArray sentSinceBase() const;
    bool isReceiving() const;
    void setReceiving(bool isReceiving);
    QWRef<FileMetadata> known() const;
    QWFileManager& files() const { return engine_.mainManagedObjectContext()->environment().files(); }

    QWDropboxSyncCoreData& engine_;
    std::optional<QByteArray> sent_; // not answered
    bool isBaseInDoubt_ = false;     // since that was sent
};
