#pragma once

#include "core/cells/QWFetchedRecordsModel.h"
#include "desktop/EditHistory.h"

namespace atlas {

class FlagImages;

// The table of visits: the columns are the described fields that one line can show, and the title bears the
// flag of the visit's country. What is edited in it can be taken back.
class VisitsModel final : public QWFetchedRecordsModel {
    Q_OBJECT

public:
    VisitsModel(std::shared_ptr<QWManagedObjectContext> context, EditHistory& history, FlagImages& flags,
                QObject* parent = nullptr);

    // A visit has each word of `search` in its title, city or tags, letter case and accents ignored, and
    // meets `condition`.
    static QWPredicate predicate(const QWPredicate& condition, const QString& search);

    // Whether the rows can be sorted by a column.
    bool givesOrder(int column) const;

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;

private:
    EditHistory& history_;
    FlagImages& flags_;
    int titleColumn_;
};

} // namespace atlas
