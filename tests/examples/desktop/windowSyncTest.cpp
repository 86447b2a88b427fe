// Windows that share a cloud, and what each says about its sync.

#include "AtlasWindowTest.h"

#include "desktop/MessageBar.h"
#include "desktop/PreferencesDialog.h"
#include "desktop/SignIn.h"
#include "desktop/SignInDialog.h"
#include "desktop/Theme.h"
#include "platform/QWLocalizedString.h"
#include "support/EventLoopWait.h"
#include "testing/QWFaultyRestClient.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QStatusBar>
#include <QToolButton>
#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;
using namespace std::chrono_literals;

namespace {

// Two desktops of one time, each with a client of its own for one folder in memory.
class WindowSync : public ::testing::Test {
protected:
    ~WindowSync() override { atlas::applyTheme("system"); }

    std::shared_ptr<QWFaultyRestClient> connect(TestDesktop& desktop) {
        const auto environment = desktop.library().environment();
        clients_.push_back(std::make_unique<QWFolderRestClient>(folder_, environment));
        auto client = std::make_shared<QWFaultyRestClient>(*clients_.back(), environment);
        desktop.window->connection().start(client);
        return client;
    }
    void pass(QWRunLoop::Duration time) {
        runLoop_->advance(time);
        QCoreApplication::processEvents();
    }
    static QWRef<QWManagedObject> visit(TestDesktop& desktop, const QString& title) {
        auto record = desktop.addRecord("Visit", {{"title", title}});
        desktop.context().processPendingChanges();
        return record;
    }
    // The control of the window whose engine is the shared one.
    static QToolButton* control(TestDesktop& desktop) {
        QWDropboxSyncCoreData::setSharedInstance(desktop.library().sharedEngine());
        for (auto* button : desktop.window->findChildren<QToolButton*>())
            if (button->accessibleName() == QWLocalizedString("DropboxSync"))
                return button;
        throw std::logic_error("no sync control");
    }
    // What the control says, each text once, from now on.
    static std::shared_ptr<QStringList> textsOf(TestDesktop& desktop) {
        auto texts = std::make_shared<QStringList>();
        auto* button = control(desktop);
        const auto note = [texts, button] {
            const QString text = button->accessibleDescription();
            if (texts->isEmpty() || texts->last() != text)
                *texts << text;
        };
        QObject::connect(&desktop.engine(), &QWDropboxSyncCoreData::statusChanged, button, note);
        QObject::connect(&desktop.engine(), &QWDropboxSyncCoreData::numberOfItemsToProcessChanged, button,
                         note);
        return texts;
    }

    const ScopedLocale english_{"en_GB"};
    QTemporaryDir files_;
    const std::shared_ptr<QWVirtualRunLoop> runLoop_ = std::make_shared<QWVirtualRunLoop>();
    QWVirtualWorld cloud_{99, runLoop_};
    const std::shared_ptr<QWAppFolder> folder_ = QWAppFolder::inMemory(cloud_.environment());
    std::vector<std::unique_ptr<QWFolderRestClient>> clients_; // outlive the windows
    TestDesktop a_{files_.filePath("A"), 1, runLoop_}, b_{files_.filePath("B"), 2, runLoop_};
};

} // namespace

TEST_F(WindowSync, Two_windows_show_each_others_edits) {
    connect(a_);
    connect(b_);
    pass(5s);
    const auto rome = visit(a_, "Rome");
    visit(b_, "Kyōto");
    pass(5s);
    a_.window->syncNow();
    b_.window->syncNow();
    pass(5s);
    EXPECT_THAT(a_.titles(), UnorderedElementsAre("Rome", "Kyōto"));
    EXPECT_THAT(b_.titles(), UnorderedElementsAre("Rome", "Kyōto"));

    rome->setValueForKey("title", "Rome in spring");
    pass(5s);
    b_.window->syncNow();
    pass(5s);
    EXPECT_THAT(b_.titles(), UnorderedElementsAre("Rome in spring", "Kyōto"));

    a_.table().selectAll();
    a_.window->deleteVisits();
    pass(5s);
    b_.window->syncNow();
    pass(5s);
    EXPECT_TRUE(b_.titles().isEmpty());
    a_.action("Undo Delete Visit")->trigger();
    pass(5s);
    b_.window->syncNow();
    pass(5s);
    EXPECT_THAT(b_.titles(), UnorderedElementsAre("Rome in spring", "Kyōto")) << "taken back everywhere";
}

