// The clock of one desktop is set back a day: what it does from then on is dated before what it did.

#include "AccidentTest.h"
#include "ShiftedClock.h"

using namespace testing;

namespace {

class ClockSetBack : public AccidentTest {
protected:
    ClockSetBack() {
        startInStep();
        a_.setVariables(clock_.variables());
        a_.tell({"set", france_, "name=before"});
        syncBoth();
        clock_.shift(-24h);
    }
    // In the program's own words.
    QDateTime date(const QString& uuid) const {
        return QDateTime::fromString(a_.show(uuid)["dateModified"].toString().left(19),
                                     "yyyy-MM-dd HH:mm:ss");
    }

    ShiftedClock clock_;
};

} // namespace

TEST_F(ClockSetBack, Leaves_the_desktops_in_step_with_all_that_is_new) {
    const QString visit = a_.tell({"add", "Visit", "title=after"});
    a_.tell({"set", atlas::importedUUID("Country", "JP"), "name=after"});
    a_.tell({"delete", atlas::importedUUID("Language", "fra")});
    EXPECT_LT(date(visit), date(france_));
    expectInStep();
    EXPECT_EQ(b_.show(visit)["title"], "after");
    EXPECT_EQ(b_.show(atlas::importedUUID("Country", "JP"))["name"], "after");
    EXPECT_EQ(b_.count("Language"), 1);
    EXPECT_EQ(b_.show(france_)["name"], "before");
}

TEST_F(ClockSetBack, Makes_a_second_edit_of_a_record_the_older_version_which_loses_everywhere_alike) {
    a_.tell({"set", france_, "name=after"});
    expectInStep();
    EXPECT_EQ(a_.show(france_)["name"], "before");
}

TEST_F(ClockSetBack, Hides_nothing_that_another_desktop_does_meanwhile) {
    b_.tell({"set", france_, "name=elsewhere", "dateModified=2100-01-01 00:00:00 +0000"});
    const QString visit =
        b_.tell({"add", "Visit", "title=elsewhere", "dateModified=2001-01-01 00:00:00 +0000"});
    expectInStep();
    EXPECT_EQ(a_.show(france_)["name"], "elsewhere");
    EXPECT_EQ(a_.show(visit)["title"], "elsewhere");
    clock_.shift(0s); // and set right again
    a_.tell({"set", visit, "title=here"});
    expectInStep();
    EXPECT_EQ(b_.show(visit)["title"], "here");
}
