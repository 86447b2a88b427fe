#include "supervisor/DeletionGuard.h"

// What comes of the question whether very many records may be deleted: by each answer, and while there is none.

// Answers ---------------------------------------------------------------------------------------------------

TEST_F(DeletionGuard, After_a_yes_the_records_are_deleted_and_the_rest_is_imported) {
    openQuestion();
    cloud.putRecord("Book!!!New.data", book("New"));
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_FALSE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(books(), 41);
    EXPECT_TRUE(desktop.find("New"));
    EXPECT_TRUE(desktop.isIdle());
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(cloud.fileNames().size(), 41);
}

TEST_F(DeletionGuard, After_a_no_the_records_are_sent_again_and_the_rest_is_imported) {
    openQuestion();
    cloud.putRecord("Book!!!New.data", book("New"));
    cloud.remove(file(99)); // one that nobody was asked about
    supervisor().answerDeletionQuestion(false);
    pass(120);
    EXPECT_FALSE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(books(), 100);
    EXPECT_TRUE(desktop.find("New"));
    EXPECT_FALSE(desktop.find("N99"));
    EXPECT_EQ(cloud.fileNames().size(), 100);
    EXPECT_EQ(titleInCloud(file(0)), "Old");
    EXPECT_EQ(desktop.find("N0")->dateModified(), QDateTime(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_TRUE(desktop.isIdle());
    EXPECT_EQ(questions.size(), 1u);
    receive();
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(cloud.fileNames().filter("conflicted").size(), 0);
}

TEST_F(DeletionGuard, After_a_no_images_are_sent_again_with_their_records) {
    hold(100);
    desktop.setImage(*desktop.find("N0"), "image");
    desktop.save();
    pass(30);
    ASSERT_EQ(cloud.bytes("Book!!!N0.image"), "image");
    remove(60);
    cloud.remove("Book!!!N0.image");
    receive();
    supervisor().answerDeletionQuestion(false);
    pass(120);
    EXPECT_EQ(cloud.bytes("Book!!!N0.image"), "image");
    EXPECT_EQ(desktop.image(*desktop.find("N0")), "image");
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(DeletionGuard, An_answer_may_be_given_within_the_question) {
    for (const bool isWanted : {false, true}) {
        supervisor().setDeletionQuestion([this, isWanted](qint64 count, qint64 total) {
            questions.push_back({count, total});
            supervisor().answerDeletionQuestion(isWanted);
        });
        hold(100);
        remove(60);
        receive();
        pass(120);
        EXPECT_EQ(books(), isWanted ? 40 : 100);
        EXPECT_TRUE(desktop.isIdle());
    }
    EXPECT_EQ(questions.size(), 2u);
}

TEST_F(DeletionGuard, A_yes_is_for_the_records_that_were_asked_about) {
    openQuestion();
    remove(30, 60); // few more
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_EQ(books(), 10);
    EXPECT_EQ(questions.size(), 1u);
    hold(200);
    remove(60);
    receive();
    ASSERT_EQ(questions.size(), 2u) << "the answer is used up";
    remove(70, 60);
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_EQ(books(), 200);
    ASSERT_EQ(questions.size(), 3u) << "very many more";
    EXPECT_EQ(questions[2], std::pair(qint64(70), qint64(200)));
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_EQ(books(), 70);
}

TEST_F(DeletionGuard, An_answer_to_no_question_does_nothing) {
    supervisor().answerDeletionQuestion(false);
    supervisor().answerDeletionQuestion(true);
    openQuestion();
    supervisor().answerDeletionQuestion(true);
    supervisor().answerDeletionQuestion(false);
    pass(60);
    EXPECT_EQ(books(), 40);
}

TEST_F(DeletionGuard, A_host_that_does_not_ask_any_more_gets_what_is_held) {
    openQuestion();
    supervisor().setDeletionQuestion({});
    pass(60);
    EXPECT_FALSE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(books(), 40);
    EXPECT_TRUE(desktop.isIdle());
}

// While the question is open --------------------------------------------------------------------------------

TEST_F(DeletionGuard, No_changes_are_asked_for_and_no_second_question_is_asked_while_it_is_open) {
    openQuestion();
    for (int minute = 0; minute < 30; ++minute) {
        supervisor().syncNow();
        pass(60);
    }
    EXPECT_EQ(queries(), 0);
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(engine().status(), QWDropboxSyncStatusIdle);
    supervisor().answerDeletionQuestion(true);
    pass(1900);
    EXPECT_EQ(books(), 40);
    EXPECT_GE(queries(), 3) << "and polls go on";
}

TEST_F(DeletionGuard, An_activation_that_asks_for_changes_asks_no_second_question) {
    openQuestion();
    desktop.activate();
    pass(60);
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(books(), 100);
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_EQ(books(), 40);
}

TEST_F(DeletionGuard, What_is_edited_here_is_sent_while_the_question_is_open) {
    openQuestion();
    desktop.find("N99")->setValueForKey("title", "Mine");
    desktop.save();
    pass(10);
    EXPECT_EQ(titleInCloud(file(99)), "Mine");
    EXPECT_FALSE(supervisor().isInStep());
    EXPECT_TRUE(supervisor().isDeletionQuestionOpen());
}

TEST_F(DeletionGuard, What_waited_before_is_sent_while_the_question_is_open) {
    hold(100);
    engine().deactivateSync();
    desktop.find("N99")->setValueForKey("title", "Mine");
    desktop.save();
    remove(60);
    desktop.activate();
    pass(60);
    EXPECT_TRUE(supervisor().isDeletionQuestionOpen());
    EXPECT_EQ(titleInCloud(file(99)), "Mine");
}

TEST_F(DeletionGuard, A_record_that_is_edited_while_the_question_is_open_stays_whatever_is_answered) {
    for (const bool isWanted : {false, true}) {
        questions.clear();
        openQuestion();
        desktop.find("N0")->setValueForKey("title", "Mine");
        desktop.save();
        pass(10);
        supervisor().answerDeletionQuestion(isWanted);
        pass(120);
        ASSERT_TRUE(desktop.find("N0"));
        EXPECT_EQ(desktop.find("N0")->valueForKey("title"), "Mine");
        EXPECT_EQ(titleInCloud(file(0)), "Mine");
        EXPECT_EQ(books(), isWanted ? 41 : 100);
        EXPECT_EQ(cloud.fileNames().filter("conflicted").size(), 0);
        EXPECT_TRUE(desktop.isIdle());
        for (const QString& name : cloud.fileNames())
            cloud.remove(name);
        supervisor().setDeletionQuestion({});
        receive();
        ask();
    }
}

TEST_F(DeletionGuard, After_an_end_of_the_activity_the_question_is_asked_again) {
    openQuestion();
    engine().deactivateSync();
    pass(5);
    EXPECT_FALSE(supervisor().isDeletionQuestionOpen());
    supervisor().answerDeletionQuestion(true); // nobody asks
    desktop.activate();
    pass(60);
    EXPECT_EQ(questions, Questions({{60, 100}, {60, 100}}));
    EXPECT_EQ(books(), 100);
    desktop.client->on(QWRestRequest::Upload).answersWith(401);
    desktop.add("Book");
    desktop.save();
    pass(5);
    ASSERT_EQ(engine().status(), QWDropboxSyncStatusTokenInvalid);
    EXPECT_FALSE(supervisor().isDeletionQuestionOpen());
    desktop.client->removeFaults();
    desktop.activate();
    pass(60);
    EXPECT_EQ(questions.size(), 3u);
    EXPECT_EQ(books(), 101);
}

TEST_F(DeletionGuard, After_a_crash_the_question_is_asked_again) {
    openQuestion();
    startAnew();
    EXPECT_EQ(questions, Questions({{60, 100}, {60, 100}}));
    EXPECT_EQ(books(), 100);
    supervisor().answerDeletionQuestion(true);
    pass(60);
    EXPECT_EQ(books(), 40);
}

TEST_F(DeletionGuard, A_process_that_dies_after_a_no_leaves_the_next_one_to_send_the_records) {
    openQuestion();
    supervisor().answerDeletionQuestion(false);
    startAnew();
    pass(60);
    EXPECT_EQ(questions.size(), 1u);
    EXPECT_EQ(books(), 100);
    EXPECT_EQ(cloud.fileNames().size(), 100);
    EXPECT_TRUE(desktop.isIdle());
}

TEST_F(DeletionGuard, A_process_that_dies_after_a_yes_leaves_the_next_one_to_ask_again) {
    openQuestion();
    supervisor().answerDeletionQuestion(true);
    startAnew();
    EXPECT_EQ(questions, Questions({{60, 100}, {60, 100}}));
    EXPECT_EQ(books(), 100);
}

// Two desktops ----------------------------------------------------------------------------------------------

namespace {

struct DeletionGuardOfTwo : TwoDesktops {
    DeletionGuardOfTwo() : TwoDesktops(Desktop::Supervised) {}
};

} // namespace

TEST_F(DeletionGuardOfTwo, What_one_desktop_refuses_comes_back_to_the_one_that_has_deleted_it) {
    for (int number = 0; number < 60; ++number)
        a.add("Book", {{"title", QString::number(number)}});
    sync();
    ASSERT_TRUE(areInStep());
    const QStringList before = a.contents();
    a.supervisor->setDeletionQuestion([&](qint64, qint64) { a.supervisor->answerDeletionQuestion(false); });
    const auto books = b.context->fetch(QWFetchRequest("Book"));
    for (const auto& book : *books)
        b.context->deleteObject(*book);
    b.sync();
    sync();
    EXPECT_EQ(b.contents(), before);
    EXPECT_TRUE(areInStep());
}
