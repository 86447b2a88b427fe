#pragma once

#include <QByteArray>
#include <ctime>

// Makes `zone` the local time zone while it lives. Zones are given as POSIX rules
// ("CET-1CEST,M3.5.0,M10.5.0/3"), which need no zone database.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const char* zone) : previous_(qgetenv("TZ")) { set(zone); }
    ~ScopedTimeZone() { set(previous_); }
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    static void set(const QByteArray& zone) {
        qputenv("TZ", zone);
        tzset();
    }

    QByteArray previous_;
};
