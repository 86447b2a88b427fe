#include "store/predicate/PredicateValue_p.h"
#include "store/sqlite/QWPredicateSQL.h"

#include <algorithm>
#include <array>
#include <sqlite3.h>
#include <string_view>

namespace {

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

void answer(sqlite3_context* context, std::string_view text) {
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

// qw_fold(text, options): foldForOptions in UTF-8. It runs once for every row that a condition scans, and nearly
// all texts are short ASCII, whose folding needs neither ICU nor an allocation.
void fold(sqlite3_context* context, int, sqlite3_value** arguments) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
    if (!bytes)
        return;
    const std::string_view text(bytes, static_cast<size_t>(sqlite3_value_bytes(arguments[0])));
    const int options = sqlite3_value_int(arguments[1]);

    std::array<char, 256> lower;
    if (!isASCII(text) || text.size() > lower.size()) {
        const QString given = QString::fromUtf8(text.data(), qsizetype(text.size()));
        const QByteArray folded = qw::foldForOptions(given, options).toUtf8();
        return answer(context, {folded.constData(), size_t(folded.size())});
    }
    if (!(options & QWPredicate::CaseInsensitive) || std::none_of(text.begin(), text.end(), isUpper))
        return sqlite3_result_value(context, arguments[0]);
    std::transform(text.begin(), text.end(), lower.begin(),
                   [](char c) { return isUpper(c) ? char(c | 0x20) : c; });
    answer(context, {lower.data(), text.size()});
}

} // namespace

bool QWRegisterPredicateFunctions(sqlite3* connection) {
    return sqlite3_create_function_v2(connection, "qw_fold", 2,
                                      SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, nullptr, fold,
                                      nullptr, nullptr, nullptr)
           == SQLITE_OK;
}
