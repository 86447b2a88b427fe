#include "Machine.h"

#include "SimulatedVFS.h"
#include "sync/supervisor/QWVersionArchive.h"

using desktop::Record;
using desktop::syncedEntities;

namespace {

// Nothing is pruned in the life of a world, whose clocks jump by days.
constexpr qint64 endless = 1'000'000'000;
constexpr QWVersionArchive::Bounds boundless{endless, endless, std::chrono::hours(1'000'000), endless};

std::string diskName(int number) {
    return std::to_string(number);
}

} // namespace

Machine::Machine(int number, quint64 seed, std::shared_ptr<QWVirtualRunLoop> runLoop,
                 std::shared_ptr<QWAppFolder> cloud, Model& model, Trace& trace, bool isSupervised)
    : disk(std::make_shared<QWVirtualClock>(runLoop)), world(seed, std::move(runLoop)), number_(number),
      isSupervised_(isSupervised), cloud_(std::move(cloud)),
      defaults_(std::make_shared<SimulatedDefaults>(disk)), model_(model), trace_(trace) {
    world.files = std::make_shared<SimulatedFiles>(disk);
    world.userDefaults = defaults_;
    ledger.cloudTook = [this](const QString& path, const QByteArray& bytes) { cloudTook(path, bytes); };
    ledger.queried = [this](bool isFirstPage, bool isFromScratch) {
        noteRecordsWithoutFile(isFirstPage, isFromScratch);
    };
    ledger.loaded = [this](const QString& path, const QByteArray& bytes) {
        downloaded_[path.section(QLatin1Char('/'), -1)] = bytes;
        ++downloadsOfBatch_;
    };
    SimulatedVFS::addDisk(diskName(number_), disk);
}

Machine::~Machine() {
    end();
    SimulatedVFS::removeDisk(diskName(number_));
}

const QStringList& Machine::sharedPreferences() {
    static const QStringList keys{QStringLiteral("theme"), QStringLiteral("unit"), QStringLiteral("home")};
    return keys;
}

QString Machine::path(const QString& name) const {
    return QStringLiteral("/simulated/%1/%2").arg(number_).arg(name);
}

// The process -----------------------------------------------------------------------------------------------

