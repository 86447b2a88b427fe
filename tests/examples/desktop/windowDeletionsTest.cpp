// What a window asks when very much was deleted on another desktop.

#include "AtlasWindowTest.h"

#include "desktop/MessageBar.h"

#include <QMessageBox>
#include <QPushButton>
#include <gmock/gmock.h>

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

// 80 visits here and in the cloud, of which another desktop has deleted 60.
class WindowDeletions : public ::testing::Test {
protected:
    WindowDeletions() {
        for (int number = 0; number < 80; ++number)
            desktop_.addRecord("Visit", {{"title", QString::number(number)}});
        desktop_.window->save();
        connect();
        desktop_.pass(60s);
        EXPECT_EQ(files().size(), 80);
        for (const QString& path : files().mid(0, 60))
            EXPECT_TRUE(folder_->remove(path));
        desktop_.window->syncNow();
        desktop_.pass(10s);
    }

    void connect() {
        client_ = std::make_shared<QWFolderRestClient>(folder_, desktop_.library().environment());
        desktop_.window->connection().start(client_);
    }
    QStringList files() {
        QStringList paths;
        const auto page = folder_->changes({}, 1000);
        for (const auto& entry : page->entries)
            if (entry->metadata && !entry->metadata->isDirectory && entry->lowercasePath.endsWith(".data"))
                paths.append(entry->metadata->path);
        return paths.filter("Visit");
    }
    QMessageBox* question() {
        for (auto* box : desktop_.window->findChildren<QMessageBox*>())
            if (box->isVisible())
                return box;
        return nullptr;
    }
    template <class Parent>
    void press(Parent& parent, const QString& text) {
        for (auto* button : parent.template findChildren<QPushButton*>())
            if (button->text().remove('&') == text)
                button->click();
        desktop_.pass(60s);
    }
    qint64 visits() { return desktop_.context().count(QWFetchRequest("Visit")).value_or(-1); }

    const ScopedLocale english_{"en_GB"};
    QTemporaryDir place_;
    TestDesktop desktop_{place_.filePath("A"), 1};
    const std::shared_ptr<QWAppFolder> folder_ = QWAppFolder::inMemory(desktop_.library().environment());
    std::shared_ptr<QWFolderRestClient> client_;
};

} // namespace

TEST_F(WindowDeletions, The_window_asks_and_waits_for_nobody) {
    ASSERT_TRUE(question());
    EXPECT_THAT(question()->text().toStdString(), HasSubstr("60 of 80"));
    EXPECT_EQ(visits(), 80);
    desktop_.addRecord("Visit", {{"title", "Mine"}});
    desktop_.window->save();
    desktop_.pass(10s);
    EXPECT_EQ(files().size(), 21) << "what is edited is sent meanwhile";
}

TEST_F(WindowDeletions, Kept_records_are_sent_again) {
    ASSERT_TRUE(question());
    press(*question(), "Keep Them");
    EXPECT_FALSE(question());
    EXPECT_EQ(visits(), 80);
    EXPECT_EQ(files().size(), 80);
    EXPECT_TRUE(desktop_.window->connection().supervisor()->isInStep());
}

TEST_F(WindowDeletions, Records_that_are_not_kept_are_deleted_here_too) {
    ASSERT_TRUE(question());
    press(*question(), "Delete Here Too");
    EXPECT_FALSE(question());
    EXPECT_EQ(visits(), 20);
    EXPECT_EQ(files().size(), 20);
}

TEST_F(WindowDeletions, A_question_that_is_put_off_is_offered_again) {
    ASSERT_TRUE(question());
    QTest::keyClick(question(), Qt::Key_Escape);
    desktop_.pass(60s);
    EXPECT_FALSE(question());
    EXPECT_EQ(visits(), 80);
    ASSERT_THAT(desktop_.window->messageBar().text().toStdString(), HasSubstr("until you decide"));
    press(desktop_.window->messageBar(), "Decide…");
    ASSERT_TRUE(question());
    EXPECT_EQ(desktop_.window->messageBar().text(), "");
    press(*question(), "Delete Here Too");
    EXPECT_EQ(visits(), 20);
}

TEST_F(WindowDeletions, The_question_goes_when_the_sync_ends_and_comes_with_the_next_one) {
    ASSERT_TRUE(question());
    desktop_.window->connection().stop();
    desktop_.settle();
    EXPECT_FALSE(question());
    connect();
    desktop_.pass(10s);
    ASSERT_TRUE(question());
    QTest::keyClick(question(), Qt::Key_Escape);
    desktop_.window->connection().stop();
    EXPECT_EQ(desktop_.window->messageBar().text(), "");
    EXPECT_EQ(visits(), 80);
}
