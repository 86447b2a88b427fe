#pragma once

#include "dropbox/DBRestClient.h"

#include <vector>

// Writes down what a client answers. Each answer becomes a line: "uploaded /a", "upload 409 /a", …
class RecordingDelegate final : public QObject, public DBRestClientDelegate {
public:
    struct Page {
        QList<DBDeltaEntryRef> entries;
        bool reset;
        QString cursor;
        bool hasMore;
    };
    QStringList lines;
    std::vector<Page> pages;
    std::vector<DBMetadata> metadata; // of files uploaded and loaded, and of paths asked for
    std::vector<QWError> errors;

    void restClientLoadedDeltaEntries(DBRestClient&, const QList<DBDeltaEntryRef>& entries, bool reset,
                                      const QString& cursor, bool hasMore) override {
        lines += QStringLiteral("delta of %1").arg(entries.size());
        pages.push_back({entries, reset, cursor, hasMore});
    }
    void restClientLoadDeltaFailedWithError(DBRestClient&, const QWError& error) override {
        failed("delta", error, {});
    }
    void restClientUploadedFile(DBRestClient&, const QString& destinationPath, const QString&,
                                const DBMetadata& data) override {
        succeeded("uploaded", destinationPath, data);
    }
    void restClientUploadFileFailedWithError(DBRestClient&, const QWError& error) override {
        failed("upload", error, error.userInfo["destinationPath"].toString());
    }
    void restClientDeletedPath(DBRestClient&, const QString& path) override { lines += "deleted " + path; }
    void restClientDeletePathFailedWithError(DBRestClient&, const QWError& error) override {
        failed("delete", error, error.userInfo["path"].toString());
    }
    void restClientLoadedFile(DBRestClient&, const QString&, const QString&,
                              const DBMetadata& data) override {
        succeeded("loaded", data.path, data);
    }
    void restClientLoadFileFailedWithError(DBRestClient&, const QWError& error) override {
        failed("load", error, error.userInfo["path"].toString());
    }
    void restClientLoadedMetadata(DBRestClient&, const DBMetadata& data) override {
        succeeded("metadata of", data.path, data);
    }
    void restClientLoadMetadataFailedWithError(DBRestClient&, const QWError& error) override {
        failed("metadata", error, error.userInfo["path"].toString());
    }

private:
    void succeeded(const char* what, const QString& path, const DBMetadata& data) {
        lines += QLatin1String(what) + QLatin1Char(' ') + path;
        metadata.push_back(data);
    }
    void failed(const char* what, const QWError& error, const QString& path) {
        EXPECT_EQ(error.domain, QStringLiteral("dropbox"));
        lines += QStringLiteral("%1 %2 %3").arg(QLatin1String(what)).arg(error.code).arg(path).trimmed();
        errors.push_back(error);
    }
};
