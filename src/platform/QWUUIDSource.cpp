#include "platform/QWUUIDSource.h"

#include <QUuid>

QWUUIDSource::~QWUUIDSource() = default;

QString QWSystemUUIDSource::next() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}
