#pragma once

#include "platform/QWUUIDSource.h"

#include <random>

// UUIDs that look random (version 4) and are the same for the same seed, on every machine.
class QWSeededUUIDSource final : public QWUUIDSource {
public:
    explicit QWSeededUUIDSource(quint64 seed) : random_(seed) {}

    QString next() override;

private:
    std::mt19937_64 random_;
};
