#include "core/QWManagedObjectWithSyncSupport.h"
#include "store/QWManagedObjectContext.h"
#include "support/BareSQLite.h"
#include "support/Harness.h"
#include "testing/QWVirtualWorld.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QUuid>

// The object store beside the bare SQLite C API (and QtSql) doing the same statements on the same tables,
// with synchronous=FULL at both ends.

namespace {

constexpr int recordCount = 100000;

// A record of eight attributes: five texts, a whole number, a fraction and a date.
struct Sample {
    QString texts[5];
    qlonglong number;
    double fraction;
    qint64 milliseconds;
    QByteArray bytes[5]; // the texts in UTF-8, as the C API takes them
};
// Keys as a host keeps them: made once.
const QStringList textKeys{"title", "author", "publisher", "place", "code"};
const QString numberKey = "number", fractionKey = "fraction", addedKey = "added", uuidKey = "uuid";

const std::vector<Sample>& samples() {
    static const std::vector<Sample> made = [] {
        std::vector<Sample> result(recordCount);
        for (int i = 0; i < recordCount; ++i) {
            Sample& sample = result[size_t(i)];
            for (int text = 0; text < 5; ++text) {
                sample.texts[text] = QStringLiteral("%1 number %2").arg(textKeys[text]).arg(i * 7 + text);
                sample.bytes[text] = sample.texts[text].toUtf8();
            }
            sample.number = i;
            sample.fraction = i / 3.0;
            sample.milliseconds = 1700000000000 + i;
        }
        return result;
    }();
    return made;
}

std::shared_ptr<QWManagedObjectModel> makeModel() {
    auto model = std::make_shared<QWManagedObjectModel>();
    auto& item = model->addEntity("Item");
    for (const QString& key : textKeys)
        item.addAttribute(key, QWAttributeType::String);
    item.addAttribute(numberKey, QWAttributeType::Integer);
    item.addAttribute(fractionKey, QWAttributeType::Double);
    item.addAttribute(addedKey, QWAttributeType::Date);
    auto& synced = model->addEntity<QWManagedObjectWithSyncSupport>("Synced");
    addSyncAttributes(synced);
    synced.addAttribute("name", QWAttributeType::String);
    return model;
}

// A store in a file of its own, with a context.
struct Store {
    Store() {
        coordinator = std::make_shared<QWPersistentStoreCoordinator>(makeModel(), world.environment());
        QWError error;
        if (!coordinator->addStore(path, {}, &error))
            throw std::runtime_error(error.message.toStdString());
        renew();
    }
    void renew() { context = std::make_shared<QWManagedObjectContext>(coordinator); }
    void save() {
        QWError error;
        if (!context->save(&error))
            throw std::runtime_error(error.message.toStdString());
    }

    QTemporaryDir folder;
    QString path = folder.filePath("store.sqlite");
    QWVirtualWorld world;
    std::shared_ptr<QWPersistentStoreCoordinator> coordinator;
    std::shared_ptr<QWManagedObjectContext> context;
};

// A bare database with the store's own tables and indexes.
struct Bare {
    Bare() : database(folder.filePath("bare.sqlite")) {
        Store store;
        for (const QString& statement : BareSQLite::schemaOf(store.path))
            database.execute(statement);
    }
    QTemporaryDir folder;
    BareSQLite database;
};

const QString insertItem = QStringLiteral("INSERT INTO \"Item\"(_key, _entity, _version, title, author, "
                                          "publisher, place, code, number, fraction, added) "
                                          "VALUES(?, 1, 1, ?, ?, ?, ?, ?, ?, ?, ?)");
const QString selectItems = QStringLiteral("SELECT _key, _entity, _version, title, author, publisher, place, "
                                           "code, number, fraction, added FROM \"Item\"");

void fill(QWManagedObjectContext& context, const Sample& sample) {
    const QWRef<QWManagedObject> record = context.insertObject(QStringLiteral("Item"));
    for (int text = 0; text < 5; ++text)
        record->setValueForKey(textKeys[text], sample.texts[text]);
    record->setValueForKey(numberKey, sample.number);
    record->setValueForKey(fractionKey, sample.fraction);
    record->setValueForKey(addedKey, QDateTime::fromMSecsSinceEpoch(sample.milliseconds, Qt::UTC));
}

void bareInsert(BareSQLite& database) {
    sqlite3_stmt* insert = database.prepare(insertItem);
    database.execute("BEGIN IMMEDIATE");
    for (int i = 0; i < recordCount; ++i) {
        const Sample& sample = samples()[size_t(i)];
        sqlite3_bind_int64(insert, 1, i + 1);
        for (int text = 0; text < 5; ++text)
            sqlite3_bind_text(insert, 2 + text, sample.bytes[text].constData(),
                              int(sample.bytes[text].size()), SQLITE_STATIC);
        sqlite3_bind_int64(insert, 7, sample.number);
        sqlite3_bind_double(insert, 8, sample.fraction);
        sqlite3_bind_int64(insert, 9, sample.milliseconds);
        database.run(insert);
    }
    database.execute("COMMIT");
}

QString columnText(sqlite3_stmt* statement, int column) {
    return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)),
                             sqlite3_column_bytes(statement, column));
}

