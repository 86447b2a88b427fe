#pragma once

#include <QByteArrayView>

// Whether encoded bytes hold all that their header announces. False only of JPEG, GIF and BMP: their decoders
// make a picture out of what there is and leave the rest grey or black, while those of other formats report
// what is missing. Of a GIF only the first picture must be there, since that is the one that is shown.
bool reachesItsEnd(QByteArrayView bytes);
