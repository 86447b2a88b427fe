// The program's answers when very much was deleted on another desktop.

#include "AtlasProcess.h"

#include "model/AtlasLibrary.h"

using namespace testing;

namespace {

// 80 visits on both desktops, of which B has deleted 60.
class AtlasDeletions : public AtlasProcessTest {
protected:
    AtlasDeletions() {
        connect(a_);
        connect(b_);
        edit(a_, [](atlas::AtlasLibrary& library) {
            for (int number = 0; number < 80; ++number)
                library.context().insertObject("Visit")->setValueForKey("title", QString::number(number));
        });
        a_.tell({"sync", "--once", "--timeout", "60"});
        b_.tell({"sync", "--once", "--timeout", "60"});
        EXPECT_EQ(b_.count("Visit"), 80);
        edit(b_, [](atlas::AtlasLibrary& library) {
            QWFetchRequest request("Visit");
            request.limit = 60;
            const auto visits = library.context().fetch(request);
            for (const auto& visit : *visits)
                library.context().deleteObject(*visit);
        });
        b_.tell({"sync", "--once", "--timeout", "60"});
    }

    static void edit(const Desktop& desktop, const std::function<void(atlas::AtlasLibrary&)>& change) {
        const auto library = atlas::AtlasLibrary::open(desktop.library());
        ASSERT_TRUE(library);
        change(*library);
        ASSERT_TRUE(library->save());
    }
};

} // namespace

TEST_F(AtlasDeletions, A_sync_that_may_not_delete_ends_with_the_reason_when_it_has_sent_what_waits) {
    const QString mine = a_.tell({"add", "Visit", "title=Mine"});
    for (int run = 0; run < 2; ++run) {
        const AtlasRun held = a_.run({"sync", "--once", "--timeout", "60"});
        EXPECT_EQ(held.exitCode, 5);
        EXPECT_THAT(held.err.toStdString(), AllOf(HasSubstr("60 of 81"), HasSubstr("--allow-deletions"),
                                                  HasSubstr("--refuse-deletions")));
        EXPECT_EQ(a_.count("Visit"), 81);
        EXPECT_EQ(a_.waiting(), 0);
    }
    EXPECT_EQ(a_.run({"sync", "--watch"}).exitCode, 5);
    b_.tell({"sync", "--once", "--timeout", "60"});
    EXPECT_EQ(b_.show(mine)["title"], "Mine");
}

TEST_F(AtlasDeletions, Deletions_that_are_allowed_happen_here_too) {
    a_.tell({"sync", "--once", "--timeout", "60", "--allow-deletions"});
    EXPECT_EQ(a_.count("Visit"), 20);
    EXPECT_EQ(a_.digest(), b_.digest());
}

TEST_F(AtlasDeletions, What_is_refused_comes_back_everywhere) {
    const QString before = a_.digest();
    a_.tell({"sync", "--once", "--timeout", "60", "--refuse-deletions"});
    b_.tell({"sync", "--once", "--timeout", "60"});
    EXPECT_EQ(a_.digest(), before);
    EXPECT_EQ(b_.digest(), before);
}

TEST_F(AtlasDeletions, Only_one_answer_can_be_given) {
    EXPECT_THAT(a_.fails({"sync", "--once", "--allow-deletions", "--refuse-deletions"}), HasSubstr("one of"));
    EXPECT_THAT(a_.fails({"status", "--allow-deletions"}), HasSubstr("does not take"));
}
