#include "platform/QWAssert.h"
#include "platform/text/QWText.h"
#include "store/QWStoreError.h"
#include "store/sqlite/QWSQLiteStore.h"
#include "store/sqlite/QWStoreReferences.h"

#include <QHash>
#include <algorithm>

namespace {

// Binds the column or columns of one property.
void bindValue(QWSQLiteStatement& statement, int& parameter, const QWPropertyDescription& property,
               const QVariant& value) {
    statement.bind(parameter++, value);
    if (!property.isFolded())
        return;
    if (value.isValid())
        statement.bindText(parameter++, qw::text::foldCase(value.toString()));
    else
        statement.bindNull(parameter++);
}

} // namespace

bool QWSQLiteStore::begin(QWError* error) {
    mutex_.lock(); // until the transaction ends
    QWAssert(!inTransaction_, "!inTransaction", "-[QWSQLiteStore begin]");
    const bool begun = guarded(error, [&] {
        connection_->run("BEGIN IMMEDIATE");
        inTransaction_ = true;
        for (const auto& entity : model_.entities()) {
            Lease& lease = leases_[entity->index()];
            if (lease.written)
                continue;
            QWSQLiteStatement statement(*connection_,
                                        "UPDATE qw_entities SET next_key = max(next_key, ?) WHERE id = ?");
            statement.bind(1, lease.end);
            statement.bind(2, id(*entity));
            statement.run();
            lease.written = true;
        }
    });
    if (!begun)
        abandon();
    return begun;
}

bool QWSQLiteStore::insert(const QWManagedObjectID& newId, const QVariant* values, QWError* error) {
    return guarded(error, [&] {
        touchKept(newId, values, nullptr);
        QWSQLiteStatement statement(*connection_, access(*newId.entity).insert);
        statement.bind(1, newId.key);
        statement.bind(2, id(*newId.entity));
        int parameter = 3;
        for (const QWPropertyDescription* property : newId.entity->properties()) {
            if (!property->isToMany())
                bindValue(statement, parameter, *property, values[property->index()]);
        }
        try {
            statement.run();
        } catch (const QWStoreFailure& failure) {
            if (failure.code != SQLITE_CONSTRAINT_PRIMARYKEY)
                throw;
            // Keys that were handed out without a lease.
            throw QWStoreFailure{
                QWMakeStoreError(QWStoreErrorCode::Conflict, failure.error.message,
                                 {{QStringLiteral("conflicts"), QVariantList{QVariant::fromValue(newId)}}})};
        }
        ++newRows_[newId.entity->index()];
    });
}

QWSQLiteStore::Write QWSQLiteStore::update(const QWManagedObjectID& updated, qint64 version,
                                           const QVariant* values, const std::vector<int>& slots,
                                           QWError* error) {
    Write result = Write::Failed;
    guarded(error, [&] {
        touchKept(updated, values, &slots);
        const auto& properties = updated.entity->properties();
        QByteArray sql = "UPDATE " + layout_.table(*updated.entity) + " SET _version = _version + 1";
        for (const int slot : slots) {
            if (properties[slot]->isToMany())
                continue;
            sql += ", " + layout_.column(*properties[slot]) + " = ?";
            if (properties[slot]->isFolded())
                sql += ", " + layout_.foldedColumn(*properties[slot]) + " = ?";
        }
        QWSQLiteStatement statement(*connection_, sql + " WHERE _key = ? AND _version = ?");
        int parameter = 1;
        for (const int slot : slots) {
            if (!properties[slot]->isToMany())
                bindValue(statement, parameter, *properties[slot], values[slot]);
        }
        statement.bind(parameter++, updated.key);
        statement.bind(parameter, version);
        statement.run();
        result = connection_->changes() == 1 ? Write::Done : Write::Conflict;
    });
    return result;
}

QWSQLiteStore::Write QWSQLiteStore::remove(const QWManagedObjectID& removed, qint64 version, QWError* error) {
    Write result = Write::Failed;
    guarded(error, [&] {
        touchKept(removed, nullptr, nullptr);
        QWSQLiteStatement statement(*connection_, "DELETE FROM " + layout_.table(*removed.entity)
                                                      + " WHERE _key = ? AND _version = ?");
        statement.bind(1, removed.key);
        statement.bind(2, version);
        statement.run();
        result = connection_->changes() == 1 ? Write::Done : Write::Conflict;
        if (result == Write::Done)
            --newRows_[removed.entity->index()];
    });
    return result;
}

bool QWSQLiteStore::writeMembers(const QWPropertyDescription& relationship, const QWManagedObjectID& owner,
                                 const std::vector<QWManagedObjectID>& members, QWError* error) {
    return guarded(error, [&] {
        if (layout_.joinTable(relationship))
            writeLinks(relationship, owner.key, members);
        else if (relationship.isOrdered())
            writeOrder(relationship, members);
    });
}

