#pragma once

#include "store/QWManagedObjectModel.h"
#include "store/QWPredicate.h"

#include <QDateTime>
#include <limits>
#include <random>
#include <rapidcheck.h>

// One case of a property. Its seed says all, so that smaller seeds are no simpler and there is nothing to
// shrink.
inline quint32 anySeed() {
    return *rc::gen::noShrink(rc::gen::resize(rc::kNominalSize, rc::gen::arbitrary<quint32>()));
}

// Random values and predicates whose constants often meet the values. Everything follows from the seed.
class PredicateGenerator {
public:
    explicit PredicateGenerator(quint32 seed) : random_(seed) {
        for (QString& text : texts_)
            text = freshText();
    }

    int below(int bound) { return int(random_() % quint32(bound)); }
    bool oneIn(int chances) { return below(chances) == 0; }
    template <class T>
    T oneOf(std::initializer_list<T> values) {
        return values.begin()[below(int(values.size()))];
    }

    // One of a few, so that equal ones are frequent.
    QString text() { return texts_[size_t(below(int(texts_.size())))]; }

    // A value that an attribute can hold, in its own type; at times none.
    QVariant attributeValue(const QWPropertyDescription& attribute) {
        if (oneIn(6))
            return {};
        switch (attribute.type()) {
        case QWAttributeType::String:
            return text();
        case QWAttributeType::Integer:
            return integer();
        case QWAttributeType::Double:
            return real();
        case QWAttributeType::Boolean:
            return oneIn(2);
        case QWAttributeType::Date:
            return date();
        case QWAttributeType::Data:
            return text().toUtf8();
        case QWAttributeType::Document:
            return oneIn(2) ? QVariant(text()) : QVariant(text().toUtf8());
        }
        return {};
    }

    // A predicate that fits the entity. `ids` gives identities to compare with: of the entity itself (null)
    // or of a relationship's destination; without it there are no SELF tests.
    using IDs = std::function<QWManagedObjectID(const QWPropertyDescription* relationship)>;
    QWPredicate predicate(const QWEntityDescription& entity, const IDs& ids, int depth = 3) {
        if (depth == 0 || oneIn(4))
            return ids && oneIn(12) ? QWPredicate::selfIn(identities(ids)) : comparison(entity, ids);
        if (oneIn(4))
            return predicate(entity, ids, depth - 1).negated();
        QList<QWPredicate> parts;
        for (int count = oneIn(20) ? oneOf({0, 0, 1, 1, 1, 60}) : 2 + below(2); count > 0; --count)
            parts.append(predicate(entity, ids, parts.size() > 3 ? 0 : depth - 1));
        return oneIn(2) ? QWPredicate::conjunction(parts) : QWPredicate::disjunction(parts);
    }

private:
    using Operator = QWPredicate::Operator;

    QWPredicate comparison(const QWEntityDescription& entity, const IDs& ids) {
        const QWPropertyDescription* property = nullptr;
        do
            property = entity.properties()[size_t(below(int(entity.properties().size())))];
        while (property->isToMany());
        const Operator op = operatorFor(*property);
        if (op == Operator::In) {
            QVariantList list;
            for (int count = oneIn(3) ? below(14) : below(4); count > 0; --count)
                list.append(constant(*property, ids));
            return QWPredicate::comparison(property->name(), op, list, optionsFor(*property));
        }
        return QWPredicate::comparison(property->name(), op, constant(*property, ids), optionsFor(*property));
    }

    Operator operatorFor(const QWPropertyDescription& property) {
        const bool isString = property.isAttribute() && property.type() == QWAttributeType::String;
        const bool hasOrder = property.isAttribute() && property.type() != QWAttributeType::Data
                              && property.type() != QWAttributeType::Document;
        if (isString && oneIn(2))
            return oneOf({Operator::BeginsWith, Operator::Contains, Operator::ContainedIn});
        if (hasOrder && oneIn(2))
            return oneOf(
                {Operator::Less, Operator::LessOrEqual, Operator::Greater, Operator::GreaterOrEqual});
        return oneOf({Operator::Equal, Operator::NotEqual, Operator::In});
    }

    int optionsFor(const QWPropertyDescription& property) {
        return property.isAttribute() && property.type() == QWAttributeType::String ? below(4) : 0;
    }

