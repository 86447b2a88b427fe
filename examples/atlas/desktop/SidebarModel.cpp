#include "desktop/SidebarModel.h"

#include "model/AtlasRecords.h"
#include "platform/text/QWText.h"
#include "views/QWTableCell.h"

#include <QFontMetrics>
#include <QGuiApplication>
#include <algorithm>

namespace atlas {

namespace {

// What an index's internal id says: a row at the top, or the place of the group that it is in.
constexpr quintptr top = 0;

// A record of one entity; null for another.
const QWManagedObject* only(const QWRef<QWManagedObject>& record, const char* entityName) {
    return record->entity().name() == QLatin1String(entityName) ? record.data() : nullptr;
}

} // namespace

SidebarModel::SidebarModel(QWManagedObjectContext& context, FlagImages& flags, QObject* parent)
    : QAbstractItemModel(parent), context_(context), flags_(flags) {
    read();
    observation_ =
        context_.observeObjectsDidChange([this](const QWObjectsDidChangeNotice& notice) { follow(notice); });
}

// Rows ------------------------------------------------------------------------------------------------------

QModelIndex SidebarModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, parent.isValid() ? quintptr(parent.row()) : top);
}

QModelIndex SidebarModel::parent(const QModelIndex& index) const {
    return !index.isValid() || index.internalId() == top ? QModelIndex()
                                                         : createIndex(int(index.internalId()), 0, top);
}

int SidebarModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return OtherCountries + 1;
    return isGroup(parent) ? int(group(parent.row() == MyCountries).size()) : 0;
}

bool SidebarModel::isGroup(const QModelIndex& index) const {
    return index.isValid() && index.internalId() == top && index.row() >= MyCountries;
}

const SidebarModel::Country* SidebarModel::countryAt(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() == top)
        return nullptr;
    return &group(index.internalId() == MyCountries)[size_t(index.row())];
}

QWRef<QWManagedObject> SidebarModel::country(const QModelIndex& index) const {
    const Country* country = countryAt(index);
    return country ? context_.objectWithID(country->id) : QWRef<QWManagedObject>();
}

QModelIndex SidebarModel::indexOfCountry(const QWManagedObjectID& id) const {
    for (const bool isMine : {true, false}) {
        const Group& countries = group(isMine);
        const auto found = std::find_if(countries.begin(), countries.end(),
                                        [&](const Country& country) { return country.id == id; });
        if (found != countries.end())
            return index(int(found - countries.begin()), 0, indexOf(isMine ? MyCountries : OtherCountries));
    }
    return {};
}

QWPredicate SidebarModel::predicate(const QModelIndex& index) const {
    if (const Country* country = countryAt(index))
        return QWPredicate::comparison("country", QWPredicate::Operator::Equal,
                                       QVariant::fromValue(country->id));
    if (index.isValid() && index.row() == Favourites)
        return QWPredicate::comparison("favourite", QWPredicate::Operator::Equal, true);
    return {};
}

qsizetype SidebarModel::countryCount() const {
    return qsizetype(groups_[0].size()) + qsizetype(groups_[1].size());
}

QString SidebarModel::name(const QModelIndex& index) const {
    if (const Country* country = countryAt(index))
        return country->name;
    switch (index.row()) {
    case AllVisits:
        return tr("All visits");
    case Favourites:
        return tr("Favourites");
    case MyCountries:
        return tr("My countries");
    default:
        return tr("Other countries");
    }
}

qsizetype SidebarModel::visitCount(const QModelIndex& index) const {
    if (const Country* country = countryAt(index))
        return country->visits;
    return index.row() == AllVisits ? visits_.size() : index.row() == Favourites ? favourites_ : 0;
}

QVariant SidebarModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        return name(index);
    case Qt::AccessibleTextRole:
        return visitCount(index) == 0 ? name(index)
                                      : tr("%1, visits: %2").arg(name(index)).arg(visitCount(index));
    case QWTableCell::SecondaryTextRole:
        return visitCount(index) == 0 ? QVariant() : QVariant(QLocale().toString(visitCount(index)));
    case Qt::DecorationRole:
        if (const Country* country = countryAt(index))
            if (const QImage flag = flags_.image(country->flagPath); !flag.isNull())
                return flag;
        return {};
    case Qt::FontRole:
        if (isGroup(index)) {
            QFont font = QGuiApplication::font();
            font.setBold(true);
            return font;
        }
        return {};
    case Qt::SizeHintRole:
        return QSize(0, QFontMetrics(QGuiApplication::font()).height() + 8);
    default:
        return {};
    }
}

Qt::ItemFlags SidebarModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return {};
    return isGroup(index) ? Qt::ItemIsEnabled : Qt::ItemIsEnabled | Qt::ItemIsSelectable;
}

QModelIndexList SidebarModel::match(const QModelIndex& start, int role, const QVariant& value, int hits,
                                    Qt::MatchFlags flags) const {
    if (role != Qt::DisplayRole || !start.isValid())
        return QAbstractItemModel::match(start, role, value, hits, flags);
    const qw::text::SearchedText typed(value.toString());
    const int rows = rowCount(start.parent());
    for (int step = 0; step < rows; ++step) {
        const QModelIndex candidate = start.siblingAtRow((start.row() + step) % rows);
        if (typed.isPrefixOf(data(candidate, Qt::DisplayRole).toString()))
            return {candidate};
    }
    return {};
}

