// The text of a predicate: it is refused with a reason, or means one thing, in memory and in SQL.
#include "Fuzzing.h"

#include "store/PredicateGenerator.h"
#include "store/PredicateTable.h"

namespace {

// Books with values that predicates of the corpus meet.
PredicateTable& table() {
    static PredicateTable books;
    static const bool isFilled = [] {
        PredicateGenerator random(7);
        for (int row = 0; row < 12; ++row) {
            QVariantMap values;
            for (const QWPropertyDescription* property : books.book().properties())
                if (property->isAttribute())
                    values[property->name()] = random.attributeValue(*property);
            books.add(values);
        }
        const QDateTime day(QDate(2013, 5, 4), QTime(16, 22, 10), Qt::UTC);
        books.add({{"title", "a"}, {"uuid", "A1"}, {"code", "b"}, {"pages", 100}, {"price", 1.5}});
        books.add({{"title", "É"}, {"read", true}, {"added", day}, {"notes", "a"}, {"author", 1}});
        return true;
    }();
    Q_UNUSED(isFilled);
    return books;
}

} // namespace

void runInput(const QByteArray& input) {
    const QString text = QString::fromUtf8(input);
    QWError error;
    const auto predicate = QWPredicate::parse(text, {}, &error);
    require(predicate || !error.message.isEmpty(), "a text that is refused has a reason");
    if (!predicate)
        return;
    const QString written = predicate->text();
    const auto again = QWPredicate::parse(written, {}, &error);
    require(again && again->text() == written, "the text of a predicate reads back");

    error = {};
    const auto bound = QWBoundPredicate::bind(*predicate, table().book(), &error);
    require(bound.has_value() || !error.message.isEmpty(), "what does not fit an entity has a reason");
    error = {};
    const auto compiled = QWCompilePredicate(*predicate, table().book(), table().columns(), &error);
    require(compiled || !error.message.isEmpty(), "what is not compiled has a reason");
    require(bound.has_value() || !compiled, "what does not fit an entity is not compiled");
    if (!bound || !compiled)
        return;
    require(table().matchesInMemory(*bound) == table().matchesInSQL(*predicate), "memory and SQL agree");
}
