#pragma once

#include <QString>
#include <QVariant>
#include <memory>

// Turns values into text for people and what they type back into values. A table column shows its values
// through one (views/QWTextFieldCell.h), a line edit checks what is typed with one
// (formatters/QWFormatterValidator.h).
//
// A formatter takes any value and any text and never fails otherwise than said here. It may be shared by any
// number of users on one thread at a time; one whose class says that it is constant, by any number of
// threads.
class QWFormatter {
public:
    virtual ~QWFormatter() = default;

    // A null text for a value that this formatter has no text for, a null value among them.
    virtual QString stringForObjectValue(const QVariant& value) const = 0;

    // The text with which the editing of a value begins; the text shown unless a formatter says otherwise.
    virtual QString editingStringForObjectValue(const QVariant& value) const {
        return stringForObjectValue(value);
    }

    // Reads the whole text. True: `*value` is what it means; null where an empty text means no value, and
    // that is allowed. False: the text means nothing to this formatter; the value must not be used, and
    // `*errorDescription`, if asked for, may say why, in the user's language: it is left as it was otherwise,
    // as all formatters of the library leave it. `value` is required.
    virtual bool getObjectValue(QVariant* value, const QString& string,
                                QString* errorDescription = nullptr) const = 0;
};

using QWFormatterRef = std::shared_ptr<const QWFormatter>;
