#pragma once

#include <clocale>
#ifdef _WIN32
#include <string>
#elif __has_include(<xlocale.h>)
#include <xlocale.h>
#endif

namespace qw::sync {

// While it lives, C functions on this thread write and read fractions with a point, whatever the user's
// locale is.
class PlainLocale {
public:
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

#ifdef _WIN32
    PlainLocale()
        : mode_(_configthreadlocale(_ENABLE_PER_THREAD_LOCALE)),
          previous_(std::setlocale(LC_NUMERIC, nullptr)) {
        std::setlocale(LC_NUMERIC, "C");
    }
    ~PlainLocale() {
        std::setlocale(LC_NUMERIC, previous_.c_str());
        _configthreadlocale(mode_);
    }

private:
    int mode_;
    std::string previous_;
#else
    PlainLocale() : previous_(uselocale(plain())) {}
    ~PlainLocale() {
        uselocale(previous_);
    }

private:
    static locale_t plain() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }

    locale_t previous_;
#endif
};

} // namespace qw::sync
