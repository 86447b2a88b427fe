// What the window does with visits: which are shown, which is selected, adding and deleting.

#include "core/cells/QWTableCellCreatorForManagedObjectFields.h"
#include "desktop/AtlasWindow.h"
#include "desktop/EmptyText.h"
#include "desktop/FocusHighlight.h"
#include "desktop/SidebarModel.h"
#include "desktop/VisitEditor.h"
#include "desktop/VisitsModel.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "views/NSOutlineViewWithExtendedDelegate.h"
#include "views/QWTextFieldCell.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>

namespace atlas {

// What the table's keys and its context menu do.
class AtlasWindow::TableKeys final : public NSTableViewExtendedDelegate {
public:
    explicit TableKeys(AtlasWindow& window) : window_(window), menu_(&window) {}

    bool respondsToSelector(const QString& selector) const override {
        return selector == QWTableViewKeyDownSelector || selector == QWTableViewMenuForEventSelector;
    }
    bool tableViewKeyDown(NSTableViewWithExtendedDelegate&, QKeyEvent& event) override {
        if (event.key() == Qt::Key_Delete || event.key() == Qt::Key_Backspace)
            window_.deleteVisits();
        else if (event.key() == Qt::Key_Return || event.key() == Qt::Key_Enter)
            window_.editor_->editTitle();
        else
            return false;
        return true;
    }
    QMenu* tableViewMenuForEvent(NSTableViewWithExtendedDelegate&, QContextMenuEvent&) override {
        menu_.clear();
        menu_.addActions({window_.editAction_, window_.deleteAction_, window_.addAction_});
        return &menu_;
    }

private:
    AtlasWindow& window_;
    QMenu menu_;
};

void AtlasWindow::makeTable() {
    visits_ = new VisitsModel(library_->sharedContext(), history_, flags_, this);
    table_ = new NSTableViewWithExtendedDelegate;
    table_->setModel(visits_);
    table_->setAccessibleName(tr("Visits"));
    table_->setFrameShape(QFrame::NoFrame);
    table_->setAlternatingRowColors(true);
    table_->setShowGrid(false);
    table_->setWordWrap(false);
    table_->setTabKeyNavigation(false);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    table_->verticalHeader()->hide();
    table_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 12);
    table_->horizontalHeader()->setHighlightSections(false);
    table_->horizontalHeader()->setSectionsMovable(true);
    alignHeader();
    table_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);

    QWTableCellCreatorForManagedObjectFields::setStringKeysForImageAnd2TextCell({"title"});
    cells_ = visits_->applyCellsTo(*table_);
    for (const auto& cell : cells_)
        if (auto* textCell = dynamic_cast<QWTextFieldCell*>(cell.get()))
            textCell->setAlignTextVertically(true);
    cells_[size_t(visits_->columnOfKey("minutes"))]->setFormatter(
        std::make_shared<QWMinutesIntervalFormatter>());

    const int em = fontMetrics().averageCharWidth();
    const std::pair<const char*, int> widths[] = {
        {"title", 36}, {"country", 18}, {"city", 16},   {"start", 19},  {"minutes", 24},
        {"pace", 8},   {"cost", 11},    {"status", 10}, {"rating", 13}, {"favourite", 12}};
    for (const auto& [key, width] : widths)
        table_->setColumnWidth(visits_->columnOfKey(key), em * width);
    table_->sortByColumn(visits_->columnOfKey("start"), Qt::DescendingOrder);
    table_->setSortingEnabled(true);
    // A column that gives no order (the country) shows none.
    connect(table_->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this, [this](int column) {
        if (visits_->sortColumn() != column)
            table_->horizontalHeader()->setSortIndicator(visits_->sortColumn(), visits_->sortOrder());
    });

    new FocusHighlight(*table_);
    tableKeys_ = std::make_unique<TableKeys>(*this);
    table_->setDelegate(tableKeys_.get());
    emptyText_ = new EmptyText(*table_, [this] { return emptyText(); });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &AtlasWindow::showSelectedVisit);
    for (const auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(visits_, signal, this, &AtlasWindow::countVisits);
    connect(
        visits_, &QWFetchedRecordsModel::editRefused, this,
        [this](const QModelIndex&, const QVariant&, const QWError& error) { showMessage(error.message); });
}

// Which are shown -------------------------------------------------------------------------------------------

void AtlasWindow::filterVisits() {
    if (!search_)
        return;
    QWFetchRequest request("Visit");
    request.predicate = VisitsModel::predicate(places_->predicate(sidebar_->currentIndex()), search_->text());
    visits_->setFetchRequest(request);
    emptyText_->refresh();
    countVisits();
    if (selectedVisits().isEmpty() && visits_->rowCount() > 0)
        selectRow(0);
    showSelectedVisit();
}

QString AtlasWindow::emptyText() const {
    if (search_ && !search_->text().trimmed().isEmpty())
        return tr("Nothing found for “%1”").arg(search_->text().trimmed());
    const QString key = addAction_ ? addAction_->shortcut().toString(QKeySequence::NativeText) : QString();
    const QModelIndex place = sidebar_->currentIndex();
    if (place == places_->indexOf(SidebarModel::Favourites))
        return tr("No favourites yet");
    const QString begin = places_->country(place)
                              ? tr("No visits to %1 yet").arg(place.data(Qt::EditRole).toString())
                              : tr("No visits yet");
    return begin + "\n\n" + tr("%1 adds one").arg(key);
}

