#include "dropbox/http/QWFileUpload_p.h"

#include "dropbox/http/QWServiceAnswers_p.h"

namespace {

// A session that the service loses more often is no way to send a file.
constexpr int mostCorrections = 3;

QDateTime dateOf(const QFile& file) {
    return file.fileTime(QFile::FileModificationTime);
}

} // namespace

bool QWFileUpload::open(QWError* error) {
    file_ = files_.openToRead(localPath_, error);
    if (!file_)
        return false;
    size_ = file_->size();
    date_ = dateOf(*file_);
    return true;
}

std::optional<QWHTTPRequest> QWFileUpload::request(QWError* error) {
    if (!file_ && !open(error))
        return std::nullopt;
    pieceEnd_ = std::min(offset_ + pieceSize_, size_);
    file_->seek(offset_);
    const QByteArray piece = file_->read(pieceEnd_ - offset_);
    if (piece.size() != pieceEnd_ - offset_ || file_->size() != size_ || dateOf(*file_) != date_) {
        qw::fail(error, {QStringLiteral("files"), 0,
                         QStringLiteral("%1 changed while it was sent").arg(localPath_)});
        return std::nullopt;
    }
    const bool isLast = pieceEnd_ == size_;
    if (session_.isEmpty() && isLast)
        return QWHTTPRequest{QStringLiteral("files/upload"), commit_, piece};
    if (session_.isEmpty())
        return QWHTTPRequest{QStringLiteral("files/upload_session/start"), {{"close", false}}, piece};
    if (!isLast)
        return QWHTTPRequest{QStringLiteral("files/upload_session/append_v2"),
                             {{"cursor", cursor()}, {"close", false}},
                             piece};
    return QWHTTPRequest{
        QStringLiteral("files/upload_session/finish"), {{"cursor", cursor()}, {"commit", commit_}}, piece};
}

QJsonObject QWFileUpload::cursor() const {
    return {{"session_id", session_}, {"offset", offset_}};
}

bool QWFileUpload::goesOnAfter(const QWHTTPAnswer& answer) {
    if (answer.status == 200) {
        if (pieceEnd_ == size_)
            return false;
        if (session_.isEmpty())
            session_ = qw::http::jsonObject(answer.body).value_or(QJsonObject())["session_id"].toString();
        offset_ = pieceEnd_;
        return !session_.isEmpty();
    }
    if (session_.isEmpty() || ++corrections_ > mostCorrections)
        return false;
    // The end of a session says of it that it cannot be looked up, the others say why at once.
    QStringList tags = qw::http::errorTags(answer);
    QJsonValue error = qw::http::jsonObject(answer.body).value_or(QJsonObject())["error"];
    if (!tags.isEmpty() && tags.constFirst() == QLatin1String("lookup_failed"))
        error = error[tags.takeFirst()];
    const QString reason = tags.value(0);
    if (reason == QLatin1String("incorrect_offset")) {
        offset_ = error["correct_offset"].toInteger(-1);
        return offset_ >= 0 && offset_ <= size_;
    }
    if (reason == QLatin1String("not_found") || reason == QLatin1String("closed")) {
        session_.clear();
        offset_ = 0;
        return true;
    }
    return false;
}