void Machine::start() {
    if (const auto seed = disk.powerLost())
        for (const QString& key : defaults_->losePower(*seed))
            model_.preferenceLost(number_, key);
    disk.restart();
    const auto environment = world.environment();
    const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(desktop::model(), environment);
    if (!coordinator->addStore(path(QStringLiteral("library.sqlite")), {}))
        return;
    context_ = std::make_shared<QWManagedObjectContext>(coordinator);
    engine_ = std::make_unique<QWDropboxSyncCoreData>(context_, syncedEntities,
                                                      QUrl::fromLocalFile(path(QStringLiteral("cache"))));
    engine_->setDelegate(this, this);
    if (!engine_->dropboxCachePersistentStoreCoordinator()->hasStore())
        return end(); // a host does not go on without it
    network_ =
        std::make_shared<SimulatedNetwork>(cloud_, environment, ledger, trace_, QString::number(number_ + 1));
    network_->mayBeSent = [this] {
        disk.step();
        return !disk.isDead();
    };
    if (isSupervised_)
        supervisor_ = QWSyncSupervisor::create(*engine_, network_);
    engine_->syncPreferenceWithKeys(sharedPreferences());
    if (disk.isDead())
        return;
    model_.started(number_, versions());
    watch();
    if (isSupervised_)
        beginSupervision();
    const auto unnoted = unnoted_;
    HostAction action(*this);
    unnoted_ = unnoted; // this process may end before the engine can write, too
    for (const QString& uuid : imagesUnsaved_ | unnoted)
        if (const auto book = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", *context_))
            if (unnoted.contains(uuid) || world.files->exists(book->imageURL().toLocalFile()))
                book->setValueForKey(QStringLiteral("pages"), (number_ + 1) * 1'000'000 + ++covers_);
    for (const QString& uuid : unnoted)
        if (const auto author =
                QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Author", *context_))
            author->setValueForKey(QStringLiteral("name"), QString::number(++covers_));
}

void Machine::watch() {
    observations_.push_back(context_->observeObjectsDidChange(
        [this](const QWObjectsDidChangeNotice& notice) { recordsDidChange(notice); }));
    observations_.push_back(
        context_->observeDidMerge([this](const QWDidSaveNotice& notice) { recordsDidMerge(notice); }));
    observations_.push_back(context_->observeWillSave([this] {
        noteWhatIsNotNoted();
        model_.saveBegins(number_);
    }));
    connect(engine_.get(), &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, this,
            &Machine::countDidChange);
    connect(engine_.get(), &QWDropboxSyncCoreData::statusChanged, this,
            [this](quint64 status) { statusDidChange(status); });
}

void Machine::beginSupervision() {
    connect(supervisor_.get(), &QWSyncSupervisor::fileDeclined, this,
            [this](const QString& fileName, const QString& reason) { declined(fileName, reason); });
    supervisor_->versionArchive().setBounds(boundless);
    checkArchive();
    setDeletionQuestion();
}

void Machine::end() {
    isActive_ = false;
    inFlightBefore_ = 0;
    isZeroDoubtful_ = wasAsked_ = hasHeardQuestion_ = false;
    queriesBefore_ = 0;
    hasBatchEnded_ = false;
    observations_.clear();
    touched_.clear();
    supervisor_.reset();
    engine_.reset();
    network_.reset();
    context_.reset();
    imagesDropped_.clear();
    imagesToSave_.clear();
    downloaded_.clear();
    downloadsOfBatch_ = 0;
}

void Machine::close() {
    engine_->applicationWillClose();
    report();
    if (!disk.isDead())
        end();
}

bool Machine::bury() {
    if (!disk.isDead() || !context_)
        return false;
    downloadsLost_ += downloadsOfBatch_;
    end();
    return true;
}

void Machine::activateOrSync() {
    ++syncs_;
    isActive_ = true;
    const bool isOff = engine_->status() >= QWDropboxSyncStatusDisabled;
    if (isOff)
        tokensRefusedBefore_ = ledger.tokensRefused;
    if (supervisor_)
        isOff ? supervisor_->activate() : supervisor_->syncNow();
    else if (isOff)
        engine_->activateSyncWithDropboxRestClient(network_);
    else if (isQuiet())
        engine_->loadDeltaPotentialUpdates();
}

bool Machine::isQuiet() const {
    return isRunning() && engine_->status() == QWDropboxSyncStatusIdle
           && engine_->numberOfObjectsWaitingSync() == 0 && engine_->numberOfObjectsSyncing() == 0
           && engine_->deltaEntriesToImport().isEmpty() && network_->requestsOut() == 0;
}

void Machine::deactivate() {
    isActive_ = false;
    engine_->deactivateSync();
}

QString Machine::stateText() const {
    if (!isRunning())
        return QStringLiteral("not running");
    return QStringLiteral(
               "status %1, %2 waiting, %3 in flight, %4 to import, %5 requests out, preferences %6")
        .arg(engine_->status())
        .arg(engine_->numberOfObjectsWaitingSync())
        .arg(engine_->numberOfObjectsSyncing())
        .arg(engine_->deltaEntriesToImport().count())
        .arg(network_->requestsOut())
        .arg(engine_->isPreferenceWaiting());
}

// The user --------------------------------------------------------------------------------------------------

bool Machine::shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport& object) {
    return desktop::isDescribedChange(object);
}

Record Machine::any(const QString& entityName, int which) {
    const auto all = records(entityName);
    return all.empty() ? Record() : all[size_t(which) % all.size()];
}

void Machine::add(int which, int text) {
    HostAction action(*this);
    const auto author = any(QStringLiteral("Author"), text);
    const bool isAuthor = which % 8 == 0;
    const auto record = context_->insertObject(isAuthor ? QStringLiteral("Author") : QStringLiteral("Book"));
    record->setValueForKey(isAuthor ? QStringLiteral("name") : QStringLiteral("title"),
                           QString::number(text));
    if (!isAuthor && author && which % 2 == 0)
        record->setRelatedObject(QStringLiteral("author"), author.data());
}

void Machine::edit(const QString& entityName, int which, int text) {
    HostAction action(*this);
    const auto record = any(entityName, which);
    if (!record)
        return;
    model_.editBegins(number_, record->uuid());
    record->setValueForKey(entityName == QLatin1String("Book") ? QStringLiteral("title")
                                                               : QStringLiteral("name"),
                           QString::number(text));
}

void Machine::remove(const QString& entityName, int which) {
    HostAction action(*this);
    if (const auto record = any(entityName, which))
        remove(*record);
}

void Machine::remove(QWManagedObjectWithSyncSupport& record) {
    if (const QString image = record.imageURL().toLocalFile(); !image.isEmpty())
        imagesDropped_.emplace_back(record.uuid(), image), deletedHere_.append(record.uuid());
    else
        for (const auto& book : record.relatedObjects(QStringLiteral("books")))
            model_.editBegins(number_, book->valueForKey(QStringLiteral("uuid")).toString());
    model_.deletionBegins(record.uuid());
    context_->deleteObject(record);
}

void Machine::addMany(int count, int text) {
    HostAction action(*this);
    for (int number = 0; number < count; ++number)
        context_->insertObject(QStringLiteral("Book"))
            ->setValueForKey(QStringLiteral("title"), QString::number(text + number));
}

void Machine::removeMany(int count, int from) {
    HostAction action(*this);
    const auto books = records(QStringLiteral("Book"));
    for (size_t number = 0; number < std::min(size_t(count), books.size()); ++number)
        remove(*books[(size_t(from) + number) % books.size()]);
}

void Machine::setImage(int which, int text) {
    HostAction action(*this);
    const auto book = any(QStringLiteral("Book"), which);
    if (!book)
        return;
    const QByteArray bytes = "image " + QByteArray::number(text);
    const QString file = book->imageURL().toLocalFile();
    if (world.files->read(file) == bytes)
        return; // and so changes nothing
    // A file system would not date two writes alike.
    const QDateTime before = world.files->modificationDate(file).value_or(QDateTime());
    const QDateTime now = world.clock->now();
    imagesUnsaved_.insert(book->uuid());
    model_.editBegins(number_, book->uuid());
    model_.imageMade(book->uuid(), bytes);
    if (!world.files->write(file, bytes))
        return;
    world.files->setModificationDate(file, now == before ? now.addMSecs(1) : now);
    imagesToSave_.insert(book->uuid());
    if (text % 2 == 0)
        book->setDateModified(world.clock->now());
    else
        book->setValueForKey(QStringLiteral("pages"), text);
}

void Machine::setPreference(int which, int value) {
    const QString key = sharedPreferences()[which % sharedPreferences().size()];
    const QJsonValue json = value % 4 == 0 ? QJsonValue(QJsonValue::Undefined) : QJsonValue(value % 10);
    model_.preferenceSet(number_, key, json);
    world.userDefaults->setObject(key, json);
}

// The image of a deleted record goes when the deletion is saved, if nobody has brought the record back.
// A deletion that the engine cannot write down is not saved: it would stay here alone, should the process end before the
// engine can.
bool Machine::save() {
    { HostAction action(*this); }
    if (!context_->deletedObjects().empty() && !engine_->dropboxCacheManagedObjectContext()->save())
        return false;
    if (!context_->save() || disk.isDead())
        return false;
    report();
    model_.saved(number_);
    imagesUnsaved_.clear();
    for (const QString& uuid : std::exchange(imagesToSave_, {}))
        model_.imageSaved(uuid);
    for (const auto& [uuid, image] : std::exchange(imagesDropped_, {}))
        if (!QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", *context_)
            && world.files->exists(image))
            world.files->remove(image);
    return true;
}
