#pragma once

#include "dropbox/DBPath.h"
#include "dropbox/DBRestClient.h"
#include "testing/QWFaultyRestClient.h"

#include <algorithm>
#include <functional>
#include <vector>

// A client that writes down what it is asked and never answers: the test does, through the engine's delegate
// operations.
class SilentClient final : public DBRestClient {
public:
    std::vector<QWRestRequest> requests;
    std::function<void(const QWRestRequest&)> isAsked; // before the request is written down

    int count(QWRestRequest::Kind kind) const {
        return static_cast<int>(
            std::count_if(requests.begin(), requests.end(),
                          [kind](const QWRestRequest& request) { return request.kind == kind; }));
    }
    // "upload /SyncCache.dbSync/Book!!!X.data", …, in order.
    QStringList log() const {
        static const char* const names[] = {"delta", "upload", "delete", "load", "metadata"};
        QStringList lines;
        for (const auto& request : requests)
            lines.append((QLatin1String(names[request.kind]) + ' ' + request.path).trimmed());
        return lines;
    }
    void forget() { requests.clear(); }

    void loadDelta(const QString& cursor) override { take({QWRestRequest::LoadDelta, {}, {}, {}, cursor}); }
    void uploadFile(const QString& filename, const QString& folder, const QString& parentRev,
                    const QString& localPath) override {
        take({QWRestRequest::Upload, dropboxPath(folder, filename), localPath, parentRev, {}});
    }
    void deletePath(const QString& path) override { take({QWRestRequest::Delete, path, {}, {}, {}}); }
    void loadFile(const QString& path, const QString& localPath) override {
        take({QWRestRequest::LoadFile, path, localPath, {}, {}});
    }
    void loadMetadata(const QString& path) override { take({QWRestRequest::LoadMetadata, path, {}, {}, {}}); }

private:
    void take(const QWRestRequest& request) {
        if (isAsked)
            isAsked(request);
        requests.push_back(request);
    }
};
