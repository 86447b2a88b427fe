#include "core/QWManagedObjectToJSONConverter.h"

#include "core/QWCoreLog_p.h"
#include "core/QWJSON.h"
#include "core/QWManagedObjectWithSyncSupport.h"
#include "core/QWRichText.h"
#include "platform/QWAssert.h"
#include "store/QWManagedObjectContext.h"
#include "util/NSData_HexadecimalString.h"
#include "util/NSFileManager_fileExistsAtURL.h"

#include <QTextDocument>
#include <QUrl>

namespace {

QVariant valueOfText(const QString& text) {
    return text.isNull() ? QVariant() : QVariant(text);
}

} // namespace

QWManagedObjectToJSONConverter::QWManagedObjectToJSONConverter()
    // Points to the converter without owning it: it would never be released otherwise.
    : richTexts_(std::shared_ptr<void>(), this) {}

QWManagedObjectToJSONConverter::~QWManagedObjectToJSONConverter() = default;

void QWManagedObjectToJSONConverter::setImageConvertionManager(
    std::shared_ptr<QWImageConvertionManager> manager) {
    images_ = std::move(manager);
}

void QWManagedObjectToJSONConverter::setRichTextConvertionManager(
    std::shared_ptr<QWRichTextConvertionManager> manager) {
    richTexts_ = std::move(manager);
}

const QWDateFormatterRef& QWManagedObjectToJSONConverter::dateFormatterToConvertDateInJSON() {
    return QWManagedObjectWithSyncSupport::dateModifiedFormatter();
}

std::optional<QByteArray> QWManagedObjectToJSONConverter::jsonData() const {
    auto data = qw::json::write(rootDictionary_, qw::json::Format::Indented);
    if (!data)
        qCWarning(qwCoreLog, "jsonData: the record holds a value that is not JSON");
    return data;
}

QString QWManagedObjectToJSONConverter::convertedStringFromRichText(const QTextDocument& richText) {
    return qw::plainText(richText);
}

// Nesting ---------------------------------------------------------------------------------------------------

void QWManagedObjectToJSONConverter::beginVisitOfObject(QWManagedObject& object) {
    if (!root_) {
        root_.reset(&object);
        current_ = &rootDictionary_;
    } else {
        current_ = &destinationDictionary_;
    }
    current_->clear();
}

void QWManagedObjectToJSONConverter::endVisitOfObject(QWManagedObject& object) {
    if (root_.data() == &object)
        root_.reset();
    else
        closeCurrentDictionaryAndInsertInSubElements();
}

void QWManagedObjectToJSONConverter::closeCurrentDictionaryAndInsertInSubElements() {
    if (current_ == &rootDictionary_)
        return;
    if (current_ && subElements_)
        subElements_->append(*current_);
    current_ = nullptr;
}

void QWManagedObjectToJSONConverter::updateEditingDictionaryForObject(const QWManagedObject& object) {
    if (root_.data() == &object) {
        current_ = &rootDictionary_;
    } else {
        destinationDictionary_.clear();
        current_ = &destinationDictionary_;
    }
}

bool QWManagedObjectToJSONConverter::visitObjectShouldExploreRelationshipForKey(QWManagedObject& object,
                                                                                const QString& key,
                                                                                const QString&,
                                                                                const QString&, bool) {
    if (root_.data() != &object)
        return false;
    QWAssert(!subElements_, "!subElements",
             "-[QWManagedObjectToJSONConverter "
             "visitObject:shouldExploreRelationshipForKey:name:destinationEntityName:isToMany:]");
    subElements_.emplace();
    subElementsKey_ = key;
    return true;
}

void QWManagedObjectToJSONConverter::visitObjectCloseRelationshipForKey(QWManagedObject& object,
                                                                        const QString&, const QString&) {
    // Each destination closed its own dictionary at the end of its visit, so nothing is left to add here.
    closeCurrentDictionaryAndInsertInSubElements();
    updateEditingDictionaryForObject(object);
    saveValue(subElements_.value_or(QVariantList()), object, subElementsKey_);
    subElements_.reset();
    subElementsKey_.clear();
}

// Fields ----------------------------------------------------------------------------------------------------

void QWManagedObjectToJSONConverter::saveValue(const QVariant& value, const QWManagedObject&,
                                               const QString& key) {
    if (current_)
        current_->insert(key, value.isValid() ? value : qw::json::null());
}

void QWManagedObjectToJSONConverter::visitObjectValueForKey(QWManagedObject& object, const QString& key) {
    saveValue(object.valueForKey(key), object, key);
}

void QWManagedObjectToJSONConverter::visitObjectLongStringForKey(QWManagedObject& object, const QString& key,
                                                                 bool richText, const QString&) {
    if (!richText)
        return visitObjectValueForKey(object, key);
    const auto document = qw::richTextFromStoredValue(object.valueForKey(key));
    const bool isReadable = document && richTexts_;
    saveValue(valueOfText(isReadable ? richTexts_->convertedStringFromRichText(*document) : QString()),
              object, key);
}

void QWManagedObjectToJSONConverter::visitObjectDateForKey(QWManagedObject& object, const QString& key,
                                                           const QString&, const QWDateFormatterRef&) {
    const QDateTime date = object.valueForKey(key).toDateTime();
    saveValue(valueOfText(dateFormatterToConvertDateInJSON()->stringFromDate(date)), object, key);
}

void QWManagedObjectToJSONConverter::visitObjectImageURLForKey(QWManagedObject& object, const QString& key,
                                                               const QString&) {
    const auto* context = object.managedObjectContext();
    const QUrl url = object.valueForKey(key).toUrl();
    if (images_ && context && fileExistsAtURL(context->environment().files(), url))
        saveValue(valueOfText(hexadecimalString(images_->convertedImageDataFromURL(url))), object, key);
}
