#include "editing/widgets/QWTokenFieldWidget.h"

#include "editing/widgets/QWTokenFieldContent_p.h"
#include "editing/widgets/QWWidgetBinding.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QStyleOptionFrame>

QWTokenFieldWidget::QWTokenFieldWidget(QWidget* parent)
    : QScrollArea(parent), content_(new QWTokenFieldContent(*this)) {
    setWidget(content_);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
    setViewportMargins(1, 1, 1, 1);
    viewport()->setBackgroundRole(QPalette::Base);
    setFocusPolicy(Qt::StrongFocus);
    setFocusProxy(&content_->edit());
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    connect(qApp, &QApplication::focusChanged, this, &QWTokenFieldWidget::focusMoved);
}

QWTokenFieldWidget::~QWTokenFieldWidget() {
    disconnect(qApp, nullptr, this, nullptr); // the focus may go while the content is being destroyed
    setDelegate(nullptr);
}

QStringList QWTokenFieldWidget::tokens() const {
    return content_->tokens();
}

void QWTokenFieldWidget::setTokens(const QStringList& tokens) {
    content_->setTokens(tokens);
}

QString QWTokenFieldWidget::value() const {
    return tokens().join(separator() + u' ');
}

void QWTokenFieldWidget::setValue(const QString& value) {
    setTokens(content_->pieces(value));
}

QString QWTokenFieldWidget::separator() const {
    return content_->separator;
}

void QWTokenFieldWidget::setSeparator(const QString& separator) {
    if (separator.size() == 1)
        content_->separator = separator;
}

void QWTokenFieldWidget::setPlaceholderText(const QString& text) {
    placeholderText_ = text;
    content_->rearrange();
}

void QWTokenFieldWidget::setMaximumVisibleRows(int rows) {
    maximumVisibleRows_ = qMax(1, rows);
    fitContent();
}

QString QWTokenFieldWidget::observedKeyPath() const {
    return observedKeyPath_.isEmpty() ? QString() : observedKeyPath_;
}

void QWTokenFieldWidget::setObservedKeyPath(const QString& path) {
    observedKeyPath_ = path;
}

QString QWTokenFieldWidget::identifier() const {
    const QString name = identifier_.isEmpty() ? objectName() : identifier_;
    return name.isEmpty() ? QString() : name;
}

void QWTokenFieldWidget::setIdentifier(const QString& identifier) {
    identifier_ = identifier;
}

QStringList QWTokenFieldWidget::objectValue() const {
    QStringList all = tokens();
    if (const QString typing = content_->typing(); !typing.isEmpty())
        all.append(typing);
    return all;
}

void QWTokenFieldWidget::setDelegate(QWTokenFieldDelegate* delegate) {
    if (isEditing_ && delegate_)
        delegate_->tokenFieldDidEndEditing(*this);
    delegate_ = delegate;
    if (isEditing_ && delegate_)
        delegate_->tokenFieldDidBeginEditing(*this);
}

void QWTokenFieldWidget::commitTyping() {
    content_->commitTyping();
}

// Focus -----------------------------------------------------------------------------------------------------

void QWTokenFieldWidget::focusMoved(QWidget* before, QWidget* now) {
    viewport()->parentWidget()->update(); // the frame shows it
    const bool isWithin = content_->isWithin(now);
    // A window that is left for another application keeps what is typed as it is.
    const bool hasLeft = isEditing_ && !isWithin && (now || isActiveWindow());
    if (isWithin && !isEditing_) {
        isEditing_ = true;
        nameEdit();
        // The field that is left tells the delegate first, which may be one for both.
        for (QWidget* left = before; left; left = left->parentWidget()) {
            if (auto* other = qobject_cast<QWTokenFieldWidget*>(left); other && other != this)
                other->focusMoved(before, now);
        }
        if (delegate_)
            delegate_->tokenFieldDidBeginEditing(*this);
    } else if (hasLeft) {
        isEditing_ = false;
        commitTyping();
        if (delegate_)
            delegate_->tokenFieldDidEndEditing(*this);
        Q_EMIT editingFinished();
    }
}

// Screen readers meet the line edit, which is what has the focus.
void QWTokenFieldWidget::nameEdit() {
    QString name = accessibleName();
    const auto labels = window()->findChildren<QLabel*>();
    for (const QLabel* label : labels) {
        if (name.isEmpty() && label->buddy() == this)
            name = label->text().remove(u'&');
    }
    content_->edit().setAccessibleName(name);
    content_->edit().setAccessibleDescription(accessibleDescription());
}

// Looks -----------------------------------------------------------------------------------------------------

QSize QWTokenFieldWidget::sizeHint() const {
    const int width = content_->sizeHint().width() + frame();
    return {width, heightForWidth(width)};
}

QSize QWTokenFieldWidget::minimumSizeHint() const {
    return content_->minimumSizeHint() + QSize(frame(), frame());
}

int QWTokenFieldWidget::heightForWidth(int width) const {
    const int most = content_->heightOfRows(maximumVisibleRows_);
    return std::min(content_->heightForWidth(width - frame()), most) + frame();
}

// Without a bar where the field can grow: it would come for the moment until it has grown.
void QWTokenFieldWidget::fitContent() {
    const int wanted = content_->heightForWidth(width() - frame());
    const bool fits =
        wanted <= content_->heightOfRows(maximumVisibleRows_) && wanted + frame() <= maximumHeight();
    const Qt::ScrollBarPolicy policy = fits ? Qt::ScrollBarAlwaysOff : Qt::ScrollBarAsNeeded;
    if (policy != verticalScrollBarPolicy())
        setVerticalScrollBarPolicy(policy);
    updateGeometry();
}

int QWTokenFieldWidget::frame() const {
    return 2 * (frameWidth() + 1);
}

bool QWTokenFieldWidget::event(QEvent* event) {
    if (event->type() != QEvent::Paint)
        return QScrollArea::event(event);
    // As the style draws a line edit, with its own sign of the focus.
    QStyleOptionFrame option;
    option.initFrom(this);
    option.lineWidth = frameWidth();
    option.state |= QStyle::State_Sunken;
    option.state.setFlag(QStyle::State_HasFocus, isEditing_);
    QPainter painter(this);
    style()->drawPrimitive(QStyle::PE_PanelLineEdit, &option, &painter, this);
    return true;
}

void QWTokenFieldWidget::changeEvent(QEvent* event) {
    QScrollArea::changeEvent(event);
    content_->rearrange();
}

void QWTokenFieldWidget::showEvent(QShowEvent* event) {
    nameEdit();
    QScrollArea::showEvent(event);
}
