#include "service/ServiceRoutes.h"

#include "dropbox/DBContentHash.h"

#include <QRegularExpression>

namespace standin {

struct Service::Commit {
    QString path;
    QWWriteMode mode;
};

namespace {

constexpr qint64 longestFile = (qint64(1) << 41) - (1 << 22);

const QString tagKey = QStringLiteral(".tag");
const QString pathTag = QStringLiteral("path");
const QString updateTag = QStringLiteral("update");

// "add", {".tag": "add"}, {".tag": "update", "update": REVISION}: the tag may only stand alone when nothing
// belongs to it.
QWWriteMode modeOf(const QJsonValue& value, const Arguments& arguments) {
    const QString tag = value.isString() ? value.toString() : value[tagKey].toString();
    if (tag == QLatin1String("add") || value.isUndefined())
        return QWWriteMode::add();
    if (tag == QLatin1String("overwrite"))
        return {QWWriteMode::Overwrite, {}, QWWriteMode::Refuse};
    if (tag != updateTag)
        arguments.refuse("mode", QStringLiteral("expected 'add', 'overwrite' or 'update'"));
    static const QRegularExpression revision(QStringLiteral("\\A[0-9a-f]{9,}\\z"));
    const QString rev = value[updateTag].toString();
    if (!revision.match(rev).hasMatch())
        arguments.refuse("mode",
                         QStringLiteral("update: '%1' did not match pattern '[0-9a-f]{9,}'").arg(rev));
    return QWWriteMode::update(rev);
}

qint64 takeOffset(Arguments& cursor) {
    return cursor.integer("offset", std::nullopt, 0, longestFile);
}

void takeSessionType(Arguments& arguments) {
    const QJsonValue type = arguments.value("session_type");
    const QString tag = type.isString() ? type.toString() : type[tagKey].toString();
    if (!type.isUndefined() && tag != QLatin1String("sequential"))
        arguments.refuse("session_type",
                         QStringLiteral("expected 'sequential'; no other type is served here"));
}

} // namespace

Service::Commit Service::takeCommit(Arguments& arguments) {
    Commit commit{arguments.path("path", PathForm::Written), modeOf(arguments.value("mode"), arguments)};
    if (arguments.flag("autorename", false))
        commit.mode.onConflict = QWWriteMode::Rename;
    commit.mode.isStrict = arguments.flag("strict_conflict", false);
    arguments.time("client_modified");
    arguments.ignore({"mute", "property_groups"});
    return commit;
}

void Service::checkHash(const std::optional<QString>& hash, Spool& content) {
    if (hash && dropboxContentHash(content) != *hash)
        throw EndpointError{{QStringLiteral("content_hash_mismatch")}};
    content.seek(0);
}

Reply Service::upload(Arguments& arguments, const Request& request) {
    const Commit commit = takeCommit(arguments);
    const auto hash = arguments.hash("content_hash");
    arguments.finish();
    checkHash(hash, *request.body);
    QWError error;
    if (const auto written = folder_->upload(commit.path, *request.body, commit.mode, &error))
        return jsonReply(metadataObject(*written, Tagged::No));
    const QStringList reason = tagsOf(error);
    throw EndpointError{QStringList(pathTag) + reason,
                        {},
                        {{QStringLiteral("upload_session_id"), keepSession(request.body, true)}}};
}

QString Service::keepSession(std::shared_ptr<Spool> content, bool isClosed) {
    const QString id = QStringLiteral("session:") + environment_->uuids().next();
    sessions_.insert(id, {std::move(content), isClosed});
    return id;
}

Reply Service::startSession(Arguments& arguments, const Request& request) {
    const bool isClosed = arguments.flag("close", false);
    takeSessionType(arguments);
    const auto hash = arguments.hash("content_hash");
    arguments.finish();
    checkHash(hash, *request.body);
    return jsonReply({{QStringLiteral("session_id"), keepSession(request.body, isClosed)}});
}

// The session, which must hold so many bytes. What is wrong with it stands below the tags `above`.
Service::Session& Service::findSession(const QString& id, qint64 offset, const QStringList& above) {
    const auto session = sessions_.find(id);
    if (session == sessions_.end())
        throw EndpointError{above + QStringList(QStringLiteral("not_found"))};
    const qint64 size = session->content->size();
    if (offset != size)
        throw EndpointError{above + QStringList(QStringLiteral("incorrect_offset")),
                            {{QStringLiteral("correct_offset"), size}}};
    return *session;
}

namespace {

void append(Spool& session, Spool& body) {
    session.seek(session.size());
    for (QByteArray piece = body.read(1 << 16); !piece.isEmpty(); piece = body.read(1 << 16)) {
        if (session.write(piece) != piece.size())
            throw Breakdown{session.errorString()};
    }
}

} // namespace

Reply Service::appendToSession(Arguments& arguments, const Request& request) {
    Arguments cursor = arguments.object("cursor");
    const QString id = cursor.text("session_id");
    const qint64 offset = takeOffset(cursor);
    cursor.finish();
    const bool isClosed = arguments.flag("close", false);
    const auto hash = arguments.hash("content_hash");
    arguments.finish();
    checkHash(hash, *request.body);
    Session& session = findSession(id, offset, {});
    if (session.isClosed)
        throw EndpointError{{QStringLiteral("closed")}};
    append(*session.content, *request.body);
    session.isClosed = isClosed;
    return jsonReply(QByteArray("null"));
}

Reply Service::finishSession(Arguments& arguments, const Request& request) {
    Arguments cursor = arguments.object("cursor");
    const QString id = cursor.text("session_id");
    const qint64 offset = takeOffset(cursor);
    cursor.finish();
    Arguments commitArguments = arguments.object("commit");
    const Commit commit = takeCommit(commitArguments);
    commitArguments.finish();
    const auto hash = arguments.hash("content_hash");
    arguments.finish();
    checkHash(hash, *request.body);

    const QString lookup = QStringLiteral("lookup_failed");
    Session& session = findSession(id, offset, {lookup});
    if (session.isClosed && request.body->size() > 0)
        throw EndpointError{{lookup, QStringLiteral("closed")}};
    append(*session.content, *request.body);
    session.content->seek(0);
    QWError error;
    if (const auto written = folder_->upload(commit.path, *session.content, commit.mode, &error)) {
        sessions_.remove(id);
        return jsonReply(metadataObject(*written, Tagged::No));
    }
    session.content->truncate(offset); // so that the call can be repeated for another place
    throw EndpointError{QStringList(pathTag) + tagsOf(error)};
}

} // namespace standin
