#include "model/ISOImport.h"

#include "model/AtlasRecords.h"
#include "store/QWManagedObjectContext.h"

#include <QFileInfo>
#include <QHash>
#include <QUuid>

namespace atlas {

namespace {

// Thrown when a record cannot be written; answered by importISO.
struct ImportFailure {
    QWError error;
};

class Importer {
public:
    Importer(QWManagedObjectContext& context, const ISOSource& source, const ISOTables& tables,
             const ISOProgress& progress)
        : context_(context), files_(context.environment().files()), flagsFolder_(source.flagsFolder),
          progress_(progress), all_(tables.currencies.size() + tables.languages.size()
                                    + tables.countries.size() + tables.regions.size()) {
        if (!tables.countries.isEmpty() && !files_.exists(flagsFolder_))
            throw ImportFailure{{QStringLiteral("atlas"), 1, flagsFolder_ + ": no folder of flags there"}};
    }

    ISOImportResult run(const ISOTables& tables) {
        importTable(
            "Currency", tables.currencies, &ISOCurrency::code, [&](auto& record, const auto& currency) {
                set(record, {{"name", currency.name}, {"code", currency.code}, {"number", currency.number}});
            });
        importTable("Language", tables.languages, &ISOLanguage::code,
                    [&](auto& record, const auto& language) {
                        set(record, {{"name", language.name}, {"code", language.code}});
                    });
        importTable("Country", tables.countries, &ISOCountry::alpha2, [&](auto& record, const auto& country) {
            set(record, {{"name", country.name},
                         {"officialName", country.officialName.isNull() ? QVariant() : country.officialName},
                         {"alpha2", country.alpha2},
                         {"alpha3", country.alpha3},
                         {"number", country.number},
                         {"visited", false}});
            importFlag(static_cast<Country&>(record), country);
        });
        const Records countries = tables.regions.isEmpty() ? Records() : allOf("Country");
        importTable("Region", tables.regions, &ISORegion::code, [&](auto& record, const auto& region) {
            set(record, {{"name", region.name}, {"code", region.code}, {"kind", region.kind}});
            record.setRelatedObject("country",
                                    countries[importedUUID("Country", region.countryAlpha2)].data());
            if (!region.parentCode.isNull())
                record.setRelatedObject("parent", records_[importedUUID("Region", region.parentCode)].data());
        });
        return result_;
    }

private:
    using Record = QWManagedObjectWithSyncSupport;
    using Records = QHash<QString, QWRef<Record>>; // by uuid

    // Adds a record for each entry first, so that entries may refer to each other in any order, then fills
    // those that are new.
    template <class Entry, class Fill>
    void importTable(const QString& entityName, const QList<Entry>& entries, QString Entry::*code,
                     Fill fill) {
        if (entries.isEmpty())
            return;
        records_ = allOf(entityName);
        for (const Entry& entry : entries) {
            const QString uuid = importedUUID(entityName, entry.*code);
            if (records_.contains(uuid))
                continue;
            const QWRef<Record> record(static_cast<Record*>(context_.insertObject(entityName).data()));
            record->setUuid(uuid);
            records_.insert(uuid, record);
        }
        for (const Entry& entry : entries) {
            Record& record = *records_[importedUUID(entityName, entry.*code)];
            if (record.dateModified().isValid()) {
                ++result_.present;
            } else {
                fill(record, entry);
                record.setDateModified(importedDate());
                ++result_.added;
            }
            if (progress_)
                progress_(result_.added + result_.present, all_);
        }
    }

    Records allOf(const QString& entityName) {
        QWError error;
        const auto found = context_.fetch(QWFetchRequest(entityName), &error);
        if (!found)
            throw ImportFailure{error};
        Records records;
        records.reserve(static_cast<qsizetype>(found->size()));
        for (const auto& record : *found) {
            const QWRef<Record> synced(static_cast<Record*>(record.data()));
            records.insert(synced->uuid().toUpper(), synced);
        }
        return records;
    }

    void set(Record& record, std::initializer_list<std::pair<QString, QVariant>> values) {
        QWError error;
        for (const auto& [key, value] : values)
            if (!record.setValueForKey(key, value, &error))
                throw ImportFailure{error};
    }

    // A flag that another desktop has given to a bare record stays.
    void importFlag(Country& record, const ISOCountry& country) {
        const QString path = flagsFolder_ + '/' + country.alpha2.toLower() + ".png";
        const bool hasFlag = !record.isInserted() && files_.exists(record.imageURL().toLocalFile());
        if (hasFlag || !files_.exists(path))
            return;
        QWError error;
        const auto flag = files_.read(path, &error);
        if (!flag || !record.writeFlag(*flag, importedDate(), &error))
            throw ImportFailure{error};
        ++result_.flags;
    }

    QWManagedObjectContext& context_;
    QWFileManager& files_;
    QString flagsFolder_;
    const ISOProgress& progress_;
    qint64 all_;
    Records records_; // of the table that is being imported
    ISOImportResult result_;
};

} // namespace

std::optional<ISOImportResult> importISO(QWManagedObjectContext& context, const ISOSource& source,
                                         const ISOProgress& progress, QWError* error) {
    const auto tables = readISOTables(source.tablesFolder, source.tables, error);
    if (!tables)
        return {};
    try {
        return Importer(context, source, *tables, progress).run(*tables);
    } catch (const ImportFailure& failure) {
        context.rollback();
        qw::fail(error, failure.error);
        return {};
    }
}

QString importedUUID(const QString& entityName, const QString& code) {
    // Never changes: it makes the uuids of all desktops the same.
    static const QUuid atlasNamespace(QStringLiteral("{5d0f3f6e-52a8-4c39-9f5b-6d7b6a1c2e84}"));
    return QUuid::createUuidV5(atlasNamespace, entityName + ':' + code)
        .toString(QUuid::WithoutBraces)
        .toUpper();
}

QDateTime importedDate() {
    return QDateTime(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
}

} // namespace atlas