void QWSQLiteStore::writeOrder(const QWPropertyDescription& relationship,
                               const std::vector<QWManagedObjectID>& members) {
    const QByteArray& order = layout_.orderColumn(relationship);
    QWSQLiteStatement statement(*connection_, "UPDATE " + layout_.table(*relationship.destination()) + " SET "
                                                  + order + " = ?1 WHERE _key = ?2 AND " + order
                                                  + " IS NOT ?1");
    qint64 position = 0;
    for (const QWManagedObjectID& member : members) {
        statement.bind(1, position++);
        statement.bind(2, member.key);
        statement.run();
    }
}

// Only the differences are written, so that the far end keeps its order of the links that stay.
void QWSQLiteStore::writeLinks(const QWPropertyDescription& relationship, qint64 owner,
                               const std::vector<QWManagedObjectID>& members) {
    const QWStoreLayout::JoinTable& join = *layout_.joinTable(relationship);
    const bool forward = join.relationship == &relationship;
    const QByteArray table = join.table.name;
    const QByteArray own = forward ? "owner" : "member", far = forward ? "member" : "owner";
    const QByteArray place = forward ? "position" : "inverse_position";
    const QByteArray isLink = " WHERE " + own + " = ?1 AND " + far + " = ?2";

    QHash<qint64, QVariant> links; // the far ends and their places, as they are
    QWSQLiteStatement read(*connection_,
                           "SELECT " + far + ", " + place + " FROM " + table + " WHERE " + own + " = ?");
    read.bind(1, owner);
    while (read.step())
        links.insert(read.integer(0), read.isNull(1) ? QVariant() : QVariant(read.integer(1)));

    QWSQLiteStatement add(*connection_, "INSERT INTO " + table + " (" + own + ", " + far + ", " + place
                                            + ") VALUES (?1, ?2, ?3)");
    QWSQLiteStatement move(*connection_, "UPDATE " + table + " SET " + place + " = ?3" + isLink);
    qint64 position = 0;
    for (const QWManagedObjectID& member : members) {
        const QVariant wanted = relationship.isOrdered() ? QVariant(position++) : QVariant();
        const auto link = links.constFind(member.key);
        if (link == links.constEnd() || *link != wanted) {
            QWSQLiteStatement& write = link == links.constEnd() ? add : move;
            write.bind(1, owner);
            write.bind(2, member.key);
            write.bind(3, wanted);
            write.run();
        }
        links.remove(member.key);
    }

    QWSQLiteStatement drop(*connection_, "DELETE FROM " + table + isLink);
    for (auto link = links.constBegin(); link != links.constEnd(); ++link) {
        drop.bind(1, owner);
        drop.bind(2, link.key());
        drop.run();
    }
}

bool QWSQLiteStore::commit(QWError* error) {
    const bool committed = guarded(error, [&] {
        writeRowCounts();
        try {
            connection_->run("COMMIT");
        } catch (const QWStoreFailure& failure) {
            if (failure.code != SQLITE_CONSTRAINT_FOREIGNKEY)
                throw;
            QWClearDanglingReferences(*connection_, model_, layout_);
            connection_->run("COMMIT");
        }
    });
    mayFailedCommitStand_ = !committed;
    if (committed)
        endTransaction();
    else
        abandon();
    return committed;
}

void QWSQLiteStore::rollback() {
    const std::lock_guard lock(mutex_);
    if (inTransaction_)
        abandon();
}

void QWSQLiteStore::writeRowCounts() {
    QWSQLiteStatement statement(*connection_,
                                "UPDATE qw_entities SET row_count = row_count + ? WHERE id = ?");
    for (size_t index = 0; index < newRows_.size(); ++index) {
        if (newRows_[index] == 0)
            continue;
        statement.bind(1, newRows_[index]);
        statement.bind(2, ids_[index]);
        statement.run();
    }
}

void QWSQLiteStore::abandon() {
    // SQLite has rolled back by itself after some failures.
    if (!sqlite3_get_autocommit(connection_->handle()))
        sqlite3_exec(connection_->handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    for (Lease& lease : leases_)
        lease.written = false; // perhaps it was part of this transaction
    endTransaction();
}

void QWSQLiteStore::endTransaction() {
    inTransaction_ = false;
    std::fill(newRows_.begin(), newRows_.end(), 0);
    overwriteFailedCommit();
    mutex_.unlock();
}

// The next commit takes its place: one of keys that nobody gets.
void QWSQLiteStore::overwriteFailedCommit() {
    if (!mayFailedCommitStand_ || inTransaction_)
        return;
    try {
        connection_->run("UPDATE qw_entities SET next_key = next_key + 1");
        mayFailedCommitStand_ = false;
    } catch (const QWStoreFailure&) {
        // the disk fails still
    }
}
