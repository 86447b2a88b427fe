#include "dropbox/folder/QWFolderRestClient.h"
#include "support/BareSQLite.h"
#include "support/Harness.h"
#include "sync/Items.h"
#include "sync/QWDropboxSyncCoreData.h"
#include "testing/QWVirtualWorld.h"

#include <QCoreApplication>
#include <QTemporaryDir>

// What one record costs the engine, from an edit to the app folder in memory and from there into an empty
// desktop, and whether that cost grows with the number of records. Time is virtual: what is measured is work.

namespace {

constexpr int few = 1000;
constexpr int many = 100000;
constexpr int repeats = 10; // of the small runs, which end too soon to be measured once

struct Cloud {
    std::shared_ptr<QWVirtualRunLoop> runLoop = std::make_shared<QWVirtualRunLoop>();
    QWVirtualWorld world{1000, runLoop};
    std::shared_ptr<QWAppFolder> folder = QWAppFolder::inMemory(world.environment());
};

// One desktop on the cloud's folder.
struct Desktop {
    Desktop(const Cloud& cloud, quint64 seed) : world(seed, cloud.runLoop), environment(world.environment()) {
        auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(items::makeModel(), environment);
        QWError error;
        if (!coordinator->addStore(files.filePath("host.sqlite"), {}, &error))
            throw std::runtime_error(error.message.toStdString());
        context = std::make_shared<QWManagedObjectContext>(coordinator);
        client = std::make_shared<QWFolderRestClient>(cloud.folder, environment);
        engine = std::make_unique<QWDropboxSyncCoreData>(context, QStringList{"Item"},
                                                         QUrl::fromLocalFile(files.filePath("cache")));
    }

    void addRecords(int count) {
        items::add(*context, count);
        world.runLoop->runDue();
    }

    // Activates and runs until nothing waits.
    void sync() {
        engine->activateSyncWithDropboxRestClient(client);
        world.runLoop->advance(std::chrono::milliseconds(60)); // the look-up of the folder is answered
        const bool isDone = world.runLoop->runUntil([this] {
            return engine->status() == QWDropboxSyncStatusIdle && engine->numberOfObjectsSyncing() == 0
                   && engine->numberOfItemsToProcess() == 0;
        });
        if (!isDone)
            throw std::runtime_error("the desktop does not come to rest");
    }

    QTemporaryDir files;
    QWVirtualWorld world;
    std::shared_ptr<QWEnvironment> environment;
    std::shared_ptr<QWManagedObjectContext> context;
    std::shared_ptr<QWFolderRestClient> client;
    std::unique_ptr<QWDropboxSyncCoreData> engine;
};

// Of one record: seconds of a first upload and a first download, and what it adds to the process meanwhile.
struct Cost {
    double upload = 0, download = 0;
    double queuedKilobytes = 0, downloadedKilobytes = 0;
};

Cost costOf(int count) {
    Cloud cloud;
    Desktop sender(cloud, 1);
    Cost cost;
    const double before = bench::residentKilobytes();
    sender.addRecords(count);
    cost.queuedKilobytes = (bench::residentKilobytes() - before) / count;
    cost.upload = bench::seconds([&] { sender.sync(); }) / count;

    Desktop receiver(cloud, 2);
    const double beforeDownload = bench::residentKilobytes();
    cost.download = bench::seconds([&] { receiver.sync(); }) / count;
    cost.downloadedKilobytes = (bench::peakKilobytes() - beforeDownload) / count;
    if (items::count(*receiver.context) != count)
        throw std::runtime_error("records are missing after the download");
    return cost;
}

double meanOf(double Cost::*member, const std::vector<Cost>& costs) {
    double sum = 0;
    for (const Cost& cost : costs)
        sum += cost.*member;
    return sum / double(costs.size());
}

// The statements that one record causes in the cache store and the host's store, on tables of as many rows.
class BareStatements {
public:
    explicit BareStatements(int count)
        : count_(count), cache_(folder_.filePath("cache.sqlite")), host_(folder_.filePath("host.sqlite")) {
        cache_.execute("CREATE TABLE waiting(key INTEGER PRIMARY KEY, uuid TEXT, folded TEXT);"
                       "CREATE INDEX waiting_uuid ON waiting(folded);"
                       "CREATE TABLE files(key INTEGER PRIMARY KEY, name TEXT, folded TEXT, rev TEXT);"
                       "CREATE INDEX files_name ON files(folded)");
        host_.execute("CREATE TABLE items(key INTEGER PRIMARY KEY, uuid TEXT, folded TEXT, title TEXT);"
                      "CREATE INDEX items_uuid ON items(folded)");
        for (int i = 0; i < count; ++i)
            uuids_.push_back(QByteArray::number((qint64(i) * 7919) % count, 16).rightJustified(32, '0'));
    }

