#pragma once

#include "store/QWManagedObjectModel.h"

#include <QStringList>
#include <QVariantList>
#include <vector>

// The distinct values of one string attribute among the rows of one entity and those below it, in memory,
// each beside what it folds to: what contains a text is found without the file. The store fills it, tells it
// which values a save may have added or removed, and looks those up before the next use. Used under the
// store's lock.
class QWDistinctTexts {
public:
    QWDistinctTexts(const QWEntityDescription& entity, const QWPropertyDescription& attribute)
        : entity_(entity), attribute_(attribute) {}

    const QWEntityDescription& entity() const { return entity_; }
    const QWPropertyDescription& attribute() const { return attribute_; }

    // Takes the values as they are, each once, by code points; `version` says of what state of the file.
    void fill(const QStringList& texts, qint64 version);
    // There are so many that they are not kept.
    void giveUp();
    bool hasGivenUp() const { return gaveUp_; }

    // Whether the values are those of that version of the file, those touched excepted.
    bool follows(qint64 version) const { return version_ == version; }
    // From now on nothing is known, until it is filled.
    void forget() { version_ = Unknown; }

    // A save may have brought this value or taken its last row. Lookups need the attribute's index, and many
    // of them take longer than reading everything again.
    void touch(const QVariant& value);
    const QStringList& touched() const { return touched_; }
    // What the file says of a value that was touched.
    void set(const QString& text, bool exists);
    void settle() { touched_.clear(); }

    // The values that contain `text`, case and accents ignored, by code points.
    QVariantList containing(const QString& text) const;

private:
    struct Entry {
        QString text;
        QString folded; // shares the text's characters where folding changes none
    };
    static constexpr qint64 Unknown = -1;
    static constexpr qsizetype MostTouched = 256;

    const QWEntityDescription& entity_;
    const QWPropertyDescription& attribute_;
    std::vector<Entry> entries_; // by code points
    QStringList touched_;
    qint64 version_ = Unknown;
    bool gaveUp_ = false;
};
