#include "core/cells/QWFetchedRecordsModel.h"

#include "core/QWCoreLog_p.h"
#include "core/QWSortDescriptorCreatorForManagedObjectFields.h"
#include "core/cells/QWFetchedRows_p.h"
#include "core/cells/QWFieldColumn_p.h"
#include "core/cells/QWTableCellCreatorForManagedObjectFields.h"
#include "store/QWStoreError.h"
#include "views/QWTextFieldCell.h"

#include <QAbstractItemView>

#include <limits>

struct QWFetchedRecordsModel::Private final : QWFetchedRows::Audience {
    Private(QWFetchedRecordsModel& owner, std::shared_ptr<QWManagedObjectContext> shown, QWFetchRequest first,
            QWFieldDescriptions described)
        : model(owner), context(std::move(shown)), request(std::move(first)), fields(std::move(described)),
          rows(context, *this) {
        const QWEntityDescription* entity = context->model().entity(request.entityName);
        if (!entity)
            return;
        // Descriptions ask a record for its entity's name; this one stands for none and is never read.
        prototype = context->objectWithID({entity, std::numeric_limits<qint64>::min()});
        for (const auto& field : fields)
            columns.emplace_back(field, *prototype);
        if (std::none_of(columns.begin(), columns.end(), [](const auto& column) { return column.named; }))
            return;
        observations.push_back(context->observeObjectsDidChange([this](const auto& notice) {
            renamed(notice.updated);
            renamed(notice.refreshed);
        }));
        observations.push_back(
            context->observeDidMerge([this](const QWDidSaveNotice& saved) { renamed(saved.updated); }));
    }

    // In which rows the records are named is not known, and views draw what they show of the column at once.
    void renamed(const QWManagedObjectSet& records) {
        for (size_t column = 0; column < columns.size() && rows.count() > 0; ++column)
            if (const auto* named = columns[column].named;
                named && std::any_of(records.begin(), records.end(), [&](const auto& record) {
                    return record->entity().isKindOf(*named);
                }))
                Q_EMIT model.dataChanged(model.index(0, int(column)),
                                         model.index(rows.count() - 1, int(column)), {Qt::DisplayRole});
    }

    void insertRows(int first, int last, const Step& step) override {
        model.beginInsertRows({}, first, last);
        step();
        model.endInsertRows();
    }
    void removeRows(int first, int last, const Step& step) override {
        model.beginRemoveRows({}, first, last);
        step();
        model.endRemoveRows();
    }
    void moveRow(int row, int destination, const Step& step) override {
        model.beginMoveRows({}, row, row, {}, destination);
        step();
        model.endMoveRows();
    }
    void reorderRows(const Step& step) override {
        Q_EMIT model.layoutAboutToBeChanged({}, VerticalSortHint);
        const QModelIndexList before = model.persistentIndexList();
        std::vector<QWManagedObjectID> ids;
        for (const QModelIndex& index : before)
            ids.push_back(rows.idAt(index.row()));
        step();
        QModelIndexList after;
        for (qsizetype i = 0; i < before.size(); ++i)
            after.append(model.index(rows.rowOf(ids[size_t(i)]), before[i].column()));
        model.changePersistentIndexList(before, after);
        Q_EMIT model.layoutChanged({}, VerticalSortHint);
    }
    void rowsChanged(int first, int last) override {
        if (!columns.empty())
            Q_EMIT model.dataChanged(model.index(first, 0), model.index(last, int(columns.size()) - 1));
    }
    void fetched(const QWError& outcome) override {
        error = outcome;
        if (!error.isError())
            return;
        qCWarning(qwCoreLog).noquote()
            << "a table of" << request.entityName << "cannot be fetched:" << outcome.message;
        Q_EMIT model.fetchFailed(outcome);
    }

    // The order that a column gives; none of a relationship.
    std::optional<QWSortDescriptor> orderOf(int column, Qt::SortOrder order) const {
        QWSortDescriptorCreatorForManagedObjectFields creator;
        creator.setAscending(order == Qt::AscendingOrder);
        fields[column]->performAcceptVisitor(creator, *prototype);
        return creator.sortDescriptor();
    }