// Something that the compiler cannot leave out.
qint64 sink = 0;

bench::Row insertAndSave() {
    return bench::compare(
        "insert 100,000 records of 8 attributes and save / bare SQLite", 2.0, 5,
        [] {
            Store store;
            return bench::seconds([&] {
                for (const Sample& sample : samples())
                    fill(*store.context, sample);
                store.save();
            });
        },
        [] {
            Bare bare;
            return bench::seconds([&] { bareInsert(bare.database); });
        });
}

// Fetches everything and reads every attribute, in a context that knows no record yet.
double fetchAndRead(Store& store) {
    store.renew();
    return bench::seconds([&] {
        const auto records = store.context->fetch(QWFetchRequest("Item"));
        for (const auto& record : *records) {
            for (const QString& key : textKeys)
                sink += record->valueForKey(key).toString().size();
            sink += record->valueForKey(numberKey).toLongLong();
            sink += qint64(record->valueForKey(fractionKey).toDouble());
            sink += record->valueForKey(addedKey).toDateTime().toMSecsSinceEpoch();
        }
    });
}

void fillStore(Store& store) {
    for (const Sample& sample : samples())
        fill(*store.context, sample);
    store.save();
}

bench::Row fetchAll() {
    Store store;
    fillStore(store);
    Bare bare;
    bareInsert(bare.database);
    sqlite3_stmt* select = bare.database.prepare(selectItems);
    return bench::compare(
        "fetch 100,000 live records and read every attribute / bare SQLite into QStrings", 2.0, 7,
        [&] { return fetchAndRead(store); },
        [&] {
            return bench::seconds([&] {
                while (sqlite3_step(select) == SQLITE_ROW) {
                    sink += sqlite3_column_int64(select, 0) + sqlite3_column_int64(select, 2);
                    for (int text = 0; text < 5; ++text)
                        sink += columnText(select, 3 + text).size();
                    sink += sqlite3_column_int64(select, 8);
                    sink += qint64(sqlite3_column_double(select, 9));
                    sink += sqlite3_column_int64(select, 10);
                }
                sqlite3_reset(select);
            });
        });
}

bench::Row fetchAllAgainstQtSql() {
    Store store;
    fillStore(store);
    QTemporaryDir folder;
    const QString path = folder.filePath("peer.sqlite");
    {
        Bare bare;
        bareInsert(bare.database);
        bare.database.execute(QStringLiteral("VACUUM INTO '%1'").arg(path));
    }
    QSqlDatabase database = QSqlDatabase::addDatabase("QSQLITE");
    database.setDatabaseName(path);
    if (!database.open())
        throw std::runtime_error("QtSql cannot open its database");
    return bench::compare(
        "fetch 100,000 live records and read every attribute / QtSql", 1.0, 7,
        [&] { return fetchAndRead(store); },
        [&] {
            return bench::seconds([&] {
                QSqlQuery query(database);
                query.setForwardOnly(true);
                query.exec(selectItems);
                while (query.next()) {
                    sink += query.value(0).toLongLong() + query.value(2).toLongLong();
                    for (int text = 0; text < 5; ++text)
                        sink += query.value(3 + text).toString().size();
                    sink += query.value(8).toLongLong() + qint64(query.value(9).toDouble());
                    sink += query.value(10).toLongLong();
                }
            });
        });
}

