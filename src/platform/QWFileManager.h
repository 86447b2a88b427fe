#pragma once

#include "platform/QWError.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <memory>
#include <optional>

class QFile;

// The file operations that the library needs, by path. Virtual, so that tests can make a disk fail or be
// full. Errors have the domain "files" and userInfo "path"; operations answer whether they succeeded.
class QWFileManager {
public:
    virtual ~QWFileManager();

    virtual bool exists(const QString& path) const = 0; // a file or a folder
    virtual std::optional<QByteArray> read(const QString& path, QWError* error = nullptr) const = 0;
    // Replaces the whole file in one step: a reader sees the old bytes or the new ones, also after a crash.
    virtual bool write(const QString& path, const QByteArray& bytes, QWError* error = nullptr) = 0;
    // Writes the file where it stands, which is quicker; a reader may see a part of it, and a crash may leave
    // one. For files that are made anew whenever they are needed.
    virtual bool writeInPlace(const QString& path, const QByteArray& bytes, QWError* error = nullptr) = 0;
    // The same for files that need not fit into memory, piece by piece; null when the file cannot be opened.
    // What is written stands where it was opened from the first piece on; an existing file is emptied first.
    virtual std::unique_ptr<QFile> openToRead(const QString& path, QWError* error = nullptr) const = 0;
    virtual std::unique_ptr<QFile> openToWrite(const QString& path, QWError* error = nullptr) = 0;
    // Returns when the file's bytes are on the disk: what `write` does by itself, and what a file needs that
    // was written in another way, before it is counted on after a power failure. It takes a disk's time.
    virtual bool sync(const QString& path, QWError* error = nullptr) = 0;
    // Returns when the names in a folder are on the disk: what a file needs that was written or moved there, before it
    // is counted on under that name after a power failure. (fsync(2) of a file says nothing of its name. On Windows
    // there is no such call, and nothing is done.)
    virtual bool syncFolder(const QString& path, QWError* error = nullptr) = 0;
    // Moves a file over whatever file stands at `to`; across file systems it copies, then removes.
    virtual bool move(const QString& from, const QString& to, QWError* error = nullptr) = 0;
    // Removes a file; a missing one is an error.
    virtual bool remove(const QString& path, QWError* error = nullptr) = 0;
    // Makes a folder and the folders above it; an existing one is fine.
    virtual bool makeFolder(const QString& path, QWError* error = nullptr) = 0;
    // UTC, to the millisecond; nothing when the file cannot be read.
    virtual std::optional<QDateTime> modificationDate(const QString& path) const = 0;
    virtual bool setModificationDate(const QString& path, const QDateTime& date,
                                     QWError* error = nullptr) = 0;
};

class QWSystemFileManager final : public QWFileManager {
public:
    bool exists(const QString& path) const override;
    std::optional<QByteArray> read(const QString& path, QWError* error = nullptr) const override;
    bool write(const QString& path, const QByteArray& bytes, QWError* error = nullptr) override;
    bool writeInPlace(const QString& path, const QByteArray& bytes, QWError* error = nullptr) override;
    std::unique_ptr<QFile> openToRead(const QString& path, QWError* error = nullptr) const override;
    std::unique_ptr<QFile> openToWrite(const QString& path, QWError* error = nullptr) override;
    bool sync(const QString& path, QWError* error = nullptr) override;
    bool syncFolder(const QString& path, QWError* error = nullptr) override;
    bool move(const QString& from, const QString& to, QWError* error = nullptr) override;
    bool remove(const QString& path, QWError* error = nullptr) override;
    bool makeFolder(const QString& path, QWError* error = nullptr) override;
    std::optional<QDateTime> modificationDate(const QString& path) const override;
    bool setModificationDate(const QString& path, const QDateTime& date, QWError* error = nullptr) override;
};
