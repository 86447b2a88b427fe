#include "editing/QWComboBoxAutocompleteDatasource.h"

#include "platform/text/QWText.h"

#include <algorithm>

std::unique_ptr<QWComboBoxAutocompleteDatasource>
QWComboBoxAutocompleteDatasource::create(std::shared_ptr<QWManagedObjectContext> context,
                                         const QString& name) {
    if (!context || name.isNull())
        return nullptr;
    return std::unique_ptr<QWComboBoxAutocompleteDatasource>(
        new QWComboBoxAutocompleteDatasource(std::move(context), name));
}

QWComboBoxAutocompleteDatasource::QWComboBoxAutocompleteDatasource(
    std::shared_ptr<QWManagedObjectContext> context, const QString& name)
    : entityName_(name), managedObjectContext_(std::move(context)) {}

const QStringList& QWComboBoxAutocompleteDatasource::itemsForComboBox(const QWBoundField& comboBox) {
    const QString key = fieldKeyForComboBox(comboBox);
    if (!cacheIsValidForKey(key))
        updateCacheForComboBoxWithKey(key);
    return cachedItems_;
}

qsizetype QWComboBoxAutocompleteDatasource::numberOfItemsInComboBox(const QWBoundField& comboBox) {
    return itemsForComboBox(comboBox).size();
}

QString QWComboBoxAutocompleteDatasource::comboBoxObjectValueForItemAtIndex(const QWBoundField& comboBox,
                                                                            qsizetype index) {
    return itemsForComboBox(comboBox).at(index);
}

qsizetype QWComboBoxAutocompleteDatasource::comboBoxIndexOfItemWithStringValue(const QWBoundField& comboBox,
                                                                               const QString& string) {
    const qsizetype index = itemsForComboBox(comboBox).indexOf(string);
    return index < 0 ? notFound : index;
}

QString QWComboBoxAutocompleteDatasource::comboBoxCompletedString(const QWBoundField& comboBox,
                                                                  const QString& string) {
    const QStringList& items = itemsForComboBox(comboBox);
    const qw::text::SearchedText typed(string);
    const auto first =
        std::find_if(items.begin(), items.end(), [&](const QString& item) { return typed.isPrefixOf(item); });
    return first == items.end() ? QString() : *first;
}

QString QWComboBoxAutocompleteDatasource::fieldKeyForComboBox(const QWBoundField& comboBox) const {
    return comboBox.fieldKey();
}

QWFetchRequest
QWComboBoxAutocompleteDatasource::fetchRequestToSuggestComboBoxWithKey(const QString& key) const {
    QWFetchRequest request(entityName_,
                           QWPredicate::comparison(key, QWPredicate::Operator::NotEqual, QVariant()));
    request.includesPendingChanges = false;
    request.sortDescriptors = {{key, true, QWSortDescriptor::Comparison::LocalizedCaseInsensitive}};
    return request;
}

bool QWComboBoxAutocompleteDatasource::cacheIsValidForKey(const QString& key) const {
    return !cachedFieldKey_.isNull() && cachedFieldKey_ == key;
}

void QWComboBoxAutocompleteDatasource::updateCacheForComboBoxWithKey(const QString& key) {
    cachedItems_.clear();
    for (const QVariant& value :
         managedObjectContext_->distinctValues(fetchRequestToSuggestComboBoxWithKey(key), key)
             .value_or(QVariantList()))
        cachedItems_.append(value.toString());
    cachedFieldKey_ = key;
}
