#pragma once

#include "views/QWTableCell.h"

// A cell that shows its value as text and edits it in a line edit.
//
// The text begins at the top of its rectangle, 2 away from either side; in rows that are taller than the
// text, `setAlignTextVertically` centres it. It runs over several lines where it has line breaks or the view
// wraps words (QTableView does, unless told otherwise) and the height suffices; what does not fit is elided.
// Right-to-left views begin at the right.
//
// With a formatter, a text that it refuses keeps the editor open when Return is pressed, with the formatter's
// error description as its tool tip; when the focus goes elsewhere, the editor closes and the value stays.
// Where an empty text means no value, the model receives a null QVariant. Without a formatter the model
// receives the text, as a value of the former one's type where it can be read as such. It receives nothing of
// a text that the user has left alone, since a text may say less than its value (a date without seconds); and
// what the user has typed stays in the editor when the row changes meanwhile.
class QWTextFieldCell : public QWTableCell {
public:
    explicit QWTextFieldCell(QWFormatterRef formatter = nullptr, QObject* parent = nullptr);

    std::unique_ptr<QWTableCell> copy() const override;

    // Centres the text in the height of the row. NO.
    bool alignTextVertically() const { return alignTextVertically_; }
    void setAlignTextVertically(bool align) { alignTextVertically_ = align; }

    // The size that text and padding take in those bounds: of as many lines as fit, at least one. Words wrap
    // at the width of the bounds, if they do.
    QSizeF cellSizeForBounds(const QRectF& bounds) const;
    // Where the text is drawn when the cell has those bounds.
    virtual QRectF drawingRectForBounds(const QRectF& bounds) const;
    void drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) override;
    // The text can be edited (HitEditableTextArea) where the cell is enabled and editable.
    unsigned hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) override;

    // Place an editor over the text of a cell in that frame of the view; the first also selects characters.
    // The editor gets the full height, centred text or not.
    virtual void selectWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor, int start,
                                 int length);
    virtual void editWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor);

    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;
    void setEditorData(QWidget* editor, const QModelIndex& index) const override;
    void setModelData(QWidget* editor, QAbstractItemModel* model, const QModelIndex& index) const override;
    void updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const override;
    // Clicks that miss the text start no editing.
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

protected:
    QSizeF cellSize() const override;
    void copyFieldsFrom(const QWTextFieldCell& cell);
    // YES only while the cell hands its frame to an editor.
    bool isSelectingOrEditing() const { return isSelectingOrEditing_; }

private:
    QStringList linesIn(const QSizeF& size) const;
    bool wraps() const { return option().features & QStyleOptionViewItem::WrapText; }

    bool alignTextVertically_ = false;
    bool isSelectingOrEditing_ = false;
};