// What the context says -------------------------------------------------------------------------------------

void SidebarModel::read() {
    for (const auto& visit : context_.fetch(QWFetchRequest("Visit")).value_or(QWManagedObjectSet()))
        noteVisit(*visit, true);
    for (const auto& country : context_.fetch(QWFetchRequest("Country")).value_or(QWManagedObjectSet()))
        noteCountry(*country, true);
}

void SidebarModel::follow(const QWObjectsDidChangeNotice& notice) {
    const auto note = [this](const QWManagedObjectSet& records, bool isThere) {
        for (const auto& record : records) {
            if (const auto* visit = only(record, "Visit"))
                noteVisit(*visit, isThere);
            else if (const auto* country = only(record, "Country"))
                noteCountry(*country, isThere);
        }
    };
    note(notice.inserted, true);
    note(notice.updated, true);
    note(notice.refreshed, true);
    note(notice.deleted, false);
}

void SidebarModel::noteVisit(const QWManagedObject& visit, bool isThere) {
    const auto known = visits_.constFind(visit.objectID());
    const bool wasThere = known != visits_.constEnd();
    const VisitFacts before = wasThere ? *known : VisitFacts();
    VisitFacts after;
    if (isThere) {
        if (const auto country = visit.relatedObject("country"))
            after.country = country->objectID();
        after.isFavourite = visit.valueForKey("favourite").toBool();
        visits_[visit.objectID()] = after;
    } else {
        visits_.remove(visit.objectID());
    }
    if (!(before.country == after.country)) {
        addToCountry(before.country, -1);
        addToCountry(after.country, 1);
    }
    if (before.isFavourite != after.isFavourite) {
        favourites_ += after.isFavourite ? 1 : -1;
        changed(Favourites);
    }
    if (wasThere != isThere)
        changed(AllVisits);
}

void SidebarModel::addToCountry(const QWManagedObjectID& id, qsizetype visits) {
    const QModelIndex row = id.isNull() ? QModelIndex() : indexOfCountry(id);
    if (!row.isValid()) {
        unlisted_[id] += visits;
        return;
    }
    Country country = *countryAt(row);
    country.visits += visits;
    replace(row, country);
}

void SidebarModel::noteCountry(const QWManagedObject& record, bool isThere) {
    const QModelIndex row = indexOfCountry(record.objectID());
    if (!isThere) {
        if (row.isValid())
            unlisted_[record.objectID()] = remove(row).visits;
        return;
    }
    const auto& country = static_cast<const atlas::Country&>(record);
    const Country now{.id = record.objectID(),
                      .name = record.valueForKey("name").toString(),
                      .flagPath = country.imageURL().toLocalFile(),
                      .isVisited = record.valueForKey("visited").toBool(),
                      .visits = row.isValid() ? countryAt(row)->visits : unlisted_.take(record.objectID())};
    if (row.isValid())
        replace(row, now);
    else
        insert(now);
}

int SidebarModel::placeFor(const Country& country) const {
    const Group& countries = group(country.isMine());
    const auto comesBefore = [](const Country& left, const Country& right) {
        const int order = qw::text::compareLocalizedCaseInsensitive(left.name, right.name);
        return order != 0 ? order < 0 : left.id.key < right.id.key;
    };
    return int(std::lower_bound(countries.begin(), countries.end(), country, comesBefore)
               - countries.begin());
}

void SidebarModel::insert(const Country& country) {
    const int row = placeFor(country);
    beginInsertRows(groupIndex(country), row, row);
    Group& countries = group(country.isMine());
    countries.insert(countries.begin() + row, country);
    endInsertRows();
}

SidebarModel::Country SidebarModel::remove(const QModelIndex& row) {
    Group& countries = group(row.internalId() == MyCountries);
    const Country country = countries[size_t(row.row())];
    beginRemoveRows(row.parent(), row.row(), row.row());
    countries.erase(countries.begin() + row.row());
    endRemoveRows();
    return country;
}

// Moves the row to where the country belongs now, so that it stays selected.
void SidebarModel::replace(const QModelIndex& row, const Country& country) {
    const Country before = *countryAt(row);
    if (before.isMine() == country.isMine() && before.name == country.name) {
        group(country.isMine())[size_t(row.row())] = country;
        Q_EMIT dataChanged(row, row);
        return;
    }
    const int place = placeFor(country);
    const bool moves = beginMoveRows(row.parent(), row.row(), row.row(), groupIndex(country), place);
    Group& from = group(before.isMine());
    Group& to = group(country.isMine());
    const int source = row.row(); // the index is a former one from here on
    from.erase(from.begin() + source);
    const int destination = &from == &to && place > source ? place - 1 : place;
    to.insert(to.begin() + destination, country);
    if (moves)
        endMoveRows();
    const QModelIndex now = index(destination, 0, groupIndex(country));
    Q_EMIT dataChanged(now, now);
}

void SidebarModel::changed(Place place) {
    const QModelIndex row = indexOf(place);
    Q_EMIT dataChanged(row, row);
}

} // namespace atlas
