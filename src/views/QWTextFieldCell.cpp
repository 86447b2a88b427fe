#include "views/QWTextFieldCell.h"

#include "formatters/QWFormatterValidator.h"
#include "views/QWCellText_p.h"

#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>

namespace {

constexpr qreal sidePadding = 2; // of a text cell without a border
constexpr qreal rowMargin = 2;   // above and below the text in rows that are made to fit
constexpr qreal unlimited =
    1e6; // a width at which nothing wraps; larger ones overflow Qt's fixed-point numbers

// What an editor holds for the value that it was given, or has given back last: another text is the user's.
constexpr char givenText[] = "_qw_given_text";

} // namespace

QWTextFieldCell::QWTextFieldCell(QWFormatterRef formatter, QObject* parent) : QWTableCell(parent) {
    setFormatter(std::move(formatter));
}

std::unique_ptr<QWTableCell> QWTextFieldCell::copy() const {
    auto cell = std::make_unique<QWTextFieldCell>();
    cell->copyFieldsFrom(*this);
    return cell;
}

void QWTextFieldCell::copyFieldsFrom(const QWTextFieldCell& cell) {
    QWTableCell::copyFieldsFrom(cell);
    alignTextVertically_ = cell.alignTextVertically_;
    isSelectingOrEditing_ = cell.isSelectingOrEditing_;
}

// Geometry and drawing --------------------------------------------------------------------------------------

QSizeF QWTextFieldCell::cellSizeForBounds(const QRectF& bounds) const {
    const QFontMetricsF metrics(font());
    const QStringList lines = linesIn({bounds.width() - 2 * sidePadding, bounds.height()});
    qreal widest = 0;
    for (const QString& line : lines)
        widest = qMax(widest, metrics.horizontalAdvance(line));
    return {widest + 2 * sidePadding, qreal(lines.size()) * metrics.height()};
}

QStringList QWTextFieldCell::linesIn(const QSizeF& size) const {
    const int fitting = qMax(1, int(size.height() / QFontMetricsF(font()).height()));
    return qwLinesOfText(stringValue(), font(), size.width(), wraps(), fitting, option().textElideMode);
}

QSizeF QWTextFieldCell::cellSize() const {
    return cellSizeForBounds({0, 0, unlimited, unlimited}) + QSizeF(0, 2 * rowMargin);
}

QRectF QWTextFieldCell::drawingRectForBounds(const QRectF& bounds) const {
    QRectF rect = bounds.adjusted(sidePadding, 0, -sidePadding, 0);
    if (!alignTextVertically_ || isSelectingOrEditing_)
        return rect;
    // In single precision, as the platform's text cells reckon.
    const auto spare = float(rect.height() - cellSizeForBounds(bounds).height());
    if (spare > 0) {
        rect.setHeight(rect.height() - spare);
        rect.translate(0, spare * 0.5F);
    }
    return rect;
}

void QWTextFieldCell::drawWithFrame(QPainter& painter, const QRectF& frame, const QWidget* view) {
    setControlView(view);
    const QRectF rect = drawingRectForBounds(frame);
    if (rect.width() <= 0)
        return;
    const QFontMetricsF metrics(font());
    const Qt::Alignment alignment = QStyle::visualAlignment(layoutDirection(), option().displayAlignment);
    painter.setFont(font());
    painter.setPen(textColor());
    painter.setLayoutDirection(layoutDirection());
    qreal baseline = rect.top() + metrics.ascent();
    for (const QString& line : linesIn(rect.size())) {
        qreal x = rect.left();
        if (!(alignment & Qt::AlignLeft)) {
            const qreal spare = rect.width() - metrics.horizontalAdvance(line);
            x += alignment & Qt::AlignHCenter ? spare / 2 : alignment & Qt::AlignRight ? spare : 0;
        }
        painter.drawText(QPointF(x, baseline), line);
        baseline += metrics.height();
    }
}

