// The window's menus and its toolbar.

#include "desktop/AtlasWindow.h"
#include "desktop/Glyphs.h"
#include "desktop/SignIn.h"
#include "desktop/VisitEditor.h"
#include "desktop/VisitsModel.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"

#include <QActionGroup>
#include <QDockWidget>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QToolBar>

namespace atlas {

namespace {

template <class Function>
QAction* add(QMenu* menu, const QString& text, const QKeySequence& keys, AtlasWindow* receiver,
             Function run) {
    QAction* action = menu->addAction(text);
    action->setShortcut(keys);
    QObject::connect(action, &QAction::triggered, receiver, run);
    return action;
}

} // namespace

void AtlasWindow::makeActions() {
    makeFileMenu();
    makeEditMenu();
    makeViewMenu();
    makeCloudMenu();
    makeHelpMenu();
    connect(&history_.stack(), &QUndoStack::canUndoChanged, undoAction_, &QAction::setEnabled);
    connect(&history_.stack(), &QUndoStack::canRedoChanged, redoAction_, &QAction::setEnabled);
    connect(&history_.stack(), &QUndoStack::undoTextChanged, undoAction_,
            [this](const QString& text) { undoAction_->setText(tr("&Undo %1").arg(text)); });
    connect(&history_.stack(), &QUndoStack::redoTextChanged, redoAction_,
            [this](const QString& text) { redoAction_->setText(tr("&Redo %1").arg(text)); });
    undoAction_->setEnabled(false);
    redoAction_->setEnabled(false);
    const auto followConnection = [this] {
        const bool isActive = connection_.isActive();
        syncAction_->setEnabled(isActive);
        stopAction_->setEnabled(isActive);
    };
    connect(&connection_, &CloudConnection::supervisorChanged, this, followConnection);
    connect(&library_->engine(), &QWDropboxSyncCoreData::statusChanged, this, followConnection);
    followConnection();
    enableActions();
}

void AtlasWindow::makeFileMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&File"));
    addAction_ = add(menu, tr("&New Visit"), QKeySequence::New, this, &AtlasWindow::addVisit);
    addAction_->setIcon(glyphIcon(Glyph::Add));
    deleteAction_ = add(menu, tr("&Delete Visit"), QKeySequence(Qt::CTRL | Qt::Key_Backspace), this,
                        &AtlasWindow::deleteVisits);
    deleteAction_->setIcon(glyphIcon(Glyph::Delete));
    menu->addSeparator();
    add(menu, tr("&Import Countries and Flags"), {}, this, [this] { importCountries(); });
    QAction* preferences = add(menu, tr("&Preferences…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), this,
                               &AtlasWindow::showPreferences);
    preferences->setMenuRole(QAction::PreferencesRole);
    add(menu, tr("&Save"), QKeySequence::Save, this, &AtlasWindow::save);
    menu->addSeparator();
    add(menu, tr("&Close"), QKeySequence::Close, this, &AtlasWindow::close);
    QAction* quit = add(menu, tr("&Quit"), QKeySequence::Quit, this, &AtlasWindow::close);
    quit->setMenuRole(QAction::QuitRole);
}

void AtlasWindow::makeEditMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Edit"));
    const auto go = [this](void (QUndoStack::*where)()) {
        editor_->commit(); // what is typed is an edit too
        (history_.stack().*where)();
        library_->context().processPendingChanges(); // shown at once
    };
    undoAction_ = add(menu, tr("&Undo"), QKeySequence::Undo, this, [go] { go(&QUndoStack::undo); });
    redoAction_ = add(menu, tr("&Redo"), QKeySequence::Redo, this, [go] { go(&QUndoStack::redo); });
    redoAction_->setShortcuts(QKeySequence::Redo); // by either of its keys
    undoAction_->setIcon(glyphIcon(Glyph::Undo));
    redoAction_->setIcon(glyphIcon(Glyph::Redo));
    menu->addSeparator();
    add(menu, tr("&Find"), QKeySequence::Find, this, [this] {
        search_->setFocus(Qt::ShortcutFocusReason);
        search_->selectAll();
    });
    editAction_ = add(menu, tr("&Edit Visit"), QKeySequence(Qt::CTRL | Qt::Key_E), this,
                      [this] { editor_->editTitle(); });
}

