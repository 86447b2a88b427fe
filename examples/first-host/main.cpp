// A notebook, the same on every desktop: first-host FOLDER CLOUD [NOTE…] adds notes and lists them all.
#include "core/QWManagedObjectWithSyncSupport.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "sync/supervisor/QWSyncSupervisor.h"
#include <QCoreApplication>

class Note final : public QWManagedObjectWithSyncSupport {
    inline static const QWFieldDescriptions fields = {
        std::make_shared<QWManagedObjectFieldDescriptionString>("text", "Text"),
        std::make_shared<QWManagedObjectFieldDescriptionDate>("dateModified", "Modified",
                                                              dateModifiedFormatter())};
    const QWFieldDescriptions* fieldDescriptions() const override { return &fields; }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    application.setOrganizationName("Example");
    const QStringList arguments = application.arguments();
    const QString folder = arguments.value(1), cloud = arguments.value(2);
    const auto model = std::make_shared<QWManagedObjectModel>();
    auto& note = model->addEntity<Note>("Note");
    note.addAttribute("text", QWAttributeType::String);
    addSyncAttributes(note);

    QWError error;
    const auto failed = [&error] {
        qCritical("%s", qPrintable(error.message));
        return 1;
    };
    const auto coordinator = std::make_shared<QWPersistentStoreCoordinator>(model);
    const std::shared_ptr client = QWFolderRestClient::open(cloud, coordinator->environment(), &error);
    if (!client || !coordinator->addStore(folder + "/notes.sqlite", {}, &error))
        return failed();
    const auto context = std::make_shared<QWManagedObjectContext>(coordinator);
    QWDropboxSyncCoreData engine(context, {"Note"}, QUrl::fromLocalFile(folder + "/cache"));
    const auto supervisor = QWSyncSupervisor::create(engine, client);
    supervisor->activate();

    for (const QString& text : arguments.mid(3))
        context->insertObject("Note")->setValueForKey("text", text);
    if (!context->save(&error))
        return failed();

    // In step: nothing more to fetch or to send.
    QObject::connect(supervisor.get(), &QWSyncSupervisor::progressed, &application, [&] {
        if (supervisor->isInStep())
            application.quit();
    });
    application.exec();
    for (const auto& record : context->fetch(QWFetchRequest("Note")).value_or(QWManagedObjectSet()))
        puts(qPrintable(record->valueForKey("text").toString()));
}
