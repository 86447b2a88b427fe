// What a person types into the pane of a visit, and what becomes of it.

#include "AtlasWindowTest.h"

#include "desktop/CalendarButton.h"
#include "desktop/MessageBar.h"
#include "desktop/NotesField.h"
#include "desktop/SignIn.h"
#include "desktop/StarsField.h"
#include "editing/widgets/QWTokenFieldWidget.h"
#include "sync/support/LockedStore.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QCalendarWidget>
#include <QCheckBox>
#include <QDockWidget>
#include <QLabel>
#include <QMessageBox>
#include <QScrollBar>
#include <QStatusBar>
#include <QTextEdit>
#include <gmock/gmock.h>

using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

class WindowEditor : public AtlasWindowTest {
protected:
    WindowEditor() {
        record = visit("Visit");
        select(record);
    }
    QVariant value(const QString& key) { return record->valueForKey(key); }
    QString uuid() { return value("uuid").toString(); }

    QWRef<QWManagedObject> record;
};

} // namespace

TEST_F(WindowEditor, A_typed_title_reaches_the_record_after_a_pause_and_the_store_by_itself) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Rome in spring");
    EXPECT_EQ(value("title"), "Visit");
    desktop.pass(1s);
    EXPECT_EQ(value("title"), "Rome in spring");
    EXPECT_THAT(desktop.titles(), ElementsAre("Rome in spring"));
    EXPECT_TRUE(desktop.context().hasChanges());
    desktop.pass(10s);
    EXPECT_FALSE(desktop.context().hasChanges());
    EXPECT_EQ(desktop.saved(uuid())->valueForKey("title"), "Rome in spring");
}

TEST_F(WindowEditor, What_is_typed_when_the_window_closes_is_there_when_it_opens_again) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Typed last");
    const QString id = uuid();
    record.reset();
    EXPECT_TRUE(desktop.window->close());
    desktop.close();
    desktop.open();
    EXPECT_THAT(desktop.titles(), ElementsAre("Typed last"));
    EXPECT_EQ(desktop.editor().visit()->uuid(), id);
}

TEST_F(WindowEditor, A_tag_and_a_city_that_are_half_typed_when_the_window_closes_are_whole_afterwards) {
    visit("Other", {{"city", "Kyōto"}});
    ASSERT_TRUE(desktop.window->save());
    for (const char* key : {"tags", "city"}) {
        select(record);
        desktop.child<QWidget>(key)->setFocus();
        type("kyo");
        const QString id = uuid();
        record.reset();
        EXPECT_TRUE(desktop.window->close());
        desktop.close();
        desktop.open();
        record = QWRef<QWManagedObject>(
            QWManagedObjectWithSyncSupport::fetchObjectWithUUID(id, "Visit", desktop.context()).data());
    }
    EXPECT_EQ(value("tags"), "kyo");
    EXPECT_EQ(value("city"), "Kyōto");
}

TEST_F(WindowEditor, What_was_typed_in_one_stay_is_taken_back_at_once) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Rome");
    desktop.pass(1s);
    type(" in spring");
    desktop.pass(1s);
    desktop.action("Undo Change Title")->trigger();
    EXPECT_EQ(value("title"), "Visit");
    EXPECT_EQ(lineEdit("title").text(), "Visit");
}

TEST_F(WindowEditor, Durations_are_read_as_people_write_them_and_shown_in_words) {
    fillIn("minutes", "1h30");
    EXPECT_EQ(value("minutes"), 90);
    EXPECT_EQ(lineEdit("minutes").text(), "1 hour 30 minutes");
    fillIn("minutes", " ");
    EXPECT_EQ(value("minutes"), QVariant());
}

TEST_F(WindowEditor, What_cannot_be_read_is_red_and_gives_way_to_the_value_when_it_is_left) {
    record->setValueForKey("minutes", 90);
    desktop.settle();
    QLineEdit& edit = lineEdit("minutes");
    const QColor usual = edit.palette().color(QPalette::Text);
    edit.setFocus();
    edit.selectAll();
    type("soon");
    EXPECT_NE(edit.palette().color(QPalette::Text), usual);
    press(Qt::Key_Tab);
    EXPECT_EQ(edit.text(), "1 hour 30 minutes");
    EXPECT_EQ(edit.palette().color(QPalette::Text), usual);
    EXPECT_EQ(value("minutes"), 90);
    EXPECT_EQ(desktop.window->statusBar()->currentMessage(), "Duration: “soon” cannot be understood");
}

