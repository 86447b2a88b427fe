#pragma once

#include "store/QWFetchRequest.h"

#include <QByteArray>
#include <memory>
#include <vector>

class QWBoundPredicate;
class QWManagedObjectContext;

// What a fetch request asks of a single record: whether it is in the result, and where it stands there. For
// whoever keeps a result up to date record by record, without fetching it again. Limit and offset are left
// to the holder.
//
// Belongs to the thread of its context, which must outlive it.
class QWFetchCriteria {
public:
    // Nothing, with an error, for what `fetch` refuses: an unknown entity or key, a predicate that does not
    // fit.
    static std::optional<QWFetchCriteria> create(QWManagedObjectContext& context,
                                                 const QWFetchRequest& request, QWError* error = nullptr);

    // Whether a fetch gives the record, judged by its present values; a fault is read.
    bool includes(const QWManagedObject& record) const;

    // Bytes that stand to those of another record (QByteArray's order) as the records stand in the result:
    // by the sort descriptors, then by key. No two records have the same.
    QByteArray place(const QWManagedObject& record) const;
    // The same; a record that is not live is read from the store, and not made. Empty when it cannot be read.
    QByteArray place(const QWManagedObjectID& id) const;

    // Of the request that the criteria were made for.
    const QWEntityDescription& entity() const { return *entity_; }
    const QWBoundPredicate& predicate() const { return *predicate_; }

private:
    struct Term {
        int property;
        bool ascending;
        QWSortDescriptor::Comparison comparison;
    };

    QWManagedObjectContext* context_ = nullptr;
    const QWEntityDescription* entity_ = nullptr;
    std::shared_ptr<const QWBoundPredicate> predicate_;
    bool includesSubentities_ = true;
    std::vector<Term> terms_;
};
