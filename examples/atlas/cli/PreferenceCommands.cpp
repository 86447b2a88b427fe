// Preferences: settings of the user's, of which some are the same on every desktop. The engine, which is not
// active, notes what they change.

#include "cli/Commands.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

using atlas::AtlasLibrary;

namespace {

// What is no JSON is text as it is, so that only texts such as 5 or true need quotation marks.
QJsonValue valueFromArgument(const QString& text) {
    const QJsonArray values = QJsonDocument::fromJson(('[' + text + ']').toUtf8()).array();
    return values.size() == 1 ? values.first() : QJsonValue(text);
}

QString textFromValue(const QJsonValue& value) {
    const QByteArray array = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(array.mid(1, array.size() - 2));
}

// Those of the engine, in the same file, are no preferences.
void checkKey(const QString& key) {
    if (key.isEmpty() || key == QWDBNeedToUploadSyncedPreferencesPrefKey
        || key == QWDBLastTimeTokenExpiredPrefKey)
        throw Failure(QStringLiteral("no preference can be called \"%1\"").arg(key));
}

void set(AtlasLibrary& library, const QStringList& arguments) {
    const QJsonValue value = valueFromArgument(arguments.at(1));
    library.preferences().setObject(arguments.first(),
                                    value.isNull() ? QJsonValue(QJsonValue::Undefined) : value);
}

void unset(AtlasLibrary& library, const QStringList& arguments) {
    library.preferences().remove(arguments.first());
}

void get(AtlasLibrary& library, const QStringList& arguments) {
    if (arguments.isEmpty()) {
        for (const QString& key : library.engine().syncedPreferences().keys())
            print(key + '\t' + textFromValue(library.preferences().object(key)));
        return;
    }
    const QJsonValue value = library.preferences().object(arguments.first());
    if (value.isUndefined())
        throw Failure("no preference " + arguments.first());
    print(textFromValue(value));
}

void share(AtlasLibrary& library, const QStringList& arguments) {
    library.engine().syncPreferenceWithKeys(arguments);
}

struct Verb {
    const char* name;
    int minimum, maximum; // arguments; maximum -1: any number
    bool areKeys;         // all of them; else the first alone
    void (*run)(AtlasLibrary& library, const QStringList& arguments);
};
constexpr Verb verbs[] = {{"set", 2, 2, false, set},
                          {"unset", 1, 1, true, unset},
                          {"get", 0, 1, true, get},
                          {"share", 1, -1, true, share}};

} // namespace

int runPrefs(const Arguments& arguments) {
    const QStringList words = arguments.positional.mid(1);
    const auto* verb = std::find_if(std::begin(verbs), std::end(verbs), [&](const Verb& candidate) {
        return arguments.positional.first() == QLatin1String(candidate.name);
    });
    if (verb == std::end(verbs) || words.size() < verb->minimum
        || (verb->maximum >= 0 && words.size() > verb->maximum))
        throw Failure(QStringLiteral(
            "usage: atlas --library DIR prefs set KEY VALUE | unset KEY | get [KEY] | share KEY …"));
    for (const QString& key : verb->areKeys ? words : words.mid(0, 1))
        checkKey(key);
    verb->run(*openLibrary(arguments), words);
    return 0;
}
