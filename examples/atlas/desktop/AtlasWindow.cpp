#include "desktop/AtlasWindow.h"

#include "desktop/ActivityPanel.h"
#include "desktop/DeletionQuestion.h"
#include "desktop/EmptyText.h"
#include "desktop/FocusHighlight.h"
#include "desktop/MessageBar.h"
#include "desktop/PreferencesDialog.h"
#include "desktop/SidebarModel.h"
#include "desktop/SignIn.h"
#include "desktop/Theme.h"
#include "desktop/VisitEditor.h"
#include "desktop/VisitsModel.h"
#include "views/ImageAnd2TextsCell.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QVBoxLayout>

namespace atlas {

namespace {

const QString themeKey = QStringLiteral("theme");
const QString distanceUnitKey = QStringLiteral("distanceUnit");
const QString geometryKey = QStringLiteral("windowGeometry"); // these stay on this desktop
const QString stateKey = QStringLiteral("windowState");
const QString splitterKey = QStringLiteral("windowSplitter");
const QString columnsKey = QStringLiteral("windowColumns");

QByteArray bytes(const QJsonValue& text) {
    return QByteArray::fromBase64(text.toString().toLatin1());
}

QJsonValue text(const QByteArray& bytes) {
    return QString::fromLatin1(bytes.toBase64());
}

} // namespace

AtlasWindow::AtlasWindow(std::unique_ptr<AtlasLibrary> library, QWidget* parent)
    : QMainWindow(parent), library_(std::move(library)), history_(library_->context()),
      connection_(*library_), autosaver_(library_->sharedContext()), syncControl_(library_->environment()) {
    QWDropboxSyncCoreData::setSharedInstance(library_->sharedEngine());
    const QFileInfo store(library_->context().coordinator()->storePath());
    setWindowTitle(store.dir().dirName()); // the system adds the program's name
    setObjectName(QStringLiteral("atlas"));
    makeContent();
    makeActivityPanel();
    makeActions();
    makeToolbar();
    followPreferences();
    restoreLayout();
    filterVisits();
    suggestImport();

    connect(&history_, &EditHistory::touched, this, &AtlasWindow::selectVisit);
    connect(&connection_, &CloudConnection::troubleChanged, this, [this] {
        const QString& trouble = connection_.trouble();
        trouble_->setText(trouble.isEmpty() ? QString() : tr("The cloud does not answer; trying again"));
        trouble_->setToolTip(trouble);
    });
}

AtlasWindow::~AtlasWindow() {
    connection_.stop();
    signIn_.reset();
    deletionQuestion_.reset();
    // They look at members that go before them, and hold the store of the library.
    delete centralWidget();
    delete visits_;
    delete places_;
    if (QWDropboxSyncCoreData::sharedInstance() == library_->sharedEngine())
        QWDropboxSyncCoreData::setSharedInstance(nullptr);
}

// Content ---------------------------------------------------------------------------------------------------

void AtlasWindow::makeContent() {
    messageBar_ = new MessageBar;
    signIn_ = std::make_unique<SignIn>(*library_, connection_, *messageBar_, *this);
    deletionQuestion_ =
        std::make_unique<DeletionQuestion>(library_->engine(), connection_, *messageBar_, *this);
    places_ = new SidebarModel(library_->context(), flags_, this);
    sidebar_ = new NSOutlineViewWithExtendedDelegate;
    sidebar_->setModel(places_);
    sidebar_->setHeaderHidden(true);
    sidebar_->setRootIsDecorated(true);
    sidebar_->setUniformRowHeights(true);
    sidebar_->setIndentation(fontMetrics().averageCharWidth() * 2);
    sidebar_->setTextElideMode(Qt::ElideRight);
    sidebar_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    sidebar_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    sidebar_->setFrameShape(QFrame::NoFrame);
    sidebar_->setAccessibleName(tr("Places"));
    auto cell = std::make_shared<ImageAnd2TextsCell>();
    cell->setAlignTextVertically(true);
    sidebar_->setItemDelegate(cell.get());
    placeCell_ = cell;
    sidebar_->expandAll();
    new FocusHighlight(*sidebar_);

    makeTable();
    editor_ = new VisitEditor(library_->sharedContext(), history_, flags_);
    connect(editor_, &VisitEditor::refused, this, [this](const QString& field, const QString& typed) {
        showMessage(tr("%1: “%2” cannot be understood").arg(field, typed));
    });

    splitter_ = new QSplitter;
    splitter_->setObjectName(QStringLiteral("splitter"));
    splitter_->addWidget(sidebar_);
    splitter_->addWidget(table_);
    splitter_->addWidget(editor_);
    splitter_->setStretchFactor(1, 1);
    splitter_->setChildrenCollapsible(false);
    splitter_->setHandleWidth(1);
    const int em = fontMetrics().averageCharWidth();
    sidebar_->setMinimumWidth(em * 16);
    table_->setMinimumWidth(em * 30);
    editor_->setMinimumWidth(em * 44);
    splitter_->setSizes({em * 32, em * 92, em * 52});

    auto* content = new QWidget;
    auto* layout = new QVBoxLayout(content);
    layout->setContentsMargins({});
    layout->setSpacing(0);
    layout->addWidget(messageBar_);
    layout->addWidget(splitter_, 1);
    setCentralWidget(content);

    trouble_ = new QLabel;
    count_ = new QLabel;
    statusBar()->addPermanentWidget(trouble_);
    statusBar()->addPermanentWidget(count_);

    connect(sidebar_->selectionModel(), &QItemSelectionModel::currentChanged, this,
            &AtlasWindow::filterVisits);
    connect(places_, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex& parent) { sidebar_->expand(parent); });
    sidebar_->setCurrentIndex(places_->indexOf(SidebarModel::AllVisits));
}

