#include "store/QWPredicate.h"

#include "platform/QWAssert.h"
#include "store/QWManagedObject.h"
#include "store/predicate/PredicateNode_p.h"
#include "store/predicate/QWBoundPredicate_p.h"

#include <QDateTime>
#include <algorithm>
#include <limits>

using qw::PredicateNode;

namespace {

// One type for each kind of value: what PredicateNode::value lists.
QVariant canonicalValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
        return value.toLongLong();
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        if (value.toULongLong() <= quint64(std::numeric_limits<qint64>::max()))
            return value.toLongLong();
        return value;
    case QMetaType::Float:
        return value.toDouble();
    case QMetaType::QDateTime:
        return value.toDateTime().isValid() ? value : QVariant();
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        std::transform(list.cbegin(), list.cend(), list.begin(), canonicalValue);
        return list;
    }
    default:
        if (value.typeId() == qMetaTypeId<QWManagedObjectID>() && value.value<QWManagedObjectID>().isNull())
            return {};
        return value;
    }
}

PredicateNode::Ref constantNode(bool value) {
    static const auto make = [](bool constant) {
        auto node = std::make_shared<PredicateNode>();
        node->constant = constant;
        return PredicateNode::Ref(node);
    };
    static const PredicateNode::Ref always = make(true), never = make(false);
    return value ? always : never;
}

PredicateNode::Ref checkedForDepth(std::shared_ptr<PredicateNode> node) {
    if (node->depth > PredicateNode::maximumDepth) {
        node = std::make_shared<PredicateNode>();
        node->kind = PredicateNode::Kind::TooDeep;
    }
    return node;
}

PredicateNode::Ref junctionNode(PredicateNode::Kind kind, const QList<QWPredicate>& parts) {
    const bool neutral = kind == PredicateNode::Kind::And;
    auto node = std::make_shared<PredicateNode>();
    node->kind = kind;
    for (const QWPredicate& predicate : parts) {
        const PredicateNode::Ref part = predicate.node().shared_from_this();
        if (part->kind == PredicateNode::Kind::TooDeep)
            return part;
        if (part->kind == PredicateNode::Kind::Constant && part->constant == neutral)
            continue;
        if (part->kind == kind)
            node->parts.insert(node->parts.end(), part->parts.begin(), part->parts.end());
        else
            node->parts.push_back(part);
    }
    if (node->parts.empty())
        return constantNode(neutral);
    if (node->parts.size() == 1)
        return node->parts.front();
    for (const PredicateNode::Ref& part : node->parts)
        node->depth = std::max(node->depth, part->depth);
    for (size_t width = 1; width < node->parts.size(); width *= PredicateNode::groupSize)
        ++node->depth;
    return checkedForDepth(std::move(node));
}

} // namespace

QWPredicate::QWPredicate() : node_(constantNode(true)) {}

QWPredicate::QWPredicate(std::shared_ptr<const PredicateNode> node) : node_(std::move(node)) {}

QWPredicate QWPredicate::comparison(const QString& key, Operator op, const QVariant& value, int options) {
    auto node = std::make_shared<PredicateNode>();
    node->kind = PredicateNode::Kind::Comparison;
    node->key = key;
    node->op = op;
    node->options = options;
    node->value = canonicalValue(value);
    return QWPredicate(std::move(node));
}

QWPredicate QWPredicate::selfIn(const QList<QWManagedObjectID>& ids) {
    auto node = std::make_shared<PredicateNode>();
    node->kind = PredicateNode::Kind::SelfIn;
    node->ids = ids;
    return QWPredicate(std::move(node));
}

QWPredicate QWPredicate::conjunction(const QList<QWPredicate>& parts) {
    return QWPredicate(junctionNode(PredicateNode::Kind::And, parts));
}

QWPredicate QWPredicate::disjunction(const QList<QWPredicate>& parts) {
    return QWPredicate(junctionNode(PredicateNode::Kind::Or, parts));
}

QWPredicate QWPredicate::negated() const {
    switch (node_->kind) {
    case PredicateNode::Kind::TooDeep:
        return *this;
    case PredicateNode::Kind::Constant:
        return QWPredicate(constantNode(!node_->constant));
    case PredicateNode::Kind::Not:
        return QWPredicate(node_->parts.front());
    default:
        auto node = std::make_shared<PredicateNode>();
        node->kind = PredicateNode::Kind::Not;
        node->depth = node_->depth + 1;
        node->parts.push_back(node_);
        return QWPredicate(checkedForDepth(std::move(node)));
    }
}

bool QWPredicate::isAlwaysTrue() const {
    return node_->kind == PredicateNode::Kind::Constant && node_->constant;
}

bool QWPredicate::evaluate(const QWManagedObject& record) const {
    const auto bound = QWBoundPredicate::bind(*this, record.entity(), nullptr);
    QWAssert(bound, "predicate fits the record's entity", "-[QWPredicate evaluateWithObject:]");
    if (const QVariant* values = record.unpackedValues())
        return bound->evaluate(values, record.objectID());
    const std::vector<QVariant> none(record.entity().properties().size()); // of a fault that nothing can read
    return bound->evaluate(none.data(), record.objectID());
}
