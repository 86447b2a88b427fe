// Commands that print records.

#include "cli/Commands.h"
#include "cli/RecordJSON.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

using Record = QWManagedObjectWithSyncSupport;

// A value on one line, as `set` would read it.
QString shown(const QJsonValue& value) {
    if (value.isArray()) {
        QStringList members;
        for (const auto& member : value.toArray())
            members << member.toString();
        return members.join(QStringLiteral(", "));
    }
    return value.toVariant().toString();
}

QWPredicate parsedCondition(const QString& text, const QWEntityDescription& entity) {
    QWError error;
    const auto predicate = QWPredicate::parse(text, {}, &error);
    if (!predicate) {
        const int column = error.userInfo.value("column").toInt();
        throw Failure(
            QStringLiteral("--where: %1\n  %2\n  %3^").arg(error.message, text, QString(column - 1, ' ')));
    }
    if (!predicate->check(entity, &error))
        throw Failure("--where: " + error.message);
    return *predicate;
}

// Names and titles by their sort form, other texts in the user's order, the rest by value.
QWSortDescriptor sortedBy(const QString& key, const QWEntityDescription& entity) {
    static const QHash<QString, QString> sortKeys = {{"name", "sortName"}, {"title", "sortTitle"}};
    const auto* property = entity.property(entity.property(sortKeys.value(key)) ? sortKeys.value(key) : key);
    if (!property || !property->isAttribute())
        throw Failure(QStringLiteral("--sort: %1 has no attribute %2").arg(entity.name(), key));
    return {property->name(), true,
            property->type() == QWAttributeType::String
                ? QWSortDescriptor::Comparison::LocalizedCaseInsensitive
                : QWSortDescriptor::Comparison::Natural};
}

} // namespace

int runShow(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    const auto record = findRecord(*library, arguments.positional.first());
    const QJsonObject values = RecordJSON::of(*record);
    if (arguments.has("json")) {
        print(QString::fromUtf8(QJsonDocument(values).toJson(QJsonDocument::Compact)));
        return 0;
    }
    print("entity: " + record->entity().name());
    print("uuid: " + record->uuid());
    for (const auto& field : *record->fieldDescriptions())
        print(field->key() + ": " + shown(values[field->key()]));
    return 0;
}

int runList(const Arguments& arguments) {
    const QString name = arguments.positional.first();
    const auto library = openLibrary(arguments);
    checkEntityName(name);
    const auto& entity = *library->context().model().entity(name);

    QWFetchRequest request(name);
    if (arguments.has("where"))
        request.predicate = parsedCondition(arguments.value("where"), entity);
    if (arguments.has("sort"))
        request.sortDescriptors = {sortedBy(arguments.value("sort"), entity)};
    QWError error;
    const auto records = library->context().fetch(request, &error);
    if (!records)
        throw Failure(error);

    if (arguments.has("json")) {
        QJsonArray all;
        for (const auto& record : *records)
            all.append(RecordJSON::of(static_cast<Record&>(*record)));
        print(QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Compact)));
        return 0;
    }
    for (const auto& object : *records) {
        const auto& record = static_cast<Record&>(*object);
        print(record.uuid() + '\t'
              + record.valueForKey(record.fieldDescriptions()->first()->key()).toString());
    }
    return 0;
}
