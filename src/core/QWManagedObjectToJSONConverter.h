#pragma once

#include "core/QWImageConvertionManager.h"
#include "core/QWManagedObjectValueVisitor.h"
#include "core/QWRichTextConvertionManager.h"
#include "store/QWManagedObject.h"

#include <QVariantMap>
#include <memory>
#include <optional>

// Turns one record into a dictionary of plain values and that into JSON text: let the record accept the
// converter, then read `jsonData`. Reusable; one thread at a time.
//
// Each field is written under its key, a string's sort form under its sort key, no value as null. Dates
// become text (dateFormatterToConvertDateInJSON), rich text what `richTextConvertionManager` makes of it,
// images hexadecimal text of what `imageConvertionManager` makes of them; an image whose file is missing, and
// every image without a manager, is left out. A relationship of the record becomes an array of dictionaries,
// for a to-one too; relationships of the records in it are not followed.
class QWManagedObjectToJSONConverter : public QWManagedObjectValueVisitor,
                                       public QWRichTextConvertionManager {
public:
    QWManagedObjectToJSONConverter();
    ~QWManagedObjectToJSONConverter() override;
    QWManagedObjectToJSONConverter(const QWManagedObjectToJSONConverter&) = delete;
    QWManagedObjectToJSONConverter& operator=(const QWManagedObjectToJSONConverter&) = delete;

    // Null by default: images are not exported.
    const std::shared_ptr<QWImageConvertionManager>& imageConvertionManager() const { return images_; }
    void setImageConvertionManager(std::shared_ptr<QWImageConvertionManager> manager);
    // The converter itself by default: plain characters. Without one rich text becomes null.
    const std::shared_ptr<QWRichTextConvertionManager>& richTextConvertionManager() const {
        return richTexts_;
    }
    void setRichTextConvertionManager(std::shared_ptr<QWRichTextConvertionManager> manager);

    // For dates in exported dictionaries; shared by the process.
    static const QWDateFormatterRef& dateFormatterToConvertDateInJSON();

    // The last export as indented JSON; nothing, with a line in the log, when it holds a value that JSON
    // lacks.
    std::optional<QByteArray> jsonData() const;

    QString convertedStringFromRichText(const QTextDocument& richText) override;

    void beginVisitOfObject(QWManagedObject& object) override;
    void endVisitOfObject(QWManagedObject& object) override;
    void visitObjectLongStringForKey(QWManagedObject& object, const QString& key, bool richText,
                                     const QString& name) override;
    void visitObjectDateForKey(QWManagedObject& object, const QString& key, const QString& name,
                               const QWDateFormatterRef& formatter) override;
    void visitObjectImageURLForKey(QWManagedObject& object, const QString& key, const QString& name) override;
    // Opening a relationship while one is open is a programming error: assertion "!subElements".
    bool visitObjectShouldExploreRelationshipForKey(QWManagedObject& object, const QString& key,
                                                    const QString& name, const QString& destinationEntityName,
                                                    bool isToMany) override;
    void visitObjectCloseRelationshipForKey(QWManagedObject& object, const QString& key,
                                            const QString& name) override;

protected:
    void visitObjectValueForKey(QWManagedObject& object, const QString& key) override;
    const QWManagedObject* rootObject() const { return root_.data(); }
    // The values of the record exported last, until the next export begins.
    const QVariantMap& rootDictionaryToExport() const { return rootDictionary_; }
    // Writes a value of the record being visited; no value is written as null.
    void saveValue(const QVariant& value, const QWManagedObject& object, const QString& key);

private:
    void closeCurrentDictionaryAndInsertInSubElements();
    void updateEditingDictionaryForObject(const QWManagedObject& object);

    std::shared_ptr<QWImageConvertionManager> images_;
    std::shared_ptr<QWRichTextConvertionManager> richTexts_;
    QWRef<QWManagedObject> root_; // the record whose visit began first; null between exports
    QVariantMap rootDictionary_;
    QVariantMap destinationDictionary_;       // of a record at the other end of the open relationship
    QVariantMap* current_ = nullptr;          // where values go: one of the two above, or nowhere
    std::optional<QVariantList> subElements_; // dictionaries of the open relationship; none when none is open
    QString subElementsKey_;
};
