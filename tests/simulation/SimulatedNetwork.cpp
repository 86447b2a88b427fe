#include "SimulatedNetwork.h"

#include "dropbox/DBPath.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "sync/QWDropboxSyncConstants.h"

namespace {

using namespace std::chrono_literals;

constexpr QWRunLoop::Duration latency = 25ms; // each way
constexpr int pageSize = 20;
// An engine is refused a file for good after three times.
constexpr int mostRefusals = 2;

const QString pathKey = QStringLiteral("path");
const QString sourceKey = QStringLiteral("sourcePath");
const QString destinationKey = QStringLiteral("destinationPath");

QWError restError(int status, const QVariantMap& userInfo) {
    return {QStringLiteral("dropbox"), status, QStringLiteral("status %1").arg(status), userInfo};
}

QWError restError(const QWError& reason, const QVariantMap& userInfo) {
    return restError(QWFolderRestClient::statusOf(reason), userInfo);
}

} // namespace

// Requests --------------------------------------------------------------------------------------------------

void SimulatedNetwork::loadDelta(const QString& cursor) {
    const auto fail = [](const QWError& error) -> Answer {
        return [error](auto& client, auto& to) { to.restClientLoadDeltaFailedWithError(client, error); };
    };
    auto* ledger = &ledger_;
    ++queries_;
    send({"query",
          cursor.isEmpty() ? QString() : QStringLiteral("more"),
          [=](QWAppFolder& cloud) -> Answer {
              QWError error;
              auto page = cloud.changes(cursor, pageSize, &error);
              const bool isReset =
                  !page && QWAppFolderErrorCode(error.code) == QWAppFolderErrorCode::CursorLost;
              ledger->queried(!ledger->cursorsOfFurtherPages.contains(cursor), isReset || cursor.isEmpty());
              if (isReset)
                  page = cloud.changes({}, pageSize, &error);
              if (!page)
                  return fail(restError(error, {}));
              if (page->hasMore)
                  ledger->cursorsOfFurtherPages.insert(page->cursor);
              return [page = *page, isReset](SimulatedNetwork& client, DBRestClientDelegate& to) {
                  client.ledger_.furtherPages += page.hasMore;
                  to.restClientLoadedDeltaEntries(client, page.entries, isReset, page.cursor, page.hasMore);
              };
          },
          [=](const QWError& error) { return fail(restError(error.code, {})); },
          {},
          {}});
}

void SimulatedNetwork::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                  const QString& localPath) {
    const QString path = dropboxPath(folder, filename);
    const auto fail = [=](int status) -> Answer {
        return [=](auto& client, auto& to) {
            to.restClientUploadFileFailedWithError(
                client, restError(status, {{sourceKey, localPath}, {destinationKey, path}}));
        };
    };
    mostUploads_ = std::max(mostUploads_, ++uploads_[path]);
    const auto bytes = environment_->files().read(localPath);
    const auto* ledger = &ledger_;
    send({"upload",
          path,
          [=](QWAppFolder& cloud) -> Answer {
              QWError error;
              const auto mode = QWWriteMode::update(parentRev, QWWriteMode::Rename);
              const auto written = bytes ? cloud.upload(path, *bytes, mode, &error) : std::nullopt;
              if (!written)
                  return fail(QWFolderRestClient::statusOf(error));
              ledger->cloudTook(path, *bytes);
              return [=](auto& client, auto& to) {
                  to.restClientUploadedFile(client, written->path, localPath, *written);
              };
          },
          [=](const QWError& error) { return fail(error.code); },
          {},
          {}});
}

bool SimulatedNetwork::takeManyUploads(int count) {
    if (mostUploads_ < count)
        return false;
    uploads_.clear();
    mostUploads_ = 0;
    return true;
}

void SimulatedNetwork::deletePath(const QString& path) {
    const auto fail = [=](int status) -> Answer {
        return [=](auto& client, auto& to) {
            to.restClientDeletePathFailedWithError(client, restError(status, {{pathKey, path}}));
        };
    };
    send({"delete",
          path,
          [=](QWAppFolder& cloud) -> Answer {
              QWError error;
              if (!cloud.remove(path, &error))
                  return fail(QWFolderRestClient::statusOf(error));
              return [=](auto& client, auto& to) { to.restClientDeletedPath(client, path); };
          },
          [=](const QWError& error) { return fail(error.code); },
          {},
          {}});
}

