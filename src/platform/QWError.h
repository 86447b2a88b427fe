#pragma once

#include <QString>
#include <QVariantMap>

// A failure that a caller can show, log or act on. Operations that can fail take a `QWError*` as their last
// argument (null: the caller does not want to know) and say by their result whether they failed.
struct QWError {
    QString domain;            // who reports: "store", "dropbox", "files", …
    int code = 0;              // meaning depends on the domain: QWStoreErrorCode, an HTTP status, …
    QString message = {};      // one sentence for a person; names the file, key and value where there are any
    QVariantMap userInfo = {}; // further facts under the names that the reporting domain documents

    bool isError() const { return !domain.isEmpty(); }
};

// Writes `error` to `*out` unless the caller passed null; answers false so that failing is one statement:
// `return qw::fail(error, {…});`
namespace qw {
inline bool fail(QWError* out, QWError error) {
    if (out)
        *out = std::move(error);
    return false;
}
} // namespace qw
