#include "dropbox/http/QWHTTPRestClient.h"

#include "dropbox/DBPath.h"
#include "dropbox/http/QWDeltaQuery_p.h"
#include "dropbox/http/QWFileDownload_p.h"
#include "dropbox/http/QWFileUpload_p.h"
#include "dropbox/http/QWHTTPTransport_p.h"

#include <QRegularExpression>

namespace {

using qw::http::errorTags;
using qw::http::failure;

const QString pathKey = QStringLiteral("path");
const QString sourceKey = QStringLiteral("sourcePath");
const QString destinationKey = QStringLiteral("destinationPath");

// Looks like a revision and is none, so that it conflicts with whatever stands in its way: the service makes
// a conflicted copy then, and never a numbered one.
const QString noRevision = QStringLiteral("000000000");

QString taskOf(const char* verb, const QString& path) {
    return QLatin1String(verb) + QLatin1Char(' ') + path;
}

// A parent revision that comes from elsewhere would be refused for its form, time and again.
QString revisionToUpdate(const QString& parentRev) {
    static const QRegularExpression form(QStringLiteral("\\A[0-9a-f]{9,}\\z"));
    return form.match(parentRev).hasMatch() ? parentRev : noRevision;
}

QWHTTPRequest pageRequest(const QString& cursor, int limit) {
    if (!cursor.isEmpty())
        return {QStringLiteral("files/list_folder/continue"), {{"cursor", cursor}}};
    return {QStringLiteral("files/list_folder"),
            {{"path", QString()},
             {"recursive", true},
             {"limit", limit},
             {"include_non_downloadable_files", false}}};
}

// The service resets a cursor, or does not take it for one of its own. A listing's only other refusal is that
// of its path.
bool isCursorLost(const QWHTTPAnswer& answer) {
    const QStringList tags = errorTags(answer);
    return answer.status == 400
           || (answer.status == 409 && !tags.isEmpty() && tags.constFirst() != QLatin1String("path"));
}

} // namespace

QWHTTPRestClient::QWHTTPRestClient(const QWHTTPRestClientOptions& options,
                                   std::shared_ptr<QWEnvironment> environment)
    : environment_(std::move(environment)), pieceSize_(options.pieceSize), pageSize_(options.pageSize),
      transport_(std::make_unique<QWHTTPTransport>(options, environment_)) {}

QWHTTPRestClient::~QWHTTPRestClient() = default;

QString QWHTTPRestClient::objectionToAccessToken(const QString& accessToken) {
    return qw::http::objectionTo(accessToken.toUtf8());
}

QString QWHTTPRestClient::objectionToHost(const QUrl& host) {
    return qw::http::objectionTo(host);
}

void QWHTTPRestClient::setAccessToken(const QString& accessToken) {
    transport_->setAccessToken(accessToken);
}

// Changes ---------------------------------------------------------------------------------------------------

void QWHTTPRestClient::loadDelta(const QString& cursor) {
    const auto interrupted = std::exchange(interrupted_, nullptr);
    const bool goesOn = interrupted && interrupted->start() == cursor;
    loadPage(goesOn ? interrupted : std::make_shared<QWDeltaQuery>(cursor));
}

void QWHTTPRestClient::loadPage(const std::shared_ptr<QWDeltaQuery>& query) {
    transport_->send(QWHTTPLane::Query, pageRequest(query->cursor(), pageSize_),
                     [this, query](const QWHTTPAnswer& answer) { pageLoaded(query, answer); });
}

void QWHTTPRestClient::pageLoaded(const std::shared_ptr<QWDeltaQuery>& query, const QWHTTPAnswer& answer) {
    const auto page = answer.status == 200 ? qw::http::page(answer.body) : std::nullopt;
    const bool goesOn = page && page->hasMore && page->cursor != query->cursor();
    if (goesOn) {
        if (query->add(*page))
            return loadPage(query);
        interrupted_ = query;
    }
    if (!query->cursor().isEmpty() && !query->isReset() && isCursorLost(answer)) {
        query->restart();
        return loadPage(query);
    }
    DBRestClientDelegate* const to = delegate();
    if (page && !page->hasMore) {
        query->add(*page);
        if (to)
            to->restClientLoadedDeltaEntries(*this, query->entries(), query->isReset(), query->cursor(),
                                             false);
        return;
    }
    // A listing from scratch that has lost its own cursor starts again, and so does one that stands still.
    if (!page && !isCursorLost(answer))
        interrupted_ = query;
    if (to)
        to->restClientLoadDeltaFailedWithError(*this, failure(QStringLiteral("Loading changes"), answer, {}));
}

