#include "store/sqlite/QWPredicateSQL.h"

#include "platform/text/QWText.h"
#include "store/QWStoreError.h"
#include "store/predicate/PredicateNode_p.h"
#include "store/predicate/QWBoundPredicate_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>
#include <span>
#include <utility>

using qw::BoundPredicateNode;
using qw::PredicateNode;
using qw::PredicateValue;
using Kind = BoundPredicateNode::Kind;
using Operator = QWPredicate::Operator;

namespace {

// SQLite takes 32,766 in one statement; the rest is left to the statement around the condition.
constexpr qsizetype maximumBindings = 32'000;
// Longer lists are bound as one JSON text, so that their statements are few.
constexpr size_t maximumPlaceholders = 8;

QVariant binding(const PredicateValue& value) {
    return std::visit([](const auto& held) { return QVariant::fromValue(held); }, value);
}

// The least text above all that begin with `prefix`; null when there is none.
QString endOfRange(const QString& prefix) {
    QList<uint> points = prefix.toUcs4();
    while (!points.isEmpty() && points.last() == QChar::LastValidCodePoint)
        points.removeLast();
    if (points.isEmpty())
        return {};
    points.last() = points.last() == 0xD7FF ? 0xE000 : points.last() + 1; // surrogates are no characters
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(points.constData()), points.size());
}

// SQLite cuts texts off at a NUL that JSON spells.
bool fitsJSON(const PredicateValue& value) {
    const QString* text = std::get_if<QString>(&value);
    return text ? !text->contains(QChar(0)) : std::holds_alternative<qint64>(value);
}

// An array of values that fit and are of one kind.
QString jsonOf(const std::set<PredicateValue>& values) {
    if (std::holds_alternative<QString>(*values.begin())) {
        QJsonArray texts;
        for (const PredicateValue& value : values)
            texts.append(std::get<QString>(value));
        return QString::fromUtf8(QJsonDocument(texts).toJson(QJsonDocument::Compact));
    }
    QString numbers = QStringLiteral("[");
    for (const PredicateValue& value : values)
        numbers.append(QString::number(std::get<qint64>(value))).append(u',');
    numbers.back() = u']';
    return numbers;
}

// Writes a condition that is NULL instead of false where a value is missing. AND, OR and WHERE take both the
// same way, and every NOT is written as IS NOT TRUE.
class Compiler {
public:
    explicit Compiler(const QWSQLColumns& columns) : columns_(columns) {}

    void add(const BoundPredicateNode& node) {
        switch (node.kind) {
        case Kind::Constant:
            text_ += node.constant ? '1' : '0';
            return;
        case Kind::And:
            return addJoined(node.parts, " AND ");
        case Kind::Or:
            return addJoined(node.parts, " OR ");
        case Kind::Not:
            return addNegated(node.parts.front());
        case Kind::Missing:
            text_ += column(node) + " IS NULL";
            return;
        case Kind::Compare:
            return addComparison(node);
        case Kind::OneOf:
            return addOneOf(node);
        }
    }

    QWSQLCondition condition() && { return {std::move(text_), std::move(bindings_)}; }

private:
    using Parts = std::span<const BoundPredicateNode>;

    void addJoined(Parts parts, const char* joiner) {
        if (parts.size() == 1)
            return add(parts.front());
        size_t width = 1; // of the groups on this level
        while (width * PredicateNode::groupSize < parts.size())
            width *= PredicateNode::groupSize;
        text_ += '(';
        for (size_t start = 0; start < parts.size(); start += width) {
            if (start > 0)
                text_ += joiner;
            addJoined(parts.subspan(start, std::min(width, parts.size() - start)), joiner);
        }
        text_ += ')';
    }

    void addNegated(const BoundPredicateNode& node) {
        if (node.kind == Kind::Missing) {
            text_ += column(node) + " IS NOT NULL";
            return;
        }
        text_ += '(';
        add(node);
        text_ += ") IS NOT TRUE";
    }

