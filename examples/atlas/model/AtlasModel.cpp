#include "model/AtlasModel.h"

#include "model/AtlasRecords.h"

#include <algorithm>

namespace atlas {

namespace {

using Type = QWAttributeType;

void addNameAndCode(QWEntityDescription& entity) {
    addSyncAttributes(entity);
    entity.addAttribute("name", Type::String);
    entity.addAttribute("code", Type::String);
}

// Whether any of the keys is the field's own or that of its sort form.
bool namesField(const QStringList& keys, const QWManagedObjectFieldDescription& field) {
    const auto* text = dynamic_cast<const QWManagedObjectFieldDescriptionString*>(&field);
    return keys.contains(field.key()) || (text && keys.contains(text->sortKey()));
}

} // namespace

const QStringList& entityNames() {
    static const QStringList names = {"Currency", "Language", "Country", "Region", "Visit"};
    return names;
}

std::shared_ptr<QWManagedObjectModel> makeModel() {
    auto model = std::make_shared<QWManagedObjectModel>();

    auto& currency = model->addEntity<Currency>("Currency");
    addNameAndCode(currency);
    currency.addAttribute("number", Type::Integer);

    addNameAndCode(model->addEntity<Language>("Language"));

    auto& country = model->addEntity<Country>("Country");
    addSyncAttributes(country);
    for (const char* key : {"name", "sortName", "officialName", "alpha2", "alpha3"})
        country.addAttribute(key, Type::String);
    country.addAttribute("number", Type::Integer);
    country.addAttribute("visited", Type::Boolean);
    country.addToMany("regions", "Region").setInverse("country");
    country.addToMany("visits", "Visit").setInverse("country");

    auto& region = model->addEntity<Region>("Region");
    addNameAndCode(region);
    region.addAttribute("kind", Type::String);
    region.addToOne("country", "Country").setInverse("regions");
    region.addToOne("parent", "Region").setInverse("parts");
    region.addToMany("parts", "Region").setInverse("parent");
    region.addToMany("visits", "Visit").setInverse("region");

    auto& visit = model->addEntity<Visit>("Visit");
    addSyncAttributes(visit);
    for (const char* key : {"title", "sortTitle", "city", "tags", "status"})
        visit.addAttribute(key, Type::String);
    visit.addAttribute("notes", Type::Document);
    visit.addAttribute("favourite", Type::Boolean);
    visit.addAttribute("cost", Type::Double);
    visit.addAttribute("start", Type::Date);
    for (const char* key : {"minutes", "pace", "rating"})
        visit.addAttribute(key, Type::Integer);
    visit.addToOne("country", "Country").setInverse("visits");
    visit.addToOne("region", "Region").setInverse("visits");
    return model;
}

bool changedDescribedKey(const QWManagedObject& record) {
    const auto* synced = dynamic_cast<const QWManagedObjectWithSyncSupport*>(&record);
    if (!synced || !synced->fieldDescriptions())
        return false;
    const QStringList changed = record.changedKeysForCurrentEvent();
    return std::any_of(synced->fieldDescriptions()->begin(), synced->fieldDescriptions()->end(),
                       [&](const auto& field) { return namesField(changed, *field); });
}

} // namespace atlas