    QWFetchedRecordsModel& model;
    std::shared_ptr<QWManagedObjectContext> context;
    QWFetchRequest request; // in its own order
    QWFieldDescriptions fields;
    QWRef<QWManagedObject> prototype;
    std::vector<QWFieldColumn> columns;
    QWFetchedRows rows;
    QWError error;
    int sortColumn = -1;
    Qt::SortOrder sortOrder = Qt::AscendingOrder;
    std::vector<QWObservation> observations;
};

QWFetchedRecordsModel::QWFetchedRecordsModel(std::shared_ptr<QWManagedObjectContext> context,
                                             QWFetchRequest request, QWFieldDescriptions fields,
                                             QObject* parent)
    : QAbstractTableModel(parent),
      d_(std::make_unique<Private>(*this, std::move(context), std::move(request), std::move(fields))) {
    fetch(d_->request, nullptr);
}

QWFetchedRecordsModel::~QWFetchedRecordsModel() = default;

const std::shared_ptr<QWManagedObjectContext>& QWFetchedRecordsModel::managedObjectContext() const {
    return d_->context;
}

const QWFieldDescriptions& QWFetchedRecordsModel::fieldDescriptions() const {
    return d_->fields;
}

const QWFetchRequest& QWFetchedRecordsModel::fetchRequest() const {
    return d_->rows.request();
}

// Fetching --------------------------------------------------------------------------------------------------

bool QWFetchedRecordsModel::fetch(const QWFetchRequest& request, QWError* error) {
    QWError outcome;
    d_->rows.fetch(request, &outcome);
    d_->fetched(outcome);
    return !outcome.isError() || qw::fail(error, outcome);
}

bool QWFetchedRecordsModel::setFetchRequest(const QWFetchRequest& request, QWError* error) {
    if (request.entityName != d_->request.entityName)
        return qw::fail(
            error,
            QWMakeStoreError(
                QWStoreErrorCode::UnknownEntity,
                QStringLiteral("a table of %1 shows no %2").arg(d_->request.entityName, request.entityName),
                {{"entity", request.entityName}}));
    QWFetchRequest ordered = request;
    if (d_->sortColumn >= 0)
        ordered.sortDescriptors = d_->rows.request().sortDescriptors;
    if (!fetch(ordered, error))
        return false;
    d_->request = request;
    return true;
}

bool QWFetchedRecordsModel::refetch(QWError* error) {
    if (!fetch(d_->rows.request(), error))
        return false;
    if (d_->rows.count() > 0)
        d_->rowsChanged(0, d_->rows.count() - 1);
    return true;
}

const QWError& QWFetchedRecordsModel::fetchError() const {
    return d_->error;
}

bool QWFetchedRecordsModel::isUpToDate() const {
    return d_->rows.isSettled();
}

void QWFetchedRecordsModel::sort(int column, Qt::SortOrder order) {
    if (column >= int(d_->columns.size()) || (column < 0 && d_->sortColumn < 0))
        return;
    QWFetchRequest request = d_->rows.request();
    request.sortDescriptors = d_->request.sortDescriptors;
    if (column >= 0) {
        const auto descriptor = d_->orderOf(column, order);
        if (!descriptor)
            return;
        request.sortDescriptors = {*descriptor};
    }
    if (!fetch(request, nullptr))
        return;
    d_->sortColumn = std::max(column, -1);
    d_->sortOrder = order;
}

int QWFetchedRecordsModel::sortColumn() const {
    return d_->sortColumn;
}

Qt::SortOrder QWFetchedRecordsModel::sortOrder() const {
    return d_->sortOrder;
}

// Rows and columns ------------------------------------------------------------------------------------------

int QWFetchedRecordsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : d_->rows.count();
}

int QWFetchedRecordsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : int(d_->columns.size());
}

QWRef<QWManagedObject> QWFetchedRecordsModel::recordAtRow(int row) const {
    return row >= 0 && row < d_->rows.count() ? d_->rows.recordAt(row) : QWRef<QWManagedObject>();
}

int QWFetchedRecordsModel::rowOfRecord(const QWManagedObjectID& id) const {
    const bool isShown =
        !id.isNull() && d_->prototype && &id.entity->root() == &d_->prototype->entity().root();
    return isShown ? d_->rows.rowOf(id) : -1;
}

