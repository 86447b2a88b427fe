#include "core/QWManagedObjectFieldDescription.h"
#include "core/cells/QWTableCellCreatorForManagedObjectFields.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "support/BookLibrary.h"
#include "views/ImageAnd2TextsCell.h"

#include <QPainter>
#include <QStandardItemModel>
#include <QTableView>
#include <QTreeView>

namespace {

struct CellsGuide : testing::Test {
    CellsGuide() { flag.fill(Qt::red); }
    QImage flag{320, 240, QImage::Format_RGB32};
};

TEST_F(CellsGuide, Makes_the_cell_of_a_field) {
    BookLibrary library;
    const QWRef<Book> visit = library.insertBook();
    const QWManagedObjectFieldDescriptionLevel rating("rating", "Rating", true, 5);
    QTableView table;
    QWTableCellCreatorForManagedObjectFields::setStringKeysForImageAnd2TextCell({"name"});

    QWTableCellCreatorForManagedObjectFields creator;
    rating.performAcceptVisitor(creator, *visit);
    const std::shared_ptr<QWTableCell> stars = creator.cell(); // the view does not own it: keep it
    table.setItemDelegateForColumn(1, stars.get());
    EXPECT_TRUE(stars);
    QWTableCellCreatorForManagedObjectFields::setStringKeysForImageAnd2TextCell({});
}

TEST_F(CellsGuide, Shows_images_a_text_and_a_badge) {
    QStandardItemModel sidebar;
    QTreeView outline;
    QStandardItem italy("Italy");
    italy.setData(flag, Qt::DecorationRole);
    italy.setData("12", QWTableCell::SecondaryTextRole); // visits to it
    sidebar.appendRow(&italy);

    ImageAnd2TextsCell places;
    places.setAlignTextVertically(true);
    outline.setModel(&sidebar);
    outline.setItemDelegate(&places);
    outline.grab();
    EXPECT_EQ(places.secondaryText(), u"12");
    sidebar.takeRow(0);
}

TEST_F(CellsGuide, Shows_a_column_through_a_formatter) {
    QTableView table;
    const QWFormatterRef minutes = std::make_shared<QWMinutesIntervalFormatter>();
    QWTextFieldCell duration(minutes);
    table.setItemDelegateForColumn(2, &duration);
    EXPECT_EQ(table.itemDelegateForColumn(2), &duration);
}

TEST_F(CellsGuide, Draws_a_cell_without_a_view) {
    QImage image(200, 24, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QPainter painter(&image);
    ImageAnd2TextsCell cell;
    cell.setValue("Italy");
    cell.addTemplateImage(QIcon(QPixmap::fromImage(flag)));
    cell.setSecondaryText("12");
    cell.setHighlighted(true);
    cell.drawWithFrame(painter, QRectF(0, 0, 200, 24), nullptr);
    EXPECT_EQ(image.pixelColor(13, 12), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(195, 12), QColor(Qt::white));
}

} // namespace
