#pragma once

#include "platform/text/QWDateText.h"
#include "util/QWFormatter.h"

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <memory>

// Turns dates into text and back. Constant once made, so one formatter may serve any number of threads.
class QWDateFormatter : public QWFormatter {
public:
    // A null date gives a null text.
    virtual QString stringFromDate(const QDateTime& date) const = 0;
    // UTC; a null date for text that cannot be read.
    virtual QDateTime dateFromString(const QString& text) const = 0;

    // The value is a QDateTime; an empty text means no date.
    QString stringForObjectValue(const QVariant& value) const final {
        return value.typeId() == QMetaType::QDateTime ? stringFromDate(value.toDateTime()) : QString();
    }
    bool getObjectValue(QVariant* value, const QString& string, QString* = nullptr) const final {
        const QDateTime date = dateFromString(string);
        *value = date.isValid() ? QVariant(date) : QVariant();
        return date.isValid() || string.isEmpty();
    }
};

using QWDateFormatterRef = std::shared_ptr<const QWDateFormatter>;

// The form in which the library writes dates, "yyyy-MM-dd HH:mm:ss Z"; the same on every machine
// (QWDateText.h).
class QWDateTextFormatter final : public QWDateFormatter {
public:
    QString stringFromDate(const QDateTime& date) const override { return qw::text::textFromDate(date); }
    QDateTime dateFromString(const QString& text) const override { return qw::text::dateFromText(text); }
};

// A form for people: a pattern of QLocale::toString in a locale (the user's by default) and the current time
// zone.
class QWPatternDateFormatter final : public QWDateFormatter {
public:
    explicit QWPatternDateFormatter(QString pattern, const QLocale& locale = {})
        : pattern_(std::move(pattern)), locale_(locale) {}

    QString stringFromDate(const QDateTime& date) const override {
        return date.isValid() ? locale_.toString(date.toLocalTime(), pattern_) : QString();
    }
    QDateTime dateFromString(const QString& text) const override {
        return locale_.toDateTime(text, pattern_).toUTC();
    }

private:
    QString pattern_;
    QLocale locale_;
};
