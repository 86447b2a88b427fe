#pragma once

#include <QIODevice>
#include <memory>

namespace standin {

// Bytes that arrive or leave piece by piece: in memory while they are few, in a temporary file when they are
// many. Open for reading and writing at any position from the start.
class Spool final : public QIODevice {
public:
    explicit Spool(const QByteArray& bytes = {});

    qint64 size() const override { return store_->size(); }
    // Drops everything from there on.
    void truncate(qint64 size);
    // Everything, whatever the position was.
    QByteArray all();

private:
    qint64 readData(char* data, qint64 size) override;
    qint64 writeData(const char* data, qint64 size) override;
    bool moveToFile();

    std::unique_ptr<QIODevice> store_;
    bool isInMemory_ = true;
};

} // namespace standin