TEST_F(WindowEditor, A_pace_is_shown_and_read_in_the_unit_of_the_preferences) {
    fillIn("pace", "5:30");
    EXPECT_EQ(value("pace"), 330);
    desktop.library().preferences().setObject("distanceUnit", "mi");
    EXPECT_EQ(lineEdit("pace").text(), "8:51"); // 330 s × 1.609344
    EXPECT_EQ(value("pace"), 330);
    lineEdit("pace").setFocus();
    press(Qt::Key_Tab);
    EXPECT_EQ(value("pace"), 330) << "untouched, it is not rounded";
    fillIn("pace", "10:00");
    EXPECT_EQ(value("pace"), 373); // 600 s / 1.609344
    EXPECT_EQ(lineEdit("pace").text(), "10:00");
}

TEST_F(WindowEditor, Costs_and_dates_are_those_of_the_user) {
    fillIn("cost", "1,840.50");
    EXPECT_EQ(value("cost"), 1840.5);
    fillIn("start", "2026-05-04");
    EXPECT_EQ(value("start").toDateTime(), QDateTime({2026, 5, 4}, {0, 0}, Qt::UTC));
    fillIn("start", "2026-05-04 18:30");
    EXPECT_EQ(value("start").toDateTime(), QDateTime({2026, 5, 4}, {18, 30}, Qt::UTC));
    EXPECT_EQ(lineEdit("start").text(), "2026-05-04 18:30");
    fillIn("start", "yesterday");
    EXPECT_EQ(lineEdit("start").text(), "2026-05-04 18:30");
}

TEST_F(WindowEditor, A_day_is_picked_from_the_calendar_and_the_time_stays) {
    fillIn("start", "2026-05-04 18:30");
    auto* button = desktop.child<atlas::CalendarButton>();
    button->setFocus();
    press(Qt::Key_Space);
    ASSERT_TRUE(button->calendar().isVisible());
    EXPECT_EQ(button->calendar().selectedDate(), QDate(2026, 5, 4));
    QTest::keyClick(button->calendar().focusProxy(), Qt::Key_Right);
    QTest::keyClick(button->calendar().focusProxy(), Qt::Key_Return);
    EXPECT_EQ(value("start").toDateTime(), QDateTime({2026, 5, 5}, {18, 30}, Qt::UTC));
    EXPECT_EQ(lineEdit("start").text(), "2026-05-05 18:30");
    EXPECT_FALSE(button->calendar().isVisible());
}

TEST_F(WindowEditor, A_save_that_fails_is_said_and_tried_again) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Kept");
    {
        const LockedStore locked(folder_.filePath("A/Atlas.sqlite"));
        desktop.pass(11s);
        EXPECT_FALSE(desktop.world.errorPresenter->errors().empty());
        EXPECT_EQ(value("title"), "Kept");
    }
    desktop.pass(10s);
    EXPECT_EQ(desktop.saved(uuid())->valueForKey("title"), "Kept");
}

TEST_F(WindowEditor, A_country_completes_and_brings_its_regions) {
    lineEdit("country").setFocus();
    type("fra");
    EXPECT_EQ(lineEdit("country").text(), "france");
    press(Qt::Key_Tab);
    EXPECT_EQ(record->relatedObject("country"), desktop.country("FR"));
    EXPECT_EQ(lineEdit("country").text(), "France");
    auto* regions = desktop.child<QComboBox>("region");
    EXPECT_EQ(regions->count(), 4); // none, and three
    regions->setFocus();
    press(Qt::Key_Down);
    EXPECT_EQ(record->relatedObject("region")->valueForKey("name"), "Île-de-France");
}

