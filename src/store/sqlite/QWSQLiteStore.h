#pragma once

#include "store/QWFetchRequest.h"
#include "store/QWManagedObjectID.h"
#include "store/QWManagedObjectModel.h"
#include "store/QWPackedRow.h"
#include "store/QWPersistentStoreCoordinator.h"
#include "store/sqlite/QWDistinctTexts.h"
#include "store/sqlite/QWSQLiteConnection.h"
#include "store/sqlite/QWStoreLayout.h"

#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

// The rows of one SQLite file, without knowledge of contexts. Values travel as arrays of QVariant indexed by
// QWPropertyDescription::index(): attributes in their own QVariant type, a to-one relationship as the
// destination's key [qlonglong] or no value; to-many slots are left alone.
//
// Threads: every operation locks; a save locks from `begin` to `commit` or `rollback`.
class QWSQLiteStore {
public:
    static std::unique_ptr<QWSQLiteStore> open(const QString& path, const QWManagedObjectModel& model,
                                               const QWStoreOptions& options, QWError* error);
    ~QWSQLiteStore();

    // The first of `count` consecutive keys under `root` that nobody uses: keys are leased from the file in
    // blocks, so that several connections never hand out the same. When the lease cannot be written, keys are
    // given all the same and the save reports the trouble.
    qint64 reserveKeys(const QWEntityDescription& root, qint64 count = 1);

    // Reading -----------------------------------------------------------------------------------------------

    struct Row {
        const QWEntityDescription* entity;
        qint64 key;
        qint64 version;
    };
    class RowSink {
    public:
        virtual ~RowSink() = default;
        // Where the row's values are to be put, or null when they are not wanted. Not told when that is done;
        // it is before the next call.
        virtual QWPackedRow* row(const Row& row) = 0;
    };

    // Saved rows that match the request (its pending-changes flag is ignored), in its order. A LIMIT of 0 is
    // none.
    bool select(const QWFetchRequest& request, RowSink& sink, QWError* error);
    // The same rows' identities alone.
    std::optional<std::vector<QWManagedObjectID>> selectIDs(const QWFetchRequest& request, QWError* error);
    // One row by key. False without error when there is no such row.
    bool readRow(const QWEntityDescription& root, qint64 key, RowSink& sink, QWError* error);
    std::optional<qint64> count(const QWFetchRequest& request, QWError* error);
    std::optional<QVariantList> distinctValues(const QWFetchRequest& request, const QString& key,
                                               QWError* error);
    // While the answer lives, a request for distinct values of that key that contain a text is answered from
    // memory.
    std::shared_ptr<const void> keepDistinctValues(const QString& entityName, const QString& key,
                                                   QWError* error);
    // Saved members of a to-many relationship, in its order when it has one, else by key.
    std::vector<QWManagedObjectID> members(const QWPropertyDescription& relationship, qint64 owner);
    // The entity of a saved row; null when there is none.
    const QWEntityDescription* entityOf(const QWEntityDescription& root, qint64 key);

    // Writing -----------------------------------------------------------------------------------------------

    enum class Write { Done, Conflict, Failed };

    bool begin(QWError* error);
    // A new row with version 1.
    bool insert(const QWManagedObjectID& id, const QVariant* values, QWError* error);
    // Writes the slots listed and raises the version by one, provided that the row still has `version`;
    // otherwise Conflict, and nothing is written.
    Write update(const QWManagedObjectID& id, qint64 version, const QVariant* values,
                 const std::vector<int>& slots, QWError* error);
    Write remove(const QWManagedObjectID& id, qint64 version, QWError* error);
    // Replaces the members of a to-many relationship. Where the far end is a to-one, its rows carry the link
    // and only the order (of an ordered relationship) is written here. Where it is a to-many, its own order
    // (and, if a relationship is its own inverse, its link back) is written with its own members.
    bool writeMembers(const QWPropertyDescription& relationship, const QWManagedObjectID& owner,
                      const std::vector<QWManagedObjectID>& members, QWError* error);
    // A to-one whose destination another connection has deleted meanwhile is committed as no value.
    bool commit(QWError* error);
    void rollback();

private:
    // Where the value of a slot stands in a row of `EntityAccess::select`.
    struct Column {
        int slot;
        int position;
        QWAttributeType type; // Integer for a to-one
    };
    struct Kind {
        const QWEntityDescription* entity;
        qint64 id; // of the entity in the file
        std::vector<Column> columns;
    };
    // What it takes to read and write the rows of one entity; made once.
    struct EntityAccess {
        std::vector<Kind> kinds; // itself first, then those below it
        QByteArray table;
        QByteArray select;               // "_entity, _key, _version", then the columns of all kinds
        QByteArray selectByKey;          // the same with the key as parameter
        QByteArray isOfEntity, isOfKind; // conditions on `_entity`; empty where every row of the table fits
        QByteArray insert; // parameters: key, entity, then the values as `bindValue` counts them
    };
    // Keys that were leased from the file and not handed out yet.
    struct Lease {
        qint64 next = 1;
        qint64 end = 1;
        bool written = true; // in the file
    };
    // The rows that a request asks for, before order and limit.
    struct Selection {
        const EntityAccess& access;
        QByteArray where; // " WHERE …", or empty
        QVariantList bindings;
        bool isWhole; // no predicate: all rows of the entity
    };

