#pragma once

#include <QString>
#include <optional>

struct QWError;
class QWManagedObjectContext;

namespace atlas {

// One hash (SHA-256, hex) over everything in the form in which it travels: of each record entity, uuid and
// sync record, dates in UTC, members without order sorted, and the SHA-256 of its image. Equal exactly when
// two libraries are in step.
std::optional<QString> digest(QWManagedObjectContext& context, QWError* error = nullptr);

// SHA-256 (hex) of an image file; null for one that is missing or empty, which is no image.
QString imageDigest(const QString& path);

} // namespace atlas
