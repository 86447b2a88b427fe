#include "support/Desktop.h"

#include "core/QWJSON.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"

#include <QFileInfo>
#include <algorithm>

using namespace desktop;

// Cloud -----------------------------------------------------------------------------------------------------

std::unique_ptr<DBRestClient> Cloud::makeClient(const std::shared_ptr<QWEnvironment>& environment) {
    return std::make_unique<QWFolderRestClient>(folder, environment);
}

QStringList Cloud::fileNames() {
    QStringList names;
    QString cursor;
    for (bool hasMore = true; hasMore;) {
        const auto page = folder->changes(cursor, 1000);
        for (const auto& entry : page->entries)
            if (entry->metadata && entry->metadata->path.startsWith("/SyncCache.dbSync/"))
                names.append(entry->metadata->filename());
        cursor = page->cursor;
        hasMore = page->hasMore;
    }
    names.sort();
    return names;
}

QByteArray Cloud::bytes(const QString& fileName) {
    const auto file = folder->read("/SyncCache.dbSync/" + fileName);
    return file ? file->bytes : QByteArray();
}

void Cloud::put(const QString& fileName, const QByteArray& bytes) {
    const QString path = "/SyncCache.dbSync/" + fileName;
    const auto present = folder->metadata(path);
    QWError error;
    EXPECT_TRUE(
        folder->upload(path, bytes, present ? QWWriteMode::update(present->rev) : QWWriteMode::add(), &error))
        << error.message.toStdString();
}

void Cloud::putRecord(const QString& fileName, const QVariantMap& record) {
    put(fileName, *qw::json::write(record));
}

void Cloud::remove(const QString& fileName) {
    EXPECT_TRUE(folder->remove("/SyncCache.dbSync/" + fileName));
}

// Desktop ---------------------------------------------------------------------------------------------------

Desktop::Desktop(Cloud& cloud, quint64 seed, Supervision supervision)
    : world(seed, cloud.world.runLoop), cloud_(cloud), supervision_(supervision) {
    start();
}

Desktop::~Desktop() = default;

void Desktop::start() {
    environment = world.environment();
    coordinator = std::make_shared<QWPersistentStoreCoordinator>(model(), environment);
    QWError error;
    EXPECT_TRUE(coordinator->addStore(path("library.sqlite"), {QWSynchronous::Normal, true, 10}, &error))
        << error.message.toStdString();
    context = std::make_shared<QWManagedObjectContext>(coordinator);
    engine =
        std::make_unique<QWDropboxSyncCoreData>(context, syncedEntities, QUrl::fromLocalFile(path("cache")));
    engine->setDelegate(this, this);
    cloudClient = cloud_.makeClient(environment);
    client = std::make_shared<QWFaultyRestClient>(*cloudClient, environment);
    if (supervision_ == Supervised)
        supervisor = QWSyncSupervisor::create(*engine, client);
    if (didStart)
        didStart();
}

void Desktop::crash() {
    supervisor.reset();
    engine.reset();
    client.reset();
    cloudClient.reset();
    context.reset();
    coordinator.reset();
}

Record Desktop::add(const QString& entityName, const QVariantMap& values) {
    const Record record(
        static_cast<QWManagedObjectWithSyncSupport*>(context->insertObject(entityName).data()));
    for (auto value = values.begin(); value != values.end(); ++value) {
        QWError error;
        EXPECT_TRUE(record->setValueForKey(value.key(), *value, &error)) << error.message.toStdString();
    }
    return record;
}

Record Desktop::find(const QString& uuid, const QString& entityName) {
    return QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, entityName, *context);
}

void Desktop::save() {
    QWError error;
    EXPECT_TRUE(context->save(&error)) << error.message.toStdString();
}

void Desktop::setImage(QWManagedObjectWithSyncSupport& book, const QByteArray& bytes) {
    const QString file = book.imageURL().toLocalFile();
    world.files->makeFolder(QFileInfo(file).path());
    EXPECT_TRUE(world.files->write(file, bytes));
    EXPECT_TRUE(world.files->setModificationDate(file, now()));
    book.setDateModified(now());
}

QByteArray Desktop::image(const QWManagedObjectWithSyncSupport& book) {
    const QString file = book.imageURL().toLocalFile();
    return world.files->exists(file) ? world.files->read(file).value_or(QByteArray()) : QByteArray();
}

QStringList Desktop::contents() {
    QWDropboxSyncManagedObjectDictionaryExporter exporter(syncedEntities);
    QStringList lines;
    for (const QString& entityName : syncedEntities) {
        for (const auto& each : context->fetch(QWFetchRequest(entityName)).value_or(QWManagedObjectSet())) {
            auto& record = static_cast<QWManagedObjectWithSyncSupport&>(*each);
            const auto json = qw::json::write(exporter.dictionaryToInsertOrUpdateObjectToSync(record));
            lines.append(entityName + ' ' + record.uuid() + ' ' + QString::fromUtf8(*json) + ' '
                         + QString::fromLatin1(image(record).toHex()));
        }
    }
    lines.sort();
    return lines;
}

void Desktop::activate() {
    if (supervisor)
        supervisor->activate();
    else
        engine->activateSyncWithDropboxRestClient(client);
}

void Desktop::askForChanges() {
    if (supervisor)
        supervisor->syncNow();
    else
        engine->loadDeltaPotentialUpdates();
}

bool Desktop::isIdle() {
    if (supervisor)
        return supervisor->isInStep();
    return engine->status() == QWDropboxSyncStatusIdle && engine->numberOfObjectsWaitingSync() == 0
           && engine->deltaEntriesToImport().isEmpty();
}

void Desktop::sync() {
    save();
    if (engine->status() >= QWDropboxSyncStatusDisabled)
        activate();
    else
        askForChanges();
    EXPECT_TRUE(world.runLoop->runUntil([this] { return isIdle(); }, std::chrono::hours(1)));
    advance(std::chrono::milliseconds(500));
}

qint64 Desktop::rows(const QString& cacheEntity) {
    return engine->dropboxCacheManagedObjectContext()->count(QWFetchRequest(cacheEntity)).value_or(-1);
}

QWRef<ObjectWaitingSync> Desktop::row(const QWManagedObjectWithSyncSupport& record) {
    return engine->objectWaitingSyncForObject(record, false);
}

QWRef<FileMetadata> Desktop::fileMetadata(const QString& fileName) {
    return engine->fileMetadataManager().fileMetadataForFileName(fileName, false);
}

QString Desktop::savedCursor() {
    return engine->metadataWithKey(QWDBMetadataCursorKey)->value();
}

bool Desktop::shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) {
    if (wantsUpdate)
        return wantsUpdate(object);
    return isDescribedChange(object);
}

// Two desktops ----------------------------------------------------------------------------------------------

void TwoDesktops::sync() {
    for (int round = 0; round < 2; ++round) {
        a.sync();
        b.sync();
    }
}

testing::AssertionResult TwoDesktops::areInStep() {
    const QStringList left = a.contents(), right = b.contents();
    if (left == right)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "a:\n"
                                       << left.join('\n').toStdString() << "\nb:\n"
                                       << right.join('\n').toStdString();
}
