#include "PredicateGenerator.h"
#include "PredicateTable.h"

namespace {

constexpr qint64 authors = 4;

void fill(PredicateTable& table, PredicateGenerator& random) {
    for (int row = 0; row < 12; ++row) {
        QVariantMap values;
        for (const QWPropertyDescription* property : table.book().properties()) {
            if (property->isAttribute())
                values[property->name()] = random.attributeValue(*property);
            else if (!property->isToMany() && !random.oneIn(4))
                values[property->name()] = qlonglong(1 + random.below(int(authors)));
        }
        table.add(values);
    }
}

// What indexedLookup promises of every record that matches.
bool fulfils(const QWBoundPredicate::IndexedLookup& lookup, const QVariant& slot) {
    return lookup.folded ? qw::text::foldCase(slot.toString()) == lookup.value : slot == lookup.value;
}

} // namespace

// 100 tables with 1,000 predicates each.
TEST(PredicateProperty, Memory_and_SQL_agree_on_every_row) {
    const bool holds = rc::check([] {
        PredicateGenerator random(anySeed());
        PredicateTable table;
        fill(table, random);
        const auto ids = [&](const QWPropertyDescription* relationship) {
            const bool stranger = !relationship && random.oneIn(6);
            const qint64 key = 1 + random.below(relationship ? int(authors) : int(table.size()));
            return relationship || stranger ? table.authorID(key) : table.bookID(key);
        };
        for (int i = 0; i < 1000; ++i) {
            const QWPredicate predicate = random.predicate(table.book(), ids);
            const QWBoundPredicate bound = table.bound(predicate);
            const QList<qint64> keys = table.matchesInMemory(bound);
            const QList<qint64> keysInSQL = table.matchesInSQL(predicate);
            if (keys != keysInSQL)
                RC_FAIL(predicate.text().toStdString() + "\n" + table.compiled(predicate).text.toStdString());
            const auto lookup = bound.indexedLookup();
            for (const qint64 key : keys)
                if (lookup && !fulfils(*lookup, table.slot(key, lookup->property)))
                    RC_FAIL("lookup of " + predicate.text().toStdString());
        }
    });
    EXPECT_TRUE(holds);
}

TEST(PredicateProperty, Text_reads_back_to_the_same_predicate) {
    QWManagedObjectModel model;
    auto& entity = model.addEntity("Thing");
    entity.addAttribute("text", QWAttributeType::String);
    entity.addAttribute("no", QWAttributeType::Integer);
    entity.addAttribute("two words", QWAttributeType::Double);
    entity.addAttribute("date", QWAttributeType::Date);
    entity.addAttribute("data", QWAttributeType::Document);
    ASSERT_TRUE(model.complete());
    const bool holds = rc::check([&] {
        PredicateGenerator random(anySeed());
        for (int i = 0; i < 100; ++i) {
            const QWPredicate predicate = random.predicate(entity, {});
            QWError error;
            const auto read = QWPredicate::parse(predicate.text(), {}, &error);
            if (!read)
                RC_FAIL(predicate.text().toStdString() + "\n" + error.message.toStdString());
            RC_ASSERT(read->text().toStdString() == predicate.text().toStdString());
        }
    });
    EXPECT_TRUE(holds);
}
