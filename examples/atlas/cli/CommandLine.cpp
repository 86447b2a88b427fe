#include "cli/CommandLine.h"

#include "cli/Commands.h"
#include "platform/QWError.h"

#include <QCommandLineParser>
#include <QDir>
#include <algorithm>
#include <cstdio>

namespace {

// Every option of every command.
struct Option {
    const char* name;
    const char* value; // null: takes none
    const char* description;
};
constexpr Option optionTable[] = {
    {"library", "DIR", "The library's folder."},
    {"cloud", "CLOUD", "Where to sync: folder:PATH or http(s)://HOST[:PORT]."},
    {"token", "TOKEN", "The access token of an http cloud."},
    {"token-file", "FILE", "A file that holds it."},
    {"only", "TABLES", "Some of countries,regions,languages,currencies; regions bring their countries."},
    {"tables", "DIR", "Where the ISO tables are."},
    {"flags", "DIR", "Where the flags are."},
    {"json", nullptr, "Print JSON."},
    {"where", "CONDITION", "Only records that match, such as 'name contains[cd] \"e\"'."},
    {"sort", "KEY", "Sort by a key."},
    {"once", nullptr, "Until in step."},
    {"watch", nullptr, "Until interrupted."},
    {"timeout", "SECONDS", "Give up after this time."},
    {"allow-deletions", nullptr, "Delete here what was deleted elsewhere, however much that is."},
    {"refuse-deletions", nullptr, "Send again what was deleted elsewhere, if that is very much."},
};

QString usageOf(const Command& command) {
    return QStringLiteral("%1 %2").arg(command.name, command.usage).trimmed();
}

QString helpText() {
    QString text = QStringLiteral("atlas --library DIR COMMAND …\n\n");
    for (const Command& command : commands()) {
        const QString summary = QString(command.summary).replace('\n', "\n      ");
        text += QStringLiteral("  %1\n      %2\n").arg(usageOf(command), summary);
    }
    return text;
}

} // namespace

Failure::Failure(const QWError& error) : Failure(error.message) {}

const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {"connect",
         "--cloud CLOUD [--token T | --token-file F]",
         "remembers where to sync",
         {"cloud", "token", "token-file"},
         0,
         0,
         runConnect},
        {"import",
         "iso [--only TABLES] [--tables DIR] [--flags DIR]",
         "adds the records of the ISO tables",
         {"only", "tables", "flags"},
         1,
         1,
         runImport},
        {"add", "ENTITY key=value …", "adds a record and prints its uuid", {}, 1, -1, runAdd},
        {"set", "UUID key=value …", "changes a record", {}, 2, -1, runSet},
        {"delete", "UUID", "deletes a record", {}, 1, 1, runDelete},
        {"show", "UUID [--json]", "prints a record", {"json"}, 1, 1, runShow},
        {"list",
         "ENTITY [--json] [--where CONDITION] [--sort KEY]",
         "prints the records of an entity",
         {"json", "where", "sort"},
         1,
         1,
         runList},
        {"history",
         "[UUID] [--json]",
         "lists versions that lost, of a record or the latest of all:\nuuid, version, date, origin, why, "
         "title",
         {"json"},
         0,
         1,
         runHistory},
        {"restore", "UUID VERSION", "makes one of them the present version again", {}, 2, 2, runRestore},
        {"prefs",
         "set KEY VALUE | unset KEY | get [KEY] | share KEY …",
         "settings; those that are shared are the same on every desktop.\n"
         "VALUE is JSON (5, true, \"5\", [1,2]; null unsets), and text as it is where\n"
         "it is no JSON. get prints JSON",
         {},
         1,
         -1,
         runPrefs},
        {"sync",
         "--once [--timeout S] [--json] | --watch, [--allow-deletions | --refuse-deletions]",
         "syncs; exit 0 in step, 3 token refused, 4 timeout (for a preference alone 30 s),\n"
         "5 more than 50 records and a fifth of all were deleted elsewhere and neither\n"
         "is said, 1 other",
         {"once", "watch", "timeout", "json", "allow-deletions", "refuse-deletions"},
         0,
         0,
         runSync},
        {"status", "[--json]", "prints what waits to be synced", {"json"}, 0, 0, runStatus},
        {"digest",
         "",
         "prints one hash over everything: equal in libraries that are in step",
         {},
         0,
         0,
         runDigest},
        {"repair", "", "puts a damaged cache file aside and queues every record", {}, 0, 0, runRepair},
    };
    return table;
}

std::pair<const Command*, Arguments> parseCommandLine(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(helpText());
    const QCommandLineOption help = parser.addHelpOption();
    for (const Option& option : optionTable)
        parser.addOption(QCommandLineOption(option.name, option.description, option.value));
    if (!parser.parse(arguments))
        throw Failure(parser.errorText());
    if (parser.isSet(help))
        parser.showHelp();

    Arguments parsed;
    parsed.positional = parser.positionalArguments();
    const QString name = parsed.positional.isEmpty() ? QString() : parsed.positional.takeFirst();
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [&](const Command& candidate) { return candidate.name == name; });
    if (command == commands().end())
        throw Failure("usage: " + helpText() + (name.isEmpty() ? QString() : "\nno such command: " + name));

    for (const Option& option : optionTable) {
        if (!parser.isSet(option.name))
            continue;
        if (option.name != QLatin1String("library") && !command->options.contains(option.name))
            throw Failure(QStringLiteral("%1 does not take --%2").arg(name, option.name));
        parsed.options[option.name] = option.value ? QVariant(parser.value(option.name)) : QVariant(true);
    }
    const auto count = parsed.positional.size();
    if (count < command->minimum || (command->maximum >= 0 && count > command->maximum))
        throw Failure(QStringLiteral("usage: atlas --library DIR ") + usageOf(*command));
    if (parsed.value("library").isEmpty())
        throw Failure(QStringLiteral("--library DIR is missing"));
    parsed.library = QDir(parsed.value("library")).absolutePath();
    return {&*command, parsed};
}

void print(const QString& line) {
    std::fputs((line + '\n').toUtf8().constData(), stdout);
}