    double upload() {
        insertAll(cache_, "INSERT INTO waiting(uuid, folded) VALUES(?1, ?1)");
        insertAll(host_, "INSERT INTO items(uuid, folded, title) VALUES(?1, ?1, ?1)");
        return perRecord({cache_.prepare("SELECT uuid FROM waiting ORDER BY key LIMIT 1 OFFSET 4"),
                          host_.prepare("SELECT uuid, title FROM items WHERE folded = ?1"),
                          cache_.prepare("SELECT rev FROM files WHERE folded = ?1"),
                          cache_.prepare("INSERT INTO files(name, folded, rev) VALUES(?1, ?1, ?1)"),
                          cache_.prepare("DELETE FROM waiting WHERE folded = ?1")});
    }
    double download() {
        return perRecord({host_.prepare("SELECT uuid, title FROM items WHERE folded = ?1"),
                          cache_.prepare("SELECT uuid FROM waiting WHERE folded = ?1"),
                          cache_.prepare("SELECT rev FROM files WHERE folded = ?1"),
                          cache_.prepare("INSERT INTO files(name, folded, rev) VALUES(?1, ?1, ?1)")})
               + bench::seconds([this] {
                     insertAll(host_, "INSERT INTO items(uuid, folded, title) VALUES(?1, ?1, ?1)");
                 }) / count_;
    }

private:
    void insertAll(BareSQLite& database, const char* sql) {
        sqlite3_stmt* insert = database.prepare(sql);
        database.execute("BEGIN");
        for (const QByteArray& uuid : uuids_) {
            sqlite3_bind_text(insert, 1, uuid.constData(), int(uuid.size()), SQLITE_STATIC);
            database.run(insert);
        }
        database.execute("COMMIT");
    }
    // One transaction for each record, as the engine saves its cache store after each.
    double perRecord(const std::vector<sqlite3_stmt*>& statements) {
        sqlite3_stmt* begin = cache_.prepare("BEGIN");
        sqlite3_stmt* commit = cache_.prepare("COMMIT");
        return bench::seconds([&] {
                   for (const QByteArray& uuid : uuids_) {
                       cache_.run(begin);
                       for (sqlite3_stmt* statement : statements) {
                           if (sqlite3_bind_parameter_count(statement) > 0)
                               sqlite3_bind_text(statement, 1, uuid.constData(), int(uuid.size()),
                                                 SQLITE_STATIC);
                           while (sqlite3_step(statement) == SQLITE_ROW) {
                           }
                           sqlite3_reset(statement);
                       }
                       cache_.run(commit);
                   }
               })
               / count_;
    }

    int count_;
    QTemporaryDir folder_;
    BareSQLite cache_, host_;
    std::vector<QByteArray> uuids_;
};

double bareGrowth(double (BareStatements::*work)()) {
    double small = 0;
    for (int i = 0; i < repeats; ++i) {
        BareStatements statements(few);
        small += (statements.*work)() / repeats;
    }
    BareStatements statements(many);
    return (statements.*work)() / small;
}

bench::Row growthRow(const QString& name, double subject, double peer) {
    return {name, 1.2, subject / peer, {subject}, {peer}, QStringLiteral("growth")};
}

bench::Row memoryRow(const QString& name, double kilobytes) {
    return {name, 4, kilobytes, {kilobytes}, {}, QStringLiteral("KB")};
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("qwlibrary.*=false");
    std::vector<Cost> small;
    for (int i = 0; i < repeats; ++i)
        small.push_back(costOf(few));
    const Cost large = costOf(many);
    std::fprintf(stderr, "one record of %d: upload %.0f µs, download %.0f µs; of %d: %.0f µs, %.0f µs\n", few,
                 1e6 * meanOf(&Cost::upload, small), 1e6 * meanOf(&Cost::download, small), many,
                 1e6 * large.upload, 1e6 * large.download);
    const std::vector<bench::Row> rows{
        growthRow("first upload: growth of one record's cost from 1,000 to 100,000 / bare statements",
                  large.upload / meanOf(&Cost::upload, small), bareGrowth(&BareStatements::upload)),
        growthRow("first download: growth of one record's cost from 1,000 to 100,000 / bare statements",
                  large.download / meanOf(&Cost::download, small), bareGrowth(&BareStatements::download)),
        memoryRow("memory that a queued record adds", large.queuedKilobytes),
        memoryRow("memory that a downloaded record adds", large.downloadedKilobytes),
    };
    return bench::report(rows, QCoreApplication::arguments());
}
