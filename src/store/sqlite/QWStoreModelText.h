#pragma once

#include "store/QWManagedObjectModel.h"

#include <QByteArray>
#include <memory>

// What a store's file remembers of the model that it was written with: everything that bears on its rows, as
// JSON with entities and properties by name. Models that differ in the order of declaration only have equal
// texts.
QByteArray QWStoreModelText(const QWManagedObjectModel& model);

// The model, complete, with plain records; null when the text is not one of ours.
std::unique_ptr<QWManagedObjectModel> QWModelFromStoreText(const QByteArray& text);

// Equal for equal texts, different for different ones.
QByteArray QWStoreModelFingerprint(const QByteArray& text);
