#include "store/QWPredicate.h"

#include "store/QWStoreError.h"
#include "store/predicate/PredicateGrammar_p.h"
#include "store/predicate/PredicateNode_p.h"

namespace qw {

namespace {

using Operator = QWPredicate::Operator;
using Kind = PredicateToken::Kind;
using Result = std::optional<QWPredicate>;

// or = and { (OR | "||") and } and = not { (AND | "&&") not } not = { NOT | "!" } primary primary = "(" or
// ")" | TRUEPREDICATE | FALSEPREDICATE | comparison comparison = key operator [options] value | key IN
// [options] list | value IN [options] key list = "{" [ value { "," value } ] "}" value = text | number | YES
// | NO | nil | "%@" | DATE "(" milliseconds ")" | DATA "(" hexadecimal text ")"
class PredicateParser {
public:
    PredicateParser(const QString& text, const QVariantList& arguments, QWError* error)
        : text_(text), arguments_(arguments), error_(error), lexer_(text), token_(lexer_.next()) {}

    Result parse() {
        Result predicate = parseOr();
        if (!predicate)
            return std::nullopt;
        if (token_.kind != Kind::End)
            return expected(QStringLiteral("AND, OR or the end"));
        if (used_ < arguments_.size())
            return refuse(
                QStringLiteral("%1 arguments are given, %2 are used").arg(arguments_.size()).arg(used_));
        return predicate;
    }

private:
    // Each level of brackets takes a few frames of the stack.
    static constexpr int maximumBrackets = 200;

    Result parseOr() {
        return parseJunction({"OR", "||"}, &PredicateParser::parseAnd, &QWPredicate::disjunction);
    }
    Result parseAnd() {
        return parseJunction({"AND", "&&"}, &PredicateParser::parseNot, &QWPredicate::conjunction);
    }

    struct Joiner {
        const char* word;
        const char* symbol;
    };
    Result parseJunction(Joiner joiner, Result (PredicateParser::*parsePart)(),
                         QWPredicate (*join)(const QList<QWPredicate>&)) {
        QList<QWPredicate> parts;
        do {
            Result part = (this->*parsePart)();
            if (!part)
                return std::nullopt;
            parts.append(*part);
        } while (takeWord(joiner.word) || takeSymbol(joiner.symbol));
        return checkedForDepth(join(parts));
    }

    Result parseNot() {
        bool negated = false;
        while (takeWord("NOT") || takeSymbol("!"))
            negated = !negated;
        Result predicate = parsePrimary();
        if (!predicate || !negated)
            return predicate;
        return checkedForDepth(predicate->negated());
    }

    Result parsePrimary() {
        if (isSymbol("("))
            return parseBrackets();
        if (takeWord("TRUEPREDICATE"))
            return QWPredicate();
        if (takeWord("FALSEPREDICATE"))
            return QWPredicate::disjunction({});
        return parseComparison();
    }

    Result parseBrackets() {
        if (brackets_ == maximumBrackets)
            return refuse(QStringLiteral("brackets are nested more than %1 deep").arg(maximumBrackets));
        advance();
        ++brackets_;
        Result predicate = parseOr();
        --brackets_;
        if (predicate && !takeSymbol(")"))
            return expected(QStringLiteral("\")\""));
        return predicate;
    }

    Result parseComparison() {
        if (!isKey())
            return parseValueInKey();
        const QString key = token_.text;
        advance();
        const std::optional<Operator> op = takeOperator();
        if (!op)
            return expected(QStringLiteral("an operator"));
        const std::optional<int> options = parseOptions();
        if (!options)
            return std::nullopt;
        if (*op == Operator::In)
            return parseKeyIn(key, *options);
        const std::optional<QVariant> value = parseValue();
        if (!value)
            return std::nullopt;
        return QWPredicate::comparison(key, *op, *value, *options);
    }

    Result parseValueInKey() {
        const std::optional<QVariant> value = parseValue(QStringLiteral("a key or a value"));
        if (!value)
            return std::nullopt;
        if (!takeWord("IN"))
            return expected(QStringLiteral("IN"));
        const std::optional<int> options = parseOptions();
        if (!options)
            return std::nullopt;
        if (!isKey())
            return expected(QStringLiteral("a key"));
        const QString key = token_.text;
        advance();
        return QWPredicate::comparison(key, Operator::Contains, *value, *options);
    }

    Result parseKeyIn(const QString& key, int options) {
        const std::optional<QVariant> value =
            isSymbol("{") ? parseList() : parseValue(QStringLiteral("a list or a text"));
        if (!value)
            return std::nullopt;
        const bool isList =
            value->typeId() == QMetaType::QVariantList || value->typeId() == QMetaType::QStringList;
        return QWPredicate::comparison(key, isList ? Operator::In : Operator::ContainedIn, *value, options);
    }

    std::optional<QVariant> parseList() {
        advance();
        QVariantList list;
        while (!takeSymbol("}")) {
            if (!list.isEmpty() && !takeSymbol(","))
                return expected(QStringLiteral("\",\" or \"}\""));
            const std::optional<QVariant> value = parseValue();
            if (!value)
                return std::nullopt;
            list.append(*value);
        }
        return list;
    }

