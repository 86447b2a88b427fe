#include "desktop/VisitsModel.h"

#include "core/QWSortDescriptorCreatorForManagedObjectFields.h"
#include "desktop/FlagImages.h"
#include "model/AtlasRecords.h"

#include <QRegularExpression>
#include <algorithm>

namespace atlas {

namespace {

// In the order of the columns.
const QStringList columns = {"title",  "country",   "city",    "start", "status",
                             "rating", "favourite", "minutes", "pace",  "cost"};

QWFieldDescriptions columnFields() {
    const Visit prototype;
    QWFieldDescriptions fields;
    for (const QString& key : columns)
        for (const auto& field : *prototype.fieldDescriptions())
            if (field->key() == key)
                fields.append(field);
    return fields;
}

} // namespace

VisitsModel::VisitsModel(std::shared_ptr<QWManagedObjectContext> context, EditHistory& history,
                         FlagImages& flags, QObject* parent)
    : QWFetchedRecordsModel(std::move(context), QWFetchRequest("Visit"), columnFields(), parent),
      history_(history), flags_(flags), titleColumn_(columnOfKey("title")) {
    setColumnEditable(columnOfKey("status"), false); // its names are chosen in the pane
}

bool VisitsModel::givesOrder(int column) const {
    QWSortDescriptorCreatorForManagedObjectFields creator;
    Visit prototype;
    fieldDescriptions().at(column)->performAcceptVisitor(creator, prototype);
    return creator.sortDescriptor().has_value();
}

QWPredicate VisitsModel::predicate(const QWPredicate& condition, const QString& search) {
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    QList<QWPredicate> all;
    if (!condition.isAlwaysTrue())
        all << condition;
    for (const QString& word : search.split(blanks, Qt::SkipEmptyParts)) {
        QList<QWPredicate> anywhere;
        for (const char* key : {"title", "city", "tags"})
            anywhere << QWPredicate::comparison(key, QWPredicate::Operator::Contains, word,
                                                QWPredicate::CaseInsensitive
                                                    | QWPredicate::DiacriticInsensitive);
        all << QWPredicate::disjunction(anywhere);
    }
    return all.isEmpty() ? QWPredicate() : QWPredicate::conjunction(all);
}

QVariant VisitsModel::data(const QModelIndex& index, int role) const {
    if (role == Qt::DecorationRole && index.column() == titleColumn_) {
        const auto visit = recordAtIndex(index);
        const auto country = visit ? visit->relatedObject("country") : QWRef<QWManagedObject>();
        const auto* record = dynamic_cast<const Country*>(country.data());
        const QImage flag = record ? flags_.image(record->imageURL().toLocalFile()) : QImage();
        return flag.isNull() ? QVariant() : QVariant(flag);
    }
    return QWFetchedRecordsModel::data(index, role);
}

bool VisitsModel::setData(const QModelIndex& index, const QVariant& value, int role) {
    const auto visit = recordAtIndex(index);
    if (!visit)
        return false;
    const auto& field = *fieldDescriptions().at(index.column());
    const QVariant before = visit->valueForKey(field.key());
    if (!QWFetchedRecordsModel::setData(index, value, role))
        return false;
    history_.noteChange(static_cast<QWManagedObjectWithSyncSupport&>(*visit), field.key(), before,
                        tr("Change %1").arg(field.name()));
    return true;
}

} // namespace atlas
