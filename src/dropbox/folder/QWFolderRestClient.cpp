#include "dropbox/folder/QWFolderRestClient.h"

#include "dropbox/DBPath.h"

namespace {

using namespace std::chrono_literals;

constexpr QWRunLoop::Duration memoryLatency = 50ms;
const QString addressScheme = QStringLiteral("folder:");
const QString contentType = QStringLiteral("application/octet-stream");

QWError restError(const QWError& reason, const QVariantMap& userInfo) {
    return {QStringLiteral("dropbox"), QWFolderRestClient::statusOf(reason), reason.message, userInfo};
}

} // namespace

int QWFolderRestClient::statusOf(const QWError& error) {
    if (error.domain != QLatin1String("folder"))
        return 0;
    switch (QWAppFolderErrorCode(error.code)) {
    case QWAppFolderErrorCode::NotFound:
        return 404;
    case QWAppFolderErrorCode::NotAFile:
    case QWAppFolderErrorCode::FileInTheWay:
    case QWAppFolderErrorCode::FolderInTheWay:
    case QWAppFolderErrorCode::FileAmongParents:
    case QWAppFolderErrorCode::IntoItself:
    case QWAppFolderErrorCode::CursorLost:
        return 409;
    case QWAppFolderErrorCode::MalformedPath:
        return 400;
    case QWAppFolderErrorCode::InsufficientSpace:
        return 507;
    case QWAppFolderErrorCode::Unavailable:
        return 503;
    }
    return 503;
}

QWFolderRestClient::QWFolderRestClient(std::shared_ptr<QWAppFolder> folder,
                                       std::shared_ptr<QWEnvironment> environment,
                                       QWFolderRestClientOptions options)
    : folder_(std::move(folder)), environment_(std::move(environment)),
      latency_(options.latency.value_or(folder_->isInMemory() ? memoryLatency : 0ms)),
      pageSize_(options.pageSize) {}

std::unique_ptr<QWFolderRestClient>
QWFolderRestClient::open(const QString& address, std::shared_ptr<QWEnvironment> environment, QWError* error) {
    const QString directory = address.mid(addressScheme.size());
    if (!address.startsWith(addressScheme) || directory.isEmpty()) {
        qw::fail(error, {QStringLiteral("dropbox"),
                         0,
                         QStringLiteral("\"%1\" is no cloud address of the form folder:PATH.").arg(address),
                         {}});
        return nullptr;
    }
    std::shared_ptr<QWAppFolder> folder = QWAppFolder::inDirectory(directory, environment, {}, error);
    return folder ? std::make_unique<QWFolderRestClient>(std::move(folder), std::move(environment)) : nullptr;
}

void QWFolderRestClient::later(std::function<void()> request) {
    environment_->runLoop().after(latency_,
                                  [life = std::weak_ptr<bool>(life_), request = std::move(request)] {
                                      if (!life.expired())
                                          request();
                                  });
}

void QWFolderRestClient::loadDelta(const QString& cursor) {
    later([this, cursor] {
        QWError error;
        auto page = folder_->changes(cursor, pageSize_, &error);
        const bool reset = !page && QWAppFolderErrorCode(error.code) == QWAppFolderErrorCode::CursorLost;
        if (reset)
            page = folder_->changes({}, pageSize_, &error);
        DBRestClientDelegate* const to = delegate();
        if (to && page)
            to->restClientLoadedDeltaEntries(*this, page->entries, reset, page->cursor, page->hasMore);
        else if (to)
            to->restClientLoadDeltaFailedWithError(*this, restError(error, {}));
    });
}

void QWFolderRestClient::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                    const QString& localPath) {
    const QString path = dropboxPath(folder, filename);
    later([this, path, parentRev, localPath] {
        QWError error;
        const auto bytes = environment_->files().read(localPath, &error);
        const auto mode = QWWriteMode::update(parentRev, QWWriteMode::Rename);
        const auto written = bytes ? folder_->upload(path, *bytes, mode, &error) : std::nullopt;
        DBRestClientDelegate* const to = delegate();
        if (to && written)
            to->restClientUploadedFile(*this, written->path, localPath, *written);
        else if (to)
            to->restClientUploadFileFailedWithError(
                *this, restError(error, {{QStringLiteral("sourcePath"), localPath},
                                         {QStringLiteral("destinationPath"), path}}));
    });
}

void QWFolderRestClient::deletePath(const QString& path) {
    later([this, path] {
        QWError error;
        const auto deleted = folder_->remove(path, &error);
        DBRestClientDelegate* const to = delegate();
        if (to && deleted)
            to->restClientDeletedPath(*this, path);
        else if (to)
            to->restClientDeletePathFailedWithError(*this,
                                                    restError(error, {{QStringLiteral("path"), path}}));
    });
}

void QWFolderRestClient::loadFile(const QString& path, const QString& localPath) {
    later([this, path, localPath] {
        QWError error;
        const auto file = folder_->read(path, &error);
        const bool isWritten = file && environment_->files().write(localPath, file->bytes, &error);
        DBRestClientDelegate* const to = delegate();
        if (to && isWritten)
            to->restClientLoadedFile(*this, localPath, contentType, file->metadata);
        else if (to)
            to->restClientLoadFileFailedWithError(
                *this, restError(error, {{QStringLiteral("path"), path},
                                         {QStringLiteral("destinationPath"), localPath}}));
    });
}

void QWFolderRestClient::loadMetadata(const QString& path) {
    later([this, path] {
        QWError error;
        const auto metadata = folder_->metadata(path, &error);
        DBRestClientDelegate* const to = delegate();
        if (to && metadata)
            to->restClientLoadedMetadata(*this, *metadata);
        else if (to)
            to->restClientLoadMetadataFailedWithError(*this,
                                                      restError(error, {{QStringLiteral("path"), path}}));
    });
}
