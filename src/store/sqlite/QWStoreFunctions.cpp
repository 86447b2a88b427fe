#include "store/sqlite/QWStoreFunctions.h"

#include "platform/text/QWText.h"
#include "store/sqlite/QWPredicateSQL.h"

namespace {

void sortKey(sqlite3_context* context, int, sqlite3_value** arguments) {
    if (sqlite3_value_type(arguments[0]) != SQLITE_TEXT)
        return sqlite3_result_value(context, arguments[0]);
    const auto* utf8 = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
    const QByteArray key =
        qw::text::localizedCaseInsensitiveSortKey(QString::fromUtf8(utf8, sqlite3_value_bytes(arguments[0])));
    sqlite3_result_blob64(context, key.constData(), key.size(), SQLITE_TRANSIENT);
}

} // namespace

void QWRegisterStoreFunctions(QWSQLiteConnection& connection) {
    if (!QWRegisterPredicateFunctions(connection.handle()))
        connection.fail(SQLITE_NOMEM);
    const int code =
        sqlite3_create_function(connection.handle(), "qw_sort_key", 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                nullptr, sortKey, nullptr, nullptr);
    if (code != SQLITE_OK)
        connection.fail(code);
}
