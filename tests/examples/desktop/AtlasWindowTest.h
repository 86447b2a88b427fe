#pragma once

#include "examples/AtlasFixture.h"

#include "desktop/AtlasWindow.h"
#include "desktop/SidebarModel.h"
#include "desktop/VisitEditor.h"
#include "desktop/VisitsModel.h"
#include "dropbox/folder/QWFolderRestClient.h"
#include "model/ISOImport.h"
#include "support/ScopedLocale.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
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

    // The buttons and actions by their texts, mnemonics left out.
    QAction* action(const QString& text) {
        for (auto* candidate : window->findChildren<QAction*>())
            if (candidate->text().remove('&') == text)
                return candidate;
        throw std::logic_error("no action " + text.toStdString());
    }
    // The record as it is in the store, read anew; null when it is not there.
    QWRef<QWManagedObject> saved(const QString& uuid) {
        reader_ = std::make_shared<QWManagedObjectContext>(context().coordinator());
        const auto record = QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Visit", *reader_);
        return QWRef<QWManagedObject>(record.data());
    }

private:
    const QString folder_;
    std::shared_ptr<QWManagedObjectContext> reader_;
};

// One desktop with the countries of the small tables, and its keyboard.
class AtlasWindowTest : public ::testing::Test {
protected:
    AtlasWindowTest() { desktop.window->importCountries(source()); }

    atlas::ISOSource source() const {
        atlas::ISOSource source;
        source.tablesFolder = tables_.path();
        source.flagsFolder = tables_.flagsPath();
        return source;
    }
    // To whatever has the focus, or to the list that is open.
    static QWidget* focus() {
        QWidget* popup = QApplication::activePopupWidget();
        return popup ? popup : QApplication::focusWidget();
    }
    static void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        ASSERT_TRUE(focus());
        QTest::keyClick(focus(), Qt::Key(key), modifiers);
    }
    static void type(const QString& text) {
        for (const QChar letter : text)
            QTest::sendKeyEvent(QTest::Click, focus(),
                                letter.toLatin1() ? Qt::Key(letter.toUpper().unicode()) : Qt::Key_unknown,
                                QString(letter), Qt::NoModifier);
    }
    // Adds visits by their titles, the first one selected.
    QWRef<QWManagedObject> visit(const QString& title, QVariantMap values = {}) {
        values["title"] = title;
        auto record = desktop.addRecord("Visit", values);
        desktop.context().processPendingChanges();
        return record;
    }
    void select(const QWRef<QWManagedObject>& record) {
        desktop.table().setCurrentIndex(desktop.visits().index(desktop.visits().rowOfRecord(*record), 0));
    }
    // What the pane shows of the selected visit.
    QWRef<QWManagedObject> shown() { return QWRef<QWManagedObject>(desktop.editor().visit().data()); }
    QLineEdit& lineEdit(const QString& key) {
        if (auto* box = desktop.child<QComboBox>(key))
            return *box->lineEdit();
        return *desktop.child<QLineEdit>(key);
    }
    // Replaces the text of a field as a user does, and leaves it.
    void fillIn(const QString& key, const QString& text) {
        lineEdit(key).setFocus();
        lineEdit(key).selectAll();
        type(text);
        press(Qt::Key_Tab);
    }

    const ScopedLocale english_{"en_GB"};
    ISOFixture tables_;
    QTemporaryDir folder_;
    TestDesktop desktop{folder_.filePath("A"), 1};
};
