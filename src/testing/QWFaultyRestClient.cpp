#include "testing/QWFaultyRestClient.h"

#include "dropbox/DBPath.h"

#include <algorithm>

namespace {

const QString pathKey = QStringLiteral("path");
const QString sourceKey = QStringLiteral("sourcePath");
const QString destinationKey = QStringLiteral("destinationPath");

// By what an answer names its request. Delta queries are answered in their order.
QString keyOf(const QWRestRequest& request) {
    switch (request.kind) {
    case QWRestRequest::LoadDelta:
        return {};
    case QWRestRequest::Upload:
    case QWRestRequest::LoadFile:
        return request.localPath;
    case QWRestRequest::Delete:
    case QWRestRequest::LoadMetadata:
        return lowercaseDropboxPath(request.path);
    }
    return {};
}

QVariantMap userInfo(const QWRestRequest& request) {
    switch (request.kind) {
    case QWRestRequest::LoadDelta:
        return {};
    case QWRestRequest::Upload:
        return {{sourceKey, request.localPath}, {destinationKey, request.path}};
    case QWRestRequest::LoadFile:
        return {{pathKey, request.path}, {destinationKey, request.localPath}};
    case QWRestRequest::Delete:
    case QWRestRequest::LoadMetadata:
        return {{pathKey, request.path}};
    }
    return {};
}

} // namespace

// Faults ----------------------------------------------------------------------------------------------------

QWRestFault& QWRestFault::number(int number) {
    firstNumber_ = lastNumber_ = number;
    return *this;
}

QWRestFault& QWRestFault::first(int count) {
    lastNumber_ = count;
    return *this;
}

QWRestFault& QWRestFault::where(std::function<bool(const QWRestRequest&)> condition) {
    condition_ = std::move(condition);
    return *this;
}

QWRestFault& QWRestFault::answersWith(int status) {
    changes_.push_back([status](Effect& effect) { effect.statusInstead = status; });
    return *this;
}

QWRestFault& QWRestFault::losesAcknowledgement(int status) {
    changes_.push_back([status](Effect& effect) { effect.statusAfterwards = status; });
    return *this;
}

QWRestFault& QWRestFault::staysUnanswered() {
    changes_.push_back([](Effect& effect) { effect.isUnanswered = true; });
    return *this;
}

QWRestFault& QWRestFault::arrivesTwice() {
    changes_.push_back([](Effect& effect) { effect.isSentTwice = true; });
    return *this;
}

QWRestFault& QWRestFault::truncatesFile(qint64 bytes) {
    changes_.push_back([bytes](Effect& effect) { effect.fileSize = bytes; });
    return *this;
}

QWRestFault& QWRestFault::delaysRequest(QWRunLoop::Duration duration) {
    changes_.push_back([duration](Effect& effect) { effect.requestDelay += duration; });
    return *this;
}

QWRestFault& QWRestFault::delaysAnswer(QWRunLoop::Duration duration) {
    changes_.push_back([duration](Effect& effect) { effect.answerDelay += duration; });
    return *this;
}

void QWRestFault::applyTo(Effect& effect, const QWRestRequest& request) {
    if ((kind_ && *kind_ != request.kind) || (condition_ && !condition_(request)))
        return;
    ++requestsSeen_;
    if (requestsSeen_ < firstNumber_ || requestsSeen_ > lastNumber_)
        return;
    for (const auto& change : changes_)
        change(effect);
}

// Requests --------------------------------------------------------------------------------------------------

QWFaultyRestClient::QWFaultyRestClient(DBRestClient& client, std::shared_ptr<QWEnvironment> environment)
    : client_(client), environment_(std::move(environment)) {
    client_.setDelegate(this, this);
}

QWRestFault& QWFaultyRestClient::on(QWRestRequest::Kind kind) {
    return faults_.emplace_back(QWRestFault(kind));
}

QWRestFault& QWFaultyRestClient::onAny() {
    return faults_.emplace_back(QWRestFault(std::nullopt));
}

