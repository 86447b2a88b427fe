#pragma once

#include "util/QWFormatter.h"

#include <QPointer>
#include <QStyledItemDelegate>
#include <memory>

class QMouseEvent;

// What draws the values of a table column, a tree or a list: a value, the formatter that makes its text, and
// the state that it is drawn in. The base of QWTextFieldCell, QWCheckBoxCell, QWLevelIndicatorCell and
// ImageAnd2TextsCell.
//
// A cell is a stamp. As the item delegate of a view it serves any number of indexes: before it draws,
// measures, edits or answers a click it takes over what the index holds and how the view stands, in place of
// what it had. Without a view its fields are set by the caller, who then draws it (`drawWithFrame`).
//
// Of an index count:
//   Qt::EditRole, else Qt::DisplayRole    the value itself, as it is stored; the cell makes the text
//   Qt::DecorationRole                    images, for an ImageAnd2TextsCell
//   QWTableCell::SecondaryTextRole        the text of a badge, for an ImageAnd2TextsCell
//   Qt::FontRole, Qt::ForegroundRole, Qt::BackgroundRole, Qt::SizeHintRole    as in Qt's own delegate
//   Qt::TextAlignmentRole                 its horizontal part
// What assistive technology reads comes from the model (Qt::AccessibleTextRole, else Qt::DisplayRole), not
// from the cell.
//
// Right-to-left views mirror a cell as a whole; each class says what that means. Rectangles are in the view's
// units (device independent pixels), whatever the screen's resolution. A cell belongs to whoever made it:
// views do not own their delegates. One cell may serve several columns and views. Main thread.
class QWTableCell : public QStyledItemDelegate {
public:
    // The text of the badge beside the value.
    static constexpr int SecondaryTextRole = Qt::UserRole + 0x5157;

    // What the cell stands on: template images are black on a light background and white on a dark one.
    enum class BackgroundStyle { Light, Dark };

    // What a click hits; see `hitTestForEvent`.
    enum HitResult : unsigned {
        HitNone = 0,
        HitContentArea = 1,
        HitEditableTextArea = 2,
        HitTrackableArea = 4, // follows the mouse by itself: a check box, stars
    };

    explicit QWTableCell(QObject* parent = nullptr);
    ~QWTableCell() override;

    // Another cell of the same class, with the same settings, value and state, and no parent. Every class
    // gives its own.
    virtual std::unique_ptr<QWTableCell> copy() const = 0;

    const QVariant& value() const { return value_; }
    void setValue(const QVariant& value) { value_ = value; }

    // Makes texts of values and values of texts. Null by default: values are shown as Qt shows them. A value
    // for which it has no text is shown as none.
    const QWFormatterRef& formatter() const { return formatter_; }
    void setFormatter(QWFormatterRef formatter) { formatter_ = std::move(formatter); }

    // The text of the value.
    QString stringValue() const { return displayText(value_, option_.locale); }
    QString displayText(const QVariant& value, const QLocale& locale) const override;

    // A cell that is not enabled draws itself so and answers no click, whatever the view is. YES.
    bool isEnabled() const { return enabled_; }
    void setEnabled(bool enabled) { enabled_ = enabled; }

    // Whether the user may change values; the model must allow it as well (Qt::ItemIsEditable). YES.
    bool isEditable() const { return editable_; }
    void setEditable(bool editable) { editable_ = editable; }

    // The state that the cell is drawn in. Of a cell with a control view, the view itself is asked whether
    // its window is active and whether it has the focus; an open editor has it, not the view. The two
    // settings serve a cell without one. Highlighted: selected.
    bool isHighlighted() const { return option_.state & QStyle::State_Selected; }
    void setHighlighted(bool highlighted) { option_.state.setFlag(QStyle::State_Selected, highlighted); }
    bool isWindowActive() const;
    void setWindowActive(bool active) { windowActive_ = active; }
    bool isViewFocused() const;
    void setViewFocused(bool focused) { viewFocused_ = focused; }
    BackgroundStyle backgroundStyle() const { return backgroundStyle_; }
    void setBackgroundStyle(BackgroundStyle style) { backgroundStyle_ = style; }

    // The application's font until one is set or taken over.
    const QFont& font() const { return option_.font; }
    void setFont(const QFont& font);
    Qt::LayoutDirection layoutDirection() const { return option_.direction; }
    void setLayoutDirection(Qt::LayoutDirection direction) { option_.direction = direction; }

    // The view that the cell is in; may be null. A cell that no view has as its delegate takes palette, layout
    // direction and whether it is enabled from it, each time that it is set or drawn for.
    const QWidget* controlView() const { return controlView_; }
    void setControlView(const QWidget* view);

    // Draws the cell into a frame, for that view; the background is the view's matter. It may change the
    // painter's pen, brush, font and hints, and draws outside the frame where that is too small: `paint` sees
    // to both.
    virtual void drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) = 0;

    // What is at the event's position when the cell lies in that rectangle of the view; bits of HitResult.
    virtual unsigned hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view);

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const override;

protected:
    // The room that the whole of the cell wants.
    virtual QSizeF cellSize() const = 0;
    // Takes over index and view. A subclass calls its base first.
    virtual void prepare(const QStyleOptionViewItem& option, const QModelIndex& index);
    // This cell, with index and view taken over.
    QWTableCell& prepared(const QStyleOptionViewItem& option, const QModelIndex& index) const;
    // For `copy`.
    void copyFieldsFrom(const QWTableCell& cell);

    // Whether cell and model let the user change the value.
    bool mayEdit(const QModelIndex& index) const;
    bool isDrawnEnabled() const { return enabled_ && option_.state & QStyle::State_Enabled; }
    QPalette::ColorGroup colorGroup() const;
    QColor textColor() const;
    const QStyle& style() const;
    // Where a part of a frame lies in a right-to-left view.
    static QRectF mirrored(const QRectF& part, const QRectF& frame);
    // How the view would draw the cell. Its texts, icon and widget are not used.
    const QStyleOptionViewItem& option() const { return option_; }

private:
    QColor background() const;

    QVariant value_;
    QWFormatterRef formatter_;
    QStyleOptionViewItem option_;
    QPointer<const QWidget> controlView_;
    bool isOfIndex_ = false; // option_ was taken over from an index of the control view
    BackgroundStyle backgroundStyle_ = BackgroundStyle::Light;
    bool enabled_ = true;
    bool editable_ = true;
    bool windowActive_ = true;
    bool viewFocused_ = false;
};
