#pragma once

#include <QString>

// Where new record identifiers come from.
class QWUUIDSource {
public:
    virtual ~QWUUIDSource();
    // A fresh UUID as upper-case text with hyphens and without braces: 36 characters.
    virtual QString next() = 0;
};

// Random (version 4) UUIDs, RFC 4122.
class QWSystemUUIDSource final : public QWUUIDSource {
public:
    QString next() override;
};
