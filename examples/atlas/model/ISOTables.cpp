#include "model/ISOTables.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace atlas {

namespace {

// Thrown while a table is read; answered by readISOTables.
struct BrokenTable {
    QString message;
};

QString shown(const QJsonValue& value) {
    return value.isUndefined()
               ? QStringLiteral("nothing")
               : QString::fromUtf8(QJsonDocument({value}).toJson(QJsonDocument::Compact)).mid(1).chopped(1);
}

class Table;

// One entry of a table. What it lacks or has wrong is reported with its place.
class Entry {
public:
    Entry(Table& table, int number, const QJsonValue& value);

    QString text(const QString& key) const {
        const QJsonValue value = object_[key];
        if (!value.isString() || value.toString().isEmpty())
            fail(key, QStringLiteral("a text"));
        return value.toString();
    }
    QString optionalText(const QString& key) const { return object_.contains(key) ? text(key) : QString(); }
    int number(const QString& key) const {
        bool isNumber = false;
        const int number = text(key).toInt(&isNumber);
        if (!isNumber || number < 0)
            fail(key, QStringLiteral("digits"));
        return number;
    }
    // A text that no other entry of the table has.
    QString code(const QString& key) const;

    [[noreturn]] void fail(const QString& key, const QString& expected) const;

private:
    Table& table_;
    int number_;
    QJsonObject object_;
};

class Table {
public:
    Table(const QString& folder, const QString& name) : path_(folder + "/iso_" + name + ".json") {
        QFile file(path_);
        if (!file.open(QIODevice::ReadOnly))
            throw BrokenTable{path_ + ": " + file.errorString()};
        QJsonParseError parsing;
        const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parsing);
        if (document.isNull())
            throw BrokenTable{QStringLiteral("%1: at byte %2: %3")
                                  .arg(path_)
                                  .arg(parsing.offset)
                                  .arg(parsing.errorString())};
        const QJsonValue entries = document[name];
        if (!entries.isArray())
            throw BrokenTable{QStringLiteral("%1: key \"%2\": expected an array, found %3")
                                  .arg(path_, name, shown(entries))};
        entries_ = entries.toArray();
    }

    const QString& path() const { return path_; }
    // False when an entry has that code already.
    bool claim(const QString& code) {
        const auto before = codes_.size();
        codes_.insert(code);
        return codes_.size() > before;
    }
    bool holds(const QString& code) const { return codes_.contains(code); }

    template <class Read>
    void forEach(Read read) {
        int number = 0;
        for (const auto& value : std::as_const(entries_))
            read(Entry(*this, ++number, value));
    }

private:
    QString path_;
    QJsonArray entries_;
    QSet<QString> codes_;
};

Entry::Entry(Table& table, int number, const QJsonValue& value)
    : table_(table), number_(number), object_(value.toObject()) {
    if (!value.isObject())
        throw BrokenTable{QStringLiteral("%1: entry %2: expected an object, found %3")
                              .arg(table.path())
                              .arg(number)
                              .arg(shown(value))};
}

QString Entry::code(const QString& key) const {
    const QString code = text(key);
    if (!table_.claim(code))
        fail(key, QStringLiteral("a code of its own"));
    return code;
}

void Entry::fail(const QString& key, const QString& expected) const {
    throw BrokenTable{QStringLiteral("%1: entry %2: key \"%3\": expected %4, found %5")
                          .arg(table_.path())
                          .arg(number_)
                          .arg(key, expected, shown(object_[key]))};
}

QList<ISOCurrency> readCurrencies(const QString& folder) {
    QList<ISOCurrency> currencies;
    Table(folder, "4217").forEach([&](const Entry& entry) {
        currencies.append({entry.code("alpha_3"), entry.text("name"), entry.number("numeric")});
    });
    return currencies;
}

QList<ISOLanguage> readLanguages(const QString& folder) {
    QList<ISOLanguage> languages;
    Table(folder, "639-2").forEach([&](const Entry& entry) {
        languages.append({entry.code("alpha_3"), entry.text("name")});
    });
    return languages;
}

QList<ISOCountry> readCountries(const QString& folder) {
    QList<ISOCountry> countries;
    Table(folder, "3166-1").forEach([&](const Entry& entry) {
        countries.append({entry.code("alpha_2"), entry.text("alpha_3"), entry.text("name"),
                          entry.optionalText("official_name"), entry.number("numeric")});
    });
    return countries;
}

// "parent" holds a whole code ("GB-ENG") or what follows the country's ("NX").
QString parentCode(const Entry& entry, const QString& countryAlpha2) {
    const QString parent = entry.optionalText("parent");
    return parent.isNull() || parent.contains('-') ? parent : countryAlpha2 + '-' + parent;
}

QList<ISORegion> readRegions(const QString& folder, const QList<ISOCountry>& countries) {
    QSet<QString> countryCodes;
    for (const ISOCountry& country : countries)
        countryCodes.insert(country.alpha2);

    Table table(folder, "3166-2");
    QList<ISORegion> regions;
    table.forEach([&](const Entry& entry) {
        const QString code = entry.code("code");
        const QString country = code.section('-', 0, 0);
        if (!countryCodes.contains(country))
            entry.fail("code", QStringLiteral("a code that begins with a country's"));
        regions.append({code, entry.text("name"), entry.text("type"), country, parentCode(entry, country)});
    });
    auto region = regions.cbegin();
    table.forEach([&](const Entry& entry) {
        if (!region->parentCode.isNull() && !table.holds(region->parentCode))
            entry.fail("parent", QStringLiteral("the code of an entry"));
        ++region;
    });
    return regions;
}

} // namespace

std::optional<ISOTables> readISOTables(const QString& folder, ISOTableSet wanted, QWError* error) {
    try {
        ISOTables tables;
        if (wanted & ISOTable::Currencies)
            tables.currencies = readCurrencies(folder);
        if (wanted & ISOTable::Languages)
            tables.languages = readLanguages(folder);
        if (wanted & (ISOTable::Countries | ISOTable::Regions))
            tables.countries = readCountries(folder);
        if (wanted & ISOTable::Regions)
            tables.regions = readRegions(folder, tables.countries);
        return tables;
    } catch (const BrokenTable& broken) {
        qw::fail(error, {QStringLiteral("atlas"), 1, broken.message});
        return {};
    }
}

} // namespace atlas
