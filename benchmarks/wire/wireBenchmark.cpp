#include "dropbox/http/QWHTTPRestClient.h"
#include "support/BareSQLite.h"
#include "support/Harness.h"
#include "sync/Items.h"
#include "sync/supervisor/QWSyncSupervisor.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStorageInfo>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QUuid>
#include <ctime>

// What the engine and its supervisor, as a host uses them, add to the requests of a first upload and of a
// first download, against the same requests made without them: same client, same bytes, the stand-in as a
// process of its own. Time is real, so a machine that is busy with other things measures those as well.
//
// Once with the files on this disk, beside the program, as a host has them: there a transaction waits for the
// disk, at both ends. And once in memory, where what remains is the processor's time.

namespace {

constexpr int records = 10000;
constexpr int rounds = 3;
constexpr int requestsAtOnce = 5; // as many as the engine has out
constexpr double latency = 0.020; // s, of every request, where the wire shall be what limits
const QString syncFolder = QWDBFileCacheDirectoryInDropboxFolder;

[[noreturn]] void stop(const QString& why) {
    qFatal("%s", qPrintable(why));
    std::abort();
}

// The cloud service on this machine, with everything in memory: the built program, which lies beside this
// one.
class StandIn {
public:
    explicit StandIn(const QStringList& options = {}) {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(QCoreApplication::applicationDirPath() + "/qw-stand-in", options);
        while (!process_.canReadLine() && process_.waitForReadyRead())
            continue;
        url_ = QUrl(QString::fromUtf8(process_.readLine()).trimmed());
        if (!url_.isValid())
            stop("the stand-in does not start");
    }
    ~StandIn() {
        process_.terminate();
        process_.waitForFinished();
    }

    const QUrl& url() const { return url_; }
    int requests() const {
        QTcpSocket socket;
        socket.connectToHost(url_.host(), quint16(url_.port()));
        socket.waitForConnected();
        socket.write("GET /stand-in/statistics HTTP/1.1\r\nHost: stand-in\r\nConnection: close\r\n\r\n");
        while (socket.state() == QAbstractSocket::ConnectedState && socket.waitForReadyRead())
            continue;
        const QByteArray answer = socket.readAll();
        int sum = 0;
        const auto statistics = QJsonDocument::fromJson(answer.mid(answer.indexOf("\r\n\r\n") + 4)).object();
        for (const auto& count : statistics["requests"].toObject())
            sum += count.toInt();
        return sum;
    }

private:
    QProcess process_;
    QUrl url_;
};

std::shared_ptr<QWHTTPRestClient> clientOf(const StandIn& cloud, std::shared_ptr<QWEnvironment> environment) {
    QWHTTPRestClientOptions options;
    options.accessToken = "token";
    options.apiHost = options.contentHost = cloud.url();
    return std::make_shared<QWHTTPRestClient>(options, std::move(environment));
}

std::shared_ptr<QWEnvironment> environmentWith(std::shared_ptr<QWUserDefaults> defaults) {
    QWEnvironment::Parts parts;
    parts.userDefaults = std::move(defaults);
    return std::make_shared<QWEnvironment>(parts);
}

// What outlives a run of the host.
struct Machine {
    explicit Machine(const QString& bed) : files(bed) {}

    QTemporaryDir files;
    std::shared_ptr<QWUserDefaults> defaults = std::make_shared<QWMemoryUserDefaults>();
};

// One run of a host that syncs.
class Host {
public:
    Host(const Machine& machine, const StandIn& cloud) : environment_(environmentWith(machine.defaults)) {
        const auto coordinator =
            std::make_shared<QWPersistentStoreCoordinator>(items::makeModel(), environment_);
        QWError error;
        if (!coordinator->addStore(machine.files.filePath("host.sqlite"), {}, &error))
            stop(error.message);
        context_ = std::make_shared<QWManagedObjectContext>(coordinator);
        engine_ = std::make_unique<QWDropboxSyncCoreData>(
            context_, QStringList{"Item"}, QUrl::fromLocalFile(machine.files.filePath("cache")));
        supervisor_ = QWSyncSupervisor::create(*engine_, clientOf(cloud, environment_));
    }

    QWManagedObjectContext& context() { return *context_; }

