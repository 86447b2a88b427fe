#include "store/QWManagedObjectModel.h"

#include "platform/QWAssert.h"
#include "store/QWManagedObject.h"
#include "store/QWStoreError.h"

#include <QDateTime>
#include <cmath>
#include <limits>

QString QWAttributeTypeName(QWAttributeType type) {
    switch (type) {
    case QWAttributeType::String:
        return QStringLiteral("String");
    case QWAttributeType::Integer:
        return QStringLiteral("Integer");
    case QWAttributeType::Double:
        return QStringLiteral("Double");
    case QWAttributeType::Boolean:
        return QStringLiteral("Boolean");
    case QWAttributeType::Date:
        return QStringLiteral("Date");
    case QWAttributeType::Data:
        return QStringLiteral("Data");
    case QWAttributeType::Document:
        return QStringLiteral("Document");
    }
    return {};
}

namespace {

// 2^63, the first double that no qlonglong reaches.
constexpr double IntegerLimit = 9223372036854775808.0;

std::optional<qlonglong> exactInteger(double number) {
    if (number < -IntegerLimit || number >= IntegerLimit || number != std::trunc(number))
        return std::nullopt; // NaN fails the last test
    return static_cast<qlonglong>(number);
}

std::optional<qlonglong> exactInteger(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return value.toLongLong();
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const qulonglong number = value.toULongLong();
        if (number > static_cast<qulonglong>(std::numeric_limits<qlonglong>::max()))
            return std::nullopt;
        return static_cast<qlonglong>(number);
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return exactInteger(value.toDouble());
    default:
        return std::nullopt;
    }
}

std::optional<double> exactDouble(const QVariant& value) {
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        if (std::isnan(value.toDouble()))
            return std::nullopt; // SQLite would store no value, and nothing could be sorted by it
        return value.toDouble();
    }
    const auto integer = exactInteger(value);
    if (!integer)
        return std::nullopt;
    const auto number = static_cast<double>(*integer);
    return exactInteger(number) == integer ? std::optional(number) : std::nullopt;
}

} // namespace

std::optional<QVariant> QWPropertyDescription::converted(QVariant value) const {
    if (value.isNull())
        return QVariant();
    const int given = value.typeId();
    switch (type_) {
    case QWAttributeType::String:
        if (given == QMetaType::QString)
            return value;
        break;
    case QWAttributeType::Integer:
        if (const auto number = exactInteger(value))
            return QVariant(*number);
        break;
    case QWAttributeType::Double:
        if (const auto number = exactDouble(value))
            return QVariant(*number);
        break;
    case QWAttributeType::Boolean:
        if (const auto number = exactInteger(value); number == 0 || number == 1)
            return QVariant(number == 1);
        break;
    case QWAttributeType::Date:
        if (given == QMetaType::QDateTime) {
            const auto& date = *static_cast<const QDateTime*>(value.constData());
            if (date.isValid() && date.timeSpec() != Qt::UTC)
                return QVariant(date.toUTC());
            if (date.isValid())
                return value;
        }
        break;
    case QWAttributeType::Data:
        if (given == QMetaType::QByteArray)
            return value;
        break;
    case QWAttributeType::Document:
        if (given == QMetaType::QByteArray || given == QMetaType::QString)
            return value;
        break;
    }
    return std::nullopt;
}