    std::optional<QVariant> parseValue(const QString& wanted = QStringLiteral("a value")) {
        if (token_.kind == Kind::Value) {
            const QVariant value = token_.value;
            advance();
            return value;
        }
        if (isSymbol("%@")) {
            if (used_ == arguments_.size())
                return refuse(QStringLiteral("there is no argument for this %@"));
            advance();
            return arguments_.at(used_++);
        }
        if (takeWord("YES") || takeWord("TRUE"))
            return true;
        if (takeWord("NO") || takeWord("FALSE"))
            return false;
        if (takeWord("NIL") || takeWord("NULL"))
            return QVariant();
        if (takeWord("DATE"))
            return parseEncoded(
                QMetaType::LongLong, QStringLiteral("milliseconds since 1970"), [](const QVariant& given) {
                    return QVariant(QDateTime::fromMSecsSinceEpoch(given.toLongLong(), Qt::UTC));
                });
        if (takeWord("DATA"))
            return parseEncoded(QMetaType::QString, QStringLiteral("hexadecimal text"),
                                [](const QVariant& given) {
                                    return QVariant(QByteArray::fromHex(given.toString().toLatin1()));
                                });
        return expected(wanted);
    }

    // The bracketed form of a value that has no literal.
    std::optional<QVariant> parseEncoded(int type, const QString& wanted,
                                         QVariant (*decode)(const QVariant&)) {
        if (!takeSymbol("("))
            return expected(QStringLiteral("\"(\""));
        if (token_.kind != Kind::Value || token_.value.typeId() != type)
            return expected(wanted);
        const QVariant value = decode(token_.value);
        advance();
        if (!takeSymbol(")"))
            return expected(QStringLiteral("\")\""));
        return value;
    }

    // Letters in square brackets after an operator; none without brackets.
    std::optional<int> parseOptions() {
        if (!takeSymbol("["))
            return QWPredicate::None;
        int options = QWPredicate::None;
        if (token_.kind == Kind::Word) {
            if (token_.text == u"c")
                options = QWPredicate::CaseInsensitive;
            else if (token_.text == u"d")
                options = QWPredicate::DiacriticInsensitive;
            else if (token_.text == u"cd" || token_.text == u"dc")
                options = QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive;
        }
        if (options == QWPredicate::None)
            return expected(QStringLiteral("c, d or cd"));
        advance();
        if (!takeSymbol("]"))
            return expected(QStringLiteral("\"]\""));
        return options;
    }

    std::optional<Operator> takeOperator() {
        static constexpr struct {
            const char* text;
            Operator op;
        } operators[] = {
            {"==", Operator::Equal},
            {"=", Operator::Equal},
            {"!=", Operator::NotEqual},
            {"<>", Operator::NotEqual},
            {"<", Operator::Less},
            {"<=", Operator::LessOrEqual},
            {">", Operator::Greater},
            {">=", Operator::GreaterOrEqual},
            {"BEGINSWITH", Operator::BeginsWith},
            {"CONTAINS", Operator::Contains},
            {"IN", Operator::In},
        };
        for (const auto& candidate : operators)
            if (takeSymbol(candidate.text) || takeWord(candidate.text))
                return candidate.op;
        return std::nullopt;
    }

    bool isSymbol(const char* symbol) const {
        return token_.kind == Kind::Symbol && token_.text == QLatin1String(symbol);
    }
    bool isKey() const {
        return token_.kind == Kind::Key || (token_.kind == Kind::Word && !needsKeyMark(token_.text));
    }
    bool takeSymbol(const char* symbol) {
        if (!isSymbol(symbol))
            return false;
        advance();
        return true;
    }
    bool takeWord(const char* word) {
        if (token_.kind != Kind::Word || token_.text.compare(QLatin1String(word), Qt::CaseInsensitive) != 0)
            return false;
        advance();
        return true;
    }
    void advance() { token_ = lexer_.next(); }

    Result checkedForDepth(const QWPredicate& predicate) {
        if (predicate.node().kind == PredicateNode::Kind::TooDeep)
            return refuse(QStringLiteral("nested more than %1 levels deep").arg(PredicateNode::maximumDepth));
        return predicate;
    }

    std::nullopt_t expected(const QString& wanted) {
        const QString found = token_.kind == Kind::End ? QStringLiteral("the end")
                                                       : QStringLiteral("\"%1\"").arg(token_.text.left(40));
        return refuse(QStringLiteral("expected %1, found %2").arg(wanted, found));
    }

    // Reports the present token; a token that is wrong in itself says so.
    std::nullopt_t refuse(const QString& message) {
        qsizetype column = 1; // in characters
        for (qsizetype i = 0; i < token_.position; ++i)
            column += text_.at(i).isLowSurrogate() ? 0 : 1;
        fail(error_, QWMakeStoreError(QWStoreErrorCode::InvalidPredicate,
                                      QStringLiteral("Column %1 of the predicate: %2.")
                                          .arg(column)
                                          .arg(token_.kind == Kind::Invalid ? token_.text : message),
                                      {{QStringLiteral("column"), column}, {QStringLiteral("text"), text_}}));
        return std::nullopt;
    }

    const QString& text_;
    const QVariantList& arguments_;
    QWError* error_;
    PredicateLexer lexer_;
    PredicateToken token_;
    qsizetype used_ = 0; // arguments
    int brackets_ = 0;
};

} // namespace

} // namespace qw

std::optional<QWPredicate> QWPredicate::parse(const QString& text, const QVariantList& arguments,
                                              QWError* error) {
    return qw::PredicateParser(text, arguments, error).parse();
}
