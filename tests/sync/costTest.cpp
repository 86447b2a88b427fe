#include "support/EngineTest.h"
#include "support/StatementCount.h"

// What the engine looks at in the stores, counted: it must not grow with what it has nothing to do with.

namespace {

struct Cost : EngineTest {
    StatementCount statements;

    Cost() {
        desktop.crash();
        desktop.start();
        activateIdle();
    }
    void addAuthors(int number) {
        for (int index = 0; index < number; ++index)
            desktop.add("Author");
    }
    template <class Action>
    qint64 stepsOf(Action action) {
        statements.forget();
        action();
        return statements.steps();
    }
};

} // namespace

TEST_F(Cost, A_start_with_every_row_in_flight_looks_at_the_same_few_rows_however_many_there_are) {
    std::vector<qint64> steps;
    for (const int number : {20, 1980}) {
        addAuthors(number);
        saveAndTurn();
        engine().beginSyncOfObjectsWaitingSync();
        ASSERT_EQ(engine().numberOfObjectsSyncing(), engine().numberOfObjectsWaitingSync());
        steps.push_back(stepsOf([this] { engine().beginSyncOfObjectsWaitingSync(); }));
    }
    EXPECT_EQ(client->count(QWRestRequest::Upload), 2000);
    EXPECT_GT(steps[0], 0) << "they are counted";
    EXPECT_EQ(steps[0], steps[1]);
}

TEST_F(Cost, A_completion_looks_at_the_same_few_rows_however_many_wait) {
    std::vector<qint64> steps;
    for (const int number : {20, 1980}) {
        addAuthors(number);
        saveAndTurn();
        uploaded(client->requests.back());
        const auto request = client->requests.back();
        steps.push_back(stepsOf([&] { uploaded(request); }));
    }
    EXPECT_GT(engine().numberOfObjectsWaitingSync(), 1980);
    EXPECT_EQ(steps[0], steps[1]);
}

TEST_F(Cost, A_change_notice_costs_one_fetch_for_each_changed_object_and_one_save) {
    addAuthors(10);
    statements.forget();
    desktop.context->processPendingChanges();
    EXPECT_EQ(engine().numberOfObjectsWaitingSync(), 10);
    EXPECT_EQ(statements.count("SELECT", "objectUUID"), 10);
    EXPECT_EQ(statements.count("COMMIT"), 1);
}
