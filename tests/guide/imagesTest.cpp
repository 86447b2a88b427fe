#include "support/Images.h"
#include "support/BookLibrary.h"
#include "util/images/CIImage_ChangeImageRatio.h"
#include "util/images/CIImage_RepresentationWithFileType.h"
#include "util/images/QWImageImporter.h"

#include <QImageReader>

namespace {

struct ImagesGuide : testing::Test {
    ImagesGuide() {
        record->image = QUrl::fromLocalFile(library.path("cover"));
        EXPECT_TRUE(environment.files().write(library.path("picked.png"),
                                              images::encoded(images::twoHalves(), "png")));
    }
    void takeOver(const QUrl& picked) {
        Book& book = *record;
        QWError error;
        if (!QWImageImporter::copyImageDataFromURL(environment.files(), picked, book.imageURL(), &error))
            environment.errorPresenter().presentError(error);
        else
            book.setDateModified(environment.clock().now()); // so that the image is sent
    }

    BookLibrary library;
    QWEnvironment& environment = library.context->environment();
    QWRef<Book> record = library.insertBook();
};

TEST_F(ImagesGuide, Takes_over_what_a_person_picked) {
    takeOver(QUrl::fromLocalFile(library.path("picked.png")));
    EXPECT_EQ(QImageReader::imageFormat(library.path("cover")), "jpeg");
    EXPECT_TRUE(library.world.errorPresenter->errors().empty());
    takeOver(QUrl::fromLocalFile(library.path("missing")));
    EXPECT_EQ(library.world.errorPresenter->errors().size(), 1u);
}

TEST_F(ImagesGuide, Raises_the_limit) {
    const int before = QImageReader::allocationLimit();
    QImageReader::setAllocationLimit(256); // megabytes: 67 million pixels
    EXPECT_EQ(QImageReader::allocationLimit(), 256);
    QImageReader::setAllocationLimit(before);
}

TEST_F(ImagesGuide, Takes_a_part_of_an_image) {
    const QImage photograph = images::twoHalves();
    const QImage square = imageByCroppingToRatio(photograph, 1.0); // the middle, as high as it is wide
    const QByteArray png = representationUsingType(square, NSPNGFileType);
    EXPECT_EQ(QImage::fromData(png).size(), QSize(30, 30));
}

} // namespace
