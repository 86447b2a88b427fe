#pragma once

#include "platform/QWError.h"
#include "store/QWManagedObjectID.h"

#include <QList>
#include <QString>
#include <QVariantList>
#include <memory>
#include <optional>

class QWManagedObject;
class QWEntityDescription;

namespace qw {
struct PredicateNode;
}

// A condition on a record. One predicate has one meaning, whether it is evaluated in memory or compiled to
// SQL:
//
// - Two-valued: a comparison with a missing value is false, except that no value equals no value (== nil) and
//   differs from every value (key != "x" holds for a record without that key's value).
// - Strings compare by code points; [c] ignores letter case (Unicode folding, canonical equivalence), [d]
//   ignores marks ("é" = "e"), [cd] both. Without options canonically equal texts with different code points
//   differ.
// - Numbers compare by value whatever their type; dates by instant.
// - An empty AND is true, an empty OR false; the default-constructed predicate is true.
//
// Limits: a list may have any length; better one of them than thousands of comparisons joined by OR, because
// a fetch takes at most 32,000 values otherwise. AND, OR and NOT nest at most 24 levels deep; what is deeper
// fits no entity.
//
// Immutable and cheap to copy; may be shared between threads.
class QWPredicate {
public:
    enum class Operator {
        Equal,
        NotEqual,
        Less,
        LessOrEqual,
        Greater,
        GreaterOrEqual,
        BeginsWith,  // strings; every value begins with ""
        Contains,    // strings: the attribute's value contains the given text
        ContainedIn, // strings: the given text contains the attribute's value ("x" IN key is Contains)
        In,          // the value is one of a list
    };
    enum Option { None = 0, CaseInsensitive = 1, DiacriticInsensitive = 2 };

    QWPredicate(); // holds for every record

    // `key` is an attribute, or a to-one relationship (compared with a QWManagedObjectID or no value by
    // Equal, NotEqual and In). `value` is a QVariantList or QStringList for In.
    static QWPredicate comparison(const QString& key, Operator op, const QVariant& value, int options = None);
    // SELF is one of `ids`. The cost of a fetch does not depend on how many there are beyond one pass over
    // them.
    static QWPredicate selfIn(const QList<QWManagedObjectID>& ids);
    static QWPredicate conjunction(const QList<QWPredicate>& parts);
    static QWPredicate disjunction(const QList<QWPredicate>& parts);
    QWPredicate negated() const;

    // Reads text such as
    //     name BEGINSWITH[c] "e" AND (pages > 100 OR read == YES) AND NOT added < "2013-05-04 18:22:10 +0200"
    //     kind IN {"a", "b"}     author == nil     "ro" IN[c] name     title == %@
    // Operators: == = != <> < <= > >= BEGINSWITH CONTAINS IN, with [c], [d], [cd]; AND OR NOT (also && || !);
    // YES NO TRUE FALSE nil NULL; numbers; "text" or 'text' with \" \' \\ \n \t \uXXXX; DATE(milliseconds
    // since 1970) and DATA("hexadecimal"); TRUEPREDICATE and FALSEPREDICATE. %@ takes the next of
    // `arguments`. Keywords in any case; a key that reads as one is written #key or #"any key". Errors give
    // the column in characters, from 1.
    static std::optional<QWPredicate> parse(const QString& text, const QVariantList& arguments = {},
                                            QWError* error = nullptr);

    // Whether every key exists in `entity` and every value fits its type; the error names entity, key,
    // expected and given. A fetch checks by itself.
    bool check(const QWEntityDescription& entity, QWError* error = nullptr) const;
    // Evaluates against the record's present values (reading it from the store when it is a fault). The
    // predicate must fit the record's entity.
    bool evaluate(const QWManagedObject& record) const;

    // The predicate as text that `parse` reads back, identities excepted.
    QString text() const;
    bool isAlwaysTrue() const;

    const qw::PredicateNode& node() const { return *node_; }

private:
    explicit QWPredicate(std::shared_ptr<const qw::PredicateNode> node);
    std::shared_ptr<const qw::PredicateNode> node_;
};
