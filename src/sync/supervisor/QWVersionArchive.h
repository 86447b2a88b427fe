#pragma once

#include "platform/QWError.h"
#include "store/QWManagedObjectContext.h"

#include <QDateTime>
#include <QString>
#include <QVariantMap>
#include <chrono>
#include <optional>
#include <vector>

class QWDropboxSyncCoreData;
class QWManagedObjectWithSyncSupport;

// A version of a record, or of its image, that had to give way to another one.
struct QWArchivedVersion {
    enum class Origin {
        Here = 1,  // it was this desktop's
        Cloud = 2, // it was received
    };
    enum class Reason {
        Earlier = 1,     // the other version was edited later
        SameSecond = 2,  // both were edited in one second, and the other one is kept everywhere
        Deletion = 3,    // the record was deleted: elsewhere, when the version was this desktop's, else here
        Restoration = 4, // an archived version was brought back in its place
    };

    QString entityName;
    QString uuid;
    qint64 number = 0;      // among the versions of its record, images too; a later loss has a greater number
    QDateTime dateModified; // when it was edited, or the image was set; null when it did not say
    QDateTime archivedAt;
    Origin origin = Origin::Here;
    Reason reason = Reason::Earlier;
    QVariantMap record;   // its field values as they travel, without the image: docs/remote-format.md
    QString imagePath;    // of an image: the file that holds it, not to be written; null for a record
    qint64 imageSize = 0; // in bytes

    bool isImage() const { return !imagePath.isEmpty(); }
};

// The versions that lost. When two desktops edit a record, one version of it stays; under a QWSyncSupervisor the
// others are kept here, each version once: those of this desktop that a received record or deletion replaces, and
// the received ones that are declined. The same holds for the images of records, each by its content.
//
//     QWVersionArchive archive(engine);
//     for (const QWArchivedVersion& version : archive.versions(uuid)) …
//     archive.restore(version, &error);
//
// A version is in the archive, on the disk, before anything takes its place. The archive is part of the engine's
// cache store, and the contents of images are files of their own beside that; any number of these objects may look
// into it. Threads and time: those of the engine, which must outlive them.
class QWVersionArchive {
public:
    // What is beyond these bounds goes, the oldest losses first.
    struct Bounds {
        qint64 versionsOfRecord = 20; // and as many of its image
        qint64 versions = 100000;     // a batch that replaces more keeps all of its own until it has ended
        std::chrono::hours age = std::chrono::hours(24) * 180; // since they lost, by the engine's clock
        qint64 imageBytes =
            500'000'000; // of all images; for the time of a batch they may be a tenth more, or what it deletes
    };

    explicit QWVersionArchive(QWDropboxSyncCoreData& engine) : engine_(engine) {}

    // Of the record with that uuid, letter case ignored, whether it exists or not; the latest loss first.
    std::vector<QWArchivedVersion> versions(const QString& uuid) const;
    // The latest losses of any records, the very latest first: where a deleted record is found.
    std::vector<QWArchivedVersion> latestVersions(qint64 limit) const;
    qint64 count() const;

    // Makes a version the present one, by an edit in the main context that is dated now, or one second after the
    // version that it replaces where that is later; the host saves it. A record that does not exist any more is made
    // again. The version that is replaced goes into the archive. A reference to a record that is not here is left
    // out. An image is written at once, dated like the edit of its record, which must exist.
    //
    // The record. Null, with an error, when the model does not sync records of that entity, and for an image also
    // when its record is not here or has none, or when a file cannot be read or written.
    QWRef<QWManagedObjectWithSyncSupport> restore(const QWArchivedVersion& version, QWError* error = nullptr);

    // For a cache store that takes the place of another one: takes over what the file of that one holds, with the
    // images beside it, as far as it can be read. False when it can not.
    bool takeOver(const QString& cacheStorePath, QWError* error = nullptr);

    // For who sees a version give way. It is written by the next save of the cache store. The content of an image is
    // copied from `imagePath` at once, if there is any; false when it cannot be read or written.
    bool add(const QWArchivedVersion& version, QWError* error = nullptr);
    // The same with a version that `object` has, where and when it stands; nothing for one without a date, which
    // nobody has edited.
    void add(QWManagedObjectWithSyncSupport& object, QWArchivedVersion::Origin origin,
             QWArchivedVersion::Reason reason);
    // Writes an image to where it was, as it was. The version stays.
    bool putBackImage(const QWArchivedVersion& version, const QString& path, QWError* error = nullptr);
    // Whether images may be put back, and none is dropped for being beyond the bounds.
    void holdImages(bool areHeld) { areImagesHeld_ = areHeld; }
    // Drops what is beyond the bounds.
    void prune();
    void setBounds(const Bounds& bounds) { bounds_ = bounds; }

private:
    QWRef<QWManagedObject> addRow(const QWArchivedVersion& version, const QByteArray& hash);
    bool addImage(const QWArchivedVersion& version, QWError* error);
    void drop(QWManagedObject& row);
    void pruneImages();
    bool writeImage(const QByteArray& bytes, const QString& path, const QDateTime& date, QWError* error);
    QWRef<QWManagedObjectWithSyncSupport> restoreRecord(const QWArchivedVersion& version);
    QWRef<QWManagedObjectWithSyncSupport> restoreImage(const QWArchivedVersion& version, QWError* error);
    QVariantMap withoutStrangers(const QVariantMap& record) const;
    std::vector<QWArchivedVersion> versionsFound(const QWFetchRequest& request) const;
    QWManagedObjectContext& cache() const;
    QWFileManager& files() const;

    QWDropboxSyncCoreData& engine_;
    Bounds bounds_;
    qint64 imageBytesAdded_ = 0; // since they were pruned
    bool areImagesHeld_ = false;
};