    QVariant constant(const QWPropertyDescription& property, const IDs& ids) {
        if (oneIn(12))
            return {};
        if (property.isRelationship())
            return QVariant::fromValue(ids(&property));
        switch (property.type()) {
        case QWAttributeType::String: {
            const QString whole = text();
            return oneIn(3) ? part(whole) : whole;
        }
        case QWAttributeType::Integer:
        case QWAttributeType::Double:
        case QWAttributeType::Boolean:
            return oneOf({QVariant(integer()), QVariant(real()), QVariant(oneIn(2)), QVariant(below(3))});
        case QWAttributeType::Date:
            return oneIn(3) ? QVariant("1970-01-01 02:00:0" + QString::number(below(3)) + " +0200") : date();
        default: {
            QVariant value;
            while (!value.isValid())
                value = attributeValue(property);
            return value;
        }
        }
    }

    qlonglong integer() {
        constexpr qlonglong twoTo53 = 9007199254740992, most = std::numeric_limits<qlonglong>::max();
        return oneOf<qlonglong>({0, 1, -1, 2, 3, twoTo53 - 1, twoTo53, twoTo53 + 1, -twoTo53 - 1, most,
                                 most - 1, -most - 1, -most});
    }
    double real() {
        return oneOf({0.0, -0.0, 0.5, 1.0, 1.5, 2.0, -1.0, 9007199254740992.0, 9007199254740994.0,
                      9223372036854775808.0, -9223372036854775808.0, 9223372036854774784.0, 1e300, -1e300,
                      0.1, std::numeric_limits<double>::denorm_min(), std::numeric_limits<double>::infinity(),
                      -std::numeric_limits<double>::infinity()});
    }
    QDateTime date() {
        const qint64 milliseconds =
            oneOf<qint64>({0, 1, -1, 999, 1000, 2000, -62135596800000, 253402300800000});
        const QDateTime utc = QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
        return utc;
    }

    // Characters that fold, decompose, expand or sort in ways of their own.
    QString freshText() {
        static const QStringList pieces = {
            "a",
            "A",
            "b",
            "e",
            "E",
            "é",
            "É",
            "e\u0301",
            "E\u0301",
            "s",
            "S",
            "ß",
            "ẞ",
            "ss",
            "SS",
            "ﬁ",
            "fi",
            "İ",
            "i\u0307",
            "I",
            "ı",
            "i",
            "Σ",
            "σ",
            "ς",
            "ΐ",
            "ι\u0308\u0301",
            "ᾳ",
            "αι",
            "\u0345",
            "Å",
            "\u212B",
            "A\u030A",
            "ǆ",
            "Ǆ",
            "ǅ",
            "か",
            "が",
            "か\u3099",
            "한",
            "\u1112\u1161\u11AB",
            "й",
            "и\u0306",
            "𐐀",
            "𐐨",
            "🙂",
            "👩‍👧",
            "\uD7FF",
            "\uE000",
            "\uFFFD",
            "\uFB01",
            "%",
            "_",
            "'",
            "\"",
            "\\",
            " ",
            "\n",
            "\t",
            "\u0301",
            "\u0323\u0301",
            "\u0301\u0323",
            "Ꭰ",
            "ꭰ",
            "ŉ",
            "ʼn",
            "K",
            "\u212A",
            "k",
            "[c]",
            "?",
            "1",
            "٣",
            QString::fromUcs4(U"\U0010FFFF"),
        };
        QString fresh;
        for (int count = below(5); count > 0; --count)
            fresh.append(pieces[below(int(pieces.size()))]);
        return oneIn(30) ? fresh.repeated(100) : fresh;
    }

    // A part that cuts no surrogate pair; it may cut a letter from its marks.
    QString part(const QString& whole) {
        const QList<uint> points = whole.toUcs4();
        const int start = below(int(points.size()) + 1);
        const int length = below(int(points.size()) - start + 1);
        return QString::fromUcs4(reinterpret_cast<const char32_t*>(points.constData()) + start, length);
    }

    QList<QWManagedObjectID> identities(const IDs& ids) {
        QList<QWManagedObjectID> list;
        for (int count = oneIn(3) ? below(14) : below(4); count > 0; --count)
            list.append(ids(nullptr));
        return list;
    }

    std::mt19937 random_;
    std::array<QString, 12> texts_;
};
