#pragma once

#include "desktop/FlagImages.h"
#include "store/QWManagedObjectContext.h"

#include <QAbstractItemModel>
#include <array>

namespace atlas {

// What the sidebar lists: all visits, the favourites, and the countries in two groups: those that have visits
// or bear the mark "visited", and the others. Each has its number of visits under
// QWTableCell::SecondaryTextRole, a country its flag under Qt::DecorationRole. Follows the context's notices;
// what is not saved yet counts.
class SidebarModel final : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Place { AllVisits, Favourites, MyCountries, OtherCountries }; // the rows at the top

    SidebarModel(QWManagedObjectContext& context, FlagImages& flags, QObject* parent = nullptr);

    QModelIndex indexOf(Place place) const { return index(place, 0); }
    // Of a country; invalid when it is not listed.
    QModelIndex indexOfCountry(const QWManagedObjectID& country) const;
    bool isGroup(const QModelIndex& index) const;
    // The country of a row; null for the others.
    QWRef<QWManagedObject> country(const QModelIndex& index) const;
    // Which visits a row stands for.
    QWPredicate predicate(const QModelIndex& index) const;
    qsizetype countryCount() const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& index) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& = {}) const override { return 1; }
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    // What is typed into the view finds names that begin with it, letter case and accents ignored.
    QModelIndexList match(const QModelIndex& start, int role, const QVariant& value, int hits,
                          Qt::MatchFlags flags) const override;

private:
    struct Country {
        QWManagedObjectID id;
        QString name, flagPath;
        bool isVisited = false;
        qsizetype visits = 0;

        bool isMine() const { return isVisited || visits > 0; }
    };
    struct VisitFacts {
        QWManagedObjectID country; // null for none
        bool isFavourite = false;
    };
    using Group = std::vector<Country>; // by name

    Group& group(bool isMine) { return groups_[isMine ? 0 : 1]; }
    const Group& group(bool isMine) const { return groups_[isMine ? 0 : 1]; }
    QString name(const QModelIndex& index) const;
    qsizetype visitCount(const QModelIndex& index) const;
    const Country* countryAt(const QModelIndex& index) const;

    void read();
    void follow(const QWObjectsDidChangeNotice& notice);
    void noteVisit(const QWManagedObject& visit, bool isThere);
    void noteCountry(const QWManagedObject& record, bool isThere);
    void addToCountry(const QWManagedObjectID& id, qsizetype visits);
    QModelIndex groupIndex(const Country& country) const {
        return indexOf(country.isMine() ? MyCountries : OtherCountries);
    }
    int placeFor(const Country& country) const; // its row, of those that are there
    void insert(const Country& country);
    Country remove(const QModelIndex& row);
    void replace(const QModelIndex& row, const Country& country);
    void changed(Place place);

    QWManagedObjectContext& context_;
    FlagImages& flags_;
    std::array<Group, 2> groups_; // mine, the others
    QHash<QWManagedObjectID, VisitFacts> visits_;
    QHash<QWManagedObjectID, qsizetype> unlisted_; // visits of countries that have not come yet
    qsizetype favourites_ = 0;
    QWObservation observation_;
};

} // namespace atlas
