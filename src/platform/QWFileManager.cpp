#include "platform/QWFileManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <cerrno>
#include <filesystem>
#ifdef Q_OS_WIN
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {

QWError fileError(const QString& path, const QString& what, const QString& why, int code) {
    return {QStringLiteral("files"),
            code,
            QStringLiteral("%1 cannot be %2: %3").arg(path, what, why),
            {{QStringLiteral("path"), path}}};
}

QWError fileError(const QString& what, const QFileDevice& file) {
    return fileError(file.fileName(), what, file.errorString(), file.error());
}

// Whole or not at all, and with the date of the original, as a rename would have it.
bool copyOver(const QString& from, const QString& to, QWError* error) {
    constexpr qint64 chunk = 1 << 20;
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return qw::fail(error, fileError(QStringLiteral("read"), source));
    QSaveFile target(to);
    if (!target.open(QIODevice::WriteOnly))
        return qw::fail(error, fileError(QStringLiteral("written"), target));
    QByteArray bytes;
    while (!(bytes = source.read(chunk)).isEmpty())
        target.write(bytes);
    if (source.error() != QFile::NoError)
        return qw::fail(error, fileError(QStringLiteral("read"), source));
    target.flush();
    target.setFileTime(source.fileTime(QFile::FileModificationTime), QFile::FileModificationTime);
    return target.commit() || qw::fail(error, fileError(QStringLiteral("written"), target));
}

} // namespace

QWFileManager::~QWFileManager() = default;

bool QWSystemFileManager::exists(const QString& path) const {
    return QFileInfo::exists(path);
}

std::optional<QByteArray> QWSystemFileManager::read(const QString& path, QWError* error) const {
    const auto file = openToRead(path, error);
    if (!file)
        return std::nullopt;
    const QByteArray bytes = file->readAll();
    if (file->error() == QFile::NoError)
        return bytes;
    qw::fail(error, fileError(QStringLiteral("read"), *file));
    return std::nullopt;
}

bool QWSystemFileManager::write(const QString& path, const QByteArray& bytes, QWError* error) {
    QSaveFile file(path);
    const bool isWritten =
        file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit();
    return isWritten || qw::fail(error, fileError(QStringLiteral("written"), file));
}

bool QWSystemFileManager::writeInPlace(const QString& path, const QByteArray& bytes, QWError* error) {
    QFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)
                           && file.write(bytes) == bytes.size();
    return isWritten || qw::fail(error, fileError(QStringLiteral("written"), file));
}

std::unique_ptr<QFile> QWSystemFileManager::openToRead(const QString& path, QWError* error) const {
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly)) {
        qw::fail(error, fileError(QStringLiteral("read"), *file));
        file.reset();
    }
    return file;
}

std::unique_ptr<QFile> QWSystemFileManager::openToWrite(const QString& path, QWError* error) {
    auto file = std::make_unique<QFile>(path);
    // Unbuffered, so that a full disk shows in the piece that it has no room for.
    if (!file->open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered)) {
        qw::fail(error, fileError(QStringLiteral("written"), *file));
        file.reset();
    }
    return file;
}

bool QWSystemFileManager::sync(const QString& path, QWError* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly | QIODevice::Unbuffered))
        return qw::fail(error, fileError(QStringLiteral("synced"), file));
#ifdef Q_OS_WIN
    const bool isSynced = _commit(file.handle()) == 0;
#else
    const bool isSynced = ::fsync(file.handle()) == 0;
#endif
    return isSynced || qw::fail(error, fileError(path, QStringLiteral("synced"), qt_error_string(), errno));
}

bool QWSystemFileManager::syncFolder(const QString& path, QWError* error) {
#ifdef Q_OS_WIN
    Q_UNUSED(path)
    Q_UNUSED(error)
    return true;
#else
    const int folder = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool isSynced = folder >= 0 && ::fsync(folder) == 0;
    const int failure = errno;
    if (folder >= 0)
        ::close(folder);
    return isSynced
           || qw::fail(error, fileError(path, QStringLiteral("synced"), qt_error_string(failure), failure));
#endif
}

bool QWSystemFileManager::move(const QString& from, const QString& to, QWError* error) {
    // QFile::rename refuses an existing target; this one replaces it in one step.
    std::error_code failure;
    std::filesystem::rename(QFileInfo(from).filesystemFilePath(), QFileInfo(to).filesystemFilePath(),
                            failure);
    if (!failure)
        return true;
    if (failure == std::errc::cross_device_link)
        return copyOver(from, to, error) && remove(from, error);
    return qw::fail(error, fileError(from, QStringLiteral("moved to %1").arg(to),
                                     QString::fromLocal8Bit(failure.message()), failure.value()));
}

bool QWSystemFileManager::remove(const QString& path, QWError* error) {
    QFile file(path);
    return file.remove() || qw::fail(error, fileError(QStringLiteral("removed"), file));
}

bool QWSystemFileManager::makeFolder(const QString& path, QWError* error) {
    return QDir().mkpath(path)
           || qw::fail(error, fileError(path, QStringLiteral("made"),
                                        QStringLiteral("a folder above is a file, or not writable"),
                                        QFileDevice::OpenError));
}

std::optional<QDateTime> QWSystemFileManager::modificationDate(const QString& path) const {
    const QDateTime date = QFileInfo(path).lastModified();
    return date.isValid() ? std::optional(date.toUTC()) : std::nullopt;
}

bool QWSystemFileManager::setModificationDate(const QString& path, const QDateTime& date, QWError* error) {
    QFile file(path);
    if (file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly)
        && file.setFileTime(date, QFile::FileModificationTime))
        return true;
    return qw::fail(error, fileError(QStringLiteral("dated"), file));
}
