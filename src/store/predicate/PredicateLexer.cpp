#include "store/predicate/PredicateGrammar_p.h"

#include <algorithm>
#include <array>

namespace qw {

namespace {

using Kind = PredicateToken::Kind;

constexpr std::array keywords = {
    "AND", "OR",   "NOT",   "IN",  "CONTAINS", "BEGINSWITH",    "YES",
    "NO",  "TRUE", "FALSE", "NIL", "NULL",     "TRUEPREDICATE", "FALSEPREDICATE"};

// Longer ones first: the first that fits is taken.
constexpr std::array symbols = {"==", "!=", "<>", "<=", ">=", "&&", "||", "%@", "=", "<",
                                ">",  "!",  "(",  ")",  "{",  "}",  ",",  "[",  "]"};

bool startsWord(QChar character) {
    return character.isLetter() || character == u'_';
}

bool continuesWord(QChar character) {
    return character.isLetterOrNumber() || character == u'_';
}

bool isDigit(QChar character) {
    return character >= u'0' && character <= u'9';
}

PredicateToken invalid(const QString& message, qsizetype position) {
    return {Kind::Invalid, message, {}, position};
}

} // namespace

bool needsKeyMark(const QString& key) {
    const bool isWord =
        !key.isEmpty() && startsWord(key.front()) && std::all_of(key.begin(), key.end(), continuesWord);
    return !isWord || std::any_of(keywords.begin(), keywords.end(), [&](const char* keyword) {
        return key.compare(QLatin1String(keyword), Qt::CaseInsensitive) == 0;
    });
}

QString quotedForPredicate(const QString& text) {
    QString quoted = QStringLiteral("\"");
    for (const QChar character : text) {
        if (character == u'"' || character == u'\\')
            quoted.append(u'\\').append(character);
        else if (character == u'\n')
            quoted.append(QStringLiteral("\\n"));
        else if (character == u'\t')
            quoted.append(QStringLiteral("\\t"));
        else if (character.unicode() < 0x20)
            quoted.append(QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QChar(u'0')));
        else
            quoted.append(character);
    }
    return quoted.append(u'"');
}

PredicateToken PredicateLexer::next() {
    while (position_ < text_.size() && text_.at(position_).isSpace())
        ++position_;
    if (position_ == text_.size())
        return {Kind::End, {}, {}, position_};
    const QChar first = peek();
    if (startsWord(first))
        return word();
    if (first == u'#')
        return key();
    if (first == u'"' || first == u'\'')
        return string();
    if (isDigit(first) || (first == u'-' && isDigit(peek(1))))
        return number();
    return symbol();
}

QChar PredicateLexer::peek(qsizetype ahead) const {
    return position_ + ahead < text_.size() ? text_.at(position_ + ahead) : QChar();
}

PredicateToken PredicateLexer::word() {
    const qsizetype start = position_;
    while (continuesWord(peek()))
        ++position_;
    return {Kind::Word, since(start), {}, start};
}

PredicateToken PredicateLexer::key() {
    const qsizetype start = position_++;
    const bool quoted = peek() == u'"' || peek() == u'\'';
    if (!quoted && !startsWord(peek()))
        return invalid(QStringLiteral("expected a key after \"#\""), position_);
    PredicateToken token = quoted ? string() : word();
    if (token.kind == Kind::Invalid)
        return token;
    return {Kind::Key, quoted ? token.value.toString() : token.text, {}, start};
}

void PredicateLexer::skipDigits() {
    while (isDigit(peek()))
        ++position_;
}

PredicateToken PredicateLexer::number() {
    const qsizetype start = position_++;
    bool whole = true;
    skipDigits();
    if (peek() == u'.' && isDigit(peek(1))) {
        whole = false;
        ++position_;
        skipDigits();
    }
    if (peek() == u'e' || peek() == u'E') {
        const int sign = peek(1) == u'-' || peek(1) == u'+' ? 1 : 0;
        if (isDigit(peek(1 + sign))) {
            whole = false;
            position_ += 1 + sign;
            skipDigits();
        }
    }
    if (continuesWord(peek()) || peek() == u'.')
        return invalid(QStringLiteral("a number ends with \"%1\"").arg(peek()), position_);
    const QString digits = since(start);
    if (whole) {
        bool fits = false;
        const qlonglong integer = digits.toLongLong(&fits);
        if (fits)
            return {Kind::Value, digits, integer, start};
    }
    return {Kind::Value, digits, digits.toDouble(), start}; // infinite when it is too large
}

PredicateToken PredicateLexer::string() {
    const qsizetype start = position_;
    const QChar quote = text_.at(position_++);
    QString value;
    while (position_ < text_.size()) {
        const QChar character = text_.at(position_++);
        if (character == quote)
            return {Kind::Value, since(start), value, start};
        if (character != u'\\') {
            value.append(character);
            continue;
        }
        const QChar escape = peek();
        ++position_;
        if (escape == u'"' || escape == u'\'' || escape == u'\\') {
            value.append(escape);
        } else if (escape == u'n') {
            value.append(u'\n');
        } else if (escape == u't') {
            value.append(u'\t');
        } else {
            bool isUnit = false;
            const ushort unit = text_.mid(position_, 4).toUShort(&isUnit, 16);
            if (escape != u'u' || !isUnit || position_ + 4 > text_.size())
                return invalid(QStringLiteral("unknown escape in a text"), position_ - 2);
            value.append(QChar(unit));
            position_ += 4;
        }
    }
    return invalid(QStringLiteral("this text has no closing quote"), start);
}

PredicateToken PredicateLexer::symbol() {
    const qsizetype start = position_;
    const QStringView rest = QStringView(text_).mid(position_);
    for (const char* symbol : symbols) {
        if (rest.startsWith(QLatin1String(symbol))) {
            position_ += qsizetype(qstrlen(symbol));
            return {Kind::Symbol, since(start), {}, start};
        }
    }
    return invalid(QStringLiteral("unexpected \"%1\"").arg(rest.front()), start);
}

} // namespace qw
