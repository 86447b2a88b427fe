#include "editing/QWTokenFieldSubstringCompletion.h"

#include "platform/QWAssert.h"
#include "platform/text/QWText.h"

#include <QSet>

static constexpr auto initOperation =
    "-[QWTokenFieldSubstringCompletion initWithManagedObjectContext:entityName:separatorCharacter:]";

QWTokenFieldSubstringCompletion::QWTokenFieldSubstringCompletion(
    std::shared_ptr<QWManagedObjectContext> context, const QString& name, const QString& character)
    : managedObjectContext_(std::move(context)), entityName_(name), separatorCharacter_(character) {
    QWAssert(managedObjectContext_, "context", initOperation);
    QWAssert(entityName_.size() > 0, "[name length]>0", initOperation);
    QWAssert(separatorCharacter_.size() == 1, "[character length]==1", initOperation);
}

QStringList QWTokenFieldSubstringCompletion::tokenFieldCompletionsForSubstring(const QWTokenField& field,
                                                                               const QString& substring,
                                                                               qsizetype, qsizetype*) {
    const QString key = fieldKeyFromTokenField(field);
    QWAssert(!key.isNull(), "fieldKey",
             "-[QWTokenFieldSubstringCompletion "
             "tokenField:completionsForSubstring:indexOfToken:indexOfSelectedItem:]");
    QStringList present = field.objectValue();
    present.removeAll(substring);

    keepValues(key);
    const QVariantList values =
        managedObjectContext_->distinctValues(fetchRequestToSuggestTokenFieldWithKey(key, substring), key)
            .value_or(QVariantList());
    const qw::text::SearchedText typed(substring);
    const QString joint = separatorCharacter_ + u' ';
    QSet<QStringView> found; // views of `values`
    for (const QVariant& value : values) {
        const auto& text =
            *static_cast<const QString*>(value.constData()); // asked of a string attribute only
        for (const QStringView piece : QStringView(text).tokenize(joint)) {
            if (typed.isPrefixOf(piece) && !present.contains(piece))
                found.insert(piece);
        }
    }
    QStringList suggestions;
    suggestions.reserve(found.size());
    for (const QStringView piece : std::as_const(found))
        suggestions.append(piece.toString());
    qw::text::sortLocalizedCaseInsensitive(suggestions);
    return suggestions;
}

void QWTokenFieldSubstringCompletion::tokenFieldDidBeginEditing(const QWTokenField& field) {
    const QString key = fieldKeyFromTokenField(field);
    if (!key.isNull())
        keepValues(key);
}

void QWTokenFieldSubstringCompletion::tokenFieldDidEndEditing(const QWTokenField&) {
    keptKey_ = QString();
    keptValues_.reset();
}

QString QWTokenFieldSubstringCompletion::fieldKeyFromTokenField(const QWTokenField& field) const {
    return field.fieldKey();
}

QWFetchRequest
QWTokenFieldSubstringCompletion::fetchRequestToSuggestTokenFieldWithKey(const QString& key,
                                                                        const QString& stringToMatch) const {
    QWFetchRequest request(
        entityName_,
        QWPredicate::comparison(key, QWPredicate::Operator::Contains, qw::text::lowercase(stringToMatch),
                                QWPredicate::CaseInsensitive | QWPredicate::DiacriticInsensitive));
    request.includesPendingChanges = false;
    return request;
}

// One that cannot be kept is asked for all the same, and read from the file.
void QWTokenFieldSubstringCompletion::keepValues(const QString& key) {
    if (key == keptKey_)
        return;
    keptKey_ = key;
    keptValues_ = managedObjectContext_->keepDistinctValues(entityName_, key);
}
