// What a person does with the visits of a window: look for them, sort, add, delete, take back.

#include "AtlasWindowTest.h"

#include "desktop/Theme.h"
#include "views/QWTableCell.h"

#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

class WindowVisits : public AtlasWindowTest {
protected:
    void search(const QString& text) {
        press(Qt::Key_F, Qt::ControlModifier);
        ASSERT_EQ(focus(), &desktop.search());
        desktop.search().clear();
        type(text);
    }
    void clickHeader(const QString& key) {
        auto* header = desktop.table().horizontalHeader();
        const int column = desktop.visits().columnOfKey(key);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          {header->sectionViewportPosition(column) + 5, header->height() / 2});
    }
    QString emptyText() {
        for (auto* label : desktop.table().viewport()->findChildren<QLabel*>())
            if (label->isVisible())
                return label->text();
        return {};
    }
    QModelIndex place(const QString& name) {
        auto& places = desktop.places();
        for (int top = 0; top < places.rowCount(); ++top) {
            const QModelIndex parent = places.index(top, 0);
            if (parent.data().toString() == name)
                return parent;
            for (int row = 0; row < places.rowCount(parent); ++row)
                if (const QModelIndex index = places.index(row, 0, parent); index.data().toString() == name)
                    return index;
        }
        return {};
    }
    QString badge(const QString& name) { return place(name).data(QWTableCell::SecondaryTextRole).toString(); }
    QStringList names(atlas::SidebarModel::Place group) {
        QStringList all;
        const QModelIndex parent = desktop.places().indexOf(group);
        for (int row = 0; row < desktop.places().rowCount(parent); ++row)
            all << desktop.places().index(row, 0, parent).data().toString();
        return all;
    }
    QVariant japan() { return QVariant::fromValue(desktop.country("JP")); }
};

} // namespace

TEST_F(WindowVisits, The_search_ignores_case_and_accents_in_titles_cities_and_tags) {
    visit("Été à la mer");
    visit("Mountains", {{"city", "Ålesund"}});
    visit("Tea", {{"tags", "temples, Kyōto"}});
    search("ETE");
    EXPECT_THAT(desktop.titles(), ElementsAre("Été à la mer"));
    search("alesund");
    EXPECT_THAT(desktop.titles(), ElementsAre("Mountains"));
    search("kyoto");
    EXPECT_THAT(desktop.titles(), ElementsAre("Tea"));
    desktop.search().clear();
    EXPECT_EQ(desktop.titles().size(), 3);
}

TEST_F(WindowVisits, Each_word_of_a_search_must_be_found_somewhere) {
    visit("Tea ceremony", {{"city", "Uji"}});
    visit("Tea garden", {{"city", "Kandy"}});
    search("uji tea");
    EXPECT_THAT(desktop.titles(), ElementsAre("Tea ceremony"));
    search("uji  coffee");
    EXPECT_THAT(desktop.titles(), IsEmpty());
    EXPECT_EQ(emptyText(), "Nothing found for “uji  coffee”");
}

TEST_F(WindowVisits, A_click_on_a_header_sorts_and_another_one_turns_the_order) {
    for (const char* title : {"Zebras", "ants", "Élan"})
        visit(title);
    clickHeader("title");
    EXPECT_THAT(desktop.titles(), ElementsAre("ants", "Élan", "Zebras"));
    clickHeader("title");
    EXPECT_THAT(desktop.titles(), ElementsAre("Zebras", "Élan", "ants"));
}

TEST_F(WindowVisits, A_click_on_a_header_that_gives_no_order_changes_nothing) {
    for (const char* title : {"b", "a"})
        visit(title);
    clickHeader("title");
    clickHeader("country");
    EXPECT_THAT(desktop.titles(), ElementsAre("a", "b"));
    EXPECT_EQ(desktop.table().horizontalHeader()->sortIndicatorSection(),
              desktop.visits().columnOfKey("title"));
}

