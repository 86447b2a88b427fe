#pragma once

#include "editing/QWTokenField.h"
#include "store/QWManagedObjectContext.h"

// Suggests tokens that are in use already: the delegate of token fields whose value is a string attribute of
// one entity, in which tokens are joined by a separator and a space ("red, green, blue"). A suggestion begins
// with what is typed, letter case and accents ignored, and is not in the field yet.
//
// Only saved values are searched. From the moment a field has the focus (or asks for the first time) until it
// loses it, the attribute's distinct values are kept in memory (QWManagedObjectContext::keepDistinctValues),
// so that the list follows the keystrokes however many records there are; a value that was saved a moment ago
// is among them.
//
// To be used on the context's thread.
class QWTokenFieldSubstringCompletion final : public QWTokenFieldDelegate {
public:
    // Assertions: "context", "[name length]>0", and "[character length]==1" for a separator that is not
    // exactly one character.
    QWTokenFieldSubstringCompletion(std::shared_ptr<QWManagedObjectContext> context, const QString& name,
                                    const QString& character);

    const std::shared_ptr<QWManagedObjectContext>& managedObjectContext() const {
        return managedObjectContext_;
    }
    const QString& entityName() const { return entityName_; }
    const QString& separatorCharacter() const { return separatorCharacter_; }

    // The suggestions for `substring`, each once, in the user's order (letter case ignored); nothing for an
    // empty one, or when the store cannot be read. A field without key is a programming error: assertion
    // "fieldKey". The index of the token is not used, that of the selected item not changed.
    QStringList tokenFieldCompletionsForSubstring(const QWTokenField& field, const QString& substring,
                                                  qsizetype indexOfToken,
                                                  qsizetype* indexOfSelectedItem) override;
    void tokenFieldDidBeginEditing(const QWTokenField& field) override;
    void tokenFieldDidEndEditing(const QWTokenField& field) override;

    // The attribute that the field shows; null when it says none.
    QString fieldKeyFromTokenField(const QWTokenField& field) const;
    // The records whose attribute contains the text anywhere: wider than what is suggested. To be asked for
    // the distinct values of `key`.
    QWFetchRequest fetchRequestToSuggestTokenFieldWithKey(const QString& key,
                                                          const QString& stringToMatch) const;

private:
    void keepValues(const QString& key);

    const std::shared_ptr<QWManagedObjectContext> managedObjectContext_;
    const QString entityName_;
    const QString separatorCharacter_;

    QString keptKey_; // whose values are kept; null for none
    std::shared_ptr<const void> keptValues_;
};