void SimulatedNetwork::loadFile(const QString& path, const QString& localPath) {
    const auto fail = [=](int status) -> Answer {
        return [=](auto& client, auto& to) {
            to.restClientLoadFileFailedWithError(
                client, restError(status, {{pathKey, path}, {destinationKey, localPath}}));
        };
    };
    const bool isPreferences = path == QWDBFileSyncedPreferencesInDropboxFolder;
    send({"download", path,
          [=](QWAppFolder& cloud) -> Answer {
              QWError error;
              const auto file = cloud.read(path, &error);
              if (!file)
                  return fail(QWFolderRestClient::statusOf(error));
              return [=](SimulatedNetwork& client, DBRestClientDelegate& to) {
                  if (client.environment_->files().write(localPath, file->bytes)) {
                      client.ledger_.loaded(path, file->bytes);
                      return to.restClientLoadedFile(client, localPath, {}, file->metadata);
                  }
                  ++client.ledger_.faultsMet;
                  fail(0)(client, to);
              };
          },
          [=](const QWError& error) { return fail(error.code); },
          [=](SimulatedNetwork& client) {
              client.environment_->files().writeInPlace(localPath + QStringLiteral(".part"), "{\"ti");
          },
          isPreferences ? nullptr : downloadsOut_});
}

void SimulatedNetwork::loadMetadata(const QString& path) {
    const auto fail = [=](int status) -> Answer {
        return [=](auto& client, auto& to) {
            to.restClientLoadMetadataFailedWithError(client, restError(status, {{pathKey, path}}));
        };
    };
    send({"look-up",
          path,
          [=](QWAppFolder& cloud) -> Answer {
              QWError error;
              const auto metadata = cloud.metadata(path, &error);
              if (!metadata)
                  return fail(QWFolderRestClient::statusOf(error));
              return [=](auto& client, auto& to) { to.restClientLoadedMetadata(client, *metadata); };
          },
          [=](const QWError& error) { return fail(error.code); },
          {},
          {}});
}

// The way ---------------------------------------------------------------------------------------------------

// The service says 404 of what is not there, and never of anything else: a refusal of that kind happens to
// downloads only, whose file has gone by the time that it is asked for.
SimulatedNetwork::Fault SimulatedNetwork::nextFault(const Request& request, bool& isFaulty) {
    const bool isOffline = environment_->runLoop().now() < ledger_.offlineUntil;
    isFaulty = isOffline || !ledger_.faults.empty();
    if (!isFaulty)
        return {};
    if (isOffline) {
        ++ledger_.faultsMet;
        return {Fault::Status, 0, {}};
    }
    Fault fault = ledger_.faults.front();
    ledger_.faults.pop_front();
    ++ledger_.faultsMet;
    const bool isDownload = qstrcmp(request.kind, "download") == 0;
    if (fault.kind == Fault::Status && fault.status == 404 && !isDownload)
        fault.status = 500;
    if (isDownload && fault.kind == Fault::Status && fault.status == 409
        && ++ledger_.refusals[request.path] > mostRefusals)
        fault.status = 500;
    return fault;
}

void SimulatedNetwork::send(const Request& request) {
    if (!mayBeSent())
        return;
    ++ledger_.requests;
    ++sent_;
    ++out_;
    if (request.out)
        ++*request.out;
    bool isFaulty = false;
    const Fault fault = nextFault(request, isFaulty);
    const auto is = [&](Fault::Kind kind) { return isFaulty && fault.kind == kind; };
    trace_.add(
        QStringLiteral("%1 asks: %2 %3%4")
            .arg(machine_, QLatin1String(request.kind), request.path,
                 isFaulty ? QStringLiteral(" (fault %1 %2)").arg(fault.kind).arg(fault.status) : QString()));
    const auto weak = weak_from_this();
    auto& runLoop = environment_->runLoop();
    if (is(Fault::Status) || is(Fault::Truncate)) {
        runLoop.after(latency, [=, kind = fault.kind, status = fault.status] {
            const auto self = weak.lock();
            if (self && kind == Fault::Truncate && request.truncate)
                request.truncate(*self);
            if (!self)
                return;
            self->answer(latency, request,
                         [status, fail = request.fail(restError(status, {}))](auto& client, auto& to) {
                             client.ledger_.tokensRefused += status == 401;
                             fail(client, to);
                         });
        });
        return;
    }
    const QWRunLoop::Duration there = latency + (is(Fault::DelayRequest) ? fault.delay : 0s);
    const QWRunLoop::Duration back = latency + (is(Fault::DelayAnswer) ? fault.delay : 0s);
    const bool isLost = is(Fault::LoseAnswer);
    runLoop.after(there, [=, cloud = cloud_] {
        Answer answer = request.carryOut(*cloud);
        const auto self = weak.lock();
        if (self)
            self->answer(back, request, isLost ? request.fail(restError(0, {})) : answer);
    });
    if (is(Fault::Duplicate))
        runLoop.after(there + 1s, [request, cloud = cloud_] { request.carryOut(*cloud); });
}

void SimulatedNetwork::answer(QWRunLoop::Duration delay, const Request& request, const Answer& answer) {
    environment_->runLoop().after(delay, [weak = weak_from_this(), request, answer] {
        const auto self = weak.lock();
        if (!self)
            return;
        self->trace_.add(
            QStringLiteral("%1 hears: %2 %3").arg(self->machine_, QLatin1String(request.kind), request.path));
        --self->out_;
        if (request.out)
            --*request.out;
        if (auto* to = self->delegate())
            answer(*self, *to);
    });
}
