#pragma once

#include "desktop/CloudConnection.h"
#include "desktop/EditHistory.h"
#include "desktop/FlagImages.h"
#include "editing/QWManagedObjectContextAutosaver.h"
#include "model/AtlasLibrary.h"
#include "model/ISOImport.h"
#include "sync/toolbar/QWDropboxSyncUIController.h"
#include "views/NSTableViewWithExtendedDelegate.h"

#include <QMainWindow>
#include <memory>

class NSOutlineViewWithExtendedDelegate;
class QDockWidget;
class QLabel;
class QLineEdit;
class QSplitter;
class QWTableCell;

namespace atlas {

class DeletionQuestion;
class EmptyText;
class MessageBar;
class SidebarModel;
class SignIn;
class VisitEditor;
class VisitsModel;

// The window of one library: countries at the left, visits in the middle, the selected visit at the right. It
// saves by itself, every ten seconds and when it closes, and syncs through its `connection`.
//
// The library's engine is the shared one from the construction on (QWDropboxSyncCoreData::sharedInstance),
// until the window goes.
class AtlasWindow final : public QMainWindow {
    Q_OBJECT

public:
    explicit AtlasWindow(std::unique_ptr<AtlasLibrary> library, QWidget* parent = nullptr);
    ~AtlasWindow() override;

    AtlasLibrary& library() { return *library_; }
    CloudConnection& connection() { return connection_; }

    // What the user can do; each is in the menus, by these names.
    void addVisit();
    void deleteVisits(); // the selected ones
    // Writes what is typed, and saves. False when it could not be saved, which the user is told.
    bool save();
    void syncNow(); // saves first
    void importCountries(const ISOSource& source = {});
    void showPreferences();
    void showMessage(const QString& text); // for some seconds, at the bottom

    SignIn& signIn() { return *signIn_; }
    MessageBar& messageBar() { return *messageBar_; }

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    class TableKeys;

    // AtlasWindow.cpp
    void makeContent();
    void makeActivityPanel();
    void followPreferences();
    void restoreLayout();
    void rememberLayout();
    void suggestImport();
    void askWhetherToLoseChanges(const QWError& error);

    // AtlasWindowActions.cpp
    void makeActions();
    void makeFileMenu();
    void makeEditMenu();
    void makeViewMenu();
    void makeOrderMenu(QMenu* menu);
    void makeCloudMenu();
    void makeHelpMenu();
    void makeToolbar();

    // AtlasWindowVisits.cpp
    void makeTable();
    void filterVisits();
    void showSelectedVisit();
    void selectVisit(const QString& uuid);
    void countVisits();
    QString emptyText() const;
    void alignHeader();
    void sortBy(int column); // the other way round when it is sorted by already
    void selectRow(int row);
    QList<QWRef<QWManagedObjectWithSyncSupport>> selectedVisits() const;
    QVariantMap valuesOfNewVisit() const;
    void showPlace(const QModelIndex& place);
    void toggleVisited();
    void enableActions();

    // In the order in which they are made.
    const std::unique_ptr<AtlasLibrary> library_;
    FlagImages flags_;
    EditHistory history_;
    CloudConnection connection_;
    QWManagedObjectContextAutosaver autosaver_;
    QWDropboxSyncUIController syncControl_;
    std::vector<QWObservation> observations_;

    SidebarModel* places_ = nullptr;
    VisitsModel* visits_ = nullptr;
    std::unique_ptr<NSTableViewExtendedDelegate> tableKeys_;
    std::vector<std::shared_ptr<QWTableCell>> cells_; // of the table's columns
    std::shared_ptr<QWTableCell> placeCell_;
    QSplitter* splitter_ = nullptr;
    MessageBar* messageBar_ = nullptr;
    std::unique_ptr<SignIn> signIn_;
    std::unique_ptr<DeletionQuestion> deletionQuestion_;
    QDockWidget* activity_ = nullptr;
    NSOutlineViewWithExtendedDelegate* sidebar_ = nullptr;
    NSTableViewWithExtendedDelegate* table_ = nullptr;
    EmptyText* emptyText_ = nullptr;
    VisitEditor* editor_ = nullptr;
    QLineEdit* search_ = nullptr;
    QLabel *count_ = nullptr, *trouble_ = nullptr;
    QAction *addAction_ = nullptr, *deleteAction_ = nullptr, *undoAction_ = nullptr, *redoAction_ = nullptr;
    QAction *editAction_ = nullptr, *visitedAction_ = nullptr, *syncAction_ = nullptr, *stopAction_ = nullptr;
    bool losesChanges_ = false; // the user has been asked
};

} // namespace atlas
