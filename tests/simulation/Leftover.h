#pragma once

#include <QString>
#include <array>
#include <optional>

// What an engine alone may leave behind, and one under a supervisor never does. docs/guarantees.md says of each kind, by
// its name, what a user sees.
enum class Leftover {
    Tie,
    OlderVersion,
    Clock,
    Reference,
    Record,
    Image,
    Preferences,
    Copy,
    MissingFile,
    Activity,
    Folder,
    SentAgain,
    Empty,
    Count
};

constexpr size_t leftoverCount = size_t(Leftover::Count);
using LeftoverCounts = std::array<qint64, leftoverCount>;

inline QString nameOf(Leftover kind) {
    static const std::array<const char*, leftoverCount> names{
        "tie",  "older-version", "clock",    "reference", "record",     "image", "preferences",
        "copy", "missing-file",  "activity", "folder",    "sent-again", "empty"};
    return QLatin1String(names[size_t(kind)]);
}

// Nothing when no kind has that name.
inline std::optional<Leftover> leftoverNamed(const QString& name) {
    for (size_t kind = 0; kind < leftoverCount; ++kind)
        if (nameOf(Leftover(kind)) == name)
            return Leftover(kind);
    return std::nullopt;
}
