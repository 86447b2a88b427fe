#include "testing/QWSeededUUIDSource.h"

#include <QUuid>

QString QWSeededUUIDSource::next() {
    const quint64 high = (random_() & ~quint64(0xF000)) | 0x4000;                   // version 4
    const quint64 low = (random_() & ~(quint64(0xC0) << 56)) | quint64(0x80) << 56; // the RFC's variant
    const QUuid uuid(uint(high >> 32), ushort(high >> 16), ushort(high), uchar(low >> 56), uchar(low >> 48),
                     uchar(low >> 40), uchar(low >> 32), uchar(low >> 24), uchar(low >> 16), uchar(low >> 8),
                     uchar(low));
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}
