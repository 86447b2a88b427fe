#pragma once

#include <QByteArray>
#include <QString>
#include <limits>
#include <optional>
#include <vector>

// A version of a record: its date as it travels, and of what is dated in one second the hash of its form. The greater
// one wins.
//
// The deletion of a record takes the references to it out of others where it is received, and leaves their dates:
// that is the same version. So is one with a reference to a record that nobody has.
struct Version {
    qint64 second = 0;
    QByteArray hash;           // without references to nobody
    QByteArray bareHash;       // without any
    QByteArray travellingHash; // with all

    bool operator==(const Version& other) const { return second == other.second && hash == other.hash; }
    bool operator<(const Version& other) const {
        return second != other.second ? second < other.second : hash < other.hash;
    }
    bool isBehind(const Version& other) const { return *this < other && !isSame(other); }
    bool isSame(const Version& other) const { return second == other.second && bareHash == other.bareHash; }
    // All that it may be on other machines.
    std::vector<Version> variants() const {
        return {*this,
                {second, bareHash, bareHash, bareHash},
                {second, travellingHash, bareHash, travellingHash}};
    }
    // Made by a reference, before its record has come.
    bool isPlaceholder() const { return second == std::numeric_limits<qint64>::min(); }
    QString text() const {
        return QStringLiteral("%1 %2").arg(second).arg(QString::fromLatin1(hash.toHex().left(8)));
    }
};
using MaybeVersion = std::optional<Version>;
