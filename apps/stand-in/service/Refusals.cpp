#include "service/Refusals.h"

#include "dropbox/folder/QWAppFolder.h"

#include <QJsonDocument>

namespace standin {

namespace {

const QString tagKey = QStringLiteral(".tag");

QJsonObject nested(const QStringList& tags, const QJsonObject& innermost) {
    QJsonObject object = innermost;
    for (auto tag = tags.rbegin(); tag != tags.rend(); ++tag) {
        if (tag != tags.rbegin())
            object = {{*tag, object}};
        object.insert(tagKey, *tag);
    }
    return object;
}

// Clients must not compare summaries, so no two in a row are alike.
QString dots() {
    static unsigned count = 0;
    return QString(qsizetype(++count % 6), QLatin1Char('.'));
}

} // namespace

QStringList tagsOf(const QWError& error) {
    const auto conflict = QStringLiteral("conflict");
    switch (QWAppFolderErrorCode(error.code)) {
    case QWAppFolderErrorCode::NotFound:
        return {QStringLiteral("not_found")};
    case QWAppFolderErrorCode::NotAFile:
        return {QStringLiteral("not_file")};
    case QWAppFolderErrorCode::FileInTheWay:
        return {conflict, QStringLiteral("file")};
    case QWAppFolderErrorCode::FolderInTheWay:
        return {conflict, QStringLiteral("folder")};
    case QWAppFolderErrorCode::FileAmongParents:
        return {conflict, QStringLiteral("file_ancestor")};
    case QWAppFolderErrorCode::MalformedPath:
        return {QStringLiteral("malformed_path")};
    case QWAppFolderErrorCode::InsufficientSpace:
        return {QStringLiteral("insufficient_space")};
    case QWAppFolderErrorCode::IntoItself:
    case QWAppFolderErrorCode::CursorLost:
    case QWAppFolderErrorCode::Unavailable:
        break;
    }
    throw Breakdown{error.message};
}

QJsonObject errorObject(const QString& route, const EndpointError& error) {
    QJsonObject object;
    if (route == QLatin1String("files/upload") && error.tags.first() == QLatin1String("path"))
        object = {{tagKey, error.tags.first()},
                  {QStringLiteral("reason"), nested(error.tags.mid(1), error.innermost)}};
    else
        object = nested(error.tags, error.innermost);
    for (auto field = error.outermost.begin(); field != error.outermost.end(); ++field)
        object.insert(field.key(), field.value());
    return object;
}

Reply errorReply(int status, const QStringList& tags, const QJsonObject& error) {
    return jsonReply(
        {{QStringLiteral("error_summary"), tags.join(QLatin1Char('/')) + QLatin1Char('/') + dots()},
         {QStringLiteral("error"), error}},
        status);
}

Reply jsonReply(const QByteArray& json, int status) {
    return {status, {{"Content-Type", "application/json"}}, std::make_shared<Spool>(json)};
}

Reply jsonReply(const QJsonObject& object, int status) {
    return jsonReply(QJsonDocument(object).toJson(QJsonDocument::Compact), status);
}

} // namespace standin
