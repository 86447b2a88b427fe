#pragma once

#include <QColor>
#include <QFont>
#include <QTextLayout>
#include <memory>

// How far the text of a layout begins from its origin.
inline constexpr qreal NSTextContainerLineFragmentPadding = 5;

// The layout of a text in one line, with that font and colour over its whole length. Drawn at a point, its
// first character begins `NSTextContainerLineFragmentPadding` to the right of it and the line's top is at its
// height, so that the baseline is as far below as the font's ascent.
std::unique_ptr<QTextLayout> newLayoutManagerWithFont(const QString& string, const QFont& font,
                                                      const QColor& color);
