#pragma once

#include "store/QWPredicate.h"

#include <QList>
#include <QString>

// How records are put in order by one attribute.
struct QWSortDescriptor {
    enum class Comparison {
        Natural,                  // numbers, dates and booleans by value, strings by code points
        LocalizedCaseInsensitive, // strings in the user's locale, letter case ignored
    };

    QString key;
    bool ascending = true;
    Comparison comparison = Comparison::Natural;
};

// Which records to fetch. A plain value: set the fields, hand it to a context.
struct QWFetchRequest {
    QString entityName;
    QWPredicate predicate;                   // holds for every record by default
    QList<QWSortDescriptor> sortDescriptors; // records without value first when ascending; ties and no
                                             // descriptors: by key, which is the order of insertion
    qint64 limit = 0;                        // 0: no limit; applied after pending changes
    qint64 offset = 0;
    bool includesPendingChanges = true; // judge records by what the context holds, not what is saved
    bool includesSubentities = true;

    QWFetchRequest() = default;
    explicit QWFetchRequest(QString name, QWPredicate condition = {})
        : entityName(std::move(name)), predicate(std::move(condition)) {}
};
