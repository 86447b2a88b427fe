#include "store/predicate/PredicateNode_p.h"
#include "store/predicate/QWBoundPredicate_p.h"

#include "store/QWStoreError.h"

namespace qw {

namespace {

using Operator = QWPredicate::Operator;
using Kind = BoundPredicateNode::Kind;

bool isString(const QWPropertyDescription& property) {
    return property.isAttribute() && property.type() == QWAttributeType::String;
}

bool hasOrder(const QWPropertyDescription& property) {
    return property.isAttribute() && property.type() != QWAttributeType::Data
           && property.type() != QWAttributeType::Document;
}

// In the words of error messages.
QString describe(const QWPropertyDescription& property) {
    if (property.isToMany())
        return QStringLiteral("a to-many relationship");
    if (property.isRelationship())
        return QStringLiteral("a record of %1").arg(property.destinationName());
    return QWAttributeTypeName(property.type());
}

QString describe(const QVariant& constant) {
    switch (constant.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("no value");
    case QMetaType::QString:
        return QStringLiteral("the text \"%1\"").arg(constant.toString().left(40));
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::Double:
        return constant.toString();
    case QMetaType::QDateTime:
        return QStringLiteral("a date");
    case QMetaType::QByteArray:
        return QStringLiteral("data");
    case QMetaType::QVariantList:
        return QStringLiteral("a list");
    default:
        if (constant.typeId() == qMetaTypeId<QWManagedObjectID>())
            return QStringLiteral("a record of %1").arg(constant.value<QWManagedObjectID>().entity->name());
        return QString::fromLatin1(constant.metaType().name());
    }
}

BoundPredicateNode constantNode(bool value) {
    BoundPredicateNode node;
    node.constant = value;
    return node;
}

BoundPredicateNode missingNode(const QWPropertyDescription& property) {
    BoundPredicateNode node;
    node.kind = Kind::Missing;
    node.property = &property;
    return node;
}

BoundPredicateNode junctionNode(Kind kind, std::vector<BoundPredicateNode> parts) {
    BoundPredicateNode node;
    node.kind = kind;
    node.parts = std::move(parts);
    return node;
}

BoundPredicateNode compareNode(const QWPropertyDescription& property, Operator op, int options,
                               PredicateValue value) {
    if (op == Operator::Equal && !isValueOfProperty(property, value))
        return constantNode(false);
    BoundPredicateNode node;
    node.kind = Kind::Compare;
    node.property = &property;
    node.op = op;
    node.options = options;
    node.value = std::move(value);
    return node;
}

BoundPredicateNode oneOfNode(const QWPropertyDescription* property, int options,
                             std::set<PredicateValue> values) {
    if (property && values.size() == 1)
        return compareNode(*property, Operator::Equal, options, *values.begin());
    BoundPredicateNode node;
    node.kind = Kind::OneOf;
    node.property = property;
    node.options = options;
    node.values = std::move(values);
    return node;
}

class Binder {
public:
    Binder(const QWEntityDescription& entity, QWError* error) : entity_(entity), error_(error) {}

    std::optional<BoundPredicateNode> bind(const PredicateNode& node) const {
        switch (node.kind) {
        case PredicateNode::Kind::Constant:
            return constantNode(node.constant);
        case PredicateNode::Kind::Comparison:
            return bindComparison(node);
        case PredicateNode::Kind::SelfIn:
            return bindSelfIn(node);
        case PredicateNode::Kind::And:
            return bindParts(Kind::And, node);
        case PredicateNode::Kind::Or:
            return bindParts(Kind::Or, node);
        case PredicateNode::Kind::Not:
            return bindParts(Kind::Not, node);
        case PredicateNode::Kind::TooDeep:
            break;
        }
        fail(error_, QWMakeStoreError(QWStoreErrorCode::InvalidPredicate,
                                      QStringLiteral("The predicate is nested more than %1 levels deep.")
                                          .arg(PredicateNode::maximumDepth)));
        return std::nullopt;
    }

private:
    std::optional<BoundPredicateNode> bindParts(Kind kind, const PredicateNode& node) const {
        std::vector<BoundPredicateNode> parts;
        parts.reserve(node.parts.size());
        for (const PredicateNode::Ref& part : node.parts) {
            auto bound = bind(*part);
            if (!bound)
                return std::nullopt;
            parts.push_back(std::move(*bound));
        }
        return junctionNode(kind, std::move(parts));
    }

    BoundPredicateNode bindSelfIn(const PredicateNode& node) const {
        std::set<PredicateValue> keys;
        for (const QWManagedObjectID& id : node.ids)
            if (!id.isNull() && &id.entity->root() == &entity_.root())
                keys.emplace_hint(keys.end(), id.key);
        return oneOfNode(nullptr, QWPredicate::None, std::move(keys));
    }