TEST_F(WindowEditor, Another_country_takes_the_region_of_the_one_before_along) {
    fillIn("country", "France");
    auto* regions = desktop.child<QComboBox>("region");
    regions->setFocus();
    press(Qt::Key_Down);
    ASSERT_TRUE(record->relatedObject("region"));
    fillIn("country", "Japan");
    EXPECT_FALSE(record->relatedObject("region"));
    desktop.action("Undo Change Country")->trigger();
    EXPECT_EQ(record->relatedObject("country"), desktop.country("FR"));
    EXPECT_TRUE(record->relatedObject("region"));
}

TEST_F(WindowEditor, A_country_that_there_is_not_gives_way_to_the_one_before) {
    fillIn("country", "Japan");
    fillIn("country", "Ruritania");
    EXPECT_EQ(record->relatedObject("country"), desktop.country("JP"));
    EXPECT_EQ(lineEdit("country").text(), "Japan");
    fillIn("country", " ");
    EXPECT_FALSE(record->relatedObject("country"));
}

TEST_F(WindowEditor, Cities_complete_from_those_of_other_visits) {
    visit("Other", {{"city", "Kyōto"}});
    ASSERT_TRUE(desktop.window->save());
    lineEdit("city").setFocus();
    type("kyo");
    press(Qt::Key_Tab);
    EXPECT_EQ(value("city"), "Kyōto");
}

TEST_F(WindowEditor, Tags_are_typed_one_after_the_other) {
    auto* tags = desktop.child<QWTokenFieldWidget>("tags");
    tags->setFocus();
    type("tea");
    press(Qt::Key_Return);
    type("maples");
    press(Qt::Key_Return);
    EXPECT_EQ(value("tags"), "tea, maples");
    press(Qt::Key_Backspace);
    press(Qt::Key_Backspace);
    EXPECT_EQ(value("tags"), "tea");
}

TEST_F(WindowEditor, Stars_follow_clicks_digits_and_arrows) {
    auto* stars = desktop.child<atlas::StarsField>("rating");
    stars->setFocus();
    press(Qt::Key_3);
    EXPECT_EQ(value("rating"), 3);
    press(Qt::Key_Right);
    EXPECT_EQ(value("rating"), 4);
    press(Qt::Key_Backspace);
    EXPECT_EQ(value("rating"), 0);
    QTest::mouseClick(stars, Qt::LeftButton, {}, {10, stars->height() / 2});
    EXPECT_EQ(value("rating"), 1);
    QTest::mouseClick(stars, Qt::LeftButton, {}, {10, stars->height() / 2});
    EXPECT_EQ(value("rating"), 0) << "the last star that is lit";
}

TEST_F(WindowEditor, Status_and_favourite_are_set_by_keys) {
    auto* status = desktop.child<QComboBox>("status");
    status->setFocus();
    press(Qt::Key_Down);
    EXPECT_EQ(value("status"), "planned");
    press(Qt::Key_Down);
    EXPECT_EQ(value("status"), "booked");
    desktop.child<QCheckBox>("favourite")->setFocus();
    press(Qt::Key_Space);
    EXPECT_EQ(value("favourite"), true);
}

TEST_F(WindowEditor, Notes_keep_what_is_bold_and_no_font_of_the_window) {
    auto& notes = desktop.child<atlas::NotesField>("notes")->edit();
    notes.setFocus();
    type("See ");
    press(Qt::Key_B, Qt::ControlModifier);
    type("Uji");
    desktop.pass(1s);
    const QString html = QString::fromUtf8(value("notes").toByteArray());
    EXPECT_TRUE(html.contains(QRegularExpression("See <span style=\" font-weight:[67]00;\">Uji</span>")))
        << html.toStdString();
    EXPECT_FALSE(html.contains("font-family"));
    notes.selectAll();
    press(Qt::Key_Delete);
    desktop.pass(1s);
    EXPECT_EQ(value("notes"), QVariant()) << "no text, no value";
}

TEST_F(WindowEditor, A_change_from_elsewhere_appears_but_not_in_the_field_that_is_being_edited) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Mine");
    record->setValueForKey("title", "Theirs");
    record->setValueForKey("city", "Kyōto");
    desktop.context().processPendingChanges();
    EXPECT_EQ(lineEdit("title").text(), "Mine");
    EXPECT_EQ(lineEdit("city").text(), "Kyōto");
    press(Qt::Key_Tab);
    EXPECT_EQ(value("title"), "Mine");
}

