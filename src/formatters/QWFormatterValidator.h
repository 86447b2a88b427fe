#pragma once

#include "util/QWFormatter.h"

#include <QValidator>

// Lets a line edit take what a formatter reads. Any text may be typed on the way there: a text that the
// formatter refuses is intermediate, never invalid, so nothing that is typed is held back, and the line edit
// reports that editing has finished only with a text that is read. The formatter is never null.
class QWFormatterValidator : public QValidator {
public:
    explicit QWFormatterValidator(QWFormatterRef formatter, QObject* parent = nullptr);

    State validate(QString& text, int& position) const override;

private:
    QWFormatterRef formatter_;
};