void AtlasWindow::makeActivityPanel() {
    auto* panel = new ActivityPanel;
    panel->setColumnWidth(0, fontMetrics().averageCharWidth() * 60);
    activity_ = new QDockWidget(tr("Activity"), this);
    activity_->setObjectName(QStringLiteral("activity"));
    activity_->setWidget(panel);
    activity_->hide();
    addDockWidget(Qt::BottomDockWidgetArea, activity_);
    const auto follow = [this, panel] { panel->follow(connection_.supervisor(), &library_->engine()); };
    connect(&connection_, &CloudConnection::supervisorChanged, panel, follow);
    follow();
}

void AtlasWindow::showPreferences() {
    auto* dialog = new PreferencesDialog(library_->preferences(), library_->context(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

void AtlasWindow::followPreferences() {
    QWUserDefaults& preferences = library_->preferences();
    const auto follow = [&](const QString& key, const std::function<void(const QString&)>& apply) {
        apply(preferences.object(key).toString());
        observations_.push_back(
            preferences.observe(key, [apply](const QJsonValue& value) { apply(value.toString()); }));
    };
    library_->engine().syncPreferenceWithKeys(PreferencesDialog::keys());
    follow(themeKey, [](const QString& theme) { applyTheme(theme); });
    follow(distanceUnitKey, [this](const QString& unit) {
        const auto distance =
            unit.startsWith(QLatin1String("mi")) ? DistanceUnit::Mile : DistanceUnit::Kilometre;
        editor_->setDistanceUnit(distance);
        cells_[size_t(visits_->columnOfKey("pace"))]->setFormatter(std::make_shared<PaceFormatter>(distance));
        table_->viewport()->update();
    });
}

void AtlasWindow::restoreLayout() {
    const QWUserDefaults& preferences = library_->preferences();
    resize(fontMetrics().averageCharWidth() * 178, fontMetrics().height() * 44);
    restoreGeometry(bytes(preferences.object(geometryKey)));
    restoreState(bytes(preferences.object(stateKey)));
    splitter_->restoreState(bytes(preferences.object(splitterKey)));
    table_->horizontalHeader()->restoreState(bytes(preferences.object(columnsKey)));
}

void AtlasWindow::rememberLayout() {
    QWUserDefaults& preferences = library_->preferences();
    preferences.setObject(geometryKey, text(saveGeometry()));
    preferences.setObject(stateKey, text(saveState()));
    preferences.setObject(splitterKey, text(splitter_->saveState()));
    preferences.setObject(columnsKey, text(table_->horizontalHeader()->saveState()));
}

void AtlasWindow::showMessage(const QString& text) {
    statusBar()->showMessage(text, 8000);
}

// Until there are countries, from wherever they come.
void AtlasWindow::suggestImport() {
    const QString suggestion = tr("This library has no countries yet.");
    if (places_->countryCount() == 0)
        messageBar_->showMessage(suggestion, tr("I&mport Countries and Flags"),
                                 [this] { importCountries(); });
    connect(places_, &QAbstractItemModel::rowsInserted, messageBar_, [this, suggestion] {
        if (messageBar_->text() == suggestion)
            messageBar_->clear();
    });
}

void AtlasWindow::importCountries(const ISOSource& source) {
    if (!save()) // the import wants to be alone, so that it can be given up
        return;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    QWError error;
    const auto result = importISO(library_->context(), source, {}, &error);
    const bool isSaved = result && library_->save(&error);
    QApplication::restoreOverrideCursor();
    if (!isSaved) {
        library_->context().rollback();
        return library_->environment()->errorPresenter().presentError(error);
    }
    messageBar_->clear();
    showMessage(result->added == 0 ? tr("Everything was here already")
                                   : tr("Records imported: %1").arg(QLocale().toString(result->added)));
}

// Saving and closing ----------------------------------------------------------------------------------------

bool AtlasWindow::save() {
    editor_->commit();
    QWError error;
    if (library_->context().save(&error))
        return true;
    library_->environment()->errorPresenter().presentError(error);
    return false;
}

void AtlasWindow::syncNow() {
    if (save())
        connection_.syncNow();
}

void AtlasWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        connection_.syncNowUnlessJustDone();
    else if (event->type() == QEvent::LayoutDirectionChange && table_)
        alignHeader();
}

// What is not sent yet waits in the engine's queue for the next start; what is not saved would be lost.
void AtlasWindow::closeEvent(QCloseEvent* event) {
    if (QWidget* field = focusWidget())
        field->clearFocus(); // a tag or a name that is being typed is whole now
    editor_->setVisit({});   // commits
    rememberLayout();
    QWError error;
    if (losesChanges_ || library_->context().save(&error))
        return event->accept();
    event->ignore();
    showSelectedVisit();
    askWhetherToLoseChanges(error);
}

void AtlasWindow::askWhetherToLoseChanges(const QWError& error) {
    auto* question = new QMessageBox(QMessageBox::Warning, tr("Atlas"),
                                     tr("The last changes cannot be saved."), QMessageBox::Cancel, this);
    question->setAttribute(Qt::WA_DeleteOnClose);
    question->setInformativeText(error.message);
    auto* discard = question->addButton(tr("Close &Without Saving"), QMessageBox::DestructiveRole);
    connect(discard, &QAbstractButton::clicked, this, [this] {
        losesChanges_ = true;
        close();
    });
    question->open();
}

} // namespace atlas
