#include "views/CellsBenchmark.h"

#include "views/ImageAnd2TextsCell.h"

#include <QHeaderView>
#include <QImage>
#include <QPainter>
#include <QStandardItemModel>
#include <QTableView>
#include <random>

namespace {

constexpr int countryCount = 40, rowHeight = 24, drawings = 20, rounds = 31;

// Countries with a flag and the number of visits to each; the number in a column of its own as well, for a
// delegate that draws one text for an item.
struct Countries : QStandardItemModel {
    Countries() : QStandardItemModel(countryCount, 2) {
        static const QStringList names{"Österreich", "Bolivia",   "Côte d’Ivoire", "Denmark",
                                       "Ελλάδα",     "Guatemala", "New Zealand",   "Papua New Guinea",
                                       "Uruguay",    "Zimbabwe"};
        std::mt19937 random(3);
        for (int row = 0; row < countryCount; ++row) {
            QImage flag(320, 240, QImage::Format_RGB32);
            flag.fill(QColor::fromHsv(int(random() % 360), 200, 200));
            const QString count = QString::number(random() % 2000);
            setData(index(row, 0), names[int(random() % size_t(names.size()))]);
            setData(index(row, 0), QIcon(QPixmap::fromImage(flag)), Qt::DecorationRole);
            setData(index(row, 0), count, QWTableCell::SecondaryTextRole);
            setData(index(row, 1), count);
            setData(index(row, 1), int(Qt::AlignRight | Qt::AlignVCenter), Qt::TextAlignmentRole);
        }
    }
};

// A window's table of them, drawn into an image.
struct Table {
    Table(QAbstractItemModel& model, qreal ratio)
        : image(QSize(400, countryCount * rowHeight) * ratio, QImage::Format_ARGB32_Premultiplied) {
        image.setDevicePixelRatio(ratio);
        view.setModel(&model);
        view.horizontalHeader()->hide();
        view.verticalHeader()->hide();
        view.verticalHeader()->setDefaultSectionSize(rowHeight);
        view.setFrameShape(QFrame::NoFrame);
        view.setIconSize({rowHeight - 4, rowHeight - 4}); // as the cell draws its images
        view.resize(400, countryCount * rowHeight);
    }
    // Seconds for some drawings of all rows.
    double draw() {
        return bench::seconds([this] {
            for (int i = 0; i < drawings; ++i) {
                QPainter painter(&image);
                view.viewport()->render(&painter, {}, {}, QWidget::DrawChildren);
            }
        });
    }

    QTableView view;
    QImage image;
};

std::vector<bench::Row> drawing() {
    std::vector<bench::Row> rows;
    Countries countries;
    ImageAnd2TextsCell cell;
    for (const qreal ratio : {1.0, 2.0}) {
        Table subject(countries, ratio), peer(countries, ratio), withoutCount(countries, ratio);
        subject.view.setItemDelegate(&cell);
        subject.view.setColumnWidth(0, 400);
        subject.view.hideColumn(1);
        peer.view.setColumnWidth(0, 300);
        peer.view.setColumnWidth(1, 100);
        withoutCount.view.setColumnWidth(0, 400);
        withoutCount.view.hideColumn(1);
        for (Table* table : {&subject, &peer, &withoutCount})
            table->view.show();
        const QString scale = QStringLiteral(" at %1 %").arg(100 * ratio);
        rows.push_back(bench::compare(
            "a row with image, text and badge / two plain items, icon and texts" + scale, 1.5, rounds,
            [&] { return subject.draw(); }, [&] { return peer.draw(); }));
        rows.push_back(bench::compare(
            "a row with image, text and badge / one plain item, without the count" + scale, 0, rounds,
            [&] { return subject.draw(); }, [&] { return withoutCount.draw(); }));
        rows.back().goal = bench::Goal::Figure;
    }
    return rows;
}

} // namespace

std::vector<bench::Measurement> cellsMeasurements() {
    return {{"drawing", drawing}};
}
