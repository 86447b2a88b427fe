// The preferences that travel, chosen here or arriving from another desktop.

#include "examples/AtlasFixture.h"

#include "desktop/PreferencesDialog.h"

#include <QApplication>
#include <QComboBox>
#include <QPushButton>
#include <QTest>
#include <gmock/gmock.h>

using atlas::PreferencesDialog;

namespace {

class Preferences : public AtlasTest {
protected:
    Preferences() {
        for (const auto& [name, code] :
             {std::pair("Italy", "IT"), {"Åland Islands", "AX"}, {"Japan", "JP"}}) {
            const auto country = insert("Country");
            country->setValueForKey("name", name);
            country->setValueForKey("alpha2", code);
        }
    }
    PreferencesDialog& dialog() {
        if (!dialog_) {
            dialog_ = std::make_unique<PreferencesDialog>(defaults(), *context_);
            dialog_->open();
            QApplication::setActiveWindow(dialog_.get());
        }
        return *dialog_;
    }
    QWUserDefaults& defaults() { return *world_.userDefaults; }
    QComboBox& box(const QString& key) { return *dialog().findChild<QComboBox*>(key); }
    QStringList choices(const QString& key) {
        QStringList texts;
        for (int index = 0; index < box(key).count(); ++index)
            texts << box(key).itemText(index);
        return texts;
    }

private:
    std::unique_ptr<PreferencesDialog> dialog_;
};

TEST_F(Preferences, Are_those_that_a_host_shares) {
    EXPECT_EQ(PreferencesDialog::keys(), QStringList({"homeCountry", "distanceUnit", "theme"}));
    for (const QString& key : PreferencesDialog::keys())
        EXPECT_TRUE(dialog().findChild<QComboBox*>(key));
}

TEST_F(Preferences, List_the_countries_of_the_library) {
    EXPECT_EQ(choices("homeCountry").first(), "None");
    EXPECT_THAT(choices("homeCountry"),
                testing::UnorderedElementsAre("None", "Åland Islands", "Italy", "Japan"));
}

TEST_F(Preferences, Show_what_is_set) {
    defaults().setObject("homeCountry", "JP");
    defaults().setObject("distanceUnit", "mi");
    EXPECT_EQ(box("homeCountry").currentText(), "Japan");
    EXPECT_EQ(box("distanceUnit").currentText(), "Miles");
    EXPECT_EQ(box("theme").currentText(), "As the system");
}

TEST_F(Preferences, Are_set_as_soon_as_they_are_chosen) {
    box("homeCountry").setFocus();
    QTest::keyClicks(&box("homeCountry"), "It");
    EXPECT_EQ(defaults().object("homeCountry"), "IT");
    QTest::keyClick(&box("distanceUnit"), Qt::Key_Down);
    EXPECT_EQ(defaults().object("distanceUnit"), "mi");
    QTest::keyClick(&box("theme"), Qt::Key_End);
    EXPECT_EQ(defaults().object("theme"), "dark");
}

TEST_F(Preferences, Are_removed_by_choosing_no_country) {
    defaults().setObject("homeCountry", "IT");
    QTest::keyClick(&box("homeCountry"), Qt::Key_Home);
    EXPECT_TRUE(defaults().object("homeCountry").isUndefined());
}

TEST_F(Preferences, Follow_values_that_arrive_while_they_are_open_and_set_nothing_by_that) {
    box("theme");
    int timesSet = 0;
    const auto observation = defaults().observe("theme", [&](const QJsonValue&) { ++timesSet; });
    defaults().setObject("theme", "light");
    EXPECT_EQ(box("theme").currentText(), "Light");
    EXPECT_EQ(timesSet, 1);
    defaults().remove("theme");
    EXPECT_EQ(box("theme").currentText(), "As the system");
    defaults().setObject("homeCountry", "IT");
    EXPECT_EQ(box("homeCountry").currentText(), "Italy");
}

TEST_F(Preferences, Keep_a_value_that_another_desktop_knows_more_of) {
    defaults().setObject("homeCountry", "XK");
    EXPECT_EQ(box("homeCountry").currentText(), "XK");
    EXPECT_EQ(defaults().object("homeCountry"), "XK");
    defaults().setObject("distanceUnit", 5);
    EXPECT_EQ(box("distanceUnit").currentText(), "5");
}

TEST_F(Preferences, Close_by_their_button_and_by_Escape) {
    QTest::mouseClick(dialog().findChild<QPushButton*>(), Qt::LeftButton);
    EXPECT_FALSE(dialog().isVisible());
    dialog().open();
    QTest::keyClick(&dialog(), Qt::Key_Escape);
    EXPECT_FALSE(dialog().isVisible());
}

} // namespace
