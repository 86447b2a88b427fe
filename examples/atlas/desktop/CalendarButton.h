#pragma once

#include <QDateTime>
#include <QToolButton>
#include <functional>

class QCalendarWidget;
class QMenu;

namespace atlas {

// A button that opens a calendar to pick a day from. The time of the day stays.
class CalendarButton final : public QToolButton {
    Q_OBJECT

public:
    explicit CalendarButton(QWidget* parent = nullptr);

    // What the calendar begins with: asked when it opens; today for a null date.
    void setDateSource(std::function<QDateTime()> source) { source_ = std::move(source); }
    QCalendarWidget& calendar() { return *calendar_; }

Q_SIGNALS:
    void picked(const QDateTime& date); // UTC

private:
    void open();
    void pick(const QDate& day);

    std::function<QDateTime()> source_;
    QMenu* popup_;
    QCalendarWidget* calendar_;
};

} // namespace atlas
