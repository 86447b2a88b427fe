#pragma once

#include "SimulatedDisk.h"
#include "platform/QWFileManager.h"

// The files of a simulated machine. Those that are read or written piece by piece are not simulated: they
// cannot be opened.
class SimulatedFiles final : public QWFileManager {
public:
    explicit SimulatedFiles(SimulatedDisk& disk) : disk_(disk) {}

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

private:
    SimulatedDisk& disk_;
};
