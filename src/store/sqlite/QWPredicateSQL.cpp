#include "store/sqlite/QWPredicateSQL.h"

#include "platform/text/QWText.h"
#include "store/QWStoreError.h"
#include "store/predicate/PredicateNode_p.h"
#include "store/predicate/QWBoundPredicate_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>
#include <span>

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

QString quotedName(QString name) {
    return u'"' + name.replace(u'"', QStringLiteral("\"\"")) + u'"';
}

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

bool canBeJSON(const PredicateValue& value) {
    return std::holds_alternative<qint64>(value) || std::holds_alternative<QString>(value);
}

QString jsonOf(const std::vector<PredicateValue>& values) {
    QJsonArray array;
    for (const PredicateValue& value : values) {
        if (const auto* text = std::get_if<QString>(&value))
            array.append(*text);
        else
            array.append(std::get<qint64>(value));
    }
    return QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact));
}

// Writes a condition that is NULL instead of false where a value is missing. AND, OR and WHERE take both the same
// way, and every NOT is written as IS NOT TRUE.
class Compiler {
public:
    explicit Compiler(const QWSQLColumnName& columnName) : columnName_(columnName) {}

    void add(const BoundPredicateNode& node) {
        switch (node.kind) {
        case Kind::Constant:
            text_ += node.constant ? u'1' : u'0';
            return;
        case Kind::And:
            return addJoined(node.parts, QStringLiteral(" AND "));
        case Kind::Or:
            return addJoined(node.parts, QStringLiteral(" OR "));
        case Kind::Not:
            return addNegated(node.parts.front());
        case Kind::Missing:
            text_ += column(node) + QStringLiteral(" IS NULL");
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

    void addJoined(Parts parts, const QString& joiner) {
        if (parts.size() == 1)
            return add(parts.front());
        size_t width = 1; // of the groups on this level
        while (width * PredicateNode::groupSize < parts.size())
            width *= PredicateNode::groupSize;
        text_ += u'(';
        for (size_t start = 0; start < parts.size(); start += width) {
            if (start > 0)
                text_ += joiner;
            addJoined(parts.subspan(start, std::min(width, parts.size() - start)), joiner);
        }
        text_ += u')';
    }

    void addNegated(const BoundPredicateNode& node) {
        if (node.kind == Kind::Missing) {
            text_ += column(node) + QStringLiteral(" IS NOT NULL");
            return;
        }
        text_ += u'(';
        add(node);
        text_ += QStringLiteral(") IS NOT TRUE");
    }

    void addComparison(const BoundPredicateNode& node) {
        switch (node.op) {
        case Operator::Equal:
            return addEquality(node);
        case Operator::Less:
            return addOrder(node, QStringLiteral(" < ?"));
        case Operator::LessOrEqual:
            return addOrder(node, QStringLiteral(" <= ?"));
        case Operator::Greater:
            return addOrder(node, QStringLiteral(" > ?"));
        case Operator::GreaterOrEqual:
            return addOrder(node, QStringLiteral(" >= ?"));
        case Operator::BeginsWith:
            return addPrefix(node);
        case Operator::Contains:
            text_ += QStringLiteral("instr(%1, ?) > 0").arg(operand(node));
            return bind(node.values.front());
        case Operator::ContainedIn:
            text_ += QStringLiteral("instr(?, %1) > 0").arg(operand(node));
            return bind(node.values.front());
        case Operator::NotEqual: // bound as a Not of Equal
        case Operator::In:       // bound as OneOf
            return;
        }
    }

    void addEquality(const BoundPredicateNode& node) {
        const bool onlyFoldedIndex =
            node.options == QWPredicate::None && node.property->isFolded() && !node.property->isIndexed();
        if (onlyFoldedIndex) {
            text_ += QStringLiteral("(%1 = ? AND %2 = ?)").arg(foldedColumn(node), column(node));
            bindings_.append(qw::text::foldCase(std::get<QString>(node.values.front())));
        } else {
            text_ += operand(node) + QStringLiteral(" = ?");
        }
        bind(node.values.front());
    }

    void addOrder(const BoundPredicateNode& node, const QString& comparison) {
        // Without the column's affinity SQLite compares an integer with a double exactly.
        if (!qw::isValueOfProperty(*node.property, node.values.front()))
            text_ += u'+';
        text_ += operand(node) + comparison;
        bind(node.values.front());
    }

    void addPrefix(const BoundPredicateNode& node) {
        const QString& prefix = std::get<QString>(node.values.front());
        if (callsFunction(node)) {
            text_ += QStringLiteral("substr(%1, 1, ?) = ?").arg(operand(node));
            bindings_.append(qint64(prefix.toUcs4().size()));
            return bind(prefix);
        }
        const QString end = endOfRange(prefix);
        if (end.isNull()) {
            text_ += operand(node) + QStringLiteral(" >= ?");
            return bind(prefix);
        }
        text_ += QStringLiteral("(%1 >= ? AND %1 < ?)").arg(operand(node));
        bind(prefix);
        bind(end);
    }

    void addOneOf(const BoundPredicateNode& node) {
        const std::vector<PredicateValue>& values = node.values;
        text_ += node.property ? operand(node) : QStringLiteral("\"_key\"");
        if (values.size() > maximumPlaceholders && std::all_of(values.begin(), values.end(), canBeJSON)) {
            text_ += QStringLiteral(" IN (SELECT value FROM json_each(?))");
            bindings_.append(jsonOf(values));
            return;
        }
        text_ += QStringLiteral(" IN (");
        for (size_t i = 0; i < values.size(); ++i) {
            text_ += i == 0 ? QStringLiteral("?") : QStringLiteral(",?");
            bind(values[i]);
        }
        text_ += u')';
    }

    QString column(const BoundPredicateNode& node) const { return quotedName(columnName_(*node.property)); }
    QString foldedColumn(const BoundPredicateNode& node) const {
        return quotedName(columnName_(*node.property) + QStringLiteral("_folded"));
    }
    static bool readsFoldedColumn(const BoundPredicateNode& node) {
        return node.options == QWPredicate::CaseInsensitive && node.property->isFolded();
    }
    static bool callsFunction(const BoundPredicateNode& node) {
        return node.options != QWPredicate::None && !readsFoldedColumn(node);
    }
    // The property's value as the comparison's options fold it.
    QString operand(const BoundPredicateNode& node) const {
        if (readsFoldedColumn(node))
            return foldedColumn(node);
        if (callsFunction(node))
            return QStringLiteral("qw_fold(%1, %2)").arg(column(node), QString::number(node.options));
        return column(node);
    }

    void bind(const PredicateValue& value) { bindings_.append(binding(value)); }

    const QWSQLColumnName& columnName_;
    QString text_;
    QVariantList bindings_;
};

} // namespace

std::optional<QWSQLCondition> QWCompilePredicate(const QWPredicate& predicate,
                                                 const QWEntityDescription& entity,
                                                 const QWSQLColumnName& columnName, QWError* error) {
    const auto bound = QWBoundPredicate::bind(predicate, entity, error);
    if (!bound)
        return std::nullopt;
    Compiler compiler(columnName);
    compiler.add(bound->root());
    QWSQLCondition condition = std::move(compiler).condition();
    if (condition.bindings.size() > maximumBindings) {
        qw::fail(error,
                 QWMakeStoreError(QWStoreErrorCode::InvalidPredicate,
                                  QStringLiteral("The predicate has %1 values; at most %2 are possible, "
                                                 "a list for IN counting as one.")
                                      .arg(condition.bindings.size())
                                      .arg(maximumBindings)));
        return std::nullopt;
    }
    return condition;
}
