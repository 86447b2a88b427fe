#include "http/Spool.h"

#include <QBuffer>
#include <QTemporaryFile>

namespace standin {

namespace {
constexpr qint64 mostInMemory = 1024 * 1024;
}

Spool::Spool(const QByteArray& bytes) {
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(ReadWrite);
    store_ = std::move(buffer);
    open(ReadWrite | Unbuffered);
}

void Spool::truncate(qint64 size) {
    if (isInMemory_)
        static_cast<QBuffer&>(*store_).buffer().truncate(size);
    else
        static_cast<QTemporaryFile&>(*store_).resize(size);
    seek(std::min(pos(), size));
}

QByteArray Spool::all() {
    seek(0);
    return readAll();
}

qint64 Spool::readData(char* data, qint64 size) {
    return store_->seek(pos()) ? store_->read(data, size) : -1;
}

qint64 Spool::writeData(const char* data, qint64 size) {
    const bool isReady = !isInMemory_ || pos() + size <= mostInMemory || moveToFile();
    return isReady && store_->seek(pos()) ? store_->write(data, size) : -1;
}

bool Spool::moveToFile() {
    auto file = std::make_unique<QTemporaryFile>();
    const QByteArray& bytes = static_cast<QBuffer&>(*store_).data();
    if (!file->open() || file->write(bytes) != bytes.size()) {
        setErrorString(file->errorString());
        return false;
    }
    store_ = std::move(file);
    isInMemory_ = false;
    return true;
}

} // namespace standin
