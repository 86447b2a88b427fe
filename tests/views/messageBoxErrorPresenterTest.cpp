#include "views/QWMessageBoxErrorPresenter.h"

#include <QApplication>
#include <QTest>
#include <gtest/gtest.h>

namespace {

class MessageBoxErrorPresenter : public ::testing::Test {
protected:
    static QList<QMessageBox*> boxes() {
        QList<QMessageBox*> all;
        for (QWidget* window : QApplication::topLevelWidgets())
            if (auto* box = qobject_cast<QMessageBox*>(window))
                all << box;
        return all;
    }
    static QString shown() { return boxes().size() == 1 ? boxes().first()->text() : QString(); }
    static void close() {
        QTest::keyClick(boxes().first(), Qt::Key_Return);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QCoreApplication::processEvents();
    }

    QWMessageBoxErrorPresenter presenter_;
};

} // namespace

TEST_F(MessageBoxErrorPresenter, Shows_the_message_and_does_not_wait_for_the_answer) {
    presenter_.presentError({"store", 4, "The disk is full."});
    EXPECT_EQ(shown(), "The disk is full.");
    close();
    EXPECT_TRUE(boxes().isEmpty());
}

TEST_F(MessageBoxErrorPresenter, Shows_domain_and_code_of_an_error_without_message) {
    presenter_.presentError({"store", 4});
    EXPECT_EQ(shown(), "store (4)");
}

TEST_F(MessageBoxErrorPresenter, Shows_marks_in_a_message_as_they_are) {
    presenter_.presentError({"store", 4, "<b>a & b</b>"});
    EXPECT_EQ(boxes().first()->textFormat(), Qt::PlainText);
    EXPECT_EQ(shown(), "<b>a & b</b>");
}

TEST_F(MessageBoxErrorPresenter, Shows_one_failure_after_the_other) {
    presenter_.presentError({"store", 1, "First"});
    presenter_.presentError({"store", 2, "Second"});
    EXPECT_EQ(shown(), "First");
    close();
    EXPECT_EQ(shown(), "Second");
    close();
    EXPECT_TRUE(boxes().isEmpty());
}

TEST_F(MessageBoxErrorPresenter, Shows_what_keeps_failing_once_until_it_was_closed) {
    for (int i = 0; i < 3; ++i)
        presenter_.presentError({"store", 1, "Again"});
    EXPECT_EQ(shown(), "Again");
    close();
    EXPECT_TRUE(boxes().isEmpty());
    presenter_.presentError({"store", 1, "Again"});
    EXPECT_EQ(shown(), "Again");
}

TEST_F(MessageBoxErrorPresenter, Goes_on_after_the_window_that_the_box_lay_over_has_gone) {
    auto window = std::make_unique<QWidget>();
    window->show();
    QApplication::setActiveWindow(window.get());
    presenter_.presentError({"store", 1, "First"});
    ASSERT_EQ(boxes().first()->parent(), window.get());
    presenter_.presentError({"store", 2, "Second"});
    window.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(shown(), "Second");
}

TEST_F(MessageBoxErrorPresenter, Takes_its_box_along_when_it_goes) {
    {
        QWMessageBoxErrorPresenter passing;
        passing.presentError({"store", 1, "First"});
        passing.presentError({"store", 2, "Second"});
        EXPECT_EQ(shown(), "First");
    }
    QCoreApplication::processEvents();
    EXPECT_TRUE(boxes().isEmpty());
}
