// What a click asks while sync is off: whether to connect.

#include "support/HostTranslator.h"
#include "toolbar/ToolbarTest.h"

#include <QPushButton>

namespace {

struct Question : ToolbarTest {
    QAbstractButton& answer(const QString& text) {
        for (QAbstractButton* candidate : question()->buttons())
            if (candidate->text().remove('&') == text)
                return *candidate;
        throw std::runtime_error("no answer " + text.toStdString());
    }
    void choose(const QString& text) {
        QTest::mouseClick(&answer(text), Qt::LeftButton);
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
};

TEST_F(Question, Is_asked_in_place_of_the_popover_while_sync_is_off) {
    click();
    EXPECT_FALSE(popover());
    ASSERT_TRUE(question());
    EXPECT_TRUE(question()->isVisible());
    EXPECT_EQ(question()->windowTitle(), "Synchronisation with Dropbox");
    EXPECT_EQ(question()->text(), "Synchronisation with Dropbox");
    EXPECT_EQ(question()->informativeText(), "Do you want to connect to Dropbox?");
    EXPECT_EQ(question()->buttons().size(), 2);
    EXPECT_EQ(question()->defaultButton(), &answer("Yes"));
}

TEST_F(Question, Is_asked_for_no_other_status) {
    for (const quint64 status : {QWDropboxSyncStatusIdle, QWDropboxSyncStatusCheckingForUpdates,
                                 QWDropboxSyncStatusUploading, QWDropboxSyncStatusTokenInvalid}) {
        engine().setStatus(status);
        click();
        EXPECT_FALSE(question()) << status;
        ASSERT_TRUE(popover()) << status;
        popover()->close();
    }
}

TEST_F(Question, Shows_the_keys_of_words_that_nobody_has) {
    const ScopedLocale unknown("C");
    click();
    EXPECT_EQ(question()->text(), "DropboxSync");
    EXPECT_EQ(question()->informativeText(), "AuthenticateDropbox");
}

TEST_F(Question, Blocks_nothing_but_its_window) {
    click(); // which has returned
    EXPECT_EQ(question()->windowModality(), Qt::WindowModal);
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
}

TEST_F(Question, Tells_the_delegate_of_a_Yes) {
    click();
    choose("Yes");
    EXPECT_EQ(desktop.toAuthenticate, QList<const QWDropboxSyncCoreData*>{&engine()});
    EXPECT_FALSE(question());
}

TEST_F(Question, Takes_Return_for_the_default_answer_Yes) {
    click();
    QTest::keyClick(question(), Qt::Key_Return);
    EXPECT_EQ(desktop.toAuthenticate.size(), 1);
}

TEST_F(Question, Changes_nothing_on_a_No) {
    click();
    choose("No");
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusDisabled);
    EXPECT_FALSE(question());
}

TEST_F(Question, Is_answered_neither_way_by_Escape) {
    click();
    QTest::keyClick(question(), Qt::Key_Escape);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    ASSERT_TRUE(question());
    EXPECT_EQ(question()->clickedButton(), nullptr);
    EXPECT_TRUE(question()->isVisible());
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
    choose("Yes");
    EXPECT_EQ(desktop.toAuthenticate.size(), 1);
}

TEST_F(Question, Is_asked_again_by_another_click_and_not_twice_at_once) {
    click();
    controller->clickedToolbarButton(button);
    EXPECT_EQ(window.findChildren<QMessageBox*>().size(), 1);
    choose("No");
    click();
    EXPECT_TRUE(question());
}

TEST_F(Question, Has_the_words_of_the_host_as_they_are) {
    const HostTranslator host({{"Yes", "Ja"},
                               {"No", "Nein"},
                               {"DropboxSync", "A <b>B</b>"},
                               {"AuthenticateDropbox", "100 %d % <b>sicher</b>?"}});
    click();
    EXPECT_EQ(question()->text(), "A <b>B</b>");
    EXPECT_EQ(question()->informativeText(), "100 %d % <b>sicher</b>?");
    for (const auto* line : question()->findChildren<QLabel*>())
        EXPECT_EQ(line->textFormat(), Qt::PlainText) << line->objectName().toStdString();
    choose("Ja");
    EXPECT_EQ(desktop.toAuthenticate.size(), 1);
}

TEST_F(Question, Is_about_the_engine_that_is_shared_when_it_is_answered) {
    click();
    Host other(cloud, 2);
    share(other);
    choose("Yes");
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
    EXPECT_EQ(other.toAuthenticate, QList<const QWDropboxSyncCoreData*>{other.engine.get()});
    share(desktop);
}

TEST_F(Question, Does_nothing_for_an_engine_without_a_delegate_or_without_an_engine) {
    engine().setDelegate(nullptr, nullptr);
    click();
    choose("Yes");
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
    click();
    QWDropboxSyncCoreData::setSharedInstance(nullptr);
    choose("Yes");
    EXPECT_THAT(desktop.toAuthenticate, testing::IsEmpty());
}

TEST_F(Question, Goes_with_the_controller) {
    click();
    controller.reset();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(question());
}

TEST_F(Question, Is_out_of_the_way_when_the_host_signs_in) {
    bool isInTheWay = true;
    desktop.willAuthenticate = [&] { isInTheWay = question() && question()->isVisible(); };
    click();
    choose("Yes");
    EXPECT_FALSE(isInTheWay);
}

TEST_F(Question, Lets_the_host_end_the_controller_on_a_Yes) {
    desktop.willAuthenticate = [this] { controller.reset(); };
    click();
    choose("Yes");
    EXPECT_EQ(desktop.toAuthenticate.size(), 1);
    EXPECT_FALSE(question());
}

} // namespace
