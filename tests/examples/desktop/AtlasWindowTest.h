#pragma once

#include "examples/AtlasFixture.h"

#include "desktop/AtlasWindow.h"
#include "desktop/SidebarModel.h"
#include "desktop/VisitEditor.h"
#include "desktop/VisitsModel.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "model/ISOImport.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"

#include <QAction>
#include <QApplication>
#include <QLineEdit>
#include <QTest>

// A window over a library of its own, in virtual time.
class TestDesktop {
public:
    TestDesktop(const QString& folder, quint64 seed,
                std::shared_ptr<QWVirtualRunLoop> runLoop = std::make_shared<QWVirtualRunLoop>())
        : world(seed, std::move(runLoop)), folder_(folder) {
        open();
    }
    ~TestDesktop() { close(); }

    // A start of the program, and its end.
    void open() {
        QWError error;
        auto library = atlas::AtlasLibrary::open(folder_, &error,
                                                 {.runLoop = world.runLoop,
                                                  .clock = world.clock,
                                                  .uuids = world.uuids,
                                                  .errorPresenter = world.errorPresenter});
        ASSERT_TRUE(library) << error.message.toStdString();
        window = std::make_unique<atlas::AtlasWindow>(std::move(library));
        window->show();
        activate();
    }
    void close() { window.reset(); }
    void activate() {
        QApplication::setActiveWindow(window.get());
        QCoreApplication::processEvents();
    }

    atlas::AtlasLibrary& library() { return window->library(); }
    QWManagedObjectContext& context() { return library().context(); }
    QWDropboxSyncCoreData& engine() { return library().engine(); }
    template <class Widget>
    Widget* child(const QString& name = {}) {
        return window->findChild<Widget*>(name);
    }
    NSTableViewWithExtendedDelegate& table() { return *child<NSTableViewWithExtendedDelegate>(); }
    NSOutlineViewWithExtendedDelegate& sidebar() { return *child<NSOutlineViewWithExtendedDelegate>(); }
    atlas::VisitsModel& visits() { return *child<atlas::VisitsModel>(); }
    atlas::SidebarModel& places() { return *child<atlas::SidebarModel>(); }
    atlas::VisitEditor& editor() { return *child<atlas::VisitEditor>(); }
    QLineEdit& search() {
        for (auto* edit : window->findChildren<QLineEdit*>())
            if (edit->accessibleName() == "Search")
                return *edit;
        throw std::logic_error("no search field");
    }
    // The titles in the table, from the top.
    QStringList titles() {
        QStringList all;
        for (int row = 0; row < visits().rowCount(); ++row)
            all << visits().index(row, 0).data(Qt::EditRole).toString();
        return all;
    }

    QWRef<QWManagedObject> addRecord(const QString& entity, const QVariantMap& values) {
        auto record = context().insertObject(entity);
        for (auto value = values.begin(); value != values.end(); ++value)
            EXPECT_TRUE(record->setValueForKey(value.key(), value.value())) << qPrintable(value.key());
        return record;
    }
    QWRef<QWManagedObject> country(const QString& alpha2) {
        const auto found = context().fetch(QWFetchRequest(
            "Country", QWPredicate::comparison("alpha2", QWPredicate::Operator::Equal, alpha2)));
        return found && !found->empty() ? found->front() : QWRef<QWManagedObject>();
    }
    // What becomes due now.
    void settle() {
        world.runLoop->runDue();
        QCoreApplication::processEvents();
    }
    void pass(QWRunLoop::Duration time) {
        world.runLoop->advance(time);
        QCoreApplication::processEvents();
    }

    QWVirtualWorld world;
    std::unique_ptr<atlas::AtlasWindow> window;

private:
    const QString folder_;
};
