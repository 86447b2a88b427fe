#pragma once

#include "store/QWManagedObjectModel.h"

#include <QStringList>
#include <memory>

class QWManagedObject;

namespace atlas {

// The entities of an atlas, in order of dependency: each refers to those before it (a Region to Regions too).
const QStringList& entityNames();

std::shared_ptr<QWManagedObjectModel> makeModel();

// Whether the event that is being reported changed anything that travels: a described key or the sort form of
// one. A Country that only gained a visit did not change.
bool changedDescribedKey(const QWManagedObject& record);

} // namespace atlas
