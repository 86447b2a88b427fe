// Several processes want one library: one has it, the others say who, and nothing is lost between them.

#include "AccidentTest.h"

using namespace testing;

namespace {

const auto isRefused = HasSubstr("another process has the library open");

class OneLibrary : public AccidentTest {};

} // namespace

TEST_F(OneLibrary, Of_many_processes_at_once_each_adds_its_record_or_says_who_has_the_library) {
    connect(a_);
    std::vector<std::unique_ptr<QProcess>> processes;
    for (int i = 0; i < 20; ++i)
        processes.push_back(a_.start({"add", "Visit", QStringLiteral("title=%1").arg(i)}));
    QStringList added;
    for (const auto& process : processes) {
        const AtlasRun run = Desktop::finish(*process);
        if (run.exitCode == 0)
            added << run.line();
        else
            EXPECT_THAT(run.err.toStdString(), isRefused);
    }
    EXPECT_FALSE(added.isEmpty());
    QStringList found;
    for (const QString& line : a_.tell({"list", "Visit"}).split('\n'))
        found << line.section('\t', 0, 0);
    added.sort();
    found.sort();
    EXPECT_EQ(found, added);
    connect(b_);
    expectInStep();
}

TEST_F(OneLibrary, Open_in_a_window_is_refused_to_commands_and_the_other_way_round) {
    startInStep();
    const auto window = a_.startWindow();
    EXPECT_TRUE(waitForLine(*window, "in step"));
    EXPECT_THAT(a_.fails({"add", "Visit"}), AllOf(isRefused, HasSubstr("atlas-desktop")));
    EXPECT_THAT(a_.fails({"repair"}), isRefused);
    EXPECT_EQ(Desktop::finish(*a_.startWindow()).exitCode, 1);
    window->terminate();
    EXPECT_EQ(Desktop::finish(*window).exitCode, 0);

    const auto watch = a_.start({"sync", "--watch"});
    EXPECT_TRUE(waitForLine(*watch, "in step", QProcess::StandardOutput));
    const AtlasRun refused = Desktop::finish(*a_.startWindow());
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_THAT(refused.err.toStdString(), isRefused);
    ::kill(static_cast<pid_t>(watch->processId()), SIGINT);
    EXPECT_EQ(Desktop::finish(*watch).exitCode, 0);
    a_.tell({"add", "Visit"});
    expectInStep();
}

TEST_F(OneLibrary, Is_refused_while_its_process_is_suspended_and_free_when_that_is_killed) {
    startInStep();
    const auto watch = a_.start({"sync", "--watch"});
    EXPECT_TRUE(waitForLine(*watch, "in step", QProcess::StandardOutput));
    ::kill(static_cast<pid_t>(watch->processId()), SIGSTOP);
    EXPECT_THAT(a_.fails({"add", "Visit"}), isRefused);
    watch->kill();
    watch->waitForFinished();
    a_.tell({"add", "Visit"});
    expectInStep();
    EXPECT_EQ(b_.count("Visit"), 1);
}
