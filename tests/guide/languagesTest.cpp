// The code of docs/guide/languages.md.

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>
#include <gtest/gtest.h>

TEST(LanguagesGuide, Loads_a_hosts_texts) {
    QTranslator translator;
    if (translator.load(QLocale(), "host", "_", ":/translations"))
        QCoreApplication::installTranslator(&translator);
    EXPECT_TRUE(translator.isEmpty()); // these tests have no such resource
}