bench::Row changeOne() {
    constexpr int changes = 2000;
    Store store;
    fill(*store.context, samples()[0]);
    store.save();
    const QWRef<QWManagedObject> record = store.context->fetch(QWFetchRequest("Item"))->front();
    Bare bare;
    bareInsert(bare.database);
    sqlite3_stmt* update = bare.database.prepare(
        "UPDATE \"Item\" SET title = ?, _version = _version + 1 WHERE _key = ? AND _version = ?");
    sqlite3_stmt* begin = bare.database.prepare("BEGIN IMMEDIATE");
    sqlite3_stmt* commit = bare.database.prepare("COMMIT");
    qint64 version = 1;
    return bench::compare(
        "change 1 attribute of 1 record and save, repeated / bare SQLite", 2.0, 7,
        [&] {
            return bench::seconds([&] {
                for (int i = 0; i < changes; ++i) {
                    record->setValueForKey(textKeys[0], samples()[size_t(i)].texts[1]);
                    store.save();
                }
            });
        },
        [&] {
            return bench::seconds([&] {
                for (int i = 0; i < changes; ++i) {
                    const QByteArray& text = samples()[size_t(i)].bytes[1];
                    bare.database.run(begin);
                    sqlite3_bind_text(update, 1, text.constData(), int(text.size()), SQLITE_STATIC);
                    sqlite3_bind_int64(update, 2, 1);
                    sqlite3_bind_int64(update, 3, version++);
                    bare.database.run(update);
                    bare.database.run(commit);
                }
            });
        });
}

// Records with uuids, and the uuids in an order unlike that of insertion.
QStringList insertSynced(Store& store, int count) {
    QStringList uuids;
    for (int i = 0; i < count; ++i) {
        const auto record = store.context->insertObject(QStringLiteral("Synced"));
        uuids << record->valueForKey(uuidKey).toString();
    }
    QStringList shuffled;
    for (int i = 0; i < count; ++i)
        shuffled << uuids[qsizetype((qint64(i) * 7919) % count)];
    return shuffled;
}

double lookUp(Store& store, const QStringList& uuids, int count) {
    return bench::seconds([&] {
        for (int i = 0; i < count; ++i)
            sink += QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuids[i], QStringLiteral("Synced"),
                                                                        *store.context)
                        ->objectID()
                        .key;
    });
}

const QString lookupSQL = QStringLiteral(
    "SELECT _key, _entity, _version, uuid, \"dateModified\", name FROM \"Synced\" WHERE uuid_folded = ?");

// The same lookups on the bare API; a row that is not there is looked for all the same.
double bareLookUp(sqlite3_stmt* select, const std::vector<QByteArray>& uuids, int count) {
    return bench::seconds([&] {
        for (int i = 0; i < count; ++i) {
            const QByteArray& uuid = uuids[size_t(i)];
            sqlite3_bind_text(select, 1, uuid.constData(), int(uuid.size()), SQLITE_STATIC);
            while (sqlite3_step(select) == SQLITE_ROW)
                sink += sqlite3_column_int64(select, 0) + sqlite3_column_int64(select, 2)
                        + columnText(select, 3).size() + sqlite3_column_int64(select, 4)
                        + columnText(select, 5).size();
            sqlite3_reset(select);
        }
    });
}

std::vector<QByteArray> folded(const QStringList& uuids) {
    std::vector<QByteArray> result;
    for (const QString& uuid : uuids)
        result.push_back(uuid.toLower().toUtf8());
    return result;
}

