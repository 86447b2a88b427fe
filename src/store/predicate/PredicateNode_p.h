#pragma once

#include "store/QWPredicate.h"

#include <QVariant>
#include <vector>

namespace qw {

// One node of a predicate's tree, as built: keys are names and values are what the caller gave.
struct PredicateNode : std::enable_shared_from_this<PredicateNode> {
    enum class Kind { Constant, Comparison, SelfIn, And, Or, Not, TooDeep };
    using Ref = std::shared_ptr<const PredicateNode>;

    // SQLite's parser keeps at most 100 pending symbols; a level of a compiled condition takes up to three.
    // A deeper tree is replaced by a node of kind TooDeep, which fits no entity.
    static constexpr int maximumDepth = 24;
    // How many parts an AND or OR joins on one level; wider ones are split into a tree of such groups,
    // because SQLite limits the depth of an expression and every join is one deeper than the one before it.
    static constexpr size_t groupSize = 25;

    Kind kind = Kind::Constant;
    int depth = 1; // levels, those of groups included

    bool constant = true; // Constant

    QString key; // Comparison
    QWPredicate::Operator op = QWPredicate::Operator::Equal;
    int options = QWPredicate::None;
    QVariant value; // none, bool, qlonglong, double, QString, QDateTime, QByteArray, QWManagedObjectID or a
                    // QVariantList of them; any other type fits no key

    QList<QWManagedObjectID> ids; // SelfIn

    std::vector<Ref> parts; // And and Or: at least two, none of the same kind; Not: one
};

} // namespace qw
