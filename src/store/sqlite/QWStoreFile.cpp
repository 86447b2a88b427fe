#include "store/sqlite/QWStoreFile.h"

#include "store/QWStoreError.h"
#include "store/sqlite/QWStoreFunctions.h"
#include "store/sqlite/QWStoreMigration.h"
#include "store/sqlite/QWStoreModelText.h"

#include <QFileInfo>
#include <QSet>

namespace {

constexpr qint64 ApplicationId = 0x51574C53; // "QWLS"
constexpr qint64 Format = 1;

class StoreFile {
public:
    StoreFile(const QString& path, const QWManagedObjectModel& model, const QWStoreLayout& layout,
              const QWStoreOptions& options)
        : path_(path), model_(model), layout_(layout), options_(options) {}

    std::unique_ptr<QWSQLiteConnection> open();

private:
    [[noreturn]] void refuse(QWStoreErrorCode code, const QString& sentence,
                             QVariantMap userInfo = {}) const {
        userInfo[QStringLiteral("path")] = path_;
        throw QWStoreFailure{
            QWMakeStoreError(code, QString(sentence).replace(QStringLiteral("%1"), path_), userInfo)};
    }
    [[noreturn]] void refuseAsDamaged(const QString& reason) const {
        refuse(QWStoreErrorCode::Damaged, QStringLiteral("%1 is damaged or is no store: ") + reason);
    }

    [[noreturn]] void refuseToMigrate(const QStringList& reasons) const;

    void configure();
    bool isEmpty();
    void create();
    void checkFormat();
    void syncWhatIsFound();
    bool isOfModel();
    void writeModel();
    void migrate();
    QByteArray meta(const QString& key);
    void setMeta(const QString& key, const QByteArray& value);
    void checkTables(const QWStoreLayout& layout);