TEST_F(WindowVisits, The_keyboard_sorts_by_whatever_gives_an_order) {
    for (const char* title : {"Zebras", "ants"})
        visit(title);
    auto* menu = desktop.action("Sort By")->menu();
    QStringList names;
    for (const auto* action : menu->actions())
        names << action->text();
    EXPECT_THAT(names, ElementsAre("Title", "City", "Start", "Status", "Rating", "Favourite", "Duration",
                                   "Pace", "Cost"));
    const auto choose = [&] {
        menu->popup({0, 0});
        press(Qt::Key_Down);
        press(Qt::Key_Return);
    };
    choose();
    EXPECT_THAT(desktop.titles(), ElementsAre("ants", "Zebras"));
    EXPECT_EQ(desktop.table().horizontalHeader()->sortIndicatorSection(),
              desktop.visits().columnOfKey("title"));
    choose();
    EXPECT_THAT(desktop.titles(), ElementsAre("Zebras", "ants"));
    menu->popup({0, 0});
    EXPECT_TRUE(menu->actions().first()->isChecked());
    menu->close();
}

TEST_F(WindowVisits, Columns_and_panes_are_as_they_were_left) {
    auto* header = desktop.table().horizontalHeader();
    header->resizeSection(desktop.visits().columnOfKey("city"), 222);
    clickHeader("title");
    EXPECT_TRUE(desktop.window->close());
    desktop.close();
    desktop.open();
    header = desktop.table().horizontalHeader();
    EXPECT_EQ(header->sectionSize(desktop.visits().columnOfKey("city")), 222);
    EXPECT_EQ(desktop.visits().sortColumn(), desktop.visits().columnOfKey("title"));
}

TEST_F(WindowVisits, An_import_that_fails_changes_nothing_and_says_why) {
    auto nowhere = source();
    nowhere.tablesFolder = folder_.filePath("nowhere");
    const auto before = desktop.places().countryCount();
    desktop.window->importCountries(nowhere);
    ASSERT_EQ(desktop.world.errorPresenter->errors().size(), 1u);
    EXPECT_TRUE(desktop.world.errorPresenter->errors().front().message.contains("nowhere"));
    EXPECT_FALSE(desktop.context().hasChanges());
    EXPECT_EQ(desktop.places().countryCount(), before);
}

TEST_F(WindowVisits, The_latest_visit_is_on_top_at_first) {
    visit("Past", {{"start", QDateTime({2020, 1, 1}, {0, 0}, Qt::UTC)}});
    visit("Future", {{"start", QDateTime({2030, 1, 1}, {0, 0}, Qt::UTC)}});
    EXPECT_THAT(desktop.titles(), ElementsAre("Future", "Past"));
}

