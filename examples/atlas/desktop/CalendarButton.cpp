#include "desktop/CalendarButton.h"

#include "desktop/Glyphs.h"

#include <QCalendarWidget>
#include <QMenu>
#include <QWidgetAction>

namespace atlas {

CalendarButton::CalendarButton(QWidget* parent)
    : QToolButton(parent), popup_(new QMenu(this)), calendar_(new QCalendarWidget) {
    setIcon(glyphIcon(Glyph::Calendar));
    setToolTip(tr("Pick a day"));
    setAccessibleName(toolTip());
    setFocusPolicy(Qt::StrongFocus);
    auto* action = new QWidgetAction(popup_);
    action->setDefaultWidget(calendar_);
    popup_->addAction(action);
    calendar_->setVerticalHeaderFormat(QCalendarWidget::NoVerticalHeader);
    connect(this, &QToolButton::clicked, this, &CalendarButton::open);
    connect(calendar_, &QCalendarWidget::clicked, this, &CalendarButton::pick);
    connect(calendar_, &QCalendarWidget::activated, this, &CalendarButton::pick);
}

void CalendarButton::open() {
    const QDateTime date = source_ ? source_() : QDateTime();
    calendar_->setSelectedDate(date.isValid() ? date.toLocalTime().date() : QDate::currentDate());
    popup_->popup(mapToGlobal(QPoint(0, height())));
    calendar_->setFocus();
}

void CalendarButton::pick(const QDate& day) {
    popup_->close();
    const QDateTime before = source_ ? source_() : QDateTime();
    Q_EMIT picked(QDateTime(day, before.isValid() ? before.toLocalTime().time() : QTime(0, 0)).toUTC());
}

} // namespace atlas
