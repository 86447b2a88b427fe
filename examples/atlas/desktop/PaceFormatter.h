#pragma once

#include "formatters/QWMinuteSecondsFormatter.h"

namespace atlas {

enum class DistanceUnit { Kilometre, Mile };

// A pace: stored as the seconds for a kilometre, shown and typed as minutes and seconds for the user's unit
// of distance.
class PaceFormatter final : public QWFormatter {
public:
    explicit PaceFormatter(DistanceUnit unit) : unit_(unit) {}

    QString stringForObjectValue(const QVariant& value) const override {
        bool isNumber = false;
        const double seconds = value.toDouble(&isNumber);
        return isNumber ? seconds_.stringFromNumberOfSeconds(inUnit(seconds)) : QString();
    }
    // An empty text means no value.
    bool getObjectValue(QVariant* value, const QString& string, QString* errorDescription) const override {
        if (string.trimmed().isEmpty()) {
            *value = QVariant();
            return true;
        }
        if (!seconds_.getObjectValue(value, string.trimmed(), errorDescription) || value->isNull())
            return false;
        *value = static_cast<qlonglong>(qRound64(value->toDouble() / unitInKilometres()));
        return true;
    }

private:
    double unitInKilometres() const { return unit_ == DistanceUnit::Mile ? 1.609344 : 1; }
    qlonglong inUnit(double secondsForKilometre) const {
        return qRound64(secondsForKilometre * unitInKilometres());
    }

    DistanceUnit unit_;
    QWMinuteSecondsFormatter seconds_;
};

} // namespace atlas
