#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

// Compares two ways of doing the same work in one process. Subject and peer run in turn, so that a machine
// whose speed drifts slows both; the ratio quoted is the median of the rounds' ratios.
namespace bench {

// Seconds of wall time that `work` takes.
double seconds(const std::function<void()>& work);
double median(std::vector<double> values);

// Memory of this process in use now, and the most since the last call of `residentKilobytes` (Linux; else 0).
double residentKilobytes();
double peakKilobytes();

// How a row's ratio and its target stand to each other; a figure has no target.
enum class Goal { AtMost, AtLeast, Figure };

struct Row {
    QString name;
    double target = 0;
    double ratio = 0;
    std::vector<double> subject; // what each round measured, in `unit`
    std::vector<double> peer;
    QString unit = QStringLiteral("s");
    Goal goal = Goal::AtMost;
};

// Runs both `rounds` times after one round that does not count. The functions answer the seconds that count,
// so that preparation stays outside.
Row compare(const QString& name, double target, int rounds, const std::function<double()>& subject,
            const std::function<double()>& peer);

// The rows of each measurement in turn; with `--only WORD`, of the one that bears the word.
using Measurement = std::pair<QString, std::function<std::vector<Row>()>>;
std::vector<Row> rowsOf(const std::vector<Measurement>& measurements, const QStringList& arguments);

// Prints a line for each row (name, ratio, target, ok or short; a figure alone), writes every figure to the
// file that `--json FILE` names, and answers the exit status: 1 when any row is short.
int report(const std::vector<Row>& rows, const QStringList& arguments);

} // namespace bench
