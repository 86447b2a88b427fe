#include "Trace.h"

#include <cstdio>

void Trace::add(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    hash_.addData(bytes);
    if (!isPrinted_)
        return;
    std::fputs(bytes.constData(), stdout);
    std::fflush(stdout); // the library's log comes between
}
