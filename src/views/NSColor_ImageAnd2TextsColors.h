#pragma once

#include <QColor>

// The colours of the badge of an ImageAnd2TextsCell, each opaque; as 8-bit numbers about (94, 155, 222),
// (172, 181, 211) and (155, 169, 199).
QColor darkCyanColor();
QColor blueGrayColor();
QColor ironGrayColor();