    void addComparison(const BoundPredicateNode& node) {
        switch (node.op) {
        case Operator::Equal:
            return addEquality(node);
        case Operator::Less:
            return addOrder(node, " < ?");
        case Operator::LessOrEqual:
            return addOrder(node, " <= ?");
        case Operator::Greater:
            return addOrder(node, " > ?");
        case Operator::GreaterOrEqual:
            return addOrder(node, " >= ?");
        case Operator::BeginsWith:
            return isStored(node) ? addRange(node) : addCall("qw_begins", node);
        case Operator::Contains:
            return addCall("qw_contains", node);
        case Operator::ContainedIn:
            return addCall("qw_contained", node);
        case Operator::NotEqual: // bound as a Not of Equal
        case Operator::In:       // bound as OneOf
            return;
        }
    }

    void addEquality(const BoundPredicateNode& node) {
        const QWPropertyDescription& property = *node.property;
        if (node.options == QWPredicate::None && property.isFolded() && !property.isIndexed()) {
            // The folded column has the index; what it finds is compared once more.
            text_ += columns_(property, true) + " = ? AND ";
            bindings_.append(qw::text::foldCase(std::get<QString>(node.value)));
        }
        addOperand(node);
        text_ += " = ?";
        bind(node.value);
    }

    void addOrder(const BoundPredicateNode& node, const char* comparison) {
        // Without the column's affinity SQLite compares an integer with a double exactly.
        if (!qw::isValueOfProperty(*node.property, node.value))
            text_ += '+';
        addOperand(node);
        text_ += comparison;
        bind(node.value);
    }

    void addRange(const BoundPredicateNode& node) {
        const QString& prefix = std::get<QString>(node.value);
        const QString end = endOfRange(prefix);
        text_ += column(node) + " >= ?";
        bind(prefix);
        if (end.isNull())
            return;
        text_ += " AND " + column(node) + " < ?";
        bind(end);
    }

    void addCall(const char* function, const BoundPredicateNode& node) {
        text_ += function;
        text_ += '(' + column(node) + ", ?, " + foldingOf(node) + ')';
        bind(node.value);
    }

    void addOneOf(const BoundPredicateNode& node) {
        const std::set<PredicateValue>& values = node.values;
        if (node.property)
            addOperand(node);
        else
            text_ += "_key";
        if (values.size() > maximumPlaceholders && std::all_of(values.begin(), values.end(), fitsJSON)) {
            text_ += " IN (SELECT value FROM json_each(?))";
            bindings_.append(jsonOf(values));
            return;
        }
        text_ += " IN (";
        const char* next = "?";
        for (const PredicateValue& value : values) {
            text_ += std::exchange(next, ",?");
            bind(value);
        }
        text_ += ')';
    }

    // The property's value as the comparison's options fold it.
    void addOperand(const BoundPredicateNode& node) {
        if (isStored(node))
            text_ += column(node);
        else
            text_ += "qw_fold(" + column(node) + ", " + foldingOf(node) + ')';
    }
    static bool readsFoldedColumn(const BoundPredicateNode& node) {
        return node.options == QWPredicate::CaseInsensitive && node.property->isFolded();
    }
    const QByteArray& column(const BoundPredicateNode& node) const {
        return columns_(*node.property, readsFoldedColumn(node));
    }
    // The options that remain to be applied to the column.
    static char foldingOf(const BoundPredicateNode& node) {
        return char('0' + (readsFoldedColumn(node) ? QWPredicate::None : node.options));
    }
    static bool isStored(const BoundPredicateNode& node) { return foldingOf(node) == '0'; }

    void bind(const PredicateValue& value) { bindings_.append(binding(value)); }

    const QWSQLColumns& columns_;
    QByteArray text_;
    QVariantList bindings_;
};

} // namespace

std::optional<QWSQLCondition> QWCompilePredicate(const QWPredicate& predicate,
                                                 const QWEntityDescription& entity,
                                                 const QWSQLColumns& columns, QWError* error) {
    const auto bound = QWBoundPredicate::bind(predicate, entity, error);
    if (!bound)
        return std::nullopt;
    Compiler compiler(columns);
    compiler.add(bound->root());
    QWSQLCondition condition = std::move(compiler).condition();
    if (condition.bindings.size() > maximumBindings) {
        qw::fail(error,
                 QWMakeStoreError(QWStoreErrorCode::InvalidPredicate,
                                  QStringLiteral("The predicate has %1 values; a fetch takes at most %2, "
                                                 "a list counting as one.")
                                      .arg(condition.bindings.size())
                                      .arg(maximumBindings)));
        return std::nullopt;
    }
    return condition;
}
