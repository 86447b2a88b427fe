// A repair that ends at any of its steps, by the death of its process or for a reason, is finished by whoever opens
// the library next: every record is queued, and the versions that have lost are there.

#include "AccidentTest.h"

using namespace testing;

namespace {

class EndedRepair : public AtlasProcessTest {
protected:
    EndedRepair() {
        visitOfTwoVersions();
        // What this one notes is in the log of the store alone: nobody closes that.
        const auto sync = a_.start({"sync", "--watch"});
        EXPECT_TRUE(waitForLine(*sync, "in step", QProcess::StandardOutput));
        sync->kill();
        sync->waitForFinished();
        EXPECT_GT(QFileInfo(a_.file("cache/DropboxCache.sqlite-wal")).size(), 0);
        copy("A", "before");
    }

    void copy(const QString& from, const QString& to) const {
        QDir(path(to)).removeRecursively();
        EXPECT_EQ(QProcess::execute("cp", {"-a", path(from), path(to)}), 0);
    }
    // Repairs the library as it was, with that step broken.
    int repair(const QString& how, int step) {
        copy("before", "A");
        const Desktop broken = [&] {
            Desktop desktop(a_.library());
            desktop.setVariables({{"LD_PRELOAD", QCoreApplication::applicationDirPath() + "/broken_steps.so"},
                                  {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                                  {how, QString::number(step)}});
            return desktop;
        }();
        return broken.run({"repair"}).exitCode;
    }
    bool isBegun() const { return !QDir(a_.file("cache")).entryList({"*.aside-1"}).isEmpty(); }
    void expectWhole() const {
        const bool wasBegun = isBegun();
        EXPECT_THAT(a_.tell({"history"}).toStdString(), EndsWith("here\tearlier\tMine"));
        EXPECT_EQ(a_.waiting(), wasBegun ? 1 : 0);
    }
};

} // namespace

TEST_F(EndedRepair, At_any_step_is_finished_by_the_next_command) {
    int begun = 0;
    for (int step = 1; repair("KILLED_AT", step) != 0; ++step) {
        SCOPED_TRACE(step);
        begun += isBegun();
        if (step % 2 == 0)
            a_.tell({"repair"}); // its user tries it again
        expectWhole();
        EXPECT_THAT(repair("FAILING_AT", step), AnyOf(0, 1));
        expectWhole();
    }
    EXPECT_GT(begun, 3);
    expectWhole();
    a_.tell(syncOnce);
    EXPECT_EQ(a_.waiting(), 0) << "it is done once";
    EXPECT_EQ(a_.digest(), b_.digest());
}
