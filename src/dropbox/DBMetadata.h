#pragma once

#include <QDateTime>
#include <QString>

// What the cloud says of one file or folder of the app folder. The names are those of its desktop SDK.
struct DBMetadata {
    QString path; // as it is spelt there, from the app folder's root: "/Folder/Name.data"
    QString rev;  // opaque revision, equal only for the same content version; empty for a folder
    QString hash; // content hash of the service (SHA-256 over the digests of 4 MiB blocks), hex
    QDateTime lastModifiedDate; // UTC, whole seconds; null for a folder
    qint64 totalBytes = 0;
    bool isDirectory = false;

    QString filename() const { return path.section(QLatin1Char('/'), -1); }
    friend bool operator==(const DBMetadata&, const DBMetadata&) = default;
};
