#include "views/QWCheckBoxCell.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>

namespace {

constexpr qreal padding = 2; // around the box

// Styles draw the frame of a box darker than the window. On the ground of a dark view nobody would see it.
QColor windowWhoseFramesShow(const QPalette& palette) {
    const QColor base = palette.color(QPalette::Base), text = palette.color(QPalette::Text);
    const auto mixed = [](int ground, int colour) { return (ground + 2 * colour) / 3; };
    return base.lightness() < text.lightness()
               ? QColor(mixed(base.red(), text.red()), mixed(base.green(), text.green()),
                        mixed(base.blue(), text.blue()))
               : palette.color(QPalette::Window);
}

} // namespace

QWCheckBoxCell::QWCheckBoxCell(QObject* parent) : QWTableCell(parent) {}

std::unique_ptr<QWTableCell> QWCheckBoxCell::copy() const {
    auto cell = std::make_unique<QWCheckBoxCell>();
    cell->copyFieldsFrom(*this);
    cell->changedRole_ = changedRole_;
    return cell;
}

bool QWCheckBoxCell::isChecked() const {
    return value().toDouble() != 0; // of a bool too
}

QSize QWCheckBoxCell::indicatorSize() const {
    return {style().pixelMetric(QStyle::PM_IndicatorWidth, &option(), controlView()),
            style().pixelMetric(QStyle::PM_IndicatorHeight, &option(), controlView())};
}

QSizeF QWCheckBoxCell::cellSize() const {
    return indicatorSize().grownBy({int(padding), int(padding), int(padding), int(padding)});
}

QRectF QWCheckBoxCell::indicatorRect(const QRectF& frame) const {
    const Qt::Alignment across = option().displayAlignment & Qt::AlignHorizontal_Mask;
    return QStyle::alignedRect(layoutDirection(), across | Qt::AlignVCenter, indicatorSize(),
                               frame.toRect().adjusted(int(padding), 0, -int(padding), 0));
}

void QWCheckBoxCell::drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) {
    setControlView(view);
    QStyleOptionViewItem box = option();
    box.rect = indicatorRect(frame).toRect();
    box.state.setFlag(QStyle::State_HasFocus, false);
    box.state.setFlag(QStyle::State_Enabled, isDrawnEnabled());
    box.palette.setCurrentColorGroup(colorGroup());
    box.palette.setColor(QPalette::Window, windowWhoseFramesShow(box.palette));
    box.state.setFlag(isChecked() ? QStyle::State_On : QStyle::State_Off);
    style().drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &box, &painter, view);
}

unsigned QWCheckBoxCell::hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) {
    const bool isOnBox = indicatorRect(rect).contains(event.position());
    const unsigned hit = QWTableCell::hitTestForEvent(event, rect, view);
    return isOnBox && isEnabled() && isEditable() ? hit | HitTrackableArea : hit;
}

void QWCheckBoxCell::prepare(const QStyleOptionViewItem& option, const QModelIndex& index) {
    QWTableCell::prepare(option, index);
    const QVariant state = value().isValid() ? QVariant() : index.data(Qt::CheckStateRole);
    changedRole_ = state.isValid() ? Qt::CheckStateRole : Qt::EditRole;
    if (state.isValid())
        setValue(state.toInt() != Qt::Unchecked);
}

bool QWCheckBoxCell::editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                                 const QModelIndex& index) {
    prepare(option, index);
    const Qt::ItemFlag changeable =
        changedRole_ == Qt::CheckStateRole ? Qt::ItemIsUserCheckable : Qt::ItemIsEditable;
    if (!isEnabled() || !isEditable() || !index.flags().testFlags(Qt::ItemIsEnabled | changeable))
        return false;
    if (event->type() == QEvent::KeyPress) {
        if (static_cast<QKeyEvent*>(event)->key() != Qt::Key_Space)
            return false;
    } else if (event->type() == QEvent::MouseButtonRelease || event->type() == QEvent::MouseButtonDblClick) {
        // A double click is the second click: views keep the release that ends it to themselves.
        const auto& mouse = *static_cast<QMouseEvent*>(event);
        if (mouse.button() != Qt::LeftButton
            || !(hitTestForEvent(mouse, option.rect, option.widget) & HitTrackableArea))
            return false;
    } else {
        return false;
    }
    return changedRole_ == Qt::CheckStateRole
               ? model->setData(index, isChecked() ? Qt::Unchecked : Qt::Checked, Qt::CheckStateRole)
               : model->setData(index, !isChecked(), Qt::EditRole);
}
