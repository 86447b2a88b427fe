#pragma once

#include <QFont>
#include <QStringList>

// The lines in which a text is drawn: at its line breaks and, when it wraps, where a line of that width is
// full. Of more than `maximum` lines (at least 1) the last one stands for all the rest; it and lines that are
// too long are elided.
QStringList qwLinesOfText(QString text, const QFont& font, qreal width, bool wraps, int maximum,
                          Qt::TextElideMode elideMode);
