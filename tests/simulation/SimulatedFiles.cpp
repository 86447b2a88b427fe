#include "SimulatedFiles.h"

#include <QFile>

namespace {

bool succeed(bool succeeded, const QString& path, QWError* error) {
    if (!succeeded)
        qw::fail(error, {QStringLiteral("files"),
                         1,
                         QStringLiteral("The simulated disk fails: %1").arg(path),
                         {{QStringLiteral("path"), path}}});
    return succeeded;
}

} // namespace

bool SimulatedFiles::exists(const QString& path) const {
    return disk_.find(path.toStdString()) || disk_.holdsAnythingBelow(path.toStdString());
}

std::optional<QByteArray> SimulatedFiles::read(const QString& path, QWError* error) const {
    const auto file = disk_.find(path.toStdString());
    return succeed(file != nullptr, path, error) ? std::optional(file->bytes) : std::nullopt;
}

bool SimulatedFiles::write(const QString& path, const QByteArray& bytes, QWError* error) {
    const QString beside = path + QStringLiteral(".new");
    const auto file = disk_.create(beside.toStdString());
    const bool isWritten = file && disk_.write(file, 0, bytes) && disk_.sync(file)
                           && disk_.rename(beside.toStdString(), path.toStdString());
    if (!isWritten)
        disk_.remove(beside.toStdString());
    return succeed(isWritten, path, error);
}

bool SimulatedFiles::writeInPlace(const QString& path, const QByteArray& bytes, QWError* error) {
    const auto present = disk_.find(path.toStdString());
    const auto file = present ? present : disk_.create(path.toStdString());
    return succeed(file && disk_.truncate(file, 0) && disk_.write(file, 0, bytes), path, error);
}

std::unique_ptr<QFile> SimulatedFiles::openToRead(const QString& path, QWError* error) const {
    succeed(false, path, error);
    return nullptr;
}

std::unique_ptr<QFile> SimulatedFiles::openToWrite(const QString& path, QWError* error) {
    succeed(false, path, error);
    return nullptr;
}

bool SimulatedFiles::sync(const QString& path, QWError* error) {
    const auto file = disk_.find(path.toStdString());
    return succeed(file && disk_.sync(file), path, error);
}

bool SimulatedFiles::syncFolder(const QString& path, QWError* error) {
    return succeed(disk_.syncNames(), path, error);
}

bool SimulatedFiles::move(const QString& from, const QString& to, QWError* error) {
    return succeed(disk_.rename(from.toStdString(), to.toStdString()), from, error);
}

bool SimulatedFiles::remove(const QString& path, QWError* error) {
    return succeed(disk_.remove(path.toStdString()), path, error);
}

// Folders are what stands in them.
bool SimulatedFiles::makeFolder(const QString&, QWError*) {
    return !disk_.isDead();
}

std::optional<QDateTime> SimulatedFiles::modificationDate(const QString& path) const {
    const auto file = disk_.find(path.toStdString());
    return file ? std::optional(file->modified) : std::nullopt;
}

bool SimulatedFiles::setModificationDate(const QString& path, const QDateTime& date, QWError* error) {
    return succeed(disk_.setModified(path.toStdString(), date), path, error);
}
