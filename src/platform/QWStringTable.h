#pragma once

#include <QString>

// The text for `key` in the installed translations (QTranslator, context "QWLibrary"); without one, the
// default given, else the key itself.
QString QWLocalizedString(const QString& key, const QString& defaultText = {});
