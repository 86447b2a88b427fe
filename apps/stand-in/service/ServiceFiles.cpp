#include "service/ServiceRoutes.h"

#include "dropbox/DBPath.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <algorithm>

namespace standin {

namespace {

// Opaque, and the same for the same place.
QString idOf(const QString& lowercasePath) {
    const QByteArray hash = QCryptographicHash::hash(lowercasePath.toUtf8(), QCryptographicHash::Sha256);
    return QStringLiteral("id:") + QString::fromLatin1(hash.toBase64(QByteArray::Base64UrlEncoding).left(22));
}

QJsonObject placeObject(const QString& path, const QString& lowercasePath) {
    return {{QStringLiteral("name"), path.section(QLatin1Char('/'), -1)},
            {QStringLiteral("path_lower"), lowercasePath},
            {QStringLiteral("path_display"), path}};
}

// JSON for a header: everything beyond ASCII, and DEL, as \uXXXX.
QByteArray asciiJSON(const QJsonObject& object) {
    QByteArray ascii;
    for (const QChar unit : QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact))) {
        if (unit.unicode() < 0x7f)
            ascii += char(unit.unicode());
        else
            ascii += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    }
    return ascii;
}

// The error of a route that calls its lookups and writes by these names.
EndpointError endpointError(const QWError& error, const QString& lookup, const QString& write) {
    const QStringList tags = tagsOf(error);
    const bool isLookup = tags.first() == QLatin1String("not_found")
                          || tags.first() == QLatin1String("not_file")
                          || tags.first() == QLatin1String("malformed_path");
    return {QStringList(isLookup ? lookup : write) + tags};
}

const QString pathTag = QStringLiteral("path");
const QString metadataKey = QStringLiteral("metadata");

} // namespace

QJsonObject metadataObject(const DBMetadata& metadata, Tagged tagged) {
    const QString lowercasePath = lowercaseDropboxPath(metadata.path);
    QJsonObject object = placeObject(metadata.path, lowercasePath);
    object.insert(QStringLiteral("id"), idOf(lowercasePath));
    if (tagged == Tagged::Yes)
        object.insert(QStringLiteral(".tag"),
                      metadata.isDirectory ? QStringLiteral("folder") : QStringLiteral("file"));
    if (metadata.isDirectory)
        return object;
    const QString date = metadata.lastModifiedDate.toString(Qt::ISODate);
    object.insert(QStringLiteral("client_modified"), date);
    object.insert(QStringLiteral("server_modified"), date);
    object.insert(QStringLiteral("rev"), metadata.rev);
    object.insert(QStringLiteral("size"), metadata.totalBytes);
    object.insert(QStringLiteral("is_downloadable"), true);
    object.insert(QStringLiteral("content_hash"), metadata.hash);
    return object;
}

QJsonObject deletedObject(const QString& lowercasePath) {
    QJsonObject object = placeObject(lowercasePath, lowercasePath);
    object.insert(QStringLiteral(".tag"), QStringLiteral("deleted"));
    return object;
}

Reply Service::getMetadata(Arguments& arguments, const Request&) {
    const QString path = arguments.path("path", PathForm::Read);
    const bool includesDeleted = arguments.flag("include_deleted", false);
    arguments.ignore(
        {"include_media_info", "include_has_explicit_shared_members", "include_property_groups"});
    arguments.finish();
    QWError error;
    if (const auto metadata = folder_->metadata(path, &error))
        return jsonReply(metadataObject(*metadata, Tagged::Yes));
    if (includesDeleted && folder_->wasDeleted(path))
        return jsonReply(deletedObject(lowercaseDropboxPath(path)));
    throw EndpointError{QStringList(pathTag) + tagsOf(error)};
}

Reply Service::download(Arguments& arguments, const Request& request) {
    const QString path = arguments.path("path", PathForm::Read);
    arguments.ignore({"rev"});
    arguments.finish();
    Reply reply;
    QWError error;
    const auto metadata = folder_->read(path, *reply.body, &error);
    if (!metadata)
        throw EndpointError{QStringList(pathTag) + tagsOf(error)};
    const QByteArray tag = "W/\"" + metadata->rev.toLatin1() + '"';
    reply.headers = {{"Content-Type", "application/octet-stream"},
                     {"Dropbox-API-Result", asciiJSON(metadataObject(*metadata, Tagged::No))},
                     {"ETag", tag}};
    if (request.method == "GET" && request.header("If-None-Match") == tag) {
        reply.status = 304;
        reply.body->truncate(0);
    }
    return reply;
}

