#pragma once

#include "store/QWPredicate.h"
#include "store/predicate/PredicateValue_p.h"

#include <memory>
#include <optional>
#include <set>
#include <vector>

namespace qw {

// A node of a predicate that was checked against an entity and brought to few kinds: a comparison with no
// value became Missing, NotEqual a Not of Equal.
struct BoundPredicateNode {
    enum class Kind {
        Constant,
        And,
        Or,
        Not,
        Missing, // the property has no value
        Compare, // the property's value against `value`; false without a value
        OneOf,   // the property's value (without property: the record's key) is in `values`
    };
    Kind kind = Kind::Constant;
    bool constant = false;
    std::vector<BoundPredicateNode> parts;

    const QWPropertyDescription* property = nullptr;
    QWPredicate::Operator op = QWPredicate::Operator::Equal;
    int options = QWPredicate::None;
    // Equal and OneOf hold values that the property can have. An order may be asked of others (pages < 1.5).
    PredicateValue value;
    std::set<PredicateValue> values; // of one kind but for documents
};

} // namespace qw

// A predicate checked once against an entity, to be evaluated over many records. Immutable; keeps no
// reference to the predicate, but the model must outlive it.
class QWBoundPredicate {
public:
    // Nothing, with an error that names entity, key, expected and given, when the predicate does not fit.
    static std::optional<QWBoundPredicate> bind(const QWPredicate& predicate,
                                                const QWEntityDescription& entity, QWError* error);

    // `values` are the slots of a record of the entity or of one below it, as a record and a row hold them:
    // attributes in their own type, a to-one as the destination's key [qlonglong], or no value.
    bool evaluate(const QVariant* values, const QWManagedObjectID& self) const;

    // An equality that every matching record fulfils, on an attribute that has an index: records can be
    // looked up by it and then be evaluated.
    struct IndexedLookup {
        int property = -1;
        QVariant value;      // in the attribute's own type; with `folded`, foldCase of the text
        bool folded = false; // to be compared with foldCase of the attribute's value
    };
    std::optional<IndexedLookup> indexedLookup() const;

    const qw::BoundPredicateNode& root() const { return *root_; }

private:
    explicit QWBoundPredicate(qw::BoundPredicateNode root);

    std::shared_ptr<const qw::BoundPredicateNode> root_;
};
