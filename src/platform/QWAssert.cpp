#include "platform/QWAssert.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

QWAssertionHandler& installedHandler() {
    static QWAssertionHandler handler;
    return handler;
}

QString fileName(const char* path) {
    const QString text = QString::fromUtf8(path);
    return text.mid(std::max(text.lastIndexOf(u'/'), text.lastIndexOf(u'\\')) + 1);
}

void printFailure(const QWAssertionFailure& failure) {
    std::fprintf(stderr, "Assertion failed: (%s), %s, %s\n", qUtf8Printable(failure.expression),
                 qUtf8Printable(failure.operation), qUtf8Printable(failure.file));
}

} // namespace

QWAssertionHandler QWSetAssertionHandler(QWAssertionHandler handler) {
    return std::exchange(installedHandler(), std::move(handler));
}

void qw::assertionFailed(const char* expression, const char* operation, const char* file) {
    const QWAssertionFailure failure{QString::fromUtf8(expression), QString::fromUtf8(operation),
                                     fileName(file)};
    if (const auto& handler = installedHandler())
        handler(failure);
    else
        printFailure(failure);
    std::abort();
}
