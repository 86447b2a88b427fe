// Pictures of the window in its states, for people: build/…/screenshots/NAME.png, and NAME@2x.png at 200 %.

#include "AtlasWindowTest.h"

#include "desktop/PreferencesDialog.h"
#include "desktop/SignIn.h"
#include "desktop/SignInDialog.h"
#include "desktop/Theme.h"
#include "platform/QWLocalizedString.h"
#include "sync/toolbar/QWDropboxSyncUIController.h"
#include "testing/QWFaultyRestClient.h"

#include <QDockWidget>
#include <QMessageBox>
#include <QPainter>
#include <QStatusBar>
#include <QToolButton>

namespace {

using namespace std::chrono_literals;

class Screenshots : public ::testing::Test {
protected:
    ~Screenshots() override {
        atlas::applyTheme("system");
        QApplication::setLayoutDirection(Qt::LeftToRight);
    }

    // Real countries with their flags, and some visits.
    void fill(TestDesktop& desktop) {
        desktop.window->importCountries();
        const auto visit = [&](const QString& title, const QString& city, const QString& country,
                               const QString& start, const QVariantMap& more) {
            QVariantMap values = more;
            values["title"] = title;
            values["city"] = city;
            values["country"] = QVariant::fromValue(desktop.country(country));
            values["start"] = QDateTime::fromString(start, Qt::ISODate).toUTC();
            desktop.addRecord("Visit", values);
        };
        visit("Autumn in Kyōto", "Kyōto", "JP", "2026-11-07T09:30:00Z",
              {{"tags", "temples, maples, tea"},
               {"status", "booked"},
               {"rating", 5},
               {"favourite", true},
               {"cost", 1840.5},
               {"minutes", 200},
               {"pace", 722},
               {"notes", QByteArray("<p>Begin at <b>Fushimi Inari</b> before the crowds, then along the "
                                    "<i>Philosopher’s Path</i>.</p><ul><li>Kiyomizu-dera at dusk</li>"
                                    "<li>Tea in Uji</li></ul>")}});
        visit("Ponies and passes", "Semonkong", "LS", "2026-05-04T08:00:00Z",
              {{"tags", "riding"}, {"status", "done"}, {"rating", 4}, {"cost", 129.5}, {"minutes", 300}});
        visit("Marathon along the river", "Köln", "DE", "2025-10-05T10:00:00Z",
              {{"tags", "running"}, {"status", "done"}, {"rating", 3}, {"pace", 331}, {"minutes", 232}});
        visit("Fjords by ferry", "Ålesund", "NO", "2025-07-19T07:15:00Z",
              {{"status", "done"}, {"rating", 5}, {"favourite", true}, {"cost", 412}});
        visit("Sagrada Família and tapas", "Barcelona", "ES", "2025-04-11T12:00:00Z",
              {{"tags", "architecture, food"}, {"status", "done"}, {"rating", 4}, {"minutes", 95}});
        visit("Cherry blossom", "Tōkyō", "JP", "2024-03-30T06:00:00Z", {{"status", "done"}, {"rating", 4}});
        visit("Old town and salt mine", "Kraków", "PL", "2024-09-14T09:00:00Z",
              {{"tags", "history"}, {"status", "done"}, {"rating", 4}, {"cost", 38.75}, {"minutes", 150}});
        visit("Harbour and hills", "Valparaíso", "CL", "2027-02-01T16:00:00Z", {{"status", "planned"}});
        desktop.context().processPendingChanges();
        desktop.window->save();
        desktop.table().setCurrentIndex(desktop.visits().index(1, 0));
        desktop.settle();
    }

    void take(TestDesktop& desktop, const QString& name, const QWidget* over = nullptr) {
        if (desktop.library().preferences().object("theme").isUndefined())
            desktop.library().preferences().setObject("theme", "light");
        desktop.window->statusBar()->clearMessage();
        desktop.window->resize(1280, 800);
        desktop.activate();
        desktop.settle();
        const QString folder = QCoreApplication::applicationDirPath() + "/../screenshots";
        QDir().mkpath(folder);
        for (const int scale : {1, 2}) {
            QPixmap picture(desktop.window->size() * scale);
            picture.setDevicePixelRatio(scale);
            desktop.window->render(&picture);
            if (over) {
                QPixmap dialog(over->size() * scale);
                dialog.setDevicePixelRatio(scale);
                const_cast<QWidget*>(over)->render(&dialog);
                QPainter painter(&picture);
                painter.fillRect(desktop.window->rect(), QColor(0, 0, 0, 60));
                painter.drawPixmap(
                    desktop.window->rect().center() - QPoint(over->width() / 2, over->height() / 2), dialog);
            }
            const QString suffix = scale == 1 ? ".png" : "@2x.png";
            EXPECT_TRUE(picture.save(folder + "/" + name + suffix));
        }
    }

    const ScopedLocale english_{"en_GB"};
    QTemporaryDir folder_;
};

} // namespace

TEST_F(Screenshots, Empty) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    take(desktop, "empty");
}

TEST_F(Screenshots, Loaded) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    desktop.table().setFocus();
    take(desktop, "loaded");
    desktop.search().setText("kyo");
    take(desktop, "search");
    desktop.search().setText("nowhere");
    take(desktop, "nothing-found");
}

TEST_F(Screenshots, Dark) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    desktop.library().preferences().setObject("theme", "dark");
    desktop.table().setFocus();
    take(desktop, "dark");
}

TEST_F(Screenshots, Right_to_left) {
    QApplication::setLayoutDirection(Qt::RightToLeft);
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    take(desktop, "right-to-left");
}

TEST_F(Screenshots, Syncing) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    desktop.child<QDockWidget>("activity")->show();
    const auto cloud = std::make_shared<QWFolderRestClient>(
        QWAppFolder::inMemory(desktop.library().environment()), desktop.library().environment());
    desktop.window->connection().start(cloud);
    desktop.pass(30s); // among the countries
    take(desktop, "syncing");
    desktop.library().preferences().setObject("theme", "dark");
    take(desktop, "syncing-dark");
}

TEST_F(Screenshots, Offline_question) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    take(desktop, "offline");
    for (auto* button : desktop.window->findChildren<QToolButton*>())
        if (button->accessibleName() == QWLocalizedString("DropboxSync"))
            button->click();
    auto* question = desktop.child<QMessageBox>();
    ASSERT_TRUE(question);
    take(desktop, "offline-question", question);
}

TEST_F(Screenshots, Refused_token_and_sign_in) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    const auto environment = desktop.library().environment();
    QWFolderRestClient folder(QWAppFolder::inMemory(environment), environment);
    const auto cloud = std::make_shared<QWFaultyRestClient>(folder, environment);
    cloud->onAny().answersWith(401);
    desktop.window->connection().start(cloud);
    desktop.pass(2s);
    take(desktop, "token-refused");
    desktop.window->signIn().ask();
    take(desktop, "sign-in", desktop.child<atlas::SignInDialog>());
}

TEST_F(Screenshots, Preferences) {
    TestDesktop desktop(folder_.filePath("A"), 1);
    fill(desktop);
    desktop.window->showPreferences();
    take(desktop, "preferences", desktop.child<atlas::PreferencesDialog>());
}
