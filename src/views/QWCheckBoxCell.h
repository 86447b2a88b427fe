#pragma once

#include "views/QWTableCell.h"

// A check box without a title: checked for a value that is neither null nor zero. A click on the box or the
// space key changes it, where cell and model allow; the model receives a bool under Qt::EditRole. An index
// without a value is asked for Qt::CheckStateRole instead, and changed under it where it may be
// (Qt::ItemIsUserCheckable).
//
// The box lies at the leading edge, or as Qt::TextAlignmentRole says, in the middle of the height;
// right-to-left views put it at the right.
class QWCheckBoxCell final : public QWTableCell {
public:
    explicit QWCheckBoxCell(QObject* parent = nullptr);

    std::unique_ptr<QWTableCell> copy() const override;

    bool isChecked() const;
    // Where the box is when the cell has that frame.
    QRectF indicatorRect(const QRectF& frame) const;
    void drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) override;
    // The box follows the mouse where the cell is enabled and editable.
    unsigned hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) override;
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

protected:
    QSizeF cellSize() const override;
    void prepare(const QStyleOptionViewItem& option, const QModelIndex& index) override;

private:
    QSize indicatorSize() const;

    int changedRole_ = Qt::EditRole; // where the value came from, and a change goes
};
