#include "sync/cache/QWArchivedVersionRow_p.h"

namespace qw::sync::archivedVersionRow {

void addEntity(QWManagedObjectModel& model) {
    auto& version = model.addEntity(rowEntityName);
    version.addAttribute(objectUUIDKey, QWAttributeType::String).setIndexedFolded();
    version.addAttribute(objectEntityNameKey, QWAttributeType::String);
    version.addAttribute(numberKey, QWAttributeType::Integer);
    version.addAttribute(dateModifiedKey, QWAttributeType::Date);
    version.addAttribute(archivedAtKey, QWAttributeType::Date).setIndexed();
    version.addAttribute(originKey, QWAttributeType::Integer);
    version.addAttribute(reasonKey, QWAttributeType::Integer);
    version.addAttribute(hashKey, QWAttributeType::Data);
    version.addAttribute(recordKey, QWAttributeType::Data);
    version.addAttribute(imageKey, QWAttributeType::String).setIndexed();
    version.addAttribute(imageSizeKey, QWAttributeType::Integer);
}

} // namespace qw::sync::archivedVersionRow