QWPropertyDescription& QWPropertyDescription::setOptional(bool optional) {
    optional_ = optional;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setDefault(const QVariant& value) {
    default_ = value;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setIndexed() {
    indexed_ = true;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setIndexedFolded() {
    folded_ = true;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setInverse(const QString& name) {
    inverseName_ = name;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setDeleteRule(QWDeleteRule rule) {
    deleteRule_ = rule;
    return *this;
}

QWPropertyDescription& QWPropertyDescription::setRenamedFrom(const QString& name) {
    renamedFrom_ = name;
    return *this;
}

// Entity ----------------------------------------------------------------------------------------------------

bool QWEntityDescription::isKindOf(const QWEntityDescription& other) const {
    for (const QWEntityDescription* entity = this; entity; entity = entity->parent_) {
        if (entity == &other)
            return true;
    }
    return false;
}

QWPropertyDescription& QWEntityDescription::add(const QString& name, bool attribute) {
    own_.push_back(std::make_unique<QWPropertyDescription>());
    QWPropertyDescription& property = *own_.back();
    property.name_ = name;
    property.attribute_ = attribute;
    return property;
}

QWPropertyDescription& QWEntityDescription::addAttribute(const QString& name, QWAttributeType type) {
    QWPropertyDescription& property = add(name, true);
    property.type_ = type;
    return property;
}

QWPropertyDescription& QWEntityDescription::addToOne(const QString& name, const QString& destination) {
    QWPropertyDescription& property = add(name, false);
    property.destinationName_ = destination;
    return property;
}

QWPropertyDescription& QWEntityDescription::addToMany(const QString& name, const QString& destination) {
    QWPropertyDescription& property = addToOne(name, destination);
    property.kind_ = QWRelationshipKind::ToMany;
    return property;
}

QWPropertyDescription& QWEntityDescription::addOrderedToMany(const QString& name,
                                                             const QString& destination) {
    QWPropertyDescription& property = addToOne(name, destination);
    property.kind_ = QWRelationshipKind::OrderedToMany;
    return property;
}

QWEntityDescription& QWEntityDescription::setParent(const QString& name) {
    parentName_ = name;
    return *this;
}

QWEntityDescription& QWEntityDescription::setRenamedFrom(const QString& name) {
    renamedFrom_ = name;
    return *this;
}

// Model -----------------------------------------------------------------------------------------------------

QWManagedObjectModel::QWManagedObjectModel() = default;
QWManagedObjectModel::~QWManagedObjectModel() = default;

QWEntityDescription& QWManagedObjectModel::addEntity(const QString& name) {
    return addEntity(name, [] { return new QWManagedObject; });
}

QWEntityDescription& QWManagedObjectModel::addEntity(const QString& name,
                                                     QWEntityDescription::Factory factory) {
    QWAssert(!complete_, "!complete", "-[QWManagedObjectModel addEntity:]");
    entities_.push_back(std::make_unique<QWEntityDescription>());
    QWEntityDescription& entity = *entities_.back();
    entity.name_ = name;
    entity.index_ = static_cast<int>(entities_.size()) - 1;
    entity.factory_ = std::move(factory);
    return entity;
}

bool QWManagedObjectModel::complete(QWError* error) {
    if (complete_)
        return true;
    QStringList reasons;
    nameEntities(reasons);
    if (resolveParents(reasons)) {
        for (const auto& entity : entities_) {
            if (!entity->parent_)
                layOut(*entity, reasons);
        }
        resolveRelationships(reasons);
    }
    if (!reasons.isEmpty()) {
        return qw::fail(
            error,
            QWMakeStoreError(
                QWStoreErrorCode::InvalidModel,
                QStringLiteral("The model contradicts itself: %1.").arg(reasons.join(QStringLiteral("; "))),
                {{QStringLiteral("reasons"), reasons}}));
    }
    complete_ = true;
    return true;
}

void QWManagedObjectModel::nameEntities(QStringList& reasons) {
    for (const auto& entity : entities_) {
        if (entity->name_.isEmpty())
            reasons << QStringLiteral("an entity has no name");
        else if (this->entity(entity->name_) != entity.get())
            reasons << QStringLiteral("two entities are named %1").arg(entity->name_);
    }
}

bool QWManagedObjectModel::resolveParents(QStringList& reasons) {
    const auto before = reasons.size();
    for (const auto& entity : entities_) {
        entity->parent_ = this->entity(entity->parentName_);
        entity->children_.clear();
        if (!entity->parentName_.isEmpty() && !entity->parent_)
            reasons << QStringLiteral("%1 has the unknown parent %2").arg(entity->name_, entity->parentName_);
    }
    for (const auto& entity : entities_) {
        size_t steps = 0;
        entity->root_ = entity.get();
        while (entity->root_->parent_ && ++steps <= entities_.size())
            entity->root_ = entity->root_->parent_;
        if (entity->root_->parent_)
            reasons << QStringLiteral("%1 is its own ancestor").arg(entity->name_);
    }
    for (const auto& entity : entities_) {
        if (entity->parent_)
            entities_[entity->parent_->index_]->children_.push_back(entity.get());
    }
    return reasons.size() == before;
}

void QWManagedObjectModel::layOut(QWEntityDescription& entity, QStringList& reasons) {
    entity.properties_ = entity.parent_ ? entity.parent_->properties_ : decltype(entity.properties_)();
    for (const auto& property : entity.own_) {
        const QString name = entity.name_ + QLatin1Char('.') + property->name_;
        if (property->name_.isEmpty())
            reasons << QStringLiteral("a property of %1 has no name").arg(entity.name_);
        else if (entity.property(property->name_))
            reasons << QStringLiteral("two properties are named %1").arg(name);
        if (property->folded_ && !(property->attribute_ && property->type_ == QWAttributeType::String))
            reasons << QStringLiteral("%1 is indexed folded but is no string").arg(name);

        const auto value = property->attribute_ ? property->converted(property->default_) : std::nullopt;
        if (value)
            property->default_ = *value;
        else if (property->default_.isValid())
            reasons << QStringLiteral("the default of %1 does not fit").arg(name);

        property->index_ = static_cast<int>(entity.properties_.size());
        entity.properties_.push_back(property.get());
    }
    for (const QWEntityDescription* child : entity.children_)
        layOut(*entities_[child->index_], reasons);
}

void QWManagedObjectModel::resolveRelationships(QStringList& reasons) {
    for (const auto& entity : entities_) {
        for (const auto& property : entity->own_) {
            property->inverse_ = nullptr;
            property->destination_ = this->entity(property->destinationName_);
            if (!property->attribute_ && !property->destination_)
                reasons << QStringLiteral("%1.%2 has the unknown destination %3")
                               .arg(entity->name_, property->name_, property->destinationName_);
        }
    }
    for (const auto& entity : entities_) {
        for (const auto& property : entity->own_) {
            if (!property->attribute_ && property->destination_ && !property->inverseName_.isEmpty()
                && !resolveInverse(*entity, *property))
                reasons << QStringLiteral("%1.%2 and its inverse %3.%4 do not match")
                               .arg(entity->name_, property->name_, property->destinationName_,
                                    property->inverseName_);
        }
    }
}

// Both ends must be declared on the very entity that the other names as its destination: otherwise a record
// could be linked at one end that the other end cannot hold. One end may leave the inverse to the other to
// name.
bool QWManagedObjectModel::resolveInverse(const QWEntityDescription& entity,
                                          QWPropertyDescription& property) {
    for (const auto& inverse : entities_[property.destination_->index_]->own_) {
        if (inverse->name_ != property.inverseName_ || inverse->attribute_)
            continue;
        if (inverse->destination_ != &entity
            || (!inverse->inverseName_.isEmpty() && inverse->inverseName_ != property.name_)
            || (inverse->inverse_ && inverse->inverse_ != &property))
            return false;
        property.inverse_ = inverse.get();
        inverse->inverse_ = &property;
        return true;
    }
    return false;
}
