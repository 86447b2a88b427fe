#pragma once

#include <QString>

// The text for `key` in the user's language; the one door to every text that the library shows. The first of
// these that is there:
// 1. what the host's translators (QCoreApplication::installTranslator) have for the context "QWLibrary" and
//    the source text `key`, so that a host can replace any text of the library, by the key itself too;
// 2. the library's own string table for the language of the current locale (QLocale(), which is the
//    system's unless the host calls QLocale::setDefault): English, German, French, Spanish, Italian,
//    Portuguese, Dutch, Japanese, simplified Chinese, Arabic and Russian;
// 3. `defaultText`, unless it is empty;
// 4. `key`.
// Texts that an application has of its own, "Yes" and "No" among them, are in no table of the library.
//
// The tables are compiled into the library and read when the application object is made; which of them
// serves is decided at each call, so a host may change its locale at any time. Without an application object
// there are no translations. Any thread.
QString QWLocalizedString(const QString& key, const QString& defaultText = {});
