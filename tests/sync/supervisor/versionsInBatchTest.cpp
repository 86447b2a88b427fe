#include "supervisor/OneDesktop.h"

// The host edits a record while a batch that has received another version of it is under way.

namespace {

using namespace std::chrono_literals;

struct VersionsInBatch : OneDesktop {
    VersionsInBatch() : OneDesktop(Desktop::Supervised) {}
};

} // namespace

TEST_F(VersionsInBatch, A_greater_version_of_the_same_second_loses_against_an_edit_of_a_later_one) {
    begin();
    cloud.putRecord("Book!!!X.data", book("M"));
    desktop.askForChanges();
    pass(30);
    cloud.putRecord("Book!!!X.data", versionInSameSecond(true));
    cloud.putRecord("Book!!!Y.data", book("Y"));
    desktop.client->on(QWRestRequest::LoadFile).number(2).delaysAnswer(10s);
    desktop.askForChanges();
    pass(5);
    desktop.wantsUpdate = [](auto&) { return false; }; // which would date it
    const auto host = desktop.find("X");
    host->setValueForKey("title", "Again");
    host->setDateModified(host->dateModified().addSecs(1));
    pass(30);
    EXPECT_EQ(desktop.find("X")->valueForKey("title"), "Again");
    EXPECT_TRUE(desktop.find("Y"));
}
