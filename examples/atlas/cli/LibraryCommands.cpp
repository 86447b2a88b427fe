// Commands that treat a library as a whole.

#include "cli/Commands.h"
#include "cli/Progress.h"
#include "model/AtlasDigest.h"
#include "model/AtlasModel.h"
#include "model/ISOImport.h"
#include "store/QWStoreError.h"
#include "sync/supervisor/QWVersionArchive.h"

#include <cstdio>

using atlas::AtlasLibrary;

namespace {

atlas::ISOTableSet tablesNamed(const QString& names) {
    static const QMap<QString, atlas::ISOTable> tables = {{"countries", atlas::ISOTable::Countries},
                                                          {"currencies", atlas::ISOTable::Currencies},
                                                          {"languages", atlas::ISOTable::Languages},
                                                          {"regions", atlas::ISOTable::Regions}};
    atlas::ISOTableSet named;
    for (const QString& name : names.split(',')) {
        if (!tables.contains(name))
            throw Failure(
                QStringLiteral("--only: no table \"%1\": there are %2").arg(name, tables.keys().join(", ")));
        named |= tables[name];
    }
    return named;
}

// A cache, unlike the records, can be made anew.
bool isDamagedCache(const QWError& error, const QString& library) {
    return error.domain == "store" && error.code == static_cast<int>(QWStoreErrorCode::Damaged)
           && error.userInfo.value("path").toString().startsWith(library + "/cache/");
}

} // namespace

std::unique_ptr<AtlasLibrary> openLibrary(const Arguments& arguments, Missing missing) {
    if (missing == Missing::Refuse && !AtlasLibrary::exists(arguments.library))
        throw Failure(arguments.library + ": no library there");
    QWError error;
    auto library = AtlasLibrary::open(arguments.library, &error);
    if (!library && isDamagedCache(error, arguments.library))
        throw Failure(error.message + " A new one is made by: atlas --library DIR repair");
    if (!library)
        throw Failure(error);
    return library;
}

QWRef<QWManagedObjectWithSyncSupport> findRecord(AtlasLibrary& library, const QString& uuid) {
    auto record = library.record(uuid);
    if (!record)
        throw Failure("no record " + uuid);
    return record;
}

void checkEntityName(const QString& name) {
    if (!atlas::entityNames().contains(name))
        throw Failure(
            QStringLiteral("no entity %1: there are %2").arg(name, atlas::entityNames().join(", ")));
}

int runImport(const Arguments& arguments) {
    if (arguments.positional.first() != "iso")
        throw Failure(QStringLiteral("nothing to import but iso"));
    atlas::ISOSource source;
    if (arguments.has("only"))
        source.tables = tablesNamed(arguments.value("only"));
    if (arguments.has("tables"))
        source.tablesFolder = arguments.value("tables");
    if (arguments.has("flags"))
        source.flagsFolder = arguments.value("flags");

    const auto library = openLibrary(arguments, Missing::Make);
    Progress progress;
    QWError error;
    const auto result = atlas::importISO(
        library->context(), source, [&](qint64 done, qint64 all) { progress.show("importing", done, all); },
        &error);
    progress.wipe();
    if (!result || !library->save(&error))
        throw Failure(error);
    print(QStringLiteral("added: %1\npresent: %2\nflags: %3")
              .arg(result->added)
              .arg(result->present)
              .arg(result->flags));
    return 0;
}

int runDigest(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    QWError error;
    const auto digest = atlas::digest(library->context(), &error);
    if (!digest)
        throw Failure(error);
    print(*digest);
    return 0;
}

int runRepair(const Arguments& arguments) {
    if (!AtlasLibrary::exists(arguments.library))
        throw Failure(arguments.library + ": no library there");
    QWError error;
    QString aside;
    if (!AtlasLibrary::putCacheAside(arguments.library, &aside, &error))
        throw Failure(error);
    const auto library = openLibrary(arguments);
    if (!aside.isNull()) {
        print(aside);
        return 0;
    }
    library->forgetCloudState();
    if (!library->save(&error))
        throw Failure(error);
    return 0;
}
