#include "views/QWTableCell.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

namespace {

bool isDark(const QColor& color) {
    return qGray(color.rgb()) < 128;
}

} // namespace

QWTableCell::QWTableCell(QObject* parent) : QStyledItemDelegate(parent) {
    option_.state = QStyle::State_Enabled;
    option_.displayAlignment = Qt::AlignLeft | Qt::AlignVCenter;
    option_.textElideMode = Qt::ElideRight;
    option_.features = QStyleOptionViewItem::WrapText;
    option_.palette = QApplication::palette();
    option_.direction = QApplication::layoutDirection();
    setFont(QApplication::font());
}

QWTableCell::~QWTableCell() = default;

void QWTableCell::copyFieldsFrom(const QWTableCell& cell) {
    value_ = cell.value_;
    formatter_ = cell.formatter_;
    option_ = cell.option_;
    controlView_ = cell.controlView_;
    isOfIndex_ = cell.isOfIndex_;
    backgroundStyle_ = cell.backgroundStyle_;
    enabled_ = cell.enabled_;
    editable_ = cell.editable_;
    windowActive_ = cell.windowActive_;
    viewFocused_ = cell.viewFocused_;
}

QString QWTableCell::displayText(const QVariant& value, const QLocale& locale) const {
    return formatter_ ? formatter_->stringForObjectValue(value)
                      : QStyledItemDelegate::displayText(value, locale);
}

bool QWTableCell::isWindowActive() const {
    return controlView_ ? controlView_->isActiveWindow() : windowActive_;
}

// The view's own focus: QStyle::State_HasFocus only says where the current item is.
bool QWTableCell::isViewFocused() const {
    return controlView_ ? controlView_->hasFocus() : viewFocused_;
}

void QWTableCell::setFont(const QFont& font) {
    option_.font = font;
    option_.fontMetrics = QFontMetrics(font);
}

void QWTableCell::setControlView(const QWidget* view) {
    if (controlView_ == view && isOfIndex_)
        return; // the index has a say in them too
    controlView_ = view;
    isOfIndex_ = false;
    if (!view)
        return;
    option_.palette = view->palette();
    option_.direction = view->layoutDirection();
    option_.state.setFlag(QStyle::State_Enabled, view->isEnabled());
}

const QStyle& QWTableCell::style() const {
    return *(controlView_ ? controlView_->style() : QApplication::style());
}

QRectF QWTableCell::mirrored(const QRectF& part, const QRectF& frame) {
    return {frame.left() + frame.right() - part.right(), part.top(), part.width(), part.height()};
}

QPalette::ColorGroup QWTableCell::colorGroup() const {
    if (!isDrawnEnabled())
        return QPalette::Disabled;
    return isWindowActive() ? QPalette::Active : QPalette::Inactive;
}

QColor QWTableCell::textColor() const {
    return option_.palette.color(colorGroup(), isHighlighted() ? QPalette::HighlightedText : QPalette::Text);
}

// Index and view --------------------------------------------------------------------------------------------

// Delegates are constant to Qt, and a stamp is not: what it takes over is for the operation that follows.
QWTableCell& QWTableCell::prepared(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    auto& cell = const_cast<QWTableCell&>(*this);
    cell.prepare(option, index);
    return cell;
}

void QWTableCell::prepare(const QStyleOptionViewItem& option, const QModelIndex& index) {
    option_ = option;
    option_.showDecorationSelected = true; // images and badge are on the row's highlight, not only the text
    controlView_ = option.widget;
    isOfIndex_ = true;
    value_ = index.data(Qt::EditRole);
    if (!value_.isValid())
        value_ = index.data(Qt::DisplayRole);
    if (const QVariant font = index.data(Qt::FontRole); font.isValid())
        setFont(qvariant_cast<QFont>(font).resolve(option.font));
    if (const QVariant alignment = index.data(Qt::TextAlignmentRole); alignment.isValid())
        option_.displayAlignment = Qt::Alignment(alignment.toInt());
    if (const QVariant brush = index.data(Qt::ForegroundRole); brush.canConvert<QBrush>())
        option_.palette.setBrush(QPalette::Text, qvariant_cast<QBrush>(brush));
    if (const QVariant brush = index.data(Qt::BackgroundRole); brush.canConvert<QBrush>())
        option_.backgroundBrush = qvariant_cast<QBrush>(brush);
    backgroundStyle_ = isDark(background()) ? BackgroundStyle::Dark : BackgroundStyle::Light;
}

// What the view draws under the cell.
QColor QWTableCell::background() const {
    if (!isHighlighted() && option_.backgroundBrush.style() != Qt::NoBrush)
        return option_.backgroundBrush.color();
    const bool isAlternate = option_.features & QStyleOptionViewItem::Alternate;
    return option_.palette.color(colorGroup(), isHighlighted() ? QPalette::Highlight
                                               : isAlternate   ? QPalette::AlternateBase
                                                               : QPalette::Base);
}

bool QWTableCell::mayEdit(const QModelIndex& index) const {
    return enabled_ && editable_ && index.flags().testFlags(Qt::ItemIsEnabled | Qt::ItemIsEditable);
}

void QWTableCell::paint(QPainter* painter, const QStyleOptionViewItem& option,
                        const QModelIndex& index) const {
    QWTableCell& cell = prepared(option, index);
    painter->save();
    painter->setClipRect(option.rect, Qt::IntersectClip);
    style().drawPrimitive(QStyle::PE_PanelItemViewItem, &option_, painter, option.widget);
    // Below the contents, whose colours count: some styles fill the whole frame with a tint.
    if (option.state & QStyle::State_HasFocus) {
        QStyleOptionFocusRect focus;
        focus.QStyleOption::operator=(option_);
        focus.state |= QStyle::State_KeyboardFocusChange | QStyle::State_Item;
        focus.backgroundColor =
            option_.palette.color(colorGroup(), isHighlighted() ? QPalette::Highlight : QPalette::Window);
        style().drawPrimitive(QStyle::PE_FrameFocusRect, &focus, painter, option.widget);
    }
    cell.drawWithFrame(*painter, option.rect, option.widget);
    painter->restore();
}

QSize QWTableCell::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const {
    if (const QVariant size = index.data(Qt::SizeHintRole); size.isValid())
        return qvariant_cast<QSize>(size);
    const QSizeF needed = prepared(option, index).cellSize();
    return {qCeil(needed.width()), qCeil(needed.height())};
}

unsigned QWTableCell::hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget*) {
    return rect.contains(event.position()) ? HitContentArea : HitNone;
}

QWidget* QWTableCell::createEditor(QWidget*, const QStyleOptionViewItem&, const QModelIndex&) const {
    return nullptr;
}
