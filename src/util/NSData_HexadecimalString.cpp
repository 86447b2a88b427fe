#include "util/NSData_HexadecimalString.h"

QString hexadecimalString(const QByteArray& data) {
    return data.isNull() ? QString() : QString::fromLatin1(data.toHex());
}
