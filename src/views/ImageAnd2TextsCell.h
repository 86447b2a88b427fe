#pragma once

#include "views/QWTextFieldCell.h"

#include <QIcon>
#include <QList>

class QTextLayout;

// A text cell with images before its text and a badge after it, a capsule with a secondary text such as a
// count. The text keeps all that a text cell does in the room that they leave.
//
// In an item view images and badge are those of the index: Qt::DecorationRole gives a QIcon, QPixmap or
// QImage, or a QVariantList of them, of which null ones take no room, QWTableCell::SecondaryTextRole the
// badge's text. An icon that is a template (QIcon::isMask) is drawn as its shape: black, or white on a dark
// background. Images are as high and as wide as the row less 4.
//
// Right-to-left views mirror the cell: images at the right in their order from there, the badge at the left,
// its padding turned; pictures and texts themselves are not mirrored. Of a cell that is not enabled, images
// and badge are drawn half transparent.
class ImageAnd2TextsCell : public QWTextFieldCell {
public:
    explicit ImageAnd2TextsCell(QWFormatterRef formatter = nullptr, QObject* parent = nullptr);
    ~ImageAnd2TextsCell() override;

    // The copy has a list of images of its own, with the same images.
    std::unique_ptr<QWTableCell> copy() const override;

    // The first image; a null one when there is none.
    QIcon templateImage() const;
    // Makes it the only image, unless it is the first one already; a null one removes all.
    void setTemplateImage(const QIcon& image);
    // Appends an image; a null one is ignored. The next drawing brings every image to the height of the row;
    // until then it has its own size.
    void addTemplateImage(const QIcon& image);
    void removeAllTemplateImages();

    // The badge's text; no badge when it is empty.
    const QString& secondaryText() const { return secondaryText_; }
    void setSecondaryText(const QString& text) { secondaryText_ = text; }
    QSizeF sizeForSecondaryTextWithFont(const QFont& font) const;

    // The font of the badge beside a text in `font`: Arial Black of the same size, or where it is not
    // installed the heaviest face of the system's sans serif.
    static QFont badgeFont(const QFont& font);
    // The badge's colours in the state that the cell is drawn in. Both pointers are required.
    void getTextColor(QColor* textColor, QColor* backgroundColor) const;

    // The part of a frame that images and badge leave for the text.
    QRectF dividedCellFrame(const QRectF& frame) const;
    void drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) override;
    // Neither images nor badge are part of what is hit.
    unsigned hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) override;
    void selectWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor, int start,
                         int length) override;
    void editWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor) override;

protected:
    QSizeF cellSize() const override;
    void prepare(const QStyleOptionViewItem& option, const QModelIndex& index) override;

private:
    struct Image {
        QVariant picture;
        QSizeF size; // in which it is drawn
    };
    struct Division;
    struct Caches;

    Division divide(const QRectF& frame) const;
    void resizeImages(qreal rowHeight);
    void drawImage(QPainter& painter, const Image& image, const QRectF& rect) const;
    void drawBadge(QPainter& painter, const QRectF& badge) const;
    void drawBadgeAsPicture(QPainter& painter, const QRectF& badge) const;
    qreal badgeTextWidth() const;
    QTextLayout& badgeText(qreal width, const QColor& color) const;

    QList<Image> templateImages_;
    QString secondaryText_;
    bool needToResizeImages_ = false;
    std::unique_ptr<Caches> caches_; // of the cell alone; a copy begins with empty ones
};