    // Activates and runs until nothing is left to fetch or to send.
    void sync() {
        QEventLoop loop;
        const auto look = [&] {
            if (supervisor_->isInStep())
                loop.quit();
        };
        QObject::connect(supervisor_.get(), &QWSyncSupervisor::progressed, &loop, look);
        QObject::connect(engine_.get(), &QWDropboxSyncCoreData::statusChanged, &loop, look);
        const auto fail = [](const QString& what) { stop(what); };
        QObject::connect(supervisor_.get(), &QWSyncSupervisor::queryFailed, &loop, fail);
        QObject::connect(supervisor_.get(), &QWSyncSupervisor::fileFailed, &loop,
                         [](const QString& name, const QString& reason) { stop(name + ": " + reason); });
        supervisor_->activate();
        loop.exec();
        if (items::count(*context_) != records)
            stop("records are missing");
    }

private:
    std::shared_ptr<QWEnvironment> environment_;
    std::shared_ptr<QWManagedObjectContext> context_;
    std::unique_ptr<QWDropboxSyncCoreData> engine_;
    std::shared_ptr<QWSyncSupervisor> supervisor_;
};

// One row in a transaction of its own: a file's revision, found by its name, which is the least that has to
// be written down for a record.
class BareTransactions {
public:
    explicit BareTransactions(const QString& bed) : folder_(bed), database_(folder_.filePath("bare.sqlite")) {
        database_.execute("CREATE TABLE files(key INTEGER PRIMARY KEY, name TEXT, rev TEXT);"
                          "CREATE INDEX files_name ON files(name)");
        insert_ = database_.prepare("INSERT INTO files(name, rev) VALUES(?1, '0123456789abcdef0')");
    }

    void make() {
        const QByteArray name = "item!!!" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + ".data";
        seconds_ += bench::seconds([&] {
            sqlite3_bind_text(insert_, 1, name.constData(), int(name.size()), SQLITE_STATIC);
            database_.run(insert_);
        });
        ++count_;
    }
    double secondsOfOne() const { return seconds_ / count_; }

private:
    QTemporaryDir folder_;
    BareSQLite database_;
    sqlite3_stmt* insert_ = nullptr;
    double seconds_ = 0;
    int count_ = 0;
};

// The requests of a host, made of the same client by nobody but this.
class BareRequests final : DBRestClientDelegate {
public:
    explicit BareRequests(const StandIn& cloud)
        : client_(clientOf(cloud, environmentWith(std::make_shared<QWMemoryUserDefaults>()))) {
        client_->setDelegate(this, &lifetime_);
    }

    // A first download: what stands at the folder's place, the listing, every file; at each a transaction, if
    // any are given.
    void download(const QString& folder, BareTransactions* transactions = nullptr) {
        transactions_ = transactions;
        makeEach({syncFolder}, [this](const QString& path) { client_->loadMetadata(path); });
        list();
        makeEach(files_, [&](const QString& name) {
            client_->loadFile(syncFolder + '/' + name, folder + '/' + name);
        });
    }
    // A first upload of the folder's files: the same, with the listing last.
    void upload(const QString& folder) {
        makeEach({syncFolder}, [this](const QString& path) { client_->loadMetadata(path); });
        makeEach(QDir(folder).entryList(QDir::Files), [&](const QString& name) {
            client_->uploadFile(name, syncFolder, {}, folder + '/' + name);
        });
        list();
    }

private:
    void list() {
        files_.clear();
        makeEach({QString()}, [this](const QString& cursor) { client_->loadDelta(cursor); });
    }
    void makeEach(const QStringList& files, const std::function<void(const QString&)>& request) {
        QEventLoop loop;
        qsizetype next = 0, out = 0;
        const auto fill = [&] {
            for (; next < files.size() && out < requestsAtOnce; ++out)
                request(files[next++]);
        };
        answered_ = [&] {
            --out;
            fill();
            if (out == 0)
                loop.quit();
        };
        fill();
        loop.exec();
    }

    void restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries, bool,
                                      const QString&, bool) override {
        for (const auto& entry : entries)
            if (entry->metadata && !entry->metadata->isDirectory)
                files_.append(entry->metadata->filename());
        answered_();
    }
    void restClientUploadedFile(DBRestClient&, const QString&, const QString&, const DBMetadata&) override {
        answered_();
    }
    void restClientLoadedFile(DBRestClient&, const QString&, const QString&, const DBMetadata&) override {
        if (transactions_)
            transactions_->make();
        answered_();
    }
    void restClientLoadedMetadata(DBRestClient&, const DBMetadata&) override { answered_(); }
    // Before a first upload there is no folder.
    void restClientLoadMetadataFailedWithError(DBRestClient&, const QWError&) override { answered_(); }
    void restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) override {
        stop(error.message);
    }
    void restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) override {
        stop(error.message);
    }
    void restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) override {
        stop(error.message);
    }
    void restClientDeletedPath(DBRestClient&, const QString&) override {}
    void restClientDeletePathFailedWithError(DBRestClient&, const QWError&) override {}

    QObject lifetime_;
    std::shared_ptr<QWHTTPRestClient> client_;
    QStringList files_; // of the last listing
    BareTransactions* transactions_ = nullptr;
    std::function<void()> answered_;
};

// Seconds that each round took, for one record; by the clock, and of this process's time on the processor.
struct Measured {
    std::vector<double> time, processor;

    void add(const std::function<void()>& work) {
        const std::clock_t before = std::clock();
        time.push_back(bench::seconds(work) / records);
        processor.push_back(double(std::clock() - before) / CLOCKS_PER_SEC / records);
    }
};

struct Way {
    Measured engine, bare;
};

struct Measurements {
    Way upload, download;
    std::vector<double> transaction;
    int requestsOfRestart = 0;
};