std::vector<QWRestRequest> QWFaultyRestClient::requests(QWRestRequest::Kind kind) const {
    std::vector<QWRestRequest> result;
    std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(result),
                 [kind](const QWRestRequest& request) { return request.kind == kind; });
    return result;
}

void QWFaultyRestClient::loadDelta(const QString& cursor) {
    take({QWRestRequest::LoadDelta, {}, {}, {}, cursor});
}

void QWFaultyRestClient::uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                                    const QString& localPath) {
    take({QWRestRequest::Upload, dropboxPath(folder, filename), localPath, parentRev, {}});
}

void QWFaultyRestClient::deletePath(const QString& path) {
    take({QWRestRequest::Delete, path, {}, {}, {}});
}

void QWFaultyRestClient::loadFile(const QString& path, const QString& localPath) {
    take({QWRestRequest::LoadFile, path, localPath, {}, {}});
}

void QWFaultyRestClient::loadMetadata(const QString& path) {
    take({QWRestRequest::LoadMetadata, path, {}, {}, {}});
}

void QWFaultyRestClient::take(const QWRestRequest& request) {
    requests_.push_back(request);
    QWRestFault::Effect effect;
    for (QWRestFault& fault : faults_)
        fault.applyTo(effect, request);

    if (effect.statusInstead) {
        environment_->runLoop().after(effect.requestDelay, [self = QPointer(this), request, effect] {
            if (self && !effect.isUnanswered)
                self->answer(effect.answerDelay, self->failure(request, *effect.statusInstead));
        });
    } else if (effect.requestDelay.count() > 0) {
        environment_->runLoop().after(effect.requestDelay, [self = QPointer(this), request, effect] {
            if (self)
                self->send(request, effect);
        });
    } else {
        send(request, effect);
    }
}

void QWFaultyRestClient::send(const QWRestRequest& request, const QWRestFault::Effect& effect) {
    sent_.push_back({request, effect});
    switch (request.kind) {
    case QWRestRequest::LoadDelta:
        client_.loadDelta(request.cursor);
        break;
    case QWRestRequest::Upload: {
        const qsizetype slash = request.path.lastIndexOf(QLatin1Char('/'));
        const QString folder = slash > 0 ? request.path.left(slash) : QStringLiteral("/");
        client_.uploadFile(request.path.mid(slash + 1), folder, request.parentRev, request.localPath);
        break;
    }
    case QWRestRequest::Delete:
        client_.deletePath(request.path);
        break;
    case QWRestRequest::LoadFile:
        client_.loadFile(request.path, request.localPath);
        break;
    case QWRestRequest::LoadMetadata:
        client_.loadMetadata(request.path);
        break;
    }
    if (effect.isSentTwice) {
        QWRestFault::Effect second;
        second.isUnanswered = true;
        send(request, second);
    }
}

// Answers ---------------------------------------------------------------------------------------------------

void QWFaultyRestClient::answered(QWRestRequest::Kind kind, const QString& key, const Answer& answerToPass) {
    const auto found = std::find_if(sent_.begin(), sent_.end(), [&](const Sent& sent) {
        return sent.request.kind == kind && keyOf(sent.request) == key;
    });
    if (found == sent_.end())
        return;
    const Sent sent = *found;
    sent_.erase(found);

    if (sent.effect.fileSize && kind == QWRestRequest::LoadFile)
        truncate(sent.request.localPath, *sent.effect.fileSize);
    if (sent.effect.isUnanswered)
        return;
    answer(sent.effect.answerDelay, sent.effect.statusAfterwards
                                        ? failure(sent.request, *sent.effect.statusAfterwards)
                                        : answerToPass);
}

void QWFaultyRestClient::answer(QWRunLoop::Duration delay, const Answer& answerToPass) {
    const auto pass = [self = QPointer(this), answerToPass] {
        DBRestClientDelegate* const to = self ? self->delegate() : nullptr;
        if (to)
            answerToPass(*to);
    };
    if (delay.count() > 0)
        environment_->runLoop().after(delay, pass);
    else
        pass();
}

