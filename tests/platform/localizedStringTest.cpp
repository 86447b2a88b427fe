#include "platform/QWLocalizedString.h"
#include "support/HostTranslator.h"
#include "support/ScopedLocale.h"

#include <gmock/gmock.h>

namespace {

using testing::Values;

const char* const keys[] = {
    "hours",
    "hour",
    "minutes",
    "minute",
    "DropboxAllItemsUpToDate",
    "DropboxCheckingForPotentialUpdates",
    "DropboxDownloadingPotentialUpdates",
    "DropboxUploadingUpdates",
    "DropboxSync",
    "AuthenticateDropbox",
    "TokenCanBeDeleted",
};

TEST(LocalizedString, Is_the_hosts_translation) {
    const ScopedLocale locale("C");
    const HostTranslator host({{"hours", "Stunden"}, {"größe", "taille"}});
    EXPECT_EQ(QWLocalizedString("hours", "h"), u"Stunden");
    EXPECT_EQ(QWLocalizedString("größe"), u"taille");
    EXPECT_EQ(QWLocalizedString("minutes", "min"), u"min");
}

TEST(LocalizedString, Without_a_translation_is_the_default_given_or_else_the_key) {
    for (const char* name : {"C", "sv_SE", "zh_TW"}) {
        const ScopedLocale locale(name);
        EXPECT_EQ(QWLocalizedString("hours", "h"), u"h") << name;
        EXPECT_EQ(QWLocalizedString("DropboxAllItemsUpToDate"), u"DropboxAllItemsUpToDate") << name;
        EXPECT_EQ(QWLocalizedString("größe"), u"größe") << name;
        EXPECT_EQ(QWLocalizedString(""), u"") << name;
    }
    const ScopedLocale german("de_DE");
    EXPECT_EQ(QWLocalizedString("weeks", "wk"), u"wk");
    EXPECT_EQ(QWLocalizedString("weeks"), u"weeks");
}

TEST(LocalizedString, Follows_the_current_locale_at_each_call) {
    const ScopedLocale first("de_DE");
    EXPECT_EQ(QWLocalizedString("hours"), u"Stunden");
    const ScopedLocale second("fr_CA");
    EXPECT_EQ(QWLocalizedString("hours"), u"heures");
}

TEST(LocalizedString, Prefers_the_hosts_text_to_the_librarys_own_in_every_language) {
    const ScopedLocale german("de_DE");
    const HostTranslator host({{"hours", "hours"}, {"DropboxSync", "Abgleich"}});
    EXPECT_EQ(QWLocalizedString("hours", "h"), u"hours"); // equal to its key, and a translation all the same
    EXPECT_EQ(QWLocalizedString("DropboxSync"), u"Abgleich");
    EXPECT_EQ(QWLocalizedString("minutes"), u"Minuten");
}

TEST(LocalizedString, Of_yes_and_no_is_the_hosts_alone) {
    const ScopedLocale german("de_DE");
    EXPECT_EQ(QWLocalizedString("Yes"), u"Yes");
    const HostTranslator host({{"Yes", "Ja"}});
    EXPECT_EQ(QWLocalizedString("Yes"), u"Ja");
    EXPECT_EQ(QWLocalizedString("No"), u"No");
}

TEST(LocalizedString, Leaves_other_contexts_alone) {
    const ScopedLocale german("de_DE");
    EXPECT_EQ(QCoreApplication::translate("Host", "hours"), u"hours");
}

struct Language {
    const char* locale;
    QString hours;
    QString upToDate;
};

struct LanguageTable : testing::TestWithParam<Language> {};

TEST_P(LanguageTable, Has_every_key_of_the_library) {
    const ScopedLocale locale(GetParam().locale);
    for (const char* key : keys)
        EXPECT_NE(QWLocalizedString(key, "missing"), u"missing") << key;
    EXPECT_EQ(QWLocalizedString("hours", "missing"), GetParam().hours);
    EXPECT_EQ(QWLocalizedString("DropboxAllItemsUpToDate"), GetParam().upToDate);
}

TEST_P(LanguageTable, Keeps_the_place_of_the_count) {
    const ScopedLocale locale(GetParam().locale);
    for (const char* key : keys) {
        const QString text = QWLocalizedString(key);
        const bool isCount = qstrcmp(key, "DropboxDownloadingPotentialUpdates") == 0
                             || qstrcmp(key, "DropboxUploadingUpdates") == 0;
        EXPECT_EQ(text.count("%ld"), isCount ? 1 : 0) << key;
        EXPECT_EQ(text.count('%'), isCount ? 1 : 0) << key;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, LanguageTable,
                         Values(Language{"en_GB", "hours", "All items are up to date"},
                                Language{"de_AT", "Stunden", "Alle Objekte sind auf dem neuesten Stand"},
                                Language{"fr_FR", "heures", "Tous les éléments sont à jour"},
                                Language{"es_MX", "horas", "Todos los elementos están al día"},
                                Language{"it_IT", "ore", "Tutti gli elementi sono aggiornati"},
                                Language{"pt_BR", "horas", "Todos os itens estão atualizados"},
                                Language{"pt_PT", "horas", "Todos os itens estão atualizados"},
                                Language{"nl_NL", "uren", "Alle onderdelen zijn bijgewerkt"},
                                Language{"ja_JP", "時間", "すべての項目は最新です"},
                                Language{"zh_CN", "小时", "所有项目均为最新"},
                                Language{"zh_SG", "小时", "所有项目均为最新"},
                                Language{"ar_EG", "ساعات", "جميع العناصر محدّثة"},
                                Language{"ru_RU", "ч", "Все объекты обновлены"}),
                         [](const auto& row) { return std::string(row.param.locale); });

} // namespace
