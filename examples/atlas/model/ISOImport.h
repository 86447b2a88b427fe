#pragma once

#include "model/ISOTables.h"

#include <functional>

class QWManagedObjectContext;

namespace atlas {

struct ISOSource {
    QString tablesFolder = QStringLiteral("/usr/share/iso-codes/json");
    QString flagsFolder = QStringLiteral("/usr/share/iso-flags-png-320x240"); // xx.png for alpha-2 code XX
    ISOTableSet tables = ISOTable::Currencies | ISOTable::Languages | ISOTable::Countries | ISOTable::Regions;
};

struct ISOImportResult {
    qint64 added = 0;   // records
    qint64 present = 0; // records that were here already and stayed as they were
    qint64 flags = 0;   // written
};

// Called with the number of entries that are done, and of all.
using ISOProgress = std::function<void(qint64 done, qint64 all)>;

// Adds what the tables have and the library lacks. Its uuids follow from the codes and its dates are one
// fixed instant long ago, so that two desktops that import the same table hold the same records, and an
// import never beats an edit: a record that is here already is left alone, unless it is a bare one that
// another record refers to.
//
// The caller saves; the context must have no other unsaved changes. Nothing is changed when a table is
// broken. Flags are written at once, before the records that they belong to are saved: a saved country has
// its flag.
std::optional<ISOImportResult> importISO(QWManagedObjectContext& context, const ISOSource& source,
                                         const ISOProgress& progress = {}, QWError* error = nullptr);

// The uuid of the record that is imported for a code: "Country", "FR".
QString importedUUID(const QString& entityName, const QString& code);
// What imported records and flags bear as their date: 2000-01-01 00:00:00 UTC.
QDateTime importedDate();

} // namespace atlas
