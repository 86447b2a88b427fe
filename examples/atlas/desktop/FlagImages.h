#pragma once

#include <QCache>
#include <QDateTime>
#include <QImage>

namespace atlas {

// Flags as small square images, with the flag in the middle and nothing around it, so that flags of all
// shapes stand in line. Kept for as long as their file does not change.
class FlagImages {
public:
    // Null when the file is missing, empty (a flag that was taken away) or no image.
    QImage image(const QString& path);

private:
    struct Entry {
        QDateTime date;
        qint64 size;
        QImage image;
    };
    QCache<QString, Entry> entries_{1000}; // more than there are countries
};

} // namespace atlas
