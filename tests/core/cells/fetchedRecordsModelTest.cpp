#include "FetchedRecordsFixture.h"

using Model = FetchedRecordsTest;

TEST_F(Model, Rows_are_the_records_of_the_request_in_its_order) {
    insertBooks({"b", "A", "é", "d"});
    showBooks();
    EXPECT_EQ(titles(), QStringList({"A", "b", "d", "é"}));
}