void AtlasWindow::makeViewMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&View"));
    add(menu, tr("&Places"), QKeySequence(Qt::CTRL | Qt::Key_1), this,
        [this] { sidebar_->setFocus(Qt::ShortcutFocusReason); });
    add(menu, tr("&Visits"), QKeySequence(Qt::CTRL | Qt::Key_2), this,
        [this] { table_->setFocus(Qt::ShortcutFocusReason); });
    add(menu, tr("&Details"), QKeySequence(Qt::CTRL | Qt::Key_3), this, [this] { editor_->editTitle(); });
    QAction* activity = activity_->toggleViewAction();
    activity->setText(tr("&Activity"));
    activity->setShortcut(Qt::CTRL | Qt::Key_4);
    menu->addAction(activity);
    menu->addSeparator();
    makeOrderMenu(menu->addMenu(tr("Sort &By")));
    visitedAction_ = add(menu, tr("&Mark Country as Visited"), QKeySequence(Qt::CTRL | Qt::Key_M), this,
                         &AtlasWindow::toggleVisited);
    visitedAction_->setCheckable(true);
    sidebar_->setContextMenuPolicy(Qt::ActionsContextMenu);
    sidebar_->addAction(visitedAction_);
}

// What a click on a header does, for the keyboard.
void AtlasWindow::makeOrderMenu(QMenu* menu) {
    auto* columns = new QActionGroup(menu);
    for (int column = 0; column < visits_->columnCount(); ++column) {
        if (!visits_->givesOrder(column))
            continue;
        QAction* action = columns->addAction(visits_->headerData(column, Qt::Horizontal).toString());
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, column] { sortBy(column); });
        connect(menu, &QMenu::aboutToShow, action,
                [this, action, column] { action->setChecked(visits_->sortColumn() == column); });
    }
    menu->addActions(columns->actions());
}

void AtlasWindow::makeCloudMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Cloud"));
    syncAction_ = add(menu, tr("Sync &Now"), QKeySequence(Qt::CTRL | Qt::Key_R), this, &AtlasWindow::syncNow);
    syncAction_->setIcon(glyphIcon(Glyph::Sync));
    add(menu, tr("Sign &In…"), {}, this, [this] { signIn_->ask(); });
    stopAction_ = add(menu, tr("&Stop Syncing"), {}, this, [this] { connection_.stop(); });
}

void AtlasWindow::makeHelpMenu() {
    QMenu* menu = menuBar()->addMenu(tr("&Help"));
    QAction* about = add(menu, tr("&About Atlas"), {}, this, [this] {
        auto* box = new QMessageBox(QMessageBox::NoIcon, tr("About Atlas"),
                                    tr("A traveller’s atlas: countries, and one’s own visits, the same on "
                                       "all desktops."),
                                    QMessageBox::Close, this);
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    });
    about->setMenuRole(QAction::AboutRole);
}

void AtlasWindow::makeToolbar() {
    QToolBar* bar = addToolBar(tr("Toolbar"));
    bar->setObjectName(QStringLiteral("toolbar"));
    bar->setMovable(false);
    bar->setContextMenuPolicy(Qt::PreventContextMenu);
    bar->addActions({addAction_, deleteAction_});
    bar->addSeparator();
    bar->addActions({undoAction_, redoAction_});
    auto* stretch = new QWidget;
    stretch->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    bar->addWidget(stretch);
    search_ = new QLineEdit;
    search_->setPlaceholderText(tr("Search titles, cities and tags"));
    search_->setAccessibleName(tr("Search"));
    search_->setClearButtonEnabled(true);
    search_->setMaximumWidth(fontMetrics().averageCharWidth() * 44);
    bar->addWidget(search_);
    bar->addAction(syncAction_);
    bar->addWidget(syncControl_.dropboxToolbarIndicator());
    connect(search_, &QLineEdit::textChanged, this, &AtlasWindow::filterVisits);
    connect(search_, &QLineEdit::returnPressed, this, [this] { table_->setFocus(); });
}

} // namespace atlas