std::vector<bench::Row> lookups() {
    constexpr int count = 20000;
    Store saved;
    const QStringList uuids = insertSynced(saved, recordCount);
    saved.save();
    Store pending;
    const QStringList pendingUUIDs = insertSynced(pending, recordCount);
    BareSQLite bare(saved.path);
    sqlite3_stmt* select = bare.prepare(lookupSQL);
    const std::vector<QByteArray> bytes = folded(uuids);
    const auto savedLookUp = [&] {
        saved.renew();
        return lookUp(saved, uuids, count);
    };
    return {bench::compare("lookup by uuid among 100,000 saved / bare SQLite", 2.5, 7, savedLookUp,
                           [&] { return bareLookUp(select, bytes, count); }),
            bench::compare(
                "lookup by uuid among 100,000 pending / among 100,000 saved", 1.0, 7,
                [&] { return lookUp(pending, pendingUUIDs, count); }, savedLookUp)};
}

// The cost of one record: inserted, reported in one notice with all others, looked up by the observer, saved.
double noticeCost(int count, int repeats) {
    double total = 0;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        Store store;
        const QWObservation observation =
            store.context->observeObjectsDidChange([&](const QWObjectsDidChangeNotice& notice) {
                for (const auto& record : notice.inserted)
                    sink +=
                        QWManagedObjectWithSyncSupport::fetchObjectWithUUID(
                            record->valueForKey(uuidKey).toString(), QStringLiteral("Synced"), *store.context)
                            ->objectID()
                            .key;
            });
        total += bench::seconds([&] {
            insertSynced(store, count);
            store.save();
        });
    }
    return total / repeats / count;
}

// The statements that this executes: a lookup for each record, none of which is stored yet, then the rows.
double bareNoticeCost(int count, int repeats) {
    double total = 0;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        Bare bare;
        std::vector<QByteArray> uuids;
        for (int i = 0; i < count; ++i)
            uuids.push_back(QUuid::createUuid().toByteArray(QUuid::WithoutBraces));
        sqlite3_stmt* select = bare.database.prepare(lookupSQL);
        sqlite3_stmt* insert = bare.database.prepare(
            "INSERT INTO \"Synced\"(_entity, _version, uuid, uuid_folded) VALUES(2, 1, ?1, ?1)");
        total += bareLookUp(select, uuids, count) + bench::seconds([&] {
                     bare.database.execute("BEGIN IMMEDIATE");
                     for (const QByteArray& uuid : uuids) {
                         sqlite3_bind_text(insert, 1, uuid.constData(), int(uuid.size()), SQLITE_STATIC);
                         bare.database.run(insert);
                     }
                     bare.database.execute("COMMIT");
                 });
    }
    return total / repeats / count;
}

bench::Row noticeGrowth() {
    return bench::compare(
        "notice for inserts, a lookup each: growth of one's cost, 1,000 to 100,000 / bare", 1.2, 3,
        [] { return noticeCost(100000, 1) / noticeCost(1000, 20); },
        [] { return bareNoticeCost(100000, 1) / bareNoticeCost(1000, 20); });
}

bench::Row countGrowth() {
    constexpr int calls = 200000;
    const auto makeStore = [](int count) {
        auto store = std::make_unique<Store>();
        for (int i = 0; i < count; ++i) {
            store->context->insertObject(QStringLiteral("Item"));
            if (i % 100000 == 99999)
                store->save();
        }
        store->save();
        return store;
    };
    const auto large = makeStore(1000000);
    const auto small = makeStore(1000);
    const auto counts = [](Store& store) {
        return bench::seconds([&] {
            for (int i = 0; i < calls; ++i)
                sink += *store.context->count(QWFetchRequest("Item"));
        });
    };
    return bench::compare(
        "count of an entity: 1,000,000 rows / 1,000 rows", 1.2, 7, [&] { return counts(*large); },
        [&] { return counts(*small); });
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const std::vector<bench::Measurement> measurements{
        {"insert", [] { return std::vector{insertAndSave()}; }},
        {"fetch", [] { return std::vector{fetchAll()}; }},
        {"change", [] { return std::vector{changeOne()}; }},
        {"lookup", lookups},
        {"notice", [] { return std::vector{noticeGrowth()}; }},
        {"count", [] { return std::vector{countGrowth()}; }},
        {"qtsql", [] { return std::vector{fetchAllAgainstQtSql()}; }},
    };
    return bench::report(bench::rowsOf(measurements, arguments), arguments);
}