TEST_F(WindowSync, An_import_is_suggested_until_there_are_countries) {
    EXPECT_EQ(a_.window->messageBar().text(), "This library has no countries yet.");
    a_.addRecord("Country", {{"name", "Japan"}});
    a_.context().processPendingChanges();
    EXPECT_FALSE(a_.window->messageBar().isVisible());
}

TEST_F(WindowSync, The_control_says_what_the_sync_is_at) {
    for (const char* title : {"One", "Two", "Three"})
        visit(a_, title);
    auto texts = textsOf(a_);
    connect(a_);
    pass(5s);
    EXPECT_THAT(*texts, IsSupersetOf({"Checking for updates", "Uploading 3 updates", "Uploading 1 updates",
                                      "All items are up to date"}));
    EXPECT_EQ(texts->last(), "All items are up to date");

    texts = textsOf(b_);
    connect(b_);
    pass(5s);
    const auto asked = texts->indexOf("Checking for updates");
    EXPECT_GE(asked, 0);
    EXPECT_GT(texts->indexOf("Downloading 3 potential updates"), asked) << texts->join(", ").toStdString();
    EXPECT_EQ(texts->last(), "All items are up to date");
}

TEST_F(WindowSync, The_control_passes_through_asking_fetching_and_sending_in_this_order) {
    connect(a_);
    visit(a_, "Of the cloud");
    pass(10s);
    visit(b_, "Of this desktop");
    pass(1s);
    const auto texts = textsOf(b_);
    connect(b_);
    pass(10s);
    EXPECT_EQ(texts->last(), "All items are up to date");
    QStringList steps; // each at its first time; the engine rests between them as well
    for (const QString& text : *texts)
        if (const QString step = text.section(' ', 0, 0); step != "All" && !steps.contains(step))
            steps << step;
    EXPECT_THAT(steps, ElementsAre("Checking", "Downloading", "Uploading"));
}

TEST_F(WindowSync, A_window_that_becomes_active_asks_for_changes_once_a_minute_at_most) {
    connect(a_);
    pass(5s);
    const auto queries = [&] { return a_.window->connection().supervisor()->requests().queries; };
    const auto before = queries();
    b_.activate();
    a_.activate();
    pass(5s);
    EXPECT_EQ(queries(), before) << "it has asked when it was connected";
    pass(56s);
    b_.activate();
    a_.activate();
    pass(1s);
    EXPECT_EQ(queries(), before + 1);
    b_.activate();
    a_.activate();
    pass(1s);
    EXPECT_EQ(queries(), before + 1);
    a_.window->syncNow();
    pass(1s);
    EXPECT_EQ(queries(), before + 2) << "a person may ask at any time";
}

TEST_F(WindowSync, A_window_that_closes_in_the_middle_loses_nothing) {
    const auto client = connect(a_);
    pass(5s);
    client->on(QWRestRequest::Upload).staysUnanswered();
    for (int i = 0; i < 8; ++i)
        visit(a_, QString::number(i));
    pass(100ms);
    ASSERT_EQ(a_.engine().status(), QWDropboxSyncStatusUploading);
    EXPECT_TRUE(a_.window->close());
    a_.close();
    pass(1min);

    a_.open();
    EXPECT_EQ(a_.titles().size(), 8);
    connect(a_);
    pass(1min);
    EXPECT_EQ(a_.engine().numberOfObjectsWaitingSync(), 0);
    connect(b_);
    pass(1min);
    EXPECT_EQ(b_.titles().size(), 8);
}

TEST_F(WindowSync, A_window_that_closes_while_it_receives_has_the_rest_the_next_time) {
    connect(a_);
    for (int i = 0; i < 8; ++i)
        visit(a_, QString::number(i));
    pass(1min);
    const auto client = connect(b_);
    client->on(QWRestRequest::LoadFile)
        .where([](const QWRestRequest& request) { return request.path.contains("Visit"); })
        .staysUnanswered();
    pass(1s);
    EXPECT_TRUE(b_.window->close());
    b_.close();
    b_.open();
    connect(b_);
    pass(1min);
    EXPECT_EQ(b_.titles().size(), 8);
}