TEST_F(WindowVisits, A_new_visit_is_selected_and_its_title_waits_to_be_typed) {
    search("nothing of the kind");
    press(Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(focus(), &lineEdit("title"));
    type("Rome in spring");
    press(Qt::Key_Return);
    EXPECT_THAT(desktop.titles(), ElementsAre("Rome in spring"));
    EXPECT_EQ(shown()->valueForKey("status"), "planned");
}

TEST_F(WindowVisits, A_new_visit_is_to_the_country_that_is_selected_else_to_the_home_country) {
    desktop.library().preferences().setObject("homeCountry", "FR");
    press(Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(shown()->relatedObject("country"), desktop.country("FR"));
    desktop.sidebar().setCurrentIndex(place("Japan"));
    press(Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(shown()->relatedObject("country"), desktop.country("JP"));
    desktop.sidebar().setCurrentIndex(place("Favourites"));
    press(Qt::Key_N, Qt::ControlModifier);
    EXPECT_TRUE(shown()->valueForKey("favourite").toBool());
    EXPECT_EQ(desktop.visits().rowCount(), 1) << "among those that are shown";
}

TEST_F(WindowVisits, A_deleted_visit_comes_back_with_all_that_it_had) {
    const auto kept = visit("Stays");
    const auto gone = visit("Goes", {{"country", japan()}, {"tags", "a, b"}, {"rating", 3}});
    const QString uuid = gone->valueForKey("uuid").toString();
    select(gone);
    desktop.table().setFocus();
    press(Qt::Key_Delete);
    EXPECT_THAT(desktop.titles(), ElementsAre("Stays"));
    EXPECT_EQ(shown(), kept) << "the next one is selected";
    EXPECT_TRUE(desktop.window->save()); // and the deletion is on its way
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(shown()->valueForKey("uuid"), uuid);
    EXPECT_EQ(shown()->valueForKey("title"), "Goes");
    EXPECT_EQ(shown()->valueForKey("sortTitle"), "goes");
    EXPECT_EQ(shown()->valueForKey("tags"), "a, b");
    EXPECT_EQ(shown()->valueForKey("rating"), 3);
    EXPECT_EQ(shown()->relatedObject("country"), desktop.country("JP"));
    EXPECT_EQ(badge("Japan"), "1");
    desktop.action("Redo Delete Visit")->trigger();
    EXPECT_THAT(desktop.titles(), ElementsAre("Stays"));
}

TEST_F(WindowVisits, Several_selected_visits_are_deleted_and_come_back_together) {
    for (const char* title : {"One", "Two", "Three"})
        visit(title);
    desktop.table().setFocus();
    press(Qt::Key_A, Qt::ControlModifier);
    press(Qt::Key_Backspace, Qt::ControlModifier);
    EXPECT_THAT(desktop.titles(), IsEmpty());
    press(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(desktop.titles().size(), 3);
}

TEST_F(WindowVisits, An_added_visit_can_be_taken_back_with_what_was_typed_into_it) {
    press(Qt::Key_N, Qt::ControlModifier);
    type("Typed");
    desktop.action("Undo Add Visit")->trigger(); // what is typed becomes an edit first, and that goes
    EXPECT_EQ(shown()->valueForKey("title"), QVariant());
    desktop.action("Undo Add Visit")->trigger();
    EXPECT_THAT(desktop.titles(), IsEmpty());
    desktop.action("Redo Add Visit")->trigger();
    desktop.action("Redo Change Title")->trigger();
    EXPECT_THAT(desktop.titles(), ElementsAre("Typed"));
}

TEST_F(WindowVisits, What_is_edited_in_the_table_can_be_taken_back) {
    select(visit("Befor"));
    desktop.table().setFocus();
    press(Qt::Key_F2);
    type("Before");
    press(Qt::Key_Return);
    desktop.settle(); // the view commits a little later
    EXPECT_THAT(desktop.titles(), ElementsAre("Before"));
    desktop.action("Undo Change Title")->trigger();
    EXPECT_THAT(desktop.titles(), ElementsAre("Befor"));
}

TEST_F(WindowVisits, Return_in_the_table_leads_to_the_pane) {
    select(visit("Here"));
    desktop.table().setFocus();
    press(Qt::Key_Return);
    EXPECT_EQ(focus(), &lineEdit("title"));
}

TEST_F(WindowVisits, Countries_with_visits_stand_above_the_others_with_their_numbers) {
    EXPECT_THAT(names(atlas::SidebarModel::MyCountries), IsEmpty());
    EXPECT_THAT(names(atlas::SidebarModel::OtherCountries), ElementsAre("Åland Islands", "France", "Japan"));
    const auto first = visit("Kyōto", {{"country", japan()}, {"favourite", true}});
    visit("Tōkyō", {{"country", japan()}});
    EXPECT_THAT(names(atlas::SidebarModel::MyCountries), ElementsAre("Japan"));
    EXPECT_EQ(badge("Japan"), "2");
    EXPECT_EQ(badge("All visits"), "2");
    EXPECT_EQ(badge("Favourites"), "1");
    desktop.country("FR")->setValueForKey("visited", true);
    first->setValueForKey("country", QVariant::fromValue(desktop.country("FR")));
    desktop.context().processPendingChanges();
    EXPECT_THAT(names(atlas::SidebarModel::MyCountries), ElementsAre("France", "Japan"));
    EXPECT_EQ(badge("Japan"), "1");
    EXPECT_EQ(badge("France"), "1");
}

TEST_F(WindowVisits, The_sidebar_chooses_what_the_table_shows) {
    visit("Kyōto", {{"country", japan()}});
    visit("Paris", {{"country", QVariant::fromValue(desktop.country("FR"))}, {"favourite", true}});
    desktop.sidebar().setCurrentIndex(place("Japan"));
    EXPECT_THAT(desktop.titles(), ElementsAre("Kyōto"));
    desktop.sidebar().setCurrentIndex(place("Favourites"));
    EXPECT_THAT(desktop.titles(), ElementsAre("Paris"));
    desktop.sidebar().setCurrentIndex(place("Åland Islands"));
    EXPECT_EQ(emptyText(), "No visits to Åland Islands yet\n\nCtrl+N adds one");
    search("kyoto");
    EXPECT_THAT(desktop.titles(), IsEmpty()) << "both conditions hold";
}

TEST_F(WindowVisits, A_country_is_found_by_typing_its_name_without_accents) {
    desktop.sidebar().setCurrentIndex(place("Japan"));
    press(Qt::Key_1, Qt::ControlModifier);
    ASSERT_EQ(focus(), &desktop.sidebar());
    type("ala");
    EXPECT_EQ(desktop.sidebar().currentIndex().data(), "Åland Islands");
}

TEST_F(WindowVisits, A_country_that_moves_between_the_groups_stays_selected) {
    desktop.sidebar().setCurrentIndex(place("Japan"));
    desktop.action("Mark Country as Visited")->trigger();
    EXPECT_THAT(names(atlas::SidebarModel::MyCountries), ElementsAre("Japan"));
    EXPECT_EQ(desktop.sidebar().currentIndex(), place("Japan"));
    EXPECT_TRUE(desktop.country("JP")->valueForKey("visited").toBool());
    desktop.action("Undo Mark as Visited")->trigger();
    EXPECT_THAT(names(atlas::SidebarModel::MyCountries), IsEmpty());
    EXPECT_EQ(desktop.sidebar().currentIndex(), place("Japan"));
}

TEST_F(WindowVisits, The_selection_is_paler_in_the_view_that_the_arrow_keys_do_not_go_to) {
    press(Qt::Key_1, Qt::ControlModifier);
    const auto highlight = [](const QWidget& view) { return view.palette().color(QPalette::Highlight); };
    EXPECT_EQ(highlight(desktop.sidebar()), QApplication::palette().color(QPalette::Highlight));
    EXPECT_NE(highlight(desktop.table()), QApplication::palette().color(QPalette::Highlight));
    press(Qt::Key_2, Qt::ControlModifier);
    EXPECT_NE(highlight(desktop.sidebar()), QApplication::palette().color(QPalette::Highlight));
    EXPECT_EQ(highlight(desktop.table()), QApplication::palette().color(QPalette::Highlight));
}

TEST_F(WindowVisits, The_paler_selection_follows_the_colours_of_the_window) {
    press(Qt::Key_1, Qt::ControlModifier);
    desktop.library().preferences().setObject("theme", "dark");
    desktop.settle();
    EXPECT_LT(desktop.table().palette().color(QPalette::Highlight).lightness(), 128);
    desktop.library().preferences().setObject("theme", "light");
    desktop.settle();
    EXPECT_GT(desktop.table().palette().color(QPalette::Highlight).lightness(), 128);
    atlas::applyTheme("system");
}

TEST_F(WindowVisits, Without_visits_the_window_says_so_and_how_to_begin) {
    EXPECT_EQ(emptyText(), "No visits yet\n\nCtrl+N adds one");
    visit("First");
    EXPECT_EQ(emptyText(), QString());
}
