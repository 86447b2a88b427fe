// makeSeeds FOLDER: writes the inputs that are no text, made by the library itself: FOLDER/TARGET/NAME.
#include "Fuzzing.h"
#include "StoreSeed.h"

#include "support/Images.h"
#include "sync/records/QWSyncRecordFile_p.h"
#include "util/images/CIImage_RepresentationWithFileType.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <plist/plist.h>

namespace {

QDir folder;

void seed(const QString& name, const QByteArray& bytes) {
    require(!bytes.isEmpty() && folder.mkpath(name.section('/', 0, -2)), "a seed can be made");
    QFile file(folder.filePath(name));
    require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "a seed can be written");
}

void seedImages() {
    const QImage image = images::twoHalves(Qt::red, Qt::blue, {12, 8});
    for (const QByteArray format : {"png", "jpeg", "gif", "bmp", "tiff", "webp"}) {
        const QByteArray bytes = images::inFormat(image, format);
        seed("image/" + format, bytes);
        seed("image/" + format + "-cut", bytes.left(bytes.size() * 2 / 3));
    }
    for (const QByteArray format : {"png", "jpeg", "gif", "bmp"})
        seed("image/" + format + "-huge",
             images::claimingSize(images::inFormat(image, format), format, 65000));
    seed("image/jpeg-turned", images::withOrientation(images::encoded(image, "jpeg"), 6));
    seed("image/bmp-grey", images::encoded(image.convertToFormat(QImage::Format_Grayscale8), "bmp"));
    seed("image/jp2", representationUsingType(image, NSJPEG2000FileType));
}

void seedRecords() {
    const QVariantMap record{{"title", "A"},
                             {"price", 1.5},
                             {"read", true},
                             {"notes", QByteArray("rtf")},
                             {"added", QDateTime(QDate(2013, 5, 4), QTime(16, 22, 10), Qt::UTC)},
                             {"dateModified", "2013-05-04 18:22:10 +0200"},
                             {"author", QVariantMap{{"uuid", "U"}, {"entityName", "Author"}}},
                             {"related", QVariantList{QVariantMap{{"uuid", "R"}, {"entityName", "Book"}}}}};
    const QByteArray xml = qw::sync::recordFileBytes(record).value_or(QByteArray());
    seed("record/xml", xml);
    plist_t list = nullptr;
    plist_from_memory(xml.constData(), quint32(xml.size()), &list);
    char* binary = nullptr;
    quint32 length = 0;
    plist_to_bin(list, &binary, &length);
    seed("record/binary", QByteArray(binary, length));
    plist_free(list);
    free(binary);
    const QString json = R"({"title":"Ä","pages":3})";
    seed("record/utf16", QByteArray(reinterpret_cast<const char*>(json.utf16()), json.size() * 2));
}

} // namespace

int main(int argc, char** argv) {
    prepareProcess(argc, argv);
    folder.setPath(QString::fromLocal8Bit(argv[argc - 1]));
    seedImages();
    seedRecords();
    seed("store/cache", "C" + storeSeed::cacheFile());
    seed("store/library", "L" + storeSeed::libraryFile());
}
