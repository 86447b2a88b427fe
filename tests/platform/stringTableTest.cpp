#include "platform/QWStringTable.h"

#include <QCoreApplication>
#include <QTranslator>
#include <gmock/gmock.h>

namespace {

struct German final : QTranslator {
    QString translate(const char* context, const char* source, const char*, int) const override {
        return qstrcmp(context, "QWLibrary") == 0 && qstrcmp(source, "hours") == 0 ? "Stunden" : QString();
    }
    bool isEmpty() const override { return false; }
};

TEST(LocalizedString, Is_the_installed_translation) {
    German translator;
    QCoreApplication::installTranslator(&translator);
    EXPECT_EQ(QWLocalizedString("hours", "h"), u"Stunden");
    EXPECT_EQ(QWLocalizedString("minutes", "min"), u"min");
    QCoreApplication::removeTranslator(&translator);
}

TEST(LocalizedString, Without_a_translation_is_the_default_or_else_the_key) {
    EXPECT_EQ(QWLocalizedString("hours", "h"), u"h");
    EXPECT_EQ(QWLocalizedString("DropboxAllItemsUpToDate"), u"DropboxAllItemsUpToDate");
    EXPECT_EQ(QWLocalizedString("größe"), u"größe");
}

} // namespace