TEST_F(WindowSync, Preferences_of_one_window_act_in_the_other) {
    connect(a_);
    connect(b_);
    pass(10s);
    a_.library().preferences().setObject("theme", "dark");
    a_.library().preferences().setObject("distanceUnit", "mi");
    a_.library().preferences().setObject("homeCountry", "JP");
    b_.addRecord("Country", {{"name", "Japan"}, {"alpha2", "JP"}});
    visit(b_, "Walk")->setValueForKey("pace", 330);
    b_.context().processPendingChanges();
    b_.table().setCurrentIndex(b_.visits().index(0, 0));
    EXPECT_EQ(b_.child<QLineEdit>("pace")->text(), "5:30");
    atlas::applyTheme("light");
    const QColor light = b_.window->palette().color(QPalette::Window);
    pass(10s);
    b_.window->syncNow();
    pass(10s);
    EXPECT_EQ(b_.library().preferences().object("theme"), QJsonValue("dark"));
    EXPECT_LT(b_.window->palette().color(QPalette::Window).lightness(), light.lightness());
    EXPECT_EQ(b_.child<QLineEdit>("pace")->text(), "8:51") << "for a mile";
    b_.window->addVisit();
    EXPECT_EQ(b_.editor().visit()->relatedObject("country"), b_.country("JP"));
}

TEST_F(WindowSync, A_cloud_that_does_not_answer_is_mentioned_until_it_does) {
    const auto client = connect(a_);
    pass(5s);
    client->on(QWRestRequest::LoadDelta).first(2).answersWith(503);
    a_.window->syncNow();
    pass(1s);
    const auto saysSo = [this] {
        const auto labels = a_.window->statusBar()->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
            return label->text().startsWith("The cloud does not answer") && !label->toolTip().isEmpty();
        });
    };
    EXPECT_FALSE(a_.window->connection().trouble().isEmpty());
    EXPECT_TRUE(saysSo());
    pass(1min);
    EXPECT_EQ(a_.window->connection().trouble(), QString());
    EXPECT_FALSE(saysSo());
}

TEST_F(WindowSync, A_refused_token_is_said_and_signing_in_again_goes_on_with_what_waits) {
    const auto client = connect(a_);
    pass(5s);
    client->onAny().answersWith(401);
    visit(a_, "Waits");
    pass(5s);
    ASSERT_EQ(a_.engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_TRUE(a_.window->messageBar().isVisible());
    EXPECT_THAT(a_.window->messageBar().text().toStdString(), HasSubstr("refused"));
    EXPECT_FALSE(a_.action("Sync Now")->isEnabled());

    a_.activate();
    for (auto* button : a_.window->messageBar().findChildren<QPushButton*>())
        if (button->text() == "Sign In…")
            QTest::mouseClick(button, Qt::LeftButton);
    auto* dialog = a_.child<atlas::SignInDialog>();
    ASSERT_TRUE(dialog);
    auto* address = dialog->findChildren<QLineEdit*>().first();
    address->clear();
    QTest::keyClicks(address, "folder:" + files_.filePath("cloud"));
    QTest::keyClick(address, Qt::Key_Return);
    pass(1min);
    EXPECT_FALSE(a_.window->messageBar().isVisible());
    EXPECT_EQ(a_.library().cloud(), "folder:" + files_.filePath("cloud"));
    EXPECT_EQ(a_.engine().status(), QWDropboxSyncStatusIdle);
    EXPECT_EQ(a_.engine().numberOfObjectsWaitingSync(), 0);
}

TEST_F(WindowSync, Yes_to_the_question_of_the_control_opens_the_sign_in_dialog) {
    QTest::mouseClick(control(a_), Qt::LeftButton);
    auto* question = a_.child<QMessageBox>();
    ASSERT_TRUE(question);
    QTest::keyClick(question, Qt::Key_Return);
    pass(0s);
    EXPECT_TRUE(a_.child<atlas::SignInDialog>());
}

TEST_F(WindowSync, A_library_that_remembers_its_cloud_syncs_when_it_opens) {
    QWError error;
    ASSERT_TRUE(a_.window->connection().start({"folder:" + files_.filePath("cloud"), {}}, false, &error));
    visit(a_, "Rome");
    pass(10s);
    a_.close();
    a_.open();
    a_.window->signIn().resume();
    EXPECT_TRUE(a_.window->connection().isActive());
    ASSERT_TRUE(b_.window->connection().start({"folder:" + files_.filePath("cloud"), {}}, false, &error));
    pass(10s);
    EXPECT_THAT(b_.titles(), ElementsAre("Rome"));
}

#ifdef Q_OS_LINUX
TEST_F(WindowSync, A_token_that_no_keychain_has_is_asked_for) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
    a_.library().setCloud("https://cloud.example.com", {});
    a_.window->signIn().resume();
    EXPECT_TRUE(runEventLoopUntil([&] {
        return a_.window->messageBar().text().startsWith("Sign in to sync with https://cloud.example.com.");
    })) << a_.window->messageBar().text().toStdString();
    EXPECT_FALSE(a_.window->connection().isActive());
}

