#include "store/sqlite/QWStoreModelText.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

constexpr QWAttributeType AttributeTypes[] = {
    QWAttributeType::String, QWAttributeType::Integer, QWAttributeType::Double,  QWAttributeType::Boolean,
    QWAttributeType::Date,   QWAttributeType::Data,    QWAttributeType::Document};

QString base64(const QVariant& bytes) {
    return QString::fromLatin1(bytes.toByteArray().toBase64());
}

// A default as text from which it comes back exactly; bytes of a document under a key of their own.
QJsonObject defaultToJson(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return {};
    case QMetaType::Double:
        return {{"default", QString::number(value.toDouble(), 'g', 17)}};
    case QMetaType::QDateTime:
        return {{"default", QString::number(value.toDateTime().toMSecsSinceEpoch())}};
    case QMetaType::QByteArray:
        return {{"defaultBytes", base64(value)}};
    default:
        return {{"default", value.toString()}};
    }
}

QVariant defaultFromJson(const QJsonObject& json, QWAttributeType type) {
    if (json.contains("defaultBytes"))
        return QByteArray::fromBase64(json["defaultBytes"].toString().toLatin1());
    if (!json.contains("default"))
        return {};
    const QString text = json["default"].toString();
    switch (type) {
    case QWAttributeType::Integer:
        return text.toLongLong();
    case QWAttributeType::Double:
        return text.toDouble();
    case QWAttributeType::Boolean:
        return text == QLatin1String("true");
    case QWAttributeType::Date:
        return QDateTime::fromMSecsSinceEpoch(text.toLongLong(), Qt::UTC);
    default:
        return text;
    }
}

QJsonObject toJson(const QWPropertyDescription& property) {
    QJsonObject json;
    if (property.isAttribute()) {
        json = defaultToJson(property.defaultValue());
        json["type"] = QWAttributeTypeName(property.type());
        json["indexed"] = property.isIndexed();
        json["folded"] = property.isFolded();
    } else {
        json["to"] = property.destinationName();
        json["many"] = property.isToMany();
        json["ordered"] = property.isOrdered();
        if (property.inverse())
            json["inverse"] = property.inverse()->name();
    }
    json["optional"] = property.isOptional();
    if (!property.renamedFrom().isEmpty())
        json["renamedFrom"] = property.renamedFrom();
    return json;
}

bool addProperty(QWEntityDescription& entity, const QString& name, const QJsonObject& json) {
    QWPropertyDescription* property = nullptr;
    if (json.contains("type")) {
        for (const QWAttributeType type : AttributeTypes) {
            if (QWAttributeTypeName(type) == json["type"].toString()) {
                property = &entity.addAttribute(name, type);
                property->setDefault(defaultFromJson(json, type));
            }
        }
        if (!property)
            return false;
    } else {
        const QString to = json["to"].toString();
        property = json["ordered"].toBool() ? &entity.addOrderedToMany(name, to)
                   : json["many"].toBool()  ? &entity.addToMany(name, to)
                                            : &entity.addToOne(name, to);
        property->setInverse(json["inverse"].toString());
    }
    if (json["indexed"].toBool())
        property->setIndexed();
    if (json["folded"].toBool())
        property->setIndexedFolded();
    property->setOptional(json["optional"].toBool());
    property->setRenamedFrom(json["renamedFrom"].toString());
    return true;
}

} // namespace

QByteArray QWStoreModelText(const QWManagedObjectModel& model) {
    QJsonObject entities; // keeps its keys sorted
    for (const auto& entity : model.entities()) {
        QJsonObject properties;
        for (const QWPropertyDescription* property : entity->properties()) {
            if (!entity->parent() || entity->parent()->property(property->name()) != property)
                properties[property->name()] = toJson(*property);
        }
        QJsonObject json{{"properties", properties}};
        if (entity->parent())
            json["parent"] = entity->parent()->name();
        if (!entity->renamedFrom().isEmpty())
            json["renamedFrom"] = entity->renamedFrom();
        entities[entity->name()] = json;
    }
    return QJsonDocument(entities).toJson(QJsonDocument::Compact);
}

std::unique_ptr<QWManagedObjectModel> QWModelFromStoreText(const QByteArray& text) {
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (!document.isObject())
        return nullptr;
    auto model = std::make_unique<QWManagedObjectModel>();
    const QJsonObject entities = document.object();
    for (auto at = entities.begin(); at != entities.end(); ++at) {
        QWEntityDescription& entity = model->addEntity(at.key());
        const QJsonObject json = at->toObject();
        entity.setParent(json["parent"].toString());
        entity.setRenamedFrom(json["renamedFrom"].toString());
        const QJsonObject properties = json["properties"].toObject();
        for (auto property = properties.begin(); property != properties.end(); ++property) {
            if (!addProperty(entity, property.key(), property->toObject()))
                return nullptr;
        }
    }
    return model->complete() ? std::move(model) : nullptr;
}

QByteArray QWStoreModelFingerprint(const QByteArray& text) {
    return QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex();
}
