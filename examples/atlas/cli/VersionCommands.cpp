// Commands that deal with versions that lost against those of other desktops.

#include "cli/Commands.h"
#include "platform/text/QWDateText.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr int mostOfAllRecords = 100;

QString originText(QWArchivedVersion::Origin origin) {
    return origin == QWArchivedVersion::Origin::Here ? QStringLiteral("here") : QStringLiteral("cloud");
}

QString reasonText(QWArchivedVersion::Reason reason) {
    switch (reason) {
    case QWArchivedVersion::Reason::Earlier:
        return QStringLiteral("earlier");
    case QWArchivedVersion::Reason::SameSecond:
        return QStringLiteral("same second");
    case QWArchivedVersion::Reason::Deletion:
        return QStringLiteral("deleted");
    case QWArchivedVersion::Reason::Restoration:
        break;
    }
    return QStringLiteral("restored");
}

// The first described field: a name or a title. An image has none.
QString titleOf(const QWArchivedVersion& version, atlas::AtlasLibrary& library) {
    if (version.isImage())
        return QStringLiteral("image of %1 bytes").arg(version.imageSize);
    const QWRef<QWManagedObject> sample(library.context().model().entity(version.entityName)->makeRecord());
    const auto& record = static_cast<const QWManagedObjectWithSyncSupport&>(*sample);
    return version.record.value(record.fieldDescriptions()->first()->key()).toString();
}

QJsonObject jsonOf(const QWArchivedVersion& version, const QString& title) {
    const QString date = qw::text::textFromDate(version.dateModified);
    QJsonObject json{
        {"uuid", version.uuid},
        {"entity", version.entityName},
        {"version", version.number},
        {"dateModified", date.isNull() ? QJsonValue() : QJsonValue(date)},
        {"archivedAt", qw::text::textFromDate(version.archivedAt)},
        {"origin", originText(version.origin)},
        {"why", reasonText(version.reason)},
        {"title", title},
    };
    if (version.isImage())
        json.insert("image", QJsonObject{{"file", version.imagePath}, {"bytes", version.imageSize}});
    else
        json.insert("record", QJsonObject::fromVariantMap(version.record));
    return json;
}

} // namespace

int runHistory(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    const QWVersionArchive archive(library->engine());
    const QString uuid = arguments.positional.value(0);
    const auto versions = uuid.isEmpty() ? archive.latestVersions(mostOfAllRecords) : archive.versions(uuid);
    if (versions.empty() && !uuid.isEmpty())
        findRecord(*library, uuid); // or it fails
    QJsonArray all;
    for (const auto& version : versions) {
        const QString title = titleOf(version, *library);
        all.append(jsonOf(version, title));
        if (!arguments.has("json"))
            print(QStringList{version.uuid, QString::number(version.number),
                              qw::text::textFromDate(version.dateModified), originText(version.origin),
                              reasonText(version.reason), title}
                      .join('\t'));
    }
    if (arguments.has("json"))
        print(QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Compact)));
    return 0;
}

int runRestore(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    QWVersionArchive archive(library->engine());
    const QString uuid = arguments.positional[0];
    const auto versions = archive.versions(uuid);
    if (versions.empty())
        findRecord(*library, uuid);
    const auto version = std::find_if(versions.begin(), versions.end(), [&](const auto& candidate) {
        return QString::number(candidate.number) == arguments.positional[1];
    });
    if (version == versions.end())
        throw Failure(QStringLiteral("no version %1 of %2: atlas --library DIR history %2 lists them")
                          .arg(arguments.positional[1], uuid));
    QWError error;
    if (!archive.restore(*version, &error) || !library->save(&error))
        throw Failure(error);
    return 0;
}
