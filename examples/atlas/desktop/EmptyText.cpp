#include "desktop/EmptyText.h"

#include <QEvent>

namespace atlas {

EmptyText::EmptyText(QAbstractItemView& view, std::function<QString()> text)
    : QLabel(view.viewport()), view_(view), words_(std::move(text)) {
    setAlignment(Qt::AlignCenter);
    setWordWrap(true);
    setMargin(24);
    setTextFormat(Qt::PlainText);
    setForegroundRole(QPalette::PlaceholderText);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    view.viewport()->installEventFilter(this);
    const auto* model = view.model();
    connect(model, &QAbstractItemModel::rowsInserted, this, &EmptyText::refresh);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &EmptyText::refresh);
    connect(model, &QAbstractItemModel::modelReset, this, &EmptyText::refresh);
    connect(model, &QAbstractItemModel::layoutChanged, this, &EmptyText::refresh);
    refresh();
}

void EmptyText::refresh() {
    const bool isEmpty = view_.model()->rowCount() == 0;
    if (isEmpty)
        setText(words_());
    setVisible(isEmpty);
    setGeometry(view_.viewport()->rect());
}

bool EmptyText::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Resize)
        setGeometry(view_.viewport()->rect());
    return QLabel::eventFilter(watched, event);
}

} // namespace atlas
