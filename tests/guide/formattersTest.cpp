#include "formatters/QWFormatterValidator.h"
#include "formatters/QWMinuteSecondsFormatter.h"
#include "formatters/QWMinutesIntervalFormatter.h"
#include "support/ScopedLocale.h"
#include "views/QWTextFieldCell.h"

#include <QTableView>
#include <gtest/gtest.h>

namespace {

struct Visit {
    void setValueForKey(const QString& key, const QVariant& value) { values[key] = value; }
    QVariantMap values;
};

TEST(FormattersGuide, Shows_and_reads_a_duration) {
    const ScopedLocale english("en_US");
    const auto visit = std::make_unique<Visit>();
    const QWMinutesIntervalFormatter duration;
    const QString shown = duration.stringForObjectValue(90); // "1 hour 30 minutes"
    QVariant minutes;
    if (duration.getObjectValue(&minutes, "2h15"))
        visit->setValueForKey("minutes", minutes); // 135
    EXPECT_EQ(shown, u"1 hour 30 minutes");
    EXPECT_EQ(visit->values["minutes"], 135);
}

TEST(FormattersGuide, Checks_what_is_typed) {
    const QWFormatterRef pace = std::make_shared<QWMinuteSecondsFormatter>();
    const QWFormatterValidator validator(pace); // edit.setValidator(&validator)
    QString typed = "1:30";
    int position = 0;
    EXPECT_EQ(validator.validate(typed, position), QValidator::Acceptable);
}

TEST(FormattersGuide, Shows_a_column) {
    QTableView view;
    const auto minutes = std::make_shared<QWMinutesIntervalFormatter>();
    view.setItemDelegateForColumn(2, new QWTextFieldCell(minutes, &view));
    EXPECT_TRUE(view.itemDelegateForColumn(2));
}

class StarsFormatter final : public QWFormatter {
public:
    QString stringForObjectValue(const QVariant& value) const override {
        return value.canConvert<int>() ? QString(value.toInt(), QChar(u'★')) : QString();
    }
    bool getObjectValue(QVariant* value, const QString& string, QString* errorDescription) const override {
        const bool isRead = string.count(u'★') == string.size();
        if (isRead)
            *value = int(string.size());
        else if (errorDescription)
            *errorDescription = "Only stars, please.";
        return isRead;
    }
};

TEST(FormattersGuide, Makes_a_formatter) {
    const StarsFormatter stars;
    EXPECT_EQ(stars.stringForObjectValue(3), u"★★★");
    QVariant value;
    QString error;
    EXPECT_TRUE(stars.getObjectValue(&value, "★★", &error));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(stars.getObjectValue(&value, "two", &error));
    EXPECT_EQ(error, u"Only stars, please.");
}

} // namespace
