#include "sync/toolbar/QWPopover_p.h"

#include <QEvent>
#include <QScreen>

QWPopover::QWPopover(QWidget* button, QWidget* content) : QFrame(button, Qt::Popup), content_(content) {
    setFrameStyle(QFrame::StyledPanel | QFrame::Raised);
    if (!content)
        return;
    content->setParent(this);
    content->show();
    content->installEventFilter(this);
}

void QWPopover::open() {
    fit();
    show();
}

bool QWPopover::eventFilter(QObject* object, QEvent* event) {
    if (object == content_ && event->type() == QEvent::Resize)
        fit();
    return QFrame::eventFilter(object, event);
}

void QWPopover::fit() {
    const int frame = frameWidth();
    if (content_)
        content_->move(frame, frame);
    resize((content_ ? content_->size() : QSize(0, 0)) + QSize(2 * frame, 2 * frame));

    const QWidget* button = parentWidget();
    const QRect anchor(button->mapToGlobal(QPoint()), button->size());
    const QRect room = button->screen()->availableGeometry();
    QRect place = rect();
    place.moveCenter(anchor.center());
    place.moveTop(anchor.top() + anchor.height());
    if (place.bottom() > room.bottom())
        place.moveBottom(anchor.top() - 1);
    place.moveLeft(qMax(room.left(), qMin(place.left(), room.right() + 1 - place.width())));
    move(place.topLeft());
}
