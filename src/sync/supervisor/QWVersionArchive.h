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

// A version of a record that had to give way to another one.
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
    qint64 number = 0;      // among the versions of its record; a later loss has a greater number
    QDateTime dateModified; // when it was edited; null when it did not say
    QDateTime archivedAt;
    Origin origin = Origin::Here;
    Reason reason = Reason::Earlier;
    QVariantMap record; // its field values as they travel, without the image: docs/remote-format.md
};

// The versions that lost. When two desktops edit a record, one version of it stays; under a QWSyncSupervisor the
// others are kept here, each version once: those of this desktop that a received record or deletion replaces, and
// the received ones that are declined.
//
//     QWVersionArchive archive(engine);
//     for (const QWArchivedVersion& version : archive.versions(uuid)) …
//     archive.restore(version, &error);
//
// A version is in the archive, on the disk, before anything takes its place. The archive is part of the engine's
// cache store; any number of these objects may look into it. Threads and time: those of the engine, which must
// outlive them.
class QWVersionArchive {
public:
    // What is beyond these bounds goes, the oldest losses first.
    struct Bounds {
        qint64 versionsOfRecord = 20;
        qint64 versions = 100000; // a batch that replaces more keeps all of its own until it has ended
        std::chrono::hours age = std::chrono::hours(24) * 180; // since they lost, by the engine's clock
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
    // out. Null, with an error, when the model does not sync records of that entity.
    QWRef<QWManagedObjectWithSyncSupport> restore(const QWArchivedVersion& version, QWError* error = nullptr);

    // For a cache store that takes the place of another one: takes over what the file of that one holds, as far
    // as it can be read. False when it can not.
    bool takeOver(const QString& cacheStorePath, QWError* error = nullptr);

    // For who sees a version give way. It is written by the next save of the cache store.
    void add(const QWArchivedVersion& version);
    // The same with a version that `object` has, where and when it stands; nothing for one without a date, which
    // nobody has edited.
    void add(QWManagedObjectWithSyncSupport& object, QWArchivedVersion::Origin origin,
             QWArchivedVersion::Reason reason);
    // Drops what is beyond the bounds.
    void prune();
    void setBounds(const Bounds& bounds) { bounds_ = bounds; }

    static void addEntity(QWManagedObjectModel& model);

private:
    QVariantMap withoutStrangers(const QVariantMap& record) const;

    QWDropboxSyncCoreData& engine_;
    Bounds bounds_;
};
