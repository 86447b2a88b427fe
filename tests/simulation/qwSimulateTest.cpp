#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <csignal>
#include <gmock/gmock.h>

// The program, as a process.

namespace {

QStringList hashesOf(const QString& seeds) {
    QProcess process;
    process.start(QStringLiteral(QW_SIMULATE), {"--seeds", seeds, "--hashes"});
    EXPECT_TRUE(process.waitForFinished(60'000));
    return QString::fromUtf8(process.readAllStandardOutput())
        .split('\n')
        .filter(QRegularExpression("^seed \\d+: [0-9a-f]{64}$"));
}

// The one process that it has started; 0 while there is none.
qint64 workerOf(const QProcess& process) {
    QFile children(QString("/proc/%1/task/%1/children").arg(process.processId()));
    return children.open(QIODevice::ReadOnly) ? children.readAll().trimmed().toLongLong() : 0;
}

} // namespace

TEST(SimulateProcess, Goes_the_same_way_in_each_process) {
    const QStringList hashes = hashesOf("21..24");
    EXPECT_EQ(hashes.size(), 4);
    EXPECT_EQ(hashesOf("21..24"), hashes);
}

TEST(SimulateProcess, Refuses_options_that_make_no_sense) {
    for (const QStringList& arguments : {QStringList{"--seeds", "5..1"},
                                         {"--seeds", "1.."},
                                         {"--seeds", "x"},
                                         {"--seeds", "1..2", "--jobs", "0"},
                                         {"--seeds", "1..2", "--jobs", "65"},
                                         {"--seeds", "1..2", "--scenario", "sunshine"},
                                         {"--seeds", "1..2", "--forbid", "sunshine"},
                                         {"--seeds", "1..2", "--sunshine"},
                                         {"1..2"}}) {
        QProcess process;
        process.start(QStringLiteral(QW_SIMULATE), arguments);
        ASSERT_TRUE(process.waitForFinished(60'000));
        EXPECT_EQ(process.exitCode(), 2) << qPrintable(arguments.join(' '));
        EXPECT_EQ(process.readAllStandardOutput().toStdString(), "");
        EXPECT_THAT(process.readAllStandardError().toStdString(),
                    testing::AllOf(testing::StartsWith("qw-simulate: "),
                                   testing::HasSubstr(QString(arguments.last()).remove("--").toStdString())));
    }
}

TEST(SimulateProcess, Ends_behind_the_last_of_all_seeds) {
    QProcess process;
    process.start(QStringLiteral(QW_SIMULATE), {"--seeds", "4294967295", "--jobs", "2"});
    ASSERT_TRUE(process.waitForFinished(60'000));
    EXPECT_THAT(process.readAllStandardOutput().toStdString(), testing::HasSubstr(": 1 seeds in "));
}

TEST(SimulateProcess, Names_the_seed_at_which_it_has_crashed_and_goes_on_behind_that) {
    QProcess process;
    process.start(QStringLiteral(QW_SIMULATE), {"--seeds", "31..34", "--hashes"});
    ASSERT_TRUE(process.waitForReadyRead(60'000));
    const QByteArray first = process.readLine();
    EXPECT_THAT(first.toStdString(), testing::StartsWith("seed 31: "));
    ASSERT_GT(workerOf(process), 0);
    ::kill(pid_t(workerOf(process)), SIGSEGV);
    ASSERT_TRUE(process.waitForFinished(60'000));
    const std::string rest = process.readAllStandardOutput().toStdString();
    EXPECT_THAT(rest, testing::ContainsRegex("seed 3[1234] of everything: the process has crashed"));
    EXPECT_THAT(rest, testing::HasSubstr("1 failed"));
    EXPECT_EQ(process.exitCode(), 1);
}

TEST(SimulateProcess, Prints_a_test_of_a_seed_that_breaks_a_promise_and_ends_with_1) {
    QProcess process;
    process.start(QStringLiteral(QW_SIMULATE), {"--seeds", "1", "--scenario", "alone", "--forbid", "copy"});
    ASSERT_TRUE(process.waitForFinished(60'000));
    const QString output = QString::fromUtf8(process.readAllStandardOutput());
    const QRegularExpression expected("\\Aseed 1 of alone: copy: .*the shortest days .*"
                                      "EXPECT_TRUE\\(keepsEveryPromise\\(script, 1\\)\\);\n"
                                      "which says: copy: [^\n]+\nalone: 1 seeds [^\n]+ 1 failed",
                                      QRegularExpression::DotMatchesEverythingOption);
    EXPECT_TRUE(expected.match(output).hasMatch()) << qPrintable(output);
    EXPECT_EQ(process.exitCode(), 1);
}
