#pragma once

#include "platform/QWError.h"

#include <QFlags>
#include <QList>
#include <QString>
#include <optional>

namespace atlas {

enum class ISOTable { Currencies = 1, Languages = 2, Countries = 4, Regions = 8 };
Q_DECLARE_FLAGS(ISOTableSet, ISOTable)

struct ISOCurrency {
    QString code, name;
    int number = 0;
};
struct ISOLanguage {
    QString code, name; // three letters
};
struct ISOCountry {
    QString alpha2, alpha3, name, officialName; // no official name: null
    int number = 0;
};
struct ISORegion {
    QString code, name, kind;
    QString countryAlpha2;
    QString parentCode; // null: directly part of the country
};

struct ISOTables {
    QList<ISOCurrency> currencies;
    QList<ISOLanguage> languages;
    QList<ISOCountry> countries;
    QList<ISORegion> regions;
};

// Reads the tables iso_4217.json, iso_639-2.json, iso_3166-1.json and iso_3166-2.json of Debian's iso-codes
// from `folder`, as many as are wanted; regions bring their countries. Nothing, with an error that names
// file, entry, key and value, when one is broken: unreadable, a key missing or of the wrong type, a code used
// twice, a region without its country or parent.
std::optional<ISOTables> readISOTables(const QString& folder, ISOTableSet wanted, QWError* error = nullptr);

} // namespace atlas

Q_DECLARE_OPERATORS_FOR_FLAGS(atlas::ISOTableSet)