// Files -----------------------------------------------------------------------------------------------------

void QWHTTPRestClient::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                  const QString& localPath) {
    const QJsonObject commit{
        {"path", dropboxPath(folder, filename)},
        {"mode", QJsonObject{{".tag", "update"}, {"update", revisionToUpdate(parentRev)}}},
        {"autorename", true},
    };
    uploadPiece(std::make_shared<QWFileUpload>(environment_->files(), commit, localPath, pieceSize_,
                                               transport_->newTurn()));
}

void QWHTTPRestClient::uploadPiece(const std::shared_ptr<QWFileUpload>& upload) {
    transport_->send(
        QWHTTPLane::Upload, upload->turn(), [upload](QWError* error) { return upload->request(error); },
        [this, upload](const QWHTTPAnswer& answer) {
            if (upload->goesOnAfter(answer))
                uploadPiece(upload);
            else
                uploadAnswered(*upload, answer);
        });
}

void QWHTTPRestClient::uploadAnswered(const QWFileUpload& upload, const QWHTTPAnswer& answer) {
    DBRestClientDelegate* const to = delegate();
    if (!to)
        return;
    const auto stored = answer.status == 200 ? qw::http::fileMetadata(answer.body) : std::nullopt;
    if (stored && stored->totalBytes == upload.size())
        return to->restClientUploadedFile(*this, stored->path, upload.localPath(), *stored);
    to->restClientUploadFileFailedWithError(
        *this, failure(taskOf("Uploading", upload.path()), answer,
                       {{sourceKey, upload.localPath()}, {destinationKey, upload.path()}}));
}

void QWHTTPRestClient::loadFile(const QString& path, const QString& localPath) {
    const auto download = std::make_shared<QWFileDownload>(environment_->files(), localPath);
    transport_->send(QWHTTPLane::Download, {QStringLiteral("files/download"), {{"path", path}}, {}, download},
                     [this, path, download](QWHTTPAnswer answer) {
                         QWError error;
                         const bool isWritten = answer.status == 200 && download->commit(&error);
                         if (answer.status == 200 && !isWritten)
                             answer.trouble = error.message;
                         DBRestClientDelegate* const to = delegate();
                         if (to && isWritten)
                             to->restClientLoadedFile(*this, download->localPath(),
                                                      QString::fromLatin1(answer.contentType),
                                                      download->metadata());
                         else if (to)
                             to->restClientLoadFileFailedWithError(
                                 *this, failure(taskOf("Downloading", path), answer,
                                                {{pathKey, path}, {destinationKey, download->localPath()}}));
                     });
}

void QWHTTPRestClient::deletePath(const QString& path) {
    transport_->send(QWHTTPLane::Change, {QStringLiteral("files/delete_v2"), {{"path", path}}},
                     [this, path](const QWHTTPAnswer& answer) {
                         const auto said =
                             answer.status == 200 ? qw::http::jsonObject(answer.body) : std::nullopt;
                         DBRestClientDelegate* const to = delegate();
                         if (to && said && (*said)["metadata"].isObject())
                             to->restClientDeletedPath(*this, path);
                         else if (to)
                             to->restClientDeletePathFailedWithError(
                                 *this, failure(taskOf("Deleting", path), answer, {{pathKey, path}}));
                     });
}

void QWHTTPRestClient::loadMetadata(const QString& path) {
    transport_->send(QWHTTPLane::Query, {QStringLiteral("files/get_metadata"), {{"path", path}}},
                     [this, path](const QWHTTPAnswer& answer) {
                         const auto said =
                             answer.status == 200 ? qw::http::jsonObject(answer.body) : std::nullopt;
                         const auto metadata = said ? qw::http::metadata(*said) : std::nullopt;
                         DBRestClientDelegate* const to = delegate();
                         if (to && metadata)
                             to->restClientLoadedMetadata(*this, *metadata);
                         else if (to)
                             to->restClientLoadMetadataFailedWithError(
                                 *this, failure(taskOf("Looking up", path), answer, {{pathKey, path}}));
                     });
}
