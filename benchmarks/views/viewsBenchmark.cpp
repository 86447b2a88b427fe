#include "views/CellsBenchmark.h"
#include "views/RecordsBenchmark.h"

#include <QApplication>

// What a window costs that shows records.

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    std::vector<bench::Measurement> measurements = cellsMeasurements();
    for (const bench::Measurement& records : recordsMeasurements())
        measurements.push_back(records);
    return bench::report(bench::rowsOf(measurements, arguments), arguments);
}
