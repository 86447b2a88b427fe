#include "views/NSColor_ImageAnd2TextsColors.h"

QColor darkCyanColor() {
    return QColor::fromRgbF(0.369F, 0.608F, 0.871F);
}

QColor blueGrayColor() {
    return QColor::fromRgbF(0.675F, 0.71F, 0.827F);
}

QColor ironGrayColor() {
    return QColor::fromRgbF(0.608F, 0.663F, 0.78F);
}