unsigned QWTextFieldCell::hitTestForEvent(const QMouseEvent& event, const QRectF& rect, const QWidget* view) {
    const unsigned hit = QWTableCell::hitTestForEvent(event, rect, view);
    return hit && isEnabled() && isEditable() ? hit | HitEditableTextArea : hit;
}

// Editing ---------------------------------------------------------------------------------------------------

void QWTextFieldCell::selectWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor, int start,
                                      int length) {
    QWTextFieldCell::editWithFrame(frame, view, editor);
    if (auto* edit = qobject_cast<QLineEdit*>(&editor))
        edit->setSelection(start, length);
}

// A line edit without a frame has the cell's padding inside, so that text does not move when editing begins.
void QWTextFieldCell::editWithFrame(const QRectF& frame, const QWidget* view, QWidget& editor) {
    setControlView(view);
    isSelectingOrEditing_ = true;
    editor.setGeometry(drawingRectForBounds(frame).adjusted(-sidePadding, 0, sidePadding, 0).toRect());
    isSelectingOrEditing_ = false;
}

QWidget* QWTextFieldCell::createEditor(QWidget* parent, const QStyleOptionViewItem& option,
                                       const QModelIndex& index) const {
    if (!mayEdit(index))
        return nullptr;
    prepared(option, index);
    auto* edit = new QLineEdit(parent);
    edit->setFrame(false);
    edit->setFont(font());
    edit->setAlignment(this->option().displayAlignment & Qt::AlignHorizontal_Mask);
    if (!formatter())
        return edit;
    edit->setValidator(
        new QWFormatterValidator(formatter(), edit)); // Return ends editing only with its consent
    const auto explain = [edit, formatter = formatter()](const QString& text) {
        QVariant value;
        QString error;
        formatter->getObjectValue(&value, text, &error);
        edit->setToolTip(error);
    };
    connect(edit, &QLineEdit::textChanged, edit, explain);
    explain(edit->text()); // which stays empty, without a change, for a value without a text
    return edit;
}

void QWTextFieldCell::setEditorData(QWidget* editor, const QModelIndex& index) const {
    auto& edit = *static_cast<QLineEdit*>(editor);
    if (const QVariant given = edit.property(givenText); given.isValid() && given != edit.text())
        return; // views hand over the value anew with each change of the row
    const QVariant value = index.data(Qt::EditRole);
    edit.setText(formatter() ? formatter()->editingStringForObjectValue(value) : value.toString());
    edit.setProperty(givenText, edit.text());
}

void QWTextFieldCell::setModelData(QWidget* editor, QAbstractItemModel* model,
                                   const QModelIndex& index) const {
    auto& edit = *static_cast<QLineEdit*>(editor);
    const QString text = edit.text();
    if (edit.property(givenText) == text)
        return;
    QVariant value = text;
    if (!formatter()) {
        const QVariant former = index.data(Qt::EditRole);
        if (!former.isValid() || !value.convert(former.metaType()))
            value = text;
    } else if (!formatter()->getObjectValue(&value, text)) {
        return;
    }
    edit.setProperty(givenText, text);
    model->setData(index, value, Qt::EditRole);
}

void QWTextFieldCell::updateEditorGeometry(QWidget* editor, const QStyleOptionViewItem& option,
                                           const QModelIndex& index) const {
    static_cast<QWTextFieldCell&>(prepared(option, index)).editWithFrame(option.rect, option.widget, *editor);
}

bool QWTextFieldCell::editorEvent(QEvent* event, QAbstractItemModel*, const QStyleOptionViewItem& option,
                                  const QModelIndex& index) {
    // The two events with which a click may begin editing; an event that is taken goes no further.
    if ((event->type() != QEvent::MouseButtonRelease && event->type() != QEvent::MouseButtonDblClick)
        || !index.flags().testFlag(Qt::ItemIsEditable))
        return false;
    prepare(option, index);
    return !(hitTestForEvent(*static_cast<QMouseEvent*>(event), option.rect, option.widget)
             & HitEditableTextArea);
}
