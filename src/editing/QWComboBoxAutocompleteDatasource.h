#pragma once

#include "editing/QWBoundField.h"
#include "store/QWManagedObjectContext.h"

#include <QStringList>
#include <limits>

// What a combo box lists: the distinct values that one string attribute of an entity has in the store, in the
// user's order, and the first of them that begins with what is typed. One data source may serve all combo
// boxes of one entity.
//
// The list of one attribute is kept until another attribute is asked for. What is saved meanwhile is not
// seen, by intention; what is not saved never is.
//
// To be used on the context's thread.
class QWComboBoxAutocompleteDatasource final {
public:
    // Null without a context, or with a null name.
    static std::unique_ptr<QWComboBoxAutocompleteDatasource>
    create(std::shared_ptr<QWManagedObjectContext> context, const QString& name);

    // The index of what is not listed.
    static constexpr qsizetype notFound = std::numeric_limits<qsizetype>::max();

    // The list for the box's attribute, read when it is not the one that is kept. The reference holds until
    // the data source is asked for another attribute.
    const QStringList& itemsForComboBox(const QWBoundField& comboBox);
    qsizetype numberOfItemsInComboBox(const QWBoundField& comboBox);
    // An index out of range is the caller's error.
    QString comboBoxObjectValueForItemAtIndex(const QWBoundField& comboBox, qsizetype index);
    // Of the first item that is exactly this text, or `notFound`.
    qsizetype comboBoxIndexOfItemWithStringValue(const QWBoundField& comboBox, const QString& string);
    // The first item that begins with the text, letter case and accents ignored; null when none does.
    QString comboBoxCompletedString(const QWBoundField& comboBox, const QString& string);

    QString fieldKeyForComboBox(const QWBoundField& comboBox) const;
    // To be asked for the distinct values of `key`.
    QWFetchRequest fetchRequestToSuggestComboBoxWithKey(const QString& key) const;
    bool cacheIsValidForKey(const QString& key) const;
    // Reads the list anew; an unreadable one is empty.
    void updateCacheForComboBoxWithKey(const QString& key);

private:
    QWComboBoxAutocompleteDatasource(std::shared_ptr<QWManagedObjectContext> context, const QString& name);

    const QString entityName_;
    const std::shared_ptr<QWManagedObjectContext> managedObjectContext_;
    QStringList cachedItems_;
    QString cachedFieldKey_; // null at first
};
