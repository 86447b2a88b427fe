#include "store/QWPersistentStoreCoordinator.h"

#include "platform/QWAssert.h"
#include "store/sqlite/QWSQLiteStore.h"

QWPersistentStoreCoordinator::QWPersistentStoreCoordinator(std::shared_ptr<QWManagedObjectModel> model,
                                                           std::shared_ptr<QWEnvironment> environment)
    : model_(std::move(model)),
      environment_(environment ? std::move(environment) : QWEnvironment::standard()) {
    model_->complete(); // what is wrong with it is `addStore`'s to say
}

QWPersistentStoreCoordinator::~QWPersistentStoreCoordinator() = default;

bool QWPersistentStoreCoordinator::addStore(const QString& path, const QWStoreOptions& options,
                                            QWError* error) {
    QWAssert(!store_, "!store", "-[QWPersistentStoreCoordinator addStore:]");
    if (!model_->complete(error))
        return false;
    store_ = QWSQLiteStore::open(path, *model_, options, error);
    if (!store_)
        return false;
    path_ = path;
    return true;
}
