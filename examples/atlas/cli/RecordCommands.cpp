// Commands that edit records. The engine, which is not active, queues what they change.

#include "cli/Commands.h"
#include "cli/RecordEditor.h"

using atlas::AtlasLibrary;

namespace {

void save(AtlasLibrary& library) {
    QWError error;
    if (!library.save(&error))
        throw Failure(error);
}

} // namespace

int runAdd(const Arguments& arguments) {
    RecordEditor editor(arguments.positional.mid(1));
    const QString entity = arguments.positional.first();
    checkEntityName(entity);
    const auto library = openLibrary(arguments, Missing::Make);
    const QWRef<QWManagedObjectWithSyncSupport> record(
        static_cast<QWManagedObjectWithSyncSupport*>(library->context().insertObject(entity).data()));
    editor.edit(*record);
    const QString uuid = record->uuid();
    save(*library);
    print(uuid);
    return 0;
}

int runSet(const Arguments& arguments) {
    RecordEditor editor(arguments.positional.mid(1));
    const auto library = openLibrary(arguments);
    editor.edit(*findRecord(*library, arguments.positional.first()));
    save(*library);
    return 0;
}

int runDelete(const Arguments& arguments) {
    const auto library = openLibrary(arguments);
    library->context().deleteObject(*findRecord(*library, arguments.positional.first()));
    save(*library);
    return 0;
}
