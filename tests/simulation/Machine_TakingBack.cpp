// What a user takes back, brings back, or makes again under the uuid of what was deleted.
#include "Machine.h"

#include "sync/supervisor/QWVersionArchive.h"

void Machine::rollBack() {
    { HostAction action(*this); }
    context_->rollback();
    imagesToSave_.clear();
    imagesDropped_.clear();
    tookBack();
}

void Machine::refresh(int which) {
    { HostAction action(*this); }
    const auto book = any(QStringLiteral("Book"), which);
    if (!book)
        return;
    imagesToSave_.remove(book->uuid());
    context_->refreshObject(*book, false);
    tookBack();
}

void Machine::tookBack() {
    touched_.clear();
    model_.tookBack(number_, versions());
}

void Machine::restore(int which) {
    if (!supervisor_)
        return;
    HostAction action(*this);
    auto& archive = supervisor_->versionArchive();
    const auto versions = archive.latestVersions(archive.count());
    if (versions.empty())
        return;
    const QWArchivedVersion version = versions[size_t(which) % versions.size()];
    model_.editBegins(number_, version.uuid);
    if (!archive.restore(version) || !version.isImage())
        return;
    model_.imageMade(version.uuid, world.files->read(version.imagePath).value_or(QByteArray()));
    imagesUnsaved_.insert(version.uuid);
    imagesToSave_.insert(version.uuid);
}

void Machine::addAgain(int which, int text) {
    HostAction action(*this);
    const QString uuid = deletedHere_.value(deletedHere_.isEmpty() ? 0 : which % deletedHere_.size());
    if (uuid.isEmpty() || QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Book", *context_))
        return;
    model_.editBegins(number_, uuid);
    const desktop::Record book(
        static_cast<QWManagedObjectWithSyncSupport*>(context_->insertObject(QStringLiteral("Book")).data()));
    book->setUuid(uuid);
    book->setValueForKey(QStringLiteral("title"), QString::number(text));
}