int QWFetchedRecordsModel::columnOfKey(const QString& key) const {
    const auto found = std::find_if(d_->columns.begin(), d_->columns.end(),
                                    [&](const QWFieldColumn& column) { return column.field->key() == key; });
    return found == d_->columns.end() ? -1 : int(found - d_->columns.begin());
}

QVariant QWFetchedRecordsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Vertical || section < 0 || section >= int(d_->columns.size()))
        return QAbstractTableModel::headerData(section, orientation, role);
    return role == Qt::DisplayRole ? d_->columns[size_t(section)].title : QVariant();
}

QVariant QWFetchedRecordsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const QWFieldColumn& column = d_->columns[size_t(index.column())];
    switch (role) {
    case Qt::DisplayRole:
        return column.kind == QWFieldColumn::Kind::Check ? QVariant()
                                                         : column.text(*d_->rows.recordAt(index.row()));
    case Qt::EditRole:
        return column.value(*d_->rows.recordAt(index.row()));
    case Qt::CheckStateRole:
        if (column.kind != QWFieldColumn::Kind::Check)
            return {};
        return int(column.value(*d_->rows.recordAt(index.row())).toBool() ? Qt::Checked : Qt::Unchecked);
    default:
        return {};
    }
}

std::vector<std::shared_ptr<QWTableCell>> QWFetchedRecordsModel::applyCellsTo(QAbstractItemView& view) const {
    std::vector<std::shared_ptr<QWTableCell>> cells;
    for (const QWFieldColumn& column : d_->columns) {
        QWTableCellCreatorForManagedObjectFields creator;
        column.field->performAcceptVisitor(creator, *d_->prototype);
        std::shared_ptr<QWTableCell> cell = creator.cell();
        if (!cell)
            cell = std::make_shared<QWTextFieldCell>(); // long strings and relationships, by their text
        if (!cell->formatter())
            cell->setFormatter(column.formatter);
        view.setItemDelegateForColumn(int(cells.size()), cell.get());
        cells.push_back(std::move(cell));
    }
    return cells;
}

// Editing ---------------------------------------------------------------------------------------------------

bool QWFetchedRecordsModel::isColumnEditable(int column) const {
    return column >= 0 && column < int(d_->columns.size()) && d_->columns[size_t(column)].isEditable;
}

void QWFetchedRecordsModel::setColumnEditable(int column, bool editable) {
    if (column < 0 || column >= int(d_->columns.size()))
        return;
    QWFieldColumn& changed = d_->columns[size_t(column)];
    changed.isEditable = editable && QWFieldColumn(changed.field, *d_->prototype).isEditable;
}

Qt::ItemFlags QWFetchedRecordsModel::flags(const QModelIndex& index) const {
    Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    if (!index.isValid())
        return flags;
    flags |= Qt::ItemNeverHasChildren;
    if (isColumnEditable(index.column()))
        flags |= d_->columns[size_t(index.column())].kind == QWFieldColumn::Kind::Check
                     ? Qt::ItemIsEditable | Qt::ItemIsUserCheckable
                     : Qt::ItemIsEditable;
    return flags;
}

bool QWFetchedRecordsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid) || !isColumnEditable(index.column()))
        return false;
    const QWFieldColumn& column = d_->columns[size_t(index.column())];
    QVariant meant = value;
    if (role == Qt::CheckStateRole && column.kind == QWFieldColumn::Kind::Check)
        meant = value.toInt() != Qt::Unchecked;
    else if (role != Qt::EditRole)
        return false;

    const QString key = column.field->key();
    const QWRef<QWManagedObject> record = d_->rows.recordAt(index.row());
    const auto refuse = [&](const QWError& error) {
        Q_EMIT editRefused(index, value, error);
        return false;
    };
    QString reason;
    if (value.typeId() == QMetaType::QString && !column.read(value.toString(), &meant, &reason)) {
        if (reason.isEmpty())
            reason = QStringLiteral("%1 cannot be \"%2\"").arg(column.title, value.toString());
        return refuse({QStringLiteral("table"), 0, reason, {{"key", key}, {"text", value}}});
    }
    QWError error;
    if (!record->setValueForKey(key, meant, &error))
        return refuse(error);
    // The row's new place comes with the context's notice, the value at once.
    const QModelIndex changed = this->index(d_->rows.rowOf(record->objectID()), index.column());
    if (changed.isValid())
        Q_EMIT dataChanged(changed, changed);
    return true;
}
