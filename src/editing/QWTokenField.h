#pragma once

#include "editing/QWBoundField.h"

#include <QObject>
#include <QStringList>

// A field whose value is a list of tokens. QWTokenFieldWidget is one; a host may have another.
class QWTokenField : public QWBoundField {
public:
    // The tokens in the field, in order, the one that is being typed among them.
    virtual QStringList objectValue() const = 0;
};

// Whom a token field asks and tells. Fields hold it weakly.
class QWTokenFieldDelegate : public QObject {
public:
    // What the token that is being typed may become. `indexOfToken` is its place among the tokens. The field
    // proposes the completion at `*indexOfSelectedItem` (never null), 0 at first; -1: none, they are only
    // listed.
    virtual QStringList tokenFieldCompletionsForSubstring(const QWTokenField& field, const QString& substring,
                                                          qsizetype indexOfToken,
                                                          qsizetype* indexOfSelectedItem) = 0;
    // The field has received the focus, or lost it.
    virtual void tokenFieldDidBeginEditing(const QWTokenField& field) { Q_UNUSED(field) }
    virtual void tokenFieldDidEndEditing(const QWTokenField& field) { Q_UNUSED(field) }
};