TEST_F(WindowSync, Without_a_keychain_a_token_lasts_until_the_window_closes_and_the_user_is_told) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
    a_.activate();
    a_.action("Sign In…")->trigger();
    const auto fields = a_.child<atlas::SignInDialog>()->findChildren<QLineEdit*>();
    QTest::keyClicks(fields.at(0), "http://127.0.0.1:9");
    QTest::keyClicks(fields.at(1), "sl.token");
    QTest::keyClick(fields.at(1), Qt::Key_Return);
    EXPECT_TRUE(a_.window->connection().isActive()) << "before the keychain has answered";
    EXPECT_TRUE(runEventLoopUntil([&] {
        return a_.window->messageBar().text().startsWith(
            "Signed in until Atlas is closed. This system has no");
    })) << a_.window->messageBar().text().toStdString();
    EXPECT_TRUE(a_.window->connection().isActive());
    EXPECT_EQ(a_.library().cloud(), "http://127.0.0.1:9");
    EXPECT_EQ(a_.library().accessToken(), QString()) << "kept in no file";
}

TEST_F(WindowSync, A_keychain_that_answers_when_the_user_has_signed_in_already_changes_nothing) {
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
    a_.library().setCloud("https://cloud.example.com", {});
    a_.window->signIn().resume();
    connect(a_);
    const auto* supervisor = a_.window->connection().supervisor();
    const QString message = a_.window->messageBar().text();
    bool isNextAnswered = false; // the jobs of all keychains are answered in turn
    atlas::TokenKeychain keychain;
    keychain.read("https://cloud.example.com", [&](const auto&, const auto&) { isNextAnswered = true; });
    ASSERT_TRUE(runEventLoopUntil([&] { return isNextAnswered; }));
    EXPECT_EQ(a_.window->connection().supervisor(), supervisor);
    EXPECT_EQ(a_.window->messageBar().text(), message);
}
#endif

TEST_F(WindowSync, Colours_are_chosen_in_the_preferences) {
    a_.activate();
    QTest::keyClick(a_.window.get(), Qt::Key_Comma, Qt::ControlModifier);
    auto* dialog = a_.child<atlas::PreferencesDialog>();
    ASSERT_TRUE(dialog);
    auto* theme = dialog->findChild<QComboBox*>("theme");
    theme->setFocus();
    QTest::keyClick(theme, Qt::Key_End);
    EXPECT_EQ(a_.library().preferences().object("theme"), QJsonValue("dark"));
    EXPECT_LT(QApplication::palette().color(QPalette::Window).lightness(), 128);
}

TEST_F(WindowSync, Stopping_keeps_what_waits_for_the_next_start) {
    connect(a_);
    pass(5s);
    a_.action("Stop Syncing")->trigger();
    EXPECT_EQ(a_.engine().status(), QWDropboxSyncStatusDisabled);
    visit(a_, "Later");
    pass(1min);
    EXPECT_EQ(a_.engine().numberOfObjectsWaitingSync(), 1);
    connect(a_);
    pass(5s);
    EXPECT_EQ(a_.engine().numberOfObjectsWaitingSync(), 0);
}
