#include "sync/QWDropboxSyncCoreDataDelegate.h"

#include "platform/QWAssert.h"

QWDropboxSyncCoreDataDelegate::~QWDropboxSyncCoreDataDelegate() = default;

void QWDropboxSyncCoreDataDelegate::accessTokenExpiredDropbox(QWDropboxSyncCoreData&) {
    QWAssert(false, "unknown operation", "accessTokenExpiredDropbox:");
}

bool QWDropboxSyncCoreDataDelegate::shouldUploadUpdateManagedObject(QWManagedObjectWithSyncSupport&) {
    QWAssert(false, "unknown operation", "shouldUploadUpdateManagedObject:");
}

void QWDropboxSyncCoreDataDelegate::authenticateAndEnableCoreDataSync(QWDropboxSyncCoreData&) {
    QWAssert(false, "unknown operation", "authenticateAndEnableCoreDataSync:");
}