    QWSQLiteStore(const QWManagedObjectModel& model);
    void prepare();
    void describe(const QWEntityDescription& entity, EntityAccess& access) const;
    // Runs `action` under the lock; false when it failed, with the error.
    template <class Action>
    bool guarded(QWError* error, Action action) {
        const std::lock_guard lock(mutex_);
        overwriteFailedCommit();
        try {
            action();
            return true;
        } catch (const QWStoreFailure& failure) {
            return qw::fail(error, failure.error);
        }
    }

    const EntityAccess& access(const QWEntityDescription& entity) const { return accesses_[entity.index()]; }
    qint64 id(const QWEntityDescription& entity) const { return ids_[entity.index()]; }
    static void pack(const QWSQLiteStatement& row, int column, int slot, QWPackedRow::Writer& writer);
    static void bindAll(QWSQLiteStatement& statement, const QVariantList& bindings);
    const QWEntityDescription& entityOf(const QWFetchRequest& request) const;
    Selection selection(const QWFetchRequest& request) const;
    QByteArray orderBy(const QWFetchRequest& request) const;
    const QWPropertyDescription& attribute(const QWEntityDescription& entity, const QString& key) const;
    // The number of rows handed to the sink.
    qint64 readRows(const EntityAccess& access, QWSQLiteStatement& statement, RowSink& sink);
    qint64 rowCount(const EntityAccess& access, bool withSubentities);
    QVariantList selectDistinct(const QWFetchRequest& request, const QWPropertyDescription& property);
    // All values of a string attribute by code points; nothing when they would take more memory than that.
    std::optional<QStringList> distinctTexts(const QWEntityDescription& entity,
                                             const QWPropertyDescription& property, bool includesSubentities,
                                             qint64 mostBytes = std::numeric_limits<qint64>::max());
    // Null when nobody keeps them.
    std::shared_ptr<QWDistinctTexts> keptTexts(const QWEntityDescription& entity,
                                               const QWPropertyDescription& property) const;
    // The same, up to date with the file; null as well when they cannot be used just now.
    std::shared_ptr<QWDistinctTexts> usableTexts(const QWEntityDescription& entity,
                                                 const QWPropertyDescription& property);
    bool hasText(const QWEntityDescription& entity, const QWPropertyDescription& property,
                 const QString& text);
    // To be called before a row is written: `values` are the new ones (null: it is removed), `slots` those
    // that change (null: all).
    void touchKept(const QWManagedObjectID& id, const QVariant* values, const std::vector<int>* slots);
    const Kind& kindWithId(const EntityAccess& access, qint64 id) const;
    void extend(Lease& lease, const QWEntityDescription& root, qint64 count);

    void writeOrder(const QWPropertyDescription& relationship, const std::vector<QWManagedObjectID>& members);
    void writeLinks(const QWPropertyDescription& relationship, qint64 owner,
                    const std::vector<QWManagedObjectID>& members);
    void writeRowCounts();
    // A commit whose last step fails, the syncing of the journal, may stand whole in that, and the next process would find
    // it if this one died. Tried with every operation until the disk lets it.
    void overwriteFailedCommit();
    void abandon();
    void endTransaction();

    std::recursive_mutex mutex_; // of everything below
    const QWManagedObjectModel& model_;
    const QWStoreLayout layout_;
    std::unique_ptr<QWSQLiteConnection> connection_;
    std::vector<EntityAccess> accesses_; // this and the following: by the entity's index
    std::vector<qint64> ids_;
    std::vector<Lease> leases_;   // of root entities
    std::vector<qint64> newRows_; // inserted minus removed in this transaction
    std::vector<std::weak_ptr<QWDistinctTexts>> kept_;
    bool inTransaction_ = false;
    bool mayFailedCommitStand_ = false;
};
