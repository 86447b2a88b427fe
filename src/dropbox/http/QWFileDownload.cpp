#include "dropbox/http/QWFileDownload_p.h"

#include "dropbox/http/QWServiceAnswers_p.h"

#include <atomic>

namespace {

bool fail(QWError* error, const QString& message) {
    return qw::fail(error, {QStringLiteral("dropbox"), 0, message});
}

// Two downloads to one place, of one client or of two, must not share a part.
QString partBeside(const QString& localPath) {
    static std::atomic<quint64> downloads = 0;
    return QStringLiteral("%1.%2.part").arg(localPath).arg(++downloads);
}

} // namespace

QWFileDownload::QWFileDownload(QWFileManager& files, const QString& localPath)
    : files_(files), localPath_(localPath), partPath_(partBeside(localPath)) {}

QWFileDownload::~QWFileDownload() {
    if (!file_)
        return;
    file_->close();
    files_.remove(partPath_);
}

bool QWFileDownload::begin(const QByteArray& result, QWError* error) {
    const auto metadata = qw::http::fileMetadata(result);
    if (!metadata)
        return fail(error, QStringLiteral("the answer does not say which file it is"));
    metadata_ = *metadata;
    file_ = files_.openToWrite(partPath_, error);
    return file_ != nullptr;
}

bool QWFileDownload::add(const QByteArray& bytes, QWError* error) {
    size_ += bytes.size();
    hasher_.addData(bytes);
    if (size_ > metadata_.totalBytes)
        return fail(error, QStringLiteral("more than the announced %1 bytes came").arg(metadata_.totalBytes));
    if (file_->write(bytes) != bytes.size())
        return fail(error, QStringLiteral("%1 cannot be written: %2").arg(localPath_, file_->errorString()));
    return true;
}

bool QWFileDownload::commit(QWError* error) {
    if (size_ != metadata_.totalBytes)
        return fail(error,
                    QStringLiteral("%1 of %2 announced bytes came").arg(size_).arg(metadata_.totalBytes));
    if (!metadata_.hash.isEmpty() && hasher_.result() != metadata_.hash)
        return fail(error, QStringLiteral("the bytes that came are not those of the announced hash"));
    file_->close();
    if (!files_.move(partPath_, localPath_, error))
        return false;
    file_.reset();
    return true;
}
