#include "platform/QWLocalizedString.h"

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QTranslator>
#include <map>
#include <memory>

// Outside any namespace, as the macro wants it.
static void initStringResources() {
    Q_INIT_RESOURCE(qwlibrary_strings);
}

namespace {

const char context[] = "QWLibrary";
const char folder[] = ":/qwlibrary/strings/";

// The name of the table for a language: its code, and the script of Chinese, whose readers cannot do with
// the other one.
QString tableName(const QLocale& locale) {
    const QString language = QLocale::languageToCode(locale.language());
    return language == "zh" ? language + '_' + QLocale::scriptToCode(locale.script()) : language;
}

// All tables of the library as one translator. It is installed before any other, therefore asked last; and as
// the last one it has an answer for every key of the context: where no table has the key, the empty text,
// which tells that from a translation that is equal to its key.
class Tables final : public QTranslator {
public:
    explicit Tables(QObject* parent) : QTranslator(parent) {
        initStringResources();
        for (const QString& file : QDir(folder).entryList()) {
            auto table = std::make_unique<QTranslator>();
            if (table->load(folder + file)) // "de.qm"
                tables_.emplace(file.chopped(3), std::move(table));
        }
    }

    bool isEmpty() const override { return false; }

    QString translate(const char* contextAsked, const char* key, const char*, int) const override {
        if (qstrcmp(contextAsked, context) != 0)
            return {};
        for (const QString& language : QLocale().uiLanguages()) {
            const auto table = tables_.find(tableName(QLocale(language)));
            if (table != tables_.end())
                return existing(table->second->translate(context, key));
        }
        return existing({});
    }

private:
    static QString existing(const QString& text) { return text.isNull() ? QString("") : text; }

    std::map<QString, std::unique_ptr<const QTranslator>> tables_;
};

void installTables() {
    QCoreApplication::installTranslator(new Tables(QCoreApplication::instance()));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(installTables)

QString QWLocalizedString(const QString& key, const QString& defaultText) {
    if (QCoreApplication::instance()) {
        const QString text = QCoreApplication::translate(context, key.toUtf8().constData());
        if (!text.isEmpty())
            return text;
    }
    return defaultText.isEmpty() ? key : defaultText;
}