    std::optional<BoundPredicateNode> bindComparison(const PredicateNode& node) const {
        const QWPropertyDescription* property = entity_.property(node.key);
        if (!property)
            return refuseKey(node.key);
        if (property->isToMany())
            return refuse(*property, QStringLiteral("an attribute or a to-one relationship"),
                          describe(*property));
        switch (node.op) {
        case Operator::BeginsWith:
        case Operator::Contains:
        case Operator::ContainedIn:
            if (!isString(*property))
                return refuse(*property, QStringLiteral("a String attribute"), describe(*property));
            break;
        case Operator::Less:
        case Operator::LessOrEqual:
        case Operator::Greater:
        case Operator::GreaterOrEqual:
            if (!hasOrder(*property))
                return refuse(*property, QStringLiteral("values that have an order"), describe(*property));
            break;
        case Operator::Equal:
        case Operator::NotEqual:
        case Operator::In:
            break;
        }
        if (node.options != QWPredicate::None && !isString(*property))
            return refuse(*property, QStringLiteral("a String attribute for [c] and [d]"),
                          describe(*property));
        if (node.op == Operator::In)
            return bindIn(*property, node);
        if (!node.value.isValid())
            return bindMissing(*property, node.op);
        auto value = constantForProperty(*property, node.value, node.options);
        if (!value)
            return refuse(*property, expectedBy(*property), describe(node.value));
        if (node.op != Operator::NotEqual)
            return compareNode(*property, node.op, node.options, std::move(*value));
        return junctionNode(Kind::Not,
                            {compareNode(*property, Operator::Equal, node.options, std::move(*value))});
    }

    static BoundPredicateNode bindMissing(const QWPropertyDescription& property, Operator op) {
        if (op == Operator::Equal)
            return missingNode(property);
        if (op == Operator::NotEqual)
            return junctionNode(Kind::Not, {missingNode(property)});
        return constantNode(false);
    }

    std::optional<BoundPredicateNode> bindIn(const QWPropertyDescription& property,
                                             const PredicateNode& node) const {
        if (node.value.typeId() != QMetaType::QVariantList)
            return refuse(property, QStringLiteral("a list for IN"), describe(node.value));
        std::set<PredicateValue> values;
        bool listsMissing = false;
        for (const QVariant& element : node.value.toList()) {
            if (!element.isValid()) {
                listsMissing = true;
                continue;
            }
            auto value = constantForProperty(property, element, node.options);
            if (!value)
                return refuse(property, expectedBy(property), describe(element));
            if (isValueOfProperty(property, *value))
                values.insert(values.end(), std::move(*value));
        }
        BoundPredicateNode listed = oneOfNode(&property, node.options, std::move(values));
        if (!listsMissing)
            return listed;
        return junctionNode(Kind::Or, {missingNode(property), std::move(listed)});
    }

    static QString expectedBy(const QWPropertyDescription& property) {
        if (property.isAttribute() && property.type() == QWAttributeType::Date)
            return QStringLiteral("a Date or text of the form yyyy-MM-dd HH:mm:ss Z");
        return describe(property);
    }

    std::nullopt_t refuseKey(const QString& key) const {
        fail(error_,
             QWMakeStoreError(QWStoreErrorCode::UnknownKey,
                              QStringLiteral("%1 has no key \"%2\" to compare.").arg(entity_.name(), key),
                              {{QStringLiteral("entity"), entity_.name()}, {QStringLiteral("key"), key}}));
        return std::nullopt;
    }

    std::nullopt_t refuse(const QWPropertyDescription& property, const QString& expected,
                          const QString& given) const {
        fail(error_, QWMakeStoreError(QWStoreErrorCode::WrongType,
                                      QStringLiteral("A comparison of \"%1\" of %2 expects %3, given is %4.")
                                          .arg(property.name(), entity_.name(), expected, given),
                                      {{QStringLiteral("entity"), entity_.name()},
                                       {QStringLiteral("key"), property.name()},
                                       {QStringLiteral("expected"), expected},
                                       {QStringLiteral("given"), given}}));
        return std::nullopt;
    }

    const QWEntityDescription& entity_;
    QWError* error_;
};

} // namespace

} // namespace qw

std::optional<QWBoundPredicate> QWBoundPredicate::bind(const QWPredicate& predicate,
                                                       const QWEntityDescription& entity, QWError* error) {
    auto root = qw::Binder(entity, error).bind(predicate.node());
    if (!root)
        return std::nullopt;
    return QWBoundPredicate(std::move(*root));
}

bool QWPredicate::check(const QWEntityDescription& entity, QWError* error) const {
    return QWBoundPredicate::bind(*this, entity, error).has_value();
}