    const QString path_;
    const QWManagedObjectModel& model_;
    const QWStoreLayout& layout_;
    const QWStoreOptions& options_;
    std::unique_ptr<QWSQLiteConnection> connection_;
};

std::unique_ptr<QWSQLiteConnection> StoreFile::open() {
    if (path_.isEmpty() || QFileInfo(path_).isDir())
        refuse(QWStoreErrorCode::CannotOpen, QStringLiteral("\"%1\" names no file."));
    connection_ = std::make_unique<QWSQLiteConnection>(path_, options_.busyTimeoutMilliseconds);
    if (sqlite3_db_readonly(connection_->handle(), "main") == 1)
        refuse(QWStoreErrorCode::ReadOnly, QStringLiteral("%1 cannot be written."));
    configure();
    if (isEmpty())
        create();
    checkFormat();
    if (!isOfModel())
        migrate();
    else
        checkTables(layout_);
    connection_->execute("PRAGMA journal_mode = WAL");
    connection_->execute("PRAGMA foreign_keys = ON");
    syncWhatIsFound();
    return std::move(connection_);
}

// What a process that was killed has committed may stand in the machine's memory alone, and go with its power: the
// journal is synced by whoever commits next, and by a checkpoint. Where that fails, for want of space, say, it can be
// read all the same.
void StoreFile::syncWhatIsFound() {
    sqlite3_wal_checkpoint_v2(connection_->handle(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
}

void StoreFile::configure() {
    QWRegisterStoreFunctions(*connection_);
    connection_->execute(options_.synchronous == QWSynchronous::Full ? "PRAGMA synchronous = FULL"
                                                                     : "PRAGMA synchronous = NORMAL");
    connection_->execute("PRAGMA temp_store = MEMORY");
    connection_->execute("PRAGMA cache_size = -32768");           // 32 MB
    connection_->execute("PRAGMA journal_size_limit = 67108864"); // what a large save leaves of the journal
}

bool StoreFile::isEmpty() {
    return connection_->integer("PRAGMA application_id") == 0
           && connection_->integer("PRAGMA user_version") == 0
           && connection_->integer("SELECT count(*) FROM sqlite_schema") == 0;
}

void StoreFile::create() {
    connection_->execute("PRAGMA journal_mode = WAL");
    connection_->execute("BEGIN IMMEDIATE");
    if (isEmpty()) { // still, now that nobody else can make the tables
        connection_->execute("PRAGMA application_id = " + QByteArray::number(ApplicationId));
        connection_->execute("PRAGMA user_version = " + QByteArray::number(Format));
        connection_->execute(
            "CREATE TABLE qw_meta (key TEXT PRIMARY KEY, value TEXT NOT NULL) WITHOUT ROWID");
        connection_->execute("CREATE TABLE qw_entities (id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE, "
                             "next_key INTEGER NOT NULL, row_count INTEGER NOT NULL)");
        for (const QByteArray& statement : layout_.statements())
            connection_->execute(statement);
        QWSQLiteStatement add(*connection_,
                              "INSERT INTO qw_entities (name, next_key, row_count) VALUES (?, 1, 0)");
        for (const auto& entity : model_.entities()) {
            add.bindText(1, entity->name());
            add.run();
        }
        writeModel();
    }
    connection_->execute("COMMIT");
}

bool StoreFile::isOfModel() {
    return meta(QStringLiteral("fingerprint")) == QWStoreModelFingerprint(QWStoreModelText(model_));
}

void StoreFile::writeModel() {
    const QByteArray text = QWStoreModelText(model_);
    setMeta(QStringLiteral("model"), text);
    setMeta(QStringLiteral("fingerprint"), QWStoreModelFingerprint(text));
}

void StoreFile::migrate() {
    if (!options_.migrateAutomatically)
        refuseToMigrate({QStringLiteral("the model has changed and migration is switched off")});
    connection_->execute("BEGIN IMMEDIATE");
    if (!isOfModel()) { // still, now that nobody else can migrate
        const auto written = QWModelFromStoreText(meta(QStringLiteral("model")));
        if (!written)
            refuseAsDamaged(QStringLiteral("its model cannot be read."));
        checkTables(QWStoreLayout(*written));
        QWStoreMigration migration(*connection_, *written, model_, layout_);
        if (const QStringList reasons = migration.reasonsAgainst(); !reasons.isEmpty())
            refuseToMigrate(reasons);
        migration.run();
        writeModel();
        checkTables(layout_);
    }
    connection_->execute("COMMIT");
}

void StoreFile::refuseToMigrate(const QStringList& reasons) const {
    refuse(QWStoreErrorCode::CannotMigrate,
           QStringLiteral("%1 cannot be migrated to the present model: ") + reasons.join(QStringLiteral("; "))
               + QLatin1Char('.'),
           {{QStringLiteral("reasons"), reasons}});
}

void StoreFile::checkFormat() {
    if (connection_->integer("PRAGMA application_id") != ApplicationId)
        refuseAsDamaged(QStringLiteral("it belongs to another program."));
    const qint64 format = connection_->integer("PRAGMA user_version");
    if (format > Format)
        refuse(QWStoreErrorCode::NewerFormat, QStringLiteral("%1 was written by a later version."));
    if (format < Format)
        refuseAsDamaged(QStringLiteral("its format is unknown."));
}

QByteArray StoreFile::meta(const QString& key) {
    QWSQLiteStatement statement(*connection_, "SELECT value FROM qw_meta WHERE key = ?");
    statement.bindText(1, key);
    return statement.step() ? statement.bytes(0) : QByteArray();
}

void StoreFile::setMeta(const QString& key, const QByteArray& value) {
    QWSQLiteStatement statement(*connection_, "INSERT OR REPLACE INTO qw_meta (key, value) VALUES (?, ?)");
    statement.bindText(1, key);
    statement.bindText(2, QString::fromUtf8(value));
    statement.run();
}

void StoreFile::checkTables(const QWStoreLayout& layout) {
    QSet<QByteArray> found;
    QWSQLiteStatement schema(*connection_, "SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL");
    while (schema.step())
        found.insert(schema.bytes(0));
    for (const QByteArray& statement : layout.statements()) {
        if (!found.contains(statement))
            refuseAsDamaged(QStringLiteral("its tables are not those of its model."));
    }
    for (const auto* table : layout.allTables())
        connection_->integer("SELECT 1 FROM " + table->name + " LIMIT 1");
}

} // namespace

std::unique_ptr<QWSQLiteConnection> QWOpenStoreFile(const QString& path, const QWManagedObjectModel& model,
                                                    const QWStoreLayout& layout,
                                                    const QWStoreOptions& options) {
    return StoreFile(path, model, layout, options).open();
}
