#include "util/NSFileManager_fileExistsAtURL.h"

bool fileExistsAtURL(const QWFileManager& fileManager, const QUrl& url) {
    const QString path = url.isLocalFile() ? url.toLocalFile() : url.path(QUrl::FullyDecoded);
    return !path.isEmpty() && fileManager.exists(path);
}
