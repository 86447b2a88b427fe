#include "platform/text/QWDateText.h"
#include "store/QWManagedObjectModel.h"
#include "store/predicate/PredicateGrammar_p.h"
#include "store/predicate/PredicateNode_p.h"

#include <QDateTime>
#include <QLocale>

namespace qw {

namespace {

QString textOf(QWPredicate::Operator op) {
    switch (op) {
    case QWPredicate::Operator::Equal:
        return QStringLiteral("==");
    case QWPredicate::Operator::NotEqual:
        return QStringLiteral("!=");
    case QWPredicate::Operator::Less:
        return QStringLiteral("<");
    case QWPredicate::Operator::LessOrEqual:
        return QStringLiteral("<=");
    case QWPredicate::Operator::Greater:
        return QStringLiteral(">");
    case QWPredicate::Operator::GreaterOrEqual:
        return QStringLiteral(">=");
    case QWPredicate::Operator::BeginsWith:
        return QStringLiteral("BEGINSWITH");
    case QWPredicate::Operator::Contains:
        return QStringLiteral("CONTAINS");
    case QWPredicate::Operator::ContainedIn:
    case QWPredicate::Operator::In:
        return QStringLiteral("IN");
    }
    return {};
}

QString textOfOptions(int options) {
    switch (options) {
    case QWPredicate::CaseInsensitive:
        return QStringLiteral("[c]");
    case QWPredicate::DiacriticInsensitive:
        return QStringLiteral("[d]");
    case QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive:
        return QStringLiteral("[cd]");
    default:
        return {};
    }
}

QString textOfDouble(double value) {
    if (qIsInf(value))
        return value > 0 ? QStringLiteral("1e999") : QStringLiteral("-1e999");
    QString text = QString::number(value, 'g', QLocale::FloatingPointShortest);
    if (!text.contains(u'.') && !text.contains(u'e'))
        text.append(QStringLiteral(".0")); // without, it would be read as an integer
    return text;
}

// The form that people read where it says all, else milliseconds.
QString textOfDate(const QDateTime& date) {
    const QString text = text::utcTextFromDate(date);
    if (text::dateFromText(text) == date)
        return quotedForPredicate(text);
    return QStringLiteral("DATE(%1)").arg(date.toMSecsSinceEpoch());
}

QString textOf(const QWManagedObjectID& id) {
    return QStringLiteral("<%1 %2>").arg(id.entity->name()).arg(id.key);
}

QString textOfValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return QStringLiteral("nil");
    case QMetaType::Bool:
        return value.toBool() ? QStringLiteral("YES") : QStringLiteral("NO");
    case QMetaType::Double:
        return textOfDouble(value.toDouble());
    case QMetaType::QString:
        return quotedForPredicate(value.toString());
    case QMetaType::QDateTime:
        return textOfDate(value.toDateTime());
    case QMetaType::QByteArray:
        return QStringLiteral("DATA(\"%1\")").arg(QString::fromLatin1(value.toByteArray().toHex()));
    case QMetaType::QVariantList: {
        QStringList elements;
        for (const QVariant& element : value.toList())
            elements.append(textOfValue(element));
        return QStringLiteral("{%1}").arg(elements.join(QStringLiteral(", ")));
    }
    default:
        if (value.typeId() == qMetaTypeId<QWManagedObjectID>())
            return textOf(value.value<QWManagedObjectID>());
        return value.toString();
    }
}

QString textOfKey(const QString& key) {
    if (!needsKeyMark(key))
        return key;
    return QStringLiteral("#") + quotedForPredicate(key);
}

QString textOf(const PredicateNode& node);

QString textOfPart(const PredicateNode& part) {
    const bool joins = part.kind == PredicateNode::Kind::And || part.kind == PredicateNode::Kind::Or;
    return joins ? QStringLiteral("(%1)").arg(textOf(part)) : textOf(part);
}

QString textOfParts(const PredicateNode& node, const QString& joiner) {
    QStringList parts;
    for (const PredicateNode::Ref& part : node.parts)
        parts.append(textOfPart(*part));
    return parts.join(joiner);
}

QString textOf(const PredicateNode& node) {
    switch (node.kind) {
    case PredicateNode::Kind::Constant:
        return node.constant ? QStringLiteral("TRUEPREDICATE") : QStringLiteral("FALSEPREDICATE");
    case PredicateNode::Kind::Comparison:
        return QStringLiteral("%1 %2%3 ")
                   .arg(textOfKey(node.key), textOf(node.op), textOfOptions(node.options))
               + textOfValue(node.value);
    case PredicateNode::Kind::SelfIn: {
        QStringList ids;
        for (const QWManagedObjectID& id : node.ids)
            ids.append(textOf(id));
        return QStringLiteral("SELF IN {%1}").arg(ids.join(QStringLiteral(", ")));
    }
    case PredicateNode::Kind::And:
        return textOfParts(node, QStringLiteral(" AND "));
    case PredicateNode::Kind::Or:
        return textOfParts(node, QStringLiteral(" OR "));
    case PredicateNode::Kind::Not:
        return QStringLiteral("NOT ") + textOfPart(*node.parts.front());
    case PredicateNode::Kind::TooDeep:
        break;
    }
    return QStringLiteral("(nested more than %1 levels deep)").arg(PredicateNode::maximumDepth);
}

} // namespace

} // namespace qw

QString QWPredicate::text() const {
    return qw::textOf(node());
}
