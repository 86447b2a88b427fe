#pragma once

#include "platform/QWFileManager.h"

#include <QFile>
#include <functional>

// The real files, on a disk that takes no new ones while `isFull` is set, and that tells what was synced.
// With `fullBelow` this holds of that folder alone. While `refusesDates` is set no file is dated. The file `unreadable`, or all in that folder, cannot be read.
class FullDisk final : public QWFileManager {
public:
    bool isFull = true, refusesDates = false;
    QString fullBelow, unreadable;
    std::function<void(const QString& path)>
        willReplace; // before a file is removed, or another one moved over it
    QStringList log; // of what was synced and moved

    bool exists(const QString& path) const override { return files_.exists(path); }
    std::optional<QByteArray> read(const QString& path, QWError* error = nullptr) const override {
        if (unreadable.isEmpty() || !path.startsWith(unreadable))
            return files_.read(path, error);
        qw::fail(error, {"files", 5, "input/output error on " + path, {{"path", path}}});
        return {};
    }
    bool write(const QString& path, const QByteArray& bytes, QWError* error = nullptr) override {
        return refuses(path) ? refuse(path, error) : files_.write(path, bytes, error);
    }
    bool writeInPlace(const QString& path, const QByteArray& bytes, QWError* error = nullptr) override {
        return refuses(path) ? refuse(path, error) : files_.writeInPlace(path, bytes, error);
    }
    std::unique_ptr<QFile> openToRead(const QString& path, QWError* error = nullptr) const override {
        return files_.openToRead(path, error);
    }
    std::unique_ptr<QFile> openToWrite(const QString& path, QWError* error = nullptr) override {
        return refuses(path) && !refuse(path, error) ? nullptr : files_.openToWrite(path, error);
    }
    bool sync(const QString& path, QWError* error = nullptr) override {
        log.append("sync " + path);
        return files_.sync(path, error);
    }
    bool syncFolder(const QString& path, QWError* error = nullptr) override {
        log.append("sync " + path);
        return refuses(path) ? refuse(path, error) : files_.syncFolder(path, error);
    }
    bool move(const QString& from, const QString& to, QWError* error = nullptr) override {
        log.append("move " + from);
        if (willReplace)
            willReplace(to);
        return refuses(to) ? refuse(to, error) : files_.move(from, to, error);
    }
    bool remove(const QString& path, QWError* error = nullptr) override {
        if (willReplace)
            willReplace(path);
        return files_.remove(path, error);
    }
    bool makeFolder(const QString& path, QWError* error = nullptr) override {
        return files_.makeFolder(path, error);
    }
    std::optional<QDateTime> modificationDate(const QString& path) const override {
        return files_.modificationDate(path);
    }
    bool setModificationDate(const QString& path, const QDateTime& date, QWError* error = nullptr) override {
        return refusesDates ? refuse(path, error) : files_.setModificationDate(path, date, error);
    }

private:
    bool refuses(const QString& path) const { return isFull && path.startsWith(fullBelow); }
    static bool refuse(const QString& path, QWError* error) {
        return qw::fail(error, {"files", 28, "no space left for " + path, {{"path", path}}});
    }

    QWSystemFileManager files_;
};
