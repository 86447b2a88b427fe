#include "store/sqlite/QWModelMapping.h"

#include <QSet>
#include <algorithm>

namespace {

// The source of each of `parts`; `find` gives the earlier part of a name, or null.
template <class Part, class Parts, class Find>
QHash<const Part*, const Part*> match(const Parts& parts, Find find, const QString& prefix,
                                      QStringList& clashes) {
    QHash<const Part*, const Part*> sources;
    QSet<const Part*> claimed;
    const auto claim = [&](const Part& part, const Part* source) {
        sources.insert(&part, source);
        claimed.insert(source);
    };
    for (const auto& part : parts) {
        const Part* same = find(part->name());
        if (same && !part->renamedFrom().isEmpty() && same->renamedFrom() == part->renamedFrom())
            claim(*part, same);
    }
    for (const auto& part : parts) {
        const Part* renamed = part->renamedFrom().isEmpty() ? nullptr : find(part->renamedFrom());
        if (!renamed || sources.contains(&*part))
            continue;
        if (claimed.contains(renamed))
            clashes << QStringLiteral("%1%2 and another claim to have been %3")
                           .arg(prefix, part->name(), part->renamedFrom());
        claim(*part, renamed);
    }
    for (const auto& part : parts) {
        const Part* same = find(part->name());
        if (same && !sources.contains(&*part) && !claimed.contains(same))
            claim(*part, same);
    }
    return sources;
}

QString nameOf(const QWEntityDescription& entity, const QWPropertyDescription& property) {
    return entity.name() + QLatin1Char('.') + property.name();
}

} // namespace

QWModelMapping::QWModelMapping(const QWManagedObjectModel& from, const QWManagedObjectModel& to)
    : to_(to), properties_(to.entities().size()) {
    entities_ = match<QWEntityDescription>(
        to.entities(), [&](const QString& name) { return from.entity(name); }, {}, clashes_);
    for (const auto& entity : to.entities()) {
        if (const QWEntityDescription* before = source(*entity)) {
            properties_[entity->index()] = match<QWPropertyDescription>(
                entity->properties(), [&](const QString& name) { return before->property(name); },
                entity->name() + QLatin1Char('.'), clashes_);
        }
    }
}

std::vector<const QWPropertyDescription*>
QWModelMapping::sources(const QWPropertyDescription& property) const {
    std::vector<const QWPropertyDescription*> found;
    for (const auto& properties : properties_) {
        const QWPropertyDescription* before = properties.value(&property, nullptr);
        if (before && std::find(found.begin(), found.end(), before) == found.end())
            found.push_back(before);
    }
    return found;
}

const QWEntityDescription* QWModelMapping::sourceOfHierarchy(const QWEntityDescription& root) const {
    for (const auto& entity : to_.entities()) {
        const QWEntityDescription* before = source(*entity);
        if (before && &entity->root() == &root)
            return &before->root();
    }
    return nullptr;
}

QStringList QWModelMapping::reasonsAgainst() const {
    QStringList reasons = clashes_;
    for (const auto& entity : to_.entities()) {
        const QWEntityDescription* before = source(*entity);
        if (!before)
            continue;
        const QWEntityDescription* rows = sourceOfHierarchy(entity->root());
        if (&before->root() != rows)
            reasons << QStringLiteral("%1 joins the hierarchy of %2, which it was no part of")
                           .arg(entity->name(), rows->name());
        for (const QWPropertyDescription* property : entity->properties())
            explain(*entity, *property, reasons);
    }
    reasons.removeDuplicates();
    return reasons;
}

void QWModelMapping::explain(const QWEntityDescription& entity, const QWPropertyDescription& property,
                             QStringList& reasons) const {
    const QWPropertyDescription* before = source(entity, property);
    const bool explained = entity.parent() && entity.parent()->property(property.name()) == &property
                           && source(*entity.parent(), property) == before;
    if (!before || explained)
        return;
    const QString name = nameOf(entity, property);
    if (before->isAttribute() != property.isAttribute())
        reasons << QStringLiteral("%1 changes between attribute and relationship").arg(name);
    else if (property.isAttribute()) {
        if (before->type() != property.type())
            reasons << QStringLiteral("%1 changes its type from %2 to %3")
                           .arg(name, QWAttributeTypeName(before->type()),
                                QWAttributeTypeName(property.type()));
    } else {
        if (before->isToMany() && !property.isToMany())
            reasons << QStringLiteral("%1 changes from to-many to to-one").arg(name);
        if (!keepsDestination(*before, property))
            reasons << QStringLiteral("%1 changes its destination from %2 to %3")
                           .arg(name, before->destinationName(), property.destinationName());
        if (!keepsInverse(*before, property))
            reasons << QStringLiteral("%1 changes its inverse").arg(name);
    }
}

// All that the relationship could lead to and that still exists must be something that it can lead to now.
bool QWModelMapping::keepsDestination(const QWPropertyDescription& before,
                                      const QWPropertyDescription& after) const {
    if (!image(*before.destination()))
        return false;
    return std::all_of(to_.entities().begin(), to_.entities().end(), [&](const auto& entity) {
        const QWEntityDescription* was = source(*entity);
        return !was || !was->isKindOf(*before.destination()) || entity->isKindOf(*after.destination());
    });
}

// An inverse may come and go, but two relationships that each had their own links cannot become one.
bool QWModelMapping::keepsInverse(const QWPropertyDescription& before,
                                  const QWPropertyDescription& after) const {
    if (!after.inverse())
        return true;
    const auto inverses = sources(*after.inverse());
    return std::all_of(inverses.begin(), inverses.end(),
                       [&](const QWPropertyDescription* inverse) { return inverse == before.inverse(); });
}