// Where the files of a measurement lie: a pattern for temporary folders.
QString bedIn(const QString& folder) {
    return folder + "/bench_wire-XXXXXX";
}

// Each way with the engine and without, through one cloud and into another.
void measure(Measurements& result, const QString& bed, const QStringList& options = {}) {
    const StandIn cloud(options), cloudOfBareRequests(options);
    const Machine sender(bed), receiver(bed);
    {
        Host host(sender, cloud);
        items::add(host.context(), records);
        result.upload.engine.add([&] { host.sync(); });
    }
    {
        Host host(receiver, cloud);
        result.download.engine.add([&] { host.sync(); });
    }
    const QTemporaryDir files(bed);
    BareRequests download(cloud), upload(cloudOfBareRequests);
    result.download.bare.add([&] { download.download(files.path()); });
    result.upload.bare.add([&] { upload.upload(files.path()); });
    // In the same surroundings as the engine's: the processor's caches have been used by a request meanwhile.
    BareTransactions transactions(bed);
    download.download(files.path(), &transactions);
    result.transaction.push_back(transactions.secondsOfOne());

    const int before = cloud.requests();
    Host(sender, cloud).sync();
    result.requestsOfRestart = std::max(result.requestsOfRestart, cloud.requests() - before);
}

bench::Row addedRow(const QString& name, const Way& way, const std::vector<double>& transaction,
                    bench::Goal goal) {
    bench::Row row{
        name + ": time added to its requests / one-row transaction", 5, 0, {}, transaction, "s", goal};
    std::vector<double> ratios;
    for (size_t round = 0; round < transaction.size(); ++round) {
        row.subject.push_back(way.engine.time[round] - way.bare.time[round]);
        ratios.push_back(row.subject[round] / transaction[round]);
    }
    row.ratio = bench::median(ratios);
    std::fprintf(
        stderr,
        "%s, one record: %.0f µs (processor %.0f), bare requests %.0f µs (%.0f), transaction %.1f µs\n",
        qPrintable(name), 1e6 * bench::median(way.engine.time), 1e6 * bench::median(way.engine.processor),
        1e6 * bench::median(way.bare.time), 1e6 * bench::median(way.bare.processor),
        1e6 * bench::median(transaction));
    return row;
}

bench::Row boundRow(const QString& name, const Measured& measured, bench::Goal goal) {
    const double bound = latency / requestsAtOnce;
    std::vector<double> ratios;
    for (const double time : measured.time)
        ratios.push_back(bound / time);
    return {name + ", 20 ms a request: time at 5 requests at once / time",
            0.95,
            bench::median(ratios),
            measured.time,
            {bound},
            "s",
            goal};
}

bench::Row speedRow(const QString& name, const Way& way) {
    std::vector<double> speeds;
    for (const double time : way.engine.time)
        speeds.push_back(1 / time);
    return {name + ": records a second", 0, bench::median(speeds), speeds, {}, "1/s", bench::Goal::Figure};
}

std::vector<bench::Row> addedRows(const QString& where, const QString& folder, bench::Goal goal) {
    Measurements measurements;
    for (int round = 0; round < rounds; ++round)
        measure(measurements, bedIn(folder));
    const double requests = measurements.requestsOfRestart;
    return {
        addedRow(where + ", first upload", measurements.upload, measurements.transaction, goal),
        addedRow(where + ", first download", measurements.download, measurements.transaction, goal),
        speedRow(where + ", first upload", measurements.upload),
        speedRow(where + ", first download", measurements.download),
        {where + ", restart with nothing new: requests", 1, requests, {requests}, {}, "requests"},
    };
}

std::vector<bench::Row> addedRowsOnDisk() {
    const QString folder = QCoreApplication::applicationDirPath();
    std::fprintf(stderr, "on disk is: %s\n", QStorageInfo(folder).fileSystemType().constData());
    return addedRows("on disk", folder, bench::Goal::AtMost);
}

// A transaction that waits for no disk is next to nothing, so that its multiple has no goal.
std::vector<bench::Row> addedRowsInMemory() {
    return addedRows("in memory", QDir::tempPath(), bench::Goal::Figure);
}

std::vector<bench::Row> boundRows() {
    Measurements measurements;
    measure(measurements, bedIn(QDir::tempPath()), {"--latency", QString::number(qRound(latency * 1000))});
    return {
        boundRow("first upload", measurements.upload.engine, bench::Goal::AtLeast),
        boundRow("first download", measurements.download.engine, bench::Goal::AtLeast),
        boundRow("bare upload", measurements.upload.bare, bench::Goal::Figure),
        boundRow("bare download", measurements.download.bare, bench::Goal::Figure),
    };
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules("qwlibrary.*=false");
    return bench::report(
        bench::rowsOf({{"disk", addedRowsOnDisk}, {"memory", addedRowsInMemory}, {"bound", boundRows}},
                      QCoreApplication::arguments()),
        QCoreApplication::arguments());
}
