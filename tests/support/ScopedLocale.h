#pragma once

#include <QLocale>

// The current locale for the duration of a test; "C" has no language.
class ScopedLocale {
public:
    explicit ScopedLocale(const char* name) { QLocale::setDefault(QLocale(QLatin1String(name))); }
    ~ScopedLocale() { QLocale::setDefault(QLocale::system()); }
    ScopedLocale(const ScopedLocale&) = delete;
    ScopedLocale& operator=(const ScopedLocale&) = delete;
};
