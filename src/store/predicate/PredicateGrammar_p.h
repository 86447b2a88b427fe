#pragma once

#include "store/QWPredicate.h"

#include <QString>
#include <QVariant>
#include <optional>

// The words of predicate text, shared by its reader and its writer.
namespace qw {

struct PredicateToken {
    enum class Kind {
        End,
        Word,    // `text` as written: a keyword or a key
        Key,     // `text`: a key that is no word of its own; written #word or #"any text"
        Symbol,  // `text`: an operator, a bracket, a comma or %@
        Value,   // `value`: a number or a text
        Invalid, // `text` says what is wrong
    };
    Kind kind = Kind::End;
    QString text;
    QVariant value;
    qsizetype position = 0; // of its first character, or of the wrong one
};

// Splits text into tokens, one at a time. The text must outlive it.
class PredicateLexer {
public:
    explicit PredicateLexer(const QString& text) : text_(text) {}

    PredicateToken next();

private:
    PredicateToken word();
    PredicateToken key();
    PredicateToken number();
    PredicateToken string();
    PredicateToken symbol();
    QChar peek(qsizetype ahead = 0) const;
    void skipDigits();
    QString since(qsizetype start) const { return text_.mid(start, position_ - start); }

    const QString& text_;
    qsizetype position_ = 0;
};

// Whether a key must be written with "#", because it reads as something else.
bool needsKeyMark(const QString& key);
// Between double quotes, with escapes where they are needed.
QString quotedForPredicate(const QString& text);

} // namespace qw
