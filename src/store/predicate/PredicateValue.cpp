#include "store/predicate/PredicateValue_p.h"

#include "platform/text/QWDateText.h"
#include "platform/text/QWText.h"

#include <cmath>

namespace qw {

namespace {

constexpr double twoTo63 = 9223372036854775808.0;

bool fitsInteger(double value) {
    return value >= -twoTo63 && value < twoTo63;
}

std::partial_ordering compareExactly(qint64 integer, double real) {
    if (!fitsInteger(real))
        return 0.0 <=> real;
    const qint64 whole = static_cast<qint64>(real);
    if (integer != whole)
        return integer <=> whole;
    return static_cast<double>(whole) <=> real;
}

struct Order {
    std::partial_ordering operator()(qint64 left, qint64 right) const { return left <=> right; }
    std::partial_ordering operator()(double left, double right) const { return left <=> right; }
    std::partial_ordering operator()(qint64 left, double right) const { return compareExactly(left, right); }
    std::partial_ordering operator()(double left, qint64 right) const {
        return 0 <=> compareExactly(right, left);
    }
    std::partial_ordering operator()(const QString& left, const QString& right) const {
        return text::compareCodePoints(left, right) <=> 0;
    }
    std::partial_ordering operator()(const QByteArray& left, const QByteArray& right) const {
        return QByteArrayView(left).compare(right) <=> 0;
    }
    template <class Left, class Right>
    std::partial_ordering operator()(const Left&, const Right&) const {
        return std::partial_ordering::unordered;
    }
};

PredicateValue integerFor(const QWPropertyDescription& property, qint64 integer) {
    const double real = static_cast<double>(integer);
    if (property.type() == QWAttributeType::Double && compareExactly(integer, real) == 0)
        return real;
    return integer;
}

PredicateValue realFor(const QWPropertyDescription& property, double real) {
    if (property.type() != QWAttributeType::Double && fitsInteger(real) && std::trunc(real) == real)
        return static_cast<qint64>(real);
    return real;
}

std::optional<PredicateValue> numberForProperty(const QWPropertyDescription& property,
                                                const QVariant& constant) {
    switch (constant.typeId()) {
    case QMetaType::Bool:
    case QMetaType::LongLong:
        return integerFor(property, constant.toLongLong());
    case QMetaType::Double:
        if (std::isnan(constant.toDouble()))
            return std::nullopt;
        return realFor(property, constant.toDouble());
    default:
        return std::nullopt;
    }
}

std::optional<PredicateValue> dateConstant(const QVariant& constant) {
    QDateTime date;
    if (constant.typeId() == QMetaType::QDateTime)
        date = constant.toDateTime();
    else if (constant.typeId() == QMetaType::QString)
        date = text::dateFromText(constant.toString());
    if (!date.isValid())
        return std::nullopt;
    return date.toMSecsSinceEpoch();
}

} // namespace

QString foldForOptions(const QString& text, int options) {
    switch (options) {
    case QWPredicate::CaseInsensitive:
        return text::foldCase(text);
    case QWPredicate::DiacriticInsensitive:
        return text::foldMarks(text);
    case QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive:
        return text::foldCaseAndMarks(text);
    default:
        return text;
    }
}

std::optional<PredicateValue> constantForProperty(const QWPropertyDescription& property,
                                                  const QVariant& constant, int options) {
    const int type = constant.typeId();
    if (property.isRelationship()) {
        if (type != qMetaTypeId<QWManagedObjectID>())
            return std::nullopt;
        const auto id = constant.value<QWManagedObjectID>();
        if (&id.entity->root() != &property.destination()->root())
            return std::nullopt;
        return id.key;
    }
    switch (property.type()) {
    case QWAttributeType::Integer:
    case QWAttributeType::Double:
    case QWAttributeType::Boolean:
        return numberForProperty(property, constant);
    case QWAttributeType::Date:
        return dateConstant(constant);
    case QWAttributeType::String:
        if (type == QMetaType::QString)
            return foldForOptions(constant.toString(), options);
        return std::nullopt;
    case QWAttributeType::Data:
        if (type == QMetaType::QByteArray)
            return constant.toByteArray();
        return std::nullopt;
    case QWAttributeType::Document:
        if (type == QMetaType::QString)
            return constant.toString();
        if (type == QMetaType::QByteArray)
            return constant.toByteArray();
        return std::nullopt;
    }
    return std::nullopt;
}

bool isValueOfProperty(const QWPropertyDescription& property, const PredicateValue& value) {
    const bool holdsReals = property.isAttribute() && property.type() == QWAttributeType::Double;
    return holdsReals ? std::holds_alternative<double>(value) : !std::holds_alternative<double>(value);
}

std::optional<PredicateValue> valueOfSlot(const QVariant& slot, int options) {
    switch (slot.typeId()) {
    case QMetaType::Bool:
    case QMetaType::LongLong:
        return slot.toLongLong();
    case QMetaType::Double:
        return slot.toDouble();
    case QMetaType::QDateTime:
        return slot.toDateTime().toMSecsSinceEpoch();
    case QMetaType::QString:
        return foldForOptions(slot.toString(), options);
    case QMetaType::QByteArray:
        return slot.toByteArray();
    default:
        return std::nullopt;
    }
}

std::partial_ordering compareValues(const PredicateValue& left, const PredicateValue& right) {
    return std::visit(Order(), left, right);
}

} // namespace qw