TEST_F(WindowEditor, A_visit_that_is_deleted_elsewhere_leaves_the_pane_with_what_was_typed) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Too late");
    desktop.context().deleteObject(*record);
    desktop.context().processPendingChanges();
    EXPECT_FALSE(desktop.editor().visit());
    EXPECT_TRUE(desktop.window->save());
}

TEST_F(WindowEditor, Every_field_is_reached_with_the_tab_key_and_has_a_name) {
    press(Qt::Key_3, Qt::ControlModifier);
    fillIn("country", "France"); // so that there are regions
    lineEdit("title").setFocus();
    QStringList names;
    QSet<QWidget*> met;
    for (QWidget* now = focus(); !met.contains(now); now = focus()) {
        met << now;
        EXPECT_FALSE(now->accessibleName().isEmpty()) << now->metaObject()->className();
        names << now->accessibleName();
        press(Qt::Key_Tab);
    }
    for (const char* name : {"Title", "Country", "Region", "City", "Start", "Pick a day", "Duration", "Pace",
                             "Cost", "Status", "Rating", "Favourite", "Tags", "Notes", "Bold", "Search",
                             "Places", "Visits", "Synchronisation with Dropbox"})
        EXPECT_TRUE(names.contains(name)) << name << " of " << names.join(", ").toStdString();
}

TEST_F(WindowEditor, Every_control_of_the_window_and_its_dialogs_has_a_name) {
    select(visit("Here"));
    desktop.child<QDockWidget>("activity")->show();
    desktop.window->messageBar().showMessage("A message", "Act", [] {});
    desktop.window->showPreferences();
    desktop.window->signIn().ask();
    int named = 0;
    for (auto* widget : desktop.window->findChildren<QWidget*>()) {
        const bool isControl = widget->focusPolicy() != Qt::NoFocus || qobject_cast<QAbstractButton*>(widget);
        if (!widget->isVisible() || !isControl || widget->focusProxy())
            continue;
        const auto* face = QAccessible::queryAccessibleInterface(widget);
        EXPECT_TRUE(face && !face->text(QAccessible::Name).isEmpty())
            << widget->metaObject()->className() << ' ' << qPrintable(widget->objectName());
        ++named;
    }
    EXPECT_GT(named, 30);
}

TEST_F(WindowEditor, Captions_stand_in_line_with_their_fields) {
    select(visit("Here"));
    desktop.settle();
    int rows = 0;
    for (const auto* caption : desktop.editor().findChildren<QLabel*>()) {
        const QWidget* field = caption->buddy();
        if (!field)
            continue;
        const auto y = [&](const QWidget& widget, double inside) {
            return widget.mapTo(&desktop.editor(), QPointF(0, inside)).y();
        };
        const bool isAtTop = caption->alignment() & Qt::AlignTop;
        const double middle = isAtTop ? caption->contentsRect().top() + caption->fontMetrics().height() / 2.0
                                      : caption->height() / 2.0;
        if (field->height() < 2 * caption->height()) { // of one line
            EXPECT_NEAR(y(*caption, middle), y(*field, field->height() / 2.0), 1.5)
                << qPrintable(caption->text());
            ++rows;
        }
    }
    EXPECT_GE(rows, 10);
}

TEST_F(WindowEditor, Two_windows_have_room_beside_each_other_on_a_small_screen) {
    EXPECT_LE(desktop.window->minimumSizeHint().width(), 1280 / 2);
}

TEST_F(WindowEditor, A_window_whose_changes_cannot_be_saved_asks_before_it_closes) {
    press(Qt::Key_3, Qt::ControlModifier);
    type("Not saved");
    const LockedStore locked(folder_.filePath("A/Atlas.sqlite"));
    EXPECT_FALSE(desktop.window->close());
    auto* question = desktop.child<QMessageBox>();
    ASSERT_TRUE(question);
    EXPECT_FALSE(question->informativeText().isEmpty());
    EXPECT_EQ(lineEdit("title").text(), "Not saved");
    for (auto* button : question->buttons())
        if (button->text().contains("Without"))
            button->click();
    EXPECT_FALSE(desktop.window->isVisible());
}
