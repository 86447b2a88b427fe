#pragma once

#include <QByteArray>
#include <QUrl>

// Decides in which form images are exported.
class QWImageConvertionManager {
public:
    virtual ~QWImageConvertionManager() = default;
    // The image in whatever form the host chooses; `url` names a local file that exists. Null bytes are
    // exported as no value.
    virtual QByteArray convertedImageDataFromURL(const QUrl& url) = 0;
};
