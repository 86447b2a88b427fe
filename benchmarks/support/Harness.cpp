#include "support/Harness.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cstdio>

namespace bench {

double seconds(const std::function<void()>& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e9;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

namespace {

double statusKilobytes(const QByteArray& field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray text = status.readAll();
    const qsizetype place = text.indexOf(field);
    return place < 0 ? 0 : text.mid(place + field.size(), 20).simplified().split(' ').first().toDouble();
}

} // namespace

double residentKilobytes() {
    QFile clear(QStringLiteral("/proc/self/clear_refs")); // "5" resets the peak
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
    return statusKilobytes("VmRSS:");
}

double peakKilobytes() {
    return statusKilobytes("VmHWM:");
}

Row compare(const QString& name, double target, int rounds, const std::function<double()>& subject,
            const std::function<double()>& peer) {
    Row row;
    row.name = name;
    row.target = target;
    std::vector<double> ratios;
    subject();
    peer();
    for (int round = 0; round < rounds; ++round) {
        row.subject.push_back(subject());
        row.peer.push_back(peer());
        ratios.push_back(row.subject.back() / row.peer.back());
    }
    row.ratio = median(ratios);
    return row;
}

namespace {

QJsonArray toArray(const std::vector<double>& values) {
    QJsonArray result;
    for (double value : values)
        result.append(value);
    return result;
}

bool writeFigures(const QString& path, const QJsonArray& figures) {
    QFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(QJsonDocument(figures).toJson()) >= 0)
        return true;
    std::fprintf(stderr, "%s cannot be written: %s\n", qPrintable(path), qPrintable(file.errorString()));
    return false;
}

bool isOk(const Row& row) {
    switch (row.goal) {
    case Goal::AtMost:
        return row.ratio <= row.target;
    case Goal::AtLeast:
        return row.ratio >= row.target;
    case Goal::Figure:
        break;
    }
    return true;
}

void print(const Row& row) {
    if (row.goal == Goal::Figure)
        std::printf("%-84s %8.2f\n", qPrintable(row.name), row.ratio);
    else
        std::printf("%-84s %8.2f %6.2f  %s\n", qPrintable(row.name), row.ratio, row.target,
                    isOk(row) ? "ok" : "short");
}

} // namespace

std::vector<Row> rowsOf(const std::vector<Measurement>& measurements, const QStringList& arguments) {
    const qsizetype only = arguments.indexOf(QStringLiteral("--only"));
    std::vector<Row> rows;
    for (const auto& [word, measure] : measurements)
        if (only < 0 || arguments.value(only + 1) == word)
            for (Row& row : measure())
                rows.push_back(std::move(row));
    return rows;
}

int report(const std::vector<Row>& rows, const QStringList& arguments) {
    bool allOk = true;
    QJsonArray figures;
    for (const Row& row : rows) {
        allOk = allOk && isOk(row);
        print(row);
        figures.append(QJsonObject{{"name", row.name},
                                   {"ratio", row.ratio},
                                   {"target", row.goal == Goal::Figure ? QJsonValue() : row.target},
                                   {"ok", isOk(row)},
                                   {"unit", row.unit},
                                   {"subject", toArray(row.subject)},
                                   {"peer", toArray(row.peer)}});
    }
    std::fflush(stdout);
    const qsizetype json = arguments.indexOf(QStringLiteral("--json"));
    if (json >= 0 && json + 1 < arguments.size() && !writeFigures(arguments[json + 1], figures))
        return 1;
    return allOk ? 0 : 1;
}

} // namespace bench
