// A record file, JSON or property list, into a record of the host's store: whatever it holds, the record can
// be saved, read back, sent, and received by another desktop as what it is.
#include "Fuzzing.h"

#include "support/BookLibrary.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryExporter.h"
#include "sync/records/QWDropboxSyncManagedObjectDictionaryImporter.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "sync/records/QWTravellingForm.h"

using namespace qw::sync;

namespace {

const QStringList entityNames = {"Author", "Book", "Chapter", "Shelf"};

class Library {
public:
    // A received record becomes, or replaces, one of the store; answers its travelling form when it has been
    // read again.
    QVariantMap receive(const QVariantMap& record, const QString& entityName, const QString& uuid) {
        QWDropboxSyncManagedObjectDictionaryImporter importer(entityNames);
        {
            QWManagedObjectContext context(library_.coordinator);
            const auto object =
                QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, entityName, context, true);
            if (importer.needsToUpdateObject(*object, record))
                importer.updateObject(*object, record, "fuzz.data");
            QWError error;
            require(context.save(&error), "what was received can be saved");
        }
        QWManagedObjectContext context(library_.coordinator);
        const auto object = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, entityName, context);
        require(object, "what was saved is there");
        QWDropboxSyncManagedObjectDictionaryExporter exporter(entityNames);
        const QVariantMap exported = exporter.dictionaryToInsertOrUpdateObjectToSync(*object);
        const auto bytes = recordFileBytes(exported);
        require(bytes.has_value(), "what was received can be sent");
        const auto received = recordFromFileBytes(*bytes);
        require(received.has_value(), "what was sent can be received");
        require(travellingHash(*received, *object) == travellingHash(exported, *object),
                "what travels arrives as what was sent");
        return *received;
    }
    void clear() {
        QWManagedObjectContext context(library_.coordinator);
        for (const QString& name : entityNames)
            for (const auto& record : context.fetch(QWFetchRequest(name)).value_or(QWManagedObjectSet()))
                context.deleteObject(*record);
        require(context.save(), "what was received can be deleted");
    }

private:
    BookLibrary library_;
};

// Keys are in order as they are read: what XML cannot carry of them is replaced when they are written.
void checkForm(const QVariantMap& record) {
    QByteArray written;
    std::optional<QVariantMap> form = record;
    for (int time = 0; time < 3; ++time) {
        const auto bytes = recordFileBytes(*form);
        require(bytes.has_value(), "what was read can be written");
        require(time < 2 || *bytes == written, "what was read is written as it was");
        written = *bytes;
        form = recordFromFileBytes(written);
        require(form.has_value(), "what was written can be read");
    }
}

} // namespace

void runInput(const QByteArray& input) {
    static Library library;
    const auto record = recordFromFileBytes(input);
    if (record)
        checkForm(*record);
    const QVariantMap received = record.value_or(QVariantMap()); // an unreadable file is an empty record
    const QString entityName = received.contains("books")     ? "Shelf"
                               : received.contains("heading") ? "Chapter"
                                                              : "Book";
    const QVariantMap sent = library.receive(received, entityName, "X");
    QVariantMap arrived = library.receive(sent, entityName, "Y");
    if (sent.contains("dateModified") && sent.value("dateModified").isNull())
        arrived["dateModified"] =
            sent.value("dateModified"); // without a date a record is dated when it arrives
    require(arrived == sent, "two desktops hold the same");
    library.clear();
}