void AtlasWindow::countVisits() {
    const int count = visits_->rowCount();
    count_->setText(count == 1 ? tr("1 visit") : tr("%1 visits").arg(QLocale().toString(count)));
}

void AtlasWindow::showPlace(const QModelIndex& place) {
    sidebar_->setCurrentIndex(place);
    sidebar_->scrollTo(place);
}

// Header views do not mirror it by themselves.
void AtlasWindow::alignHeader() {
    table_->horizontalHeader()->setDefaultAlignment((table_->isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft)
                                                    | Qt::AlignVCenter);
}

void AtlasWindow::sortBy(int column) {
    const bool isAscending = visits_->sortColumn() == column && visits_->sortOrder() == Qt::AscendingOrder;
    table_->sortByColumn(column, isAscending ? Qt::DescendingOrder : Qt::AscendingOrder);
}

// Which is selected -----------------------------------------------------------------------------------------

QList<QWRef<QWManagedObjectWithSyncSupport>> AtlasWindow::selectedVisits() const {
    QList<QWRef<QWManagedObjectWithSyncSupport>> visits;
    for (const QModelIndex& row : table_->selectionModel()->selectedRows())
        if (const auto record = visits_->recordAtIndex(row))
            visits.append(QWRef<QWManagedObjectWithSyncSupport>(
                static_cast<QWManagedObjectWithSyncSupport*>(record.data())));
    return visits;
}

void AtlasWindow::showSelectedVisit() {
    const auto visits = selectedVisits();
    editor_->setVisit(visits.size() == 1 ? visits.first() : QWRef<QWManagedObjectWithSyncSupport>());
    enableActions();
}

void AtlasWindow::selectVisit(const QString& uuid) {
    library_->context().processPendingChanges();
    const auto visit =
        QWManagedObjectWithSyncSupport::fetchObjectWithUUID(uuid, "Visit", library_->context());
    if (!visit)
        return;
    if (visits_->rowOfRecord(*visit) < 0) { // not among those that are shown
        search_->clear();
        showPlace(places_->indexOf(SidebarModel::AllVisits));
    }
    const int row = visits_->rowOfRecord(*visit);
    selectRow(row);
    table_->scrollTo(visits_->index(row, 0));
}

void AtlasWindow::selectRow(int row) {
    table_->selectionModel()->setCurrentIndex(visits_->index(row, 0), QItemSelectionModel::ClearAndSelect
                                                                          | QItemSelectionModel::Rows);
}

void AtlasWindow::enableActions() {
    const auto selected = table_->selectionModel()->selectedRows().size();
    if (!deleteAction_)
        return;
    deleteAction_->setEnabled(selected > 0);
    editAction_->setEnabled(selected == 1);
    const auto country = places_->country(sidebar_->currentIndex());
    visitedAction_->setEnabled(country);
    visitedAction_->setChecked(country && country->valueForKey("visited").toBool());
}

// Adding and deleting ---------------------------------------------------------------------------------------

// Such that it is among those that are shown.
QVariantMap AtlasWindow::valuesOfNewVisit() const {
    QVariantMap values{{"status", "planned"}};
    const QModelIndex place = sidebar_->currentIndex();
    auto country = places_->country(place);
    if (place == places_->indexOf(SidebarModel::Favourites))
        values["favourite"] = true;
    if (const QString home = library_->preferences().object("homeCountry").toString();
        !country && !home.isEmpty()) {
        QWFetchRequest request("Country",
                               QWPredicate::comparison("alpha2", QWPredicate::Operator::Equal, home));
        request.limit = 1;
        const auto found = library_->context().fetch(request).value_or(QWManagedObjectSet());
        country = found.empty() ? country : found.front();
    }
    if (country)
        values["country"] = QVariant::fromValue(country);
    return values;
}

void AtlasWindow::addVisit() {
    search_->clear();
    const auto visit = history_.add("Visit", valuesOfNewVisit(), tr("Add Visit"));
    selectVisit(visit->uuid());
    editor_->editTitle();
}

void AtlasWindow::deleteVisits() {
    const auto visits = selectedVisits();
    if (visits.isEmpty())
        return;
    const int row = table_->selectionModel()->selectedRows().first().row();
    const QString title = visits.first()->valueForKey("title").toString();
    const QString what = visits.size() == 1 && !title.isEmpty() ? tr("“%1” was deleted").arg(title)
                                                                : tr("Visits deleted: %1").arg(visits.size());
    editor_->setVisit({});
    history_.remove(visits, tr("Delete Visit"));
    library_->context().processPendingChanges();
    if (visits_->rowCount() > 0)
        selectRow(qMin(row, visits_->rowCount() - 1));
    showMessage(
        tr("%1. %2 brings it back.").arg(what, undoAction_->shortcut().toString(QKeySequence::NativeText)));
}

void AtlasWindow::toggleVisited() {
    const auto country = places_->country(sidebar_->currentIndex());
    if (!country)
        return;
    const bool isVisited = country->valueForKey("visited").toBool();
    history_.setValue(static_cast<QWManagedObjectWithSyncSupport&>(*country), "visited", !isVisited,
                      tr("Mark as Visited"));
    library_->context().processPendingChanges();
    sidebar_->scrollTo(sidebar_->currentIndex());
    enableActions();
}

} // namespace atlas
