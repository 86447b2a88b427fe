#include "store/predicate/QWBoundPredicate_p.h"

#include "platform/text/QWText.h"

#include <algorithm>

using qw::BoundPredicateNode;
using qw::PredicateValue;
using Operator = QWPredicate::Operator;

namespace {

// For Qt no null text begins with an empty one.
bool begins(const QString& text, const QString& prefix) {
    return prefix.isEmpty() || text.startsWith(prefix);
}

bool compare(const PredicateValue& value, Operator op, const PredicateValue& constant) {
    switch (op) {
    case Operator::Equal:
        return value == constant;
    case Operator::Less:
        return qw::compareValues(value, constant) < 0;
    case Operator::LessOrEqual:
        return qw::compareValues(value, constant) <= 0;
    case Operator::Greater:
        return qw::compareValues(value, constant) > 0;
    case Operator::GreaterOrEqual:
        return qw::compareValues(value, constant) >= 0;
    case Operator::BeginsWith:
        return begins(std::get<QString>(value), std::get<QString>(constant));
    case Operator::Contains:
        return std::get<QString>(value).contains(std::get<QString>(constant));
    case Operator::ContainedIn:
        return std::get<QString>(constant).contains(std::get<QString>(value));
    case Operator::NotEqual: // bound as a Not of Equal
    case Operator::In:       // bound as OneOf
        break;
    }
    return false;
}

struct Evaluation {
    const QVariant* values;
    qint64 key; // of the record

    bool operator()(const BoundPredicateNode& node) const {
        switch (node.kind) {
        case BoundPredicateNode::Kind::Constant:
            return node.constant;
        case BoundPredicateNode::Kind::And:
            return std::all_of(node.parts.begin(), node.parts.end(), *this);
        case BoundPredicateNode::Kind::Or:
            return std::any_of(node.parts.begin(), node.parts.end(), *this);
        case BoundPredicateNode::Kind::Not:
            return !(*this)(node.parts.front());
        case BoundPredicateNode::Kind::Missing:
            return !valueFor(node);
        case BoundPredicateNode::Kind::Compare: {
            const auto value = valueFor(node);
            return value && compare(*value, node.op, node.value);
        }
        case BoundPredicateNode::Kind::OneOf: {
            const auto value = valueFor(node);
            return value && node.values.contains(*value);
        }
        }
        return false;
    }

    std::optional<PredicateValue> valueFor(const BoundPredicateNode& node) const {
        if (!node.property)
            return key;
        return qw::valueOfSlot(values[node.property->index()], node.options);
    }
};

QVariant attributeValue(const QWPropertyDescription& property, const PredicateValue& value) {
    if (property.type() == QWAttributeType::Boolean)
        return std::get<qint64>(value) != 0;
    if (property.type() == QWAttributeType::Date)
        return QDateTime::fromMSecsSinceEpoch(std::get<qint64>(value), Qt::UTC);
    return std::visit([](const auto& held) { return QVariant::fromValue(held); }, value);
}

std::optional<QWBoundPredicate::IndexedLookup> lookupBy(const BoundPredicateNode& node) {
    if (node.kind == BoundPredicateNode::Kind::And) {
        for (const BoundPredicateNode& part : node.parts)
            if (auto lookup = lookupBy(part))
                return lookup;
        return std::nullopt;
    }
    if (node.kind != BoundPredicateNode::Kind::Compare || node.op != Operator::Equal)
        return std::nullopt;
    const QWPropertyDescription& property = *node.property;
    const PredicateValue& value = node.value;
    if (property.isFolded() && node.options == QWPredicate::CaseInsensitive)
        return QWBoundPredicate::IndexedLookup{property.index(), std::get<QString>(value), true};
    if (property.isIndexed() && node.options == QWPredicate::None)
        return QWBoundPredicate::IndexedLookup{property.index(), attributeValue(property, value), false};
    if (property.isFolded() && node.options == QWPredicate::None)
        return QWBoundPredicate::IndexedLookup{property.index(), qw::text::foldCase(std::get<QString>(value)),
                                               true};
    return std::nullopt;
}

} // namespace

QWBoundPredicate::QWBoundPredicate(BoundPredicateNode root)
    : root_(std::make_shared<const BoundPredicateNode>(std::move(root))) {}

bool QWBoundPredicate::evaluate(const QVariant* values, const QWManagedObjectID& self) const {
    return Evaluation{values, self.key}(*root_);
}

std::optional<QWBoundPredicate::IndexedLookup> QWBoundPredicate::indexedLookup() const {
    return lookupBy(*root_);
}
