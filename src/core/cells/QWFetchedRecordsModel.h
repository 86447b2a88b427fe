#pragma once

#include "core/QWManagedObjectFieldDescription.h"
#include "store/QWManagedObjectContext.h"

#include <QAbstractTableModel>
#include <memory>

class QAbstractItemView;
class QWTableCell;

// The records that a request fetches, as a table for Qt's views: a row for each record, a column for each
// field description.
//
//     QWFetchedRecordsModel model(context, QWFetchRequest("Visit"), fields);
//     table.setModel(&model);
//     table.sortByColumn(0, Qt::AscendingOrder);
//     table.setSortingEnabled(true);
//     const auto cells = model.applyCellsTo(table);
//
// Columns. The title is the field's display name. Qt::EditRole holds the value as it is stored,
// Qt::DisplayRole its text: numbers and dates by their formatters, the name of a choice, the characters of a
// rich text, the first described string of the record at the other end of a to-one relationship (and the
// column changes when that record does), the number of records of a to-many. Rich texts and relationships
// have no value of their own in the table, and yes or no has no text but a Qt::CheckStateRole.
//
// Rows are what the context's own fetches give, unsaved changes included, as of its last change notice. They
// follow by insertions, moves, removals and changes; selections and persistent indexes survive. After a
// notice of up to a hundred records the rows are right when it has been delivered. More are looked at in
// slices of a few milliseconds, one for each turn of the run loop (`isUpToDate` tells), and shown together:
// new rows at the end, one re-sort (layoutChanged), removals from the end. What another context saves counts
// once this one has merged it, which is to be done before anything else is changed here, best in the observer
// of the save.
//
// Made for 1,000,000 records: about 24 bytes are kept for each, the order is found by one query that makes no
// record, and a change costs the reading of twenty rows. Records are read in batches around those that are
// asked for, and about two thousand are kept. A request with a limit or an offset is fetched again after
// every change.
//
// Decoration, fonts and badges are a subclass's or a proxy's matter. Belongs to the thread of its context,
// which it keeps alive.
class QWFetchedRecordsModel : public QAbstractTableModel {
    Q_OBJECT
public:
    // Fetches at once. A request that is refused leaves the model empty, with the error in the log and in
    // `fetchError`. The request's own order holds until a column is sorted by.
    QWFetchedRecordsModel(std::shared_ptr<QWManagedObjectContext> context, QWFetchRequest request,
                          QWFieldDescriptions fields, QObject* parent = nullptr);
    ~QWFetchedRecordsModel() override;

    const std::shared_ptr<QWManagedObjectContext>& managedObjectContext() const;
    const QWFieldDescriptions& fieldDescriptions() const;
    const QWFetchRequest& fetchRequest() const; // with the order of the sorted column in place of its own

    // Other records of the same entity, for a search: rows that stay keep their selection. The sorted column
    // still gives the order; without one the request does. False, with the error, when the request is
    // refused, or names another entity; the rows then stay. Called, like `sort` and `refetch`, in answer to a
    // signal about rows that change, it takes effect when these have changed.
    bool setFetchRequest(const QWFetchRequest& request, QWError* error = nullptr);
    // Fetches again what may have changed behind the context's back.
    bool refetch(QWError* error = nullptr);
    // Of the last fetch; no error after one that succeeded.
    const QWError& fetchError() const;
    // No change is waiting to be shown.
    bool isUpToDate() const;

    // The record of a row; null for a row that there is not.
    QWRef<QWManagedObject> recordAtRow(int row) const;
    QWRef<QWManagedObject> recordAtIndex(const QModelIndex& index) const { return recordAtRow(index.row()); }
    // -1 when it is in none. Does not depend on how many rows there are.
    int rowOfRecord(const QWManagedObject& record) const { return rowOfRecord(record.objectID()); }
    int rowOfRecord(const QWManagedObjectID& id) const;
    // -1 for a key that no column has.
    int columnOfKey(const QString& key) const;

    // By which column the rows are sorted, and how; -1 in the request's own order.
    int sortColumn() const;
    Qt::SortOrder sortOrder() const;

    // Whether the user may change values of a column. YES for attributes that a cell can show as values (no
    // images, rich texts or relationships) but for the uuid and the date of change of a synced record; it can
    // be set for no others.
    bool isColumnEditable(int column) const;
    void setColumnEditable(int column, bool editable);

    // Gives each column of a view the cell that suits its field (QWTableCellCreatorForManagedObjectFields),
    // with the column's formatter where the cell has none. The view does not own them: keep the answer as
    // long as it shows them.
    std::vector<std::shared_ptr<QWTableCell>> applyCellsTo(QAbstractItemView& view) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // Changes the record as a person's edit does: of Qt::EditRole to the value, or to what a text means to
    // the column's formatter; of Qt::CheckStateRole to yes or no. What is refused changes nothing and is
    // reported by `editRefused`.
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    // By the sort descriptor of the column's field; -1: by the request's own. A column that gives no order,
    // or that the store cannot sort by (a derived value), leaves all as it is.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

Q_SIGNALS:
    // The record keeps its value. `value` is what was to be set, so that the user's text is not lost.
    void editRefused(const QModelIndex& index, const QVariant& value, const QWError& error);
    // The rows stay as they were.
    void fetchFailed(const QWError& error);

private:
    struct Private;
    bool fetch(const QWFetchRequest& request, QWError* error);
    std::unique_ptr<Private> d_;
};