QWFaultyRestClient::Answer QWFaultyRestClient::failure(const QWRestRequest& request, int status) {
    const QWError error{QStringLiteral("dropbox"), status,
                        QStringLiteral("A test made this request fail with status %1.").arg(status),
                        userInfo(request)};
    return [this, error, kind = request.kind](DBRestClientDelegate& to) {
        switch (kind) {
        case QWRestRequest::LoadDelta:
            return to.restClientLoadDeltaFailedWithError(*this, error);
        case QWRestRequest::Upload:
            return to.restClientUploadFileFailedWithError(*this, error);
        case QWRestRequest::Delete:
            return to.restClientDeletePathFailedWithError(*this, error);
        case QWRestRequest::LoadFile:
            return to.restClientLoadFileFailedWithError(*this, error);
        case QWRestRequest::LoadMetadata:
            return to.restClientLoadMetadataFailedWithError(*this, error);
        }
    };
}

void QWFaultyRestClient::truncate(const QString& localPath, qint64 size) {
    if (const auto bytes = environment_->files().read(localPath))
        environment_->files().write(localPath, bytes->left(size));
}

void QWFaultyRestClient::restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries,
                                                      bool reset, const QString& cursor, bool hasMore) {
    answered(QWRestRequest::LoadDelta, {}, [=, this](DBRestClientDelegate& to) {
        to.restClientLoadedDeltaEntries(*this, entries, reset, cursor, hasMore);
    });
}

void QWFaultyRestClient::restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) {
    answered(QWRestRequest::LoadDelta, {},
             [=, this](DBRestClientDelegate& to) { to.restClientLoadDeltaFailedWithError(*this, error); });
}

void QWFaultyRestClient::restClientUploadedFile(DBRestClient&, const QString& destinationPath,
                                                const QString& sourcePath, const DBMetadata& metadata) {
    answered(QWRestRequest::Upload, sourcePath, [=, this](DBRestClientDelegate& to) {
        to.restClientUploadedFile(*this, destinationPath, sourcePath, metadata);
    });
}

void QWFaultyRestClient::restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) {
    answered(QWRestRequest::Upload, error.userInfo[sourceKey].toString(),
             [=, this](DBRestClientDelegate& to) { to.restClientUploadFileFailedWithError(*this, error); });
}

void QWFaultyRestClient::restClientDeletedPath(DBRestClient&, const QString& path) {
    answered(QWRestRequest::Delete, lowercaseDropboxPath(path),
             [=, this](DBRestClientDelegate& to) { to.restClientDeletedPath(*this, path); });
}

void QWFaultyRestClient::restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo[pathKey].toString();
    answered(QWRestRequest::Delete, lowercaseDropboxPath(path),
             [=, this](DBRestClientDelegate& to) { to.restClientDeletePathFailedWithError(*this, error); });
}

void QWFaultyRestClient::restClientLoadedFile(DBRestClient&, const QString& localPath,
                                              const QString& contentType, const DBMetadata& metadata) {
    answered(QWRestRequest::LoadFile, localPath, [=, this](DBRestClientDelegate& to) {
        to.restClientLoadedFile(*this, localPath, contentType, metadata);
    });
}

void QWFaultyRestClient::restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) {
    const QString localPath = error.userInfo[destinationKey].toString();
    answered(QWRestRequest::LoadFile, localPath,
             [=, this](DBRestClientDelegate& to) { to.restClientLoadFileFailedWithError(*this, error); });
}

void QWFaultyRestClient::restClientLoadedMetadata(DBRestClient&, const DBMetadata& metadata) {
    answered(QWRestRequest::LoadMetadata, lowercaseDropboxPath(metadata.path),
             [=, this](DBRestClientDelegate& to) { to.restClientLoadedMetadata(*this, metadata); });
}

void QWFaultyRestClient::restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) {
    const QString path = error.userInfo[pathKey].toString();
    answered(QWRestRequest::LoadMetadata, lowercaseDropboxPath(path),
             [=, this](DBRestClientDelegate& to) { to.restClientLoadMetadataFailedWithError(*this, error); });
}