Reply Service::remove(Arguments& arguments, const Request&) {
    const QString path = arguments.path("path", PathForm::Written);
    const QString lookup = QStringLiteral("path_lookup"), write = QStringLiteral("path_write");
    std::optional<QString> revision;
    if (arguments.has("parent_rev"))
        revision = arguments.text("parent_rev");
    arguments.finish();
    QWError error;
    const auto standing = folder_->metadata(path, &error);
    if (standing && revision && standing->rev != *revision)
        throw EndpointError{{write, QStringLiteral("conflict"),
                             standing->isDirectory ? QStringLiteral("folder") : QStringLiteral("file")}};
    const auto removed = standing ? folder_->remove(path, &error) : std::nullopt;
    if (!removed)
        throw endpointError(error, lookup, write);
    return jsonReply({{metadataKey, metadataObject(*removed, Tagged::Yes)}});
}

Reply Service::createFolder(Arguments& arguments, const Request&) {
    const QString path = arguments.path("path", PathForm::Created);
    const bool renames = arguments.flag("autorename", false);
    arguments.finish();
    QWError error;
    const auto made =
        folder_->createFolder(path, renames ? QWWriteMode::Rename : QWWriteMode::Refuse, &error);
    if (!made)
        throw EndpointError{QStringList(pathTag) + tagsOf(error)};
    return jsonReply({{metadataKey, metadataObject(*made, Tagged::No)}});
}

Reply Service::move(Arguments& arguments, const Request&) {
    const QString from = arguments.path("from_path", PathForm::Written);
    const QString to = arguments.path("to_path", PathForm::Written);
    const bool renames = arguments.flag("autorename", false);
    arguments.ignore({"allow_shared_folder", "allow_ownership_transfer"});
    arguments.finish();
    QWError error;
    const auto moved = folder_->move(from, to, renames ? QWWriteMode::Rename : QWWriteMode::Refuse, &error);
    if (moved)
        return jsonReply({{metadataKey, metadataObject(*moved, Tagged::Yes)}});
    if (QWAppFolderErrorCode(error.code) == QWAppFolderErrorCode::IntoItself)
        throw EndpointError{{QStringLiteral("cant_move_folder_into_itself")}};
    const bool isAboutSource = error.userInfo[QStringLiteral("path")] == from;
    throw endpointError(error, isAboutSource ? QStringLiteral("from_lookup") : QStringLiteral("to"),
                        QStringLiteral("to"));
}

Reply Service::currentAccount(Arguments& arguments, const Request&) {
    arguments.finish();
    const QString name = options_.accountName;
    const QJsonObject names = {{QStringLiteral("given_name"), name},
                               {QStringLiteral("surname"), QString()},
                               {QStringLiteral("familiar_name"), name},
                               {QStringLiteral("display_name"), name},
                               {QStringLiteral("abbreviated_name"), name.left(1)}};
    const QString root = QStringLiteral("1");
    return jsonReply(
        {{QStringLiteral("account_id"), QStringLiteral("dbid:AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA")},
         {QStringLiteral("name"), names},
         {QStringLiteral("email"), QStringLiteral("owner@example.com")},
         {QStringLiteral("email_verified"), true},
         {QStringLiteral("disabled"), false},
         {QStringLiteral("locale"), QStringLiteral("en")},
         {QStringLiteral("referral_link"), QStringLiteral("https://example.com/")},
         {QStringLiteral("is_paired"), false},
         {QStringLiteral("account_type"), QJsonObject{{QStringLiteral(".tag"), QStringLiteral("basic")}}},
         {QStringLiteral("root_info"), QJsonObject{{QStringLiteral(".tag"), QStringLiteral("user")},
                                                   {QStringLiteral("root_namespace_id"), root},
                                                   {QStringLiteral("home_namespace_id"), root}}}});
}

Reply Service::checkUser(Arguments& arguments, const Request&) {
    const QString query = arguments.has("query") ? arguments.text("query", 500) : QString();
    arguments.finish();
    return jsonReply({{QStringLiteral("result"), query}});
}

} // namespace standin
