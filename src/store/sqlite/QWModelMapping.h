#pragma once

#include "store/QWManagedObjectModel.h"

#include <QHash>
#include <QStringList>
#include <vector>

// What became of the parts of a model in a later one: an entity or property comes from the one that it says
// it was renamed from, else from the one of its name. A part that was renamed in the earlier model already,
// by the same words, keeps its name; one that a renaming claims is gone under its old name.
//
// Refers to the parts of both models.
class QWModelMapping {
public:
    QWModelMapping(const QWManagedObjectModel& from, const QWManagedObjectModel& to);

    // Null for what was added.
    const QWEntityDescription* source(const QWEntityDescription& entity) const {
        return entities_.value(&entity, nullptr);
    }
    // The property of `source(entity)` that a property of `entity`, own or inherited, comes from.
    const QWPropertyDescription* source(const QWEntityDescription& entity,
                                        const QWPropertyDescription& property) const {
        return properties_[entity.index()].value(&property, nullptr);
    }
    // The same for every entity that has the property: several when it moved up in a hierarchy.
    std::vector<const QWPropertyDescription*> sources(const QWPropertyDescription& property) const;
    // The root of the hierarchy that the rows of this one come from.
    const QWEntityDescription* sourceOfHierarchy(const QWEntityDescription& root) const;
    // What became of an entity of the earlier model; null when it is gone.
    const QWEntityDescription* image(const QWEntityDescription& source) const {
        return entities_.key(&source, nullptr);
    }

    // The changes after which nobody can tell what the saved rows should become; one sentence each.
    QStringList reasonsAgainst() const;

private:
    void explain(const QWEntityDescription& entity, const QWPropertyDescription& property,
                 QStringList& reasons) const;
    bool keepsDestination(const QWPropertyDescription& before, const QWPropertyDescription& after) const;
    bool keepsInverse(const QWPropertyDescription& before, const QWPropertyDescription& after) const;

    const QWManagedObjectModel& to_;
    QHash<const QWEntityDescription*, const QWEntityDescription*> entities_;
    std::vector<QHash<const QWPropertyDescription*, const QWPropertyDescription*>>
        properties_;      // by entity index
    QStringList clashes_; // two parts that claim one source
};
