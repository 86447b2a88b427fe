#include "store/predicate/PredicateValue_p.h"
#include "store/sqlite/QWPredicateSQL.h"

#include <algorithm>
#include <array>
#include <sqlite3.h>
#include <string_view>

// Each function folds the value of a column as its last argument, a set of QWPredicate::Option, says. They
// run once for every row that a condition scans, and nearly all values are short ASCII texts, whose folding
// needs neither ICU nor an allocation.

namespace {

std::string_view textOf(sqlite3_value* value) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return bytes ? std::string_view(bytes, size_t(sqlite3_value_bytes(value))) : std::string_view();
}

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? char(c | 0x20) : c;
}

// foldForOptions of a text in UTF-8.
class FoldedText {
public:
    FoldedText(std::string_view text, int options) : view_(text) {
        if (options == QWPredicate::None)
            return;
        if (!isASCII(text))
            foldFully(text, options);
        else if (options & QWPredicate::CaseInsensitive)
            foldASCII(text);
    }
    FoldedText(const FoldedText&) = delete;
    FoldedText& operator=(const FoldedText&) = delete;

    std::string_view view() const { return view_; }

private:
    void foldASCII(std::string_view text) {
        char* folded = short_.data();
        if (text.size() > short_.size()) {
            long_.resize(qsizetype(text.size()));
            folded = long_.data();
        }
        std::transform(text.begin(), text.end(), folded, lower);
        view_ = {folded, text.size()};
    }
    void foldFully(std::string_view text, int options) {
        const QString given = QString::fromUtf8(text.data(), qsizetype(text.size()));
        long_ = qw::foldForOptions(given, options).toUtf8();
        view_ = {long_.constData(), size_t(long_.size())};
    }

    std::string_view view_; // of the given text, or of one of the following
    std::array<char, 128> short_;
    QByteArray long_;
};

// qw_fold(value, options)
void fold(sqlite3_context* context, int, sqlite3_value** arguments) {
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL)
        return;
    const FoldedText text(textOf(arguments[0]), sqlite3_value_int(arguments[1]));
    sqlite3_result_text64(context, text.view().data(), text.view().size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

bool begins(std::string_view value, std::string_view prefix) {
    return value.starts_with(prefix);
}
bool contains(std::string_view value, std::string_view part) {
    return value.find(part) != std::string_view::npos;
}
bool contained(std::string_view value, std::string_view whole) {
    return contains(whole, value);
}

// qw_…(value, constant, options); the constant is folded already. NULL for no value.
template <bool (*holds)(std::string_view, std::string_view)>
void compare(sqlite3_context* context, int, sqlite3_value** arguments) {
    if (sqlite3_value_type(arguments[0]) == SQLITE_NULL)
        return;
    const FoldedText text(textOf(arguments[0]), sqlite3_value_int(arguments[2]));
    sqlite3_result_int(context, holds(text.view(), textOf(arguments[1])));
}

} // namespace

bool QWRegisterPredicateFunctions(sqlite3* connection) {
    const auto add = [&](const char* name, int arguments, auto* function) {
        return sqlite3_create_function_v2(connection, name, arguments,
                                          SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr,
                                          function, nullptr, nullptr, nullptr)
               == SQLITE_OK;
    };
    return add("qw_fold", 2, fold) && add("qw_begins", 3, compare<begins>)
           && add("qw_contains", 3, compare<contains>) && add("qw_contained", 3, compare<contained>);
}
