#include "Options.h"

#include "service/Listing.h"
#include "service/Service.h"

#include <QCommandLineParser>

namespace standin {

namespace {

int number(const QCommandLineParser& parser, const QString& name, int most) {
    const QString value = parser.value(name);
    bool isNumber = false;
    const int result = value.toInt(&isNumber);
    const int least = name == QLatin1String("page") ? 1 : 0;
    if (!isNumber || result < least || result > most)
        throw UsageError{QStringLiteral("--%1: \"%2\" is no whole number from %3 to %4")
                             .arg(name, value)
                             .arg(least)
                             .arg(most)};
    return result;
}

} // namespace

Options Options::parse(const QStringList& arguments) {
    const QString port = QStringLiteral("port"), directory = QStringLiteral("dir"),
                  token = QStringLiteral("token"), latency = QStringLiteral("latency"),
                  page = QStringLiteral("page"), failure = QStringLiteral("fail"),
                  account = QStringLiteral("account"), alone = QStringLiteral("deleted-folders-alone"),
                  log = QStringLiteral("log");
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("The cloud service on this machine, for tests. Prints its URL."));
    const QCommandLineOption help = parser.addHelpOption();
    parser.addOptions({
        {port, QStringLiteral("Where to listen on 127.0.0.1; 0, the default, is a free port."),
         QStringLiteral("P")},
        {directory, QStringLiteral("Keep the files in this directory instead of memory."),
         QStringLiteral("D")},
        {token, QStringLiteral("Accept only this bearer token instead of any."), QStringLiteral("T")},
        {latency, QStringLiteral("Answer everything so much later."), QStringLiteral("MS")},
        {page, QStringLiteral("Entries in a page of a listing, at most."), QStringLiteral("N")},
        {failure, QStringLiteral("Fail on purpose: KIND[:SELECTOR=VALUE,...]. May be repeated."),
         QStringLiteral("RULE")},
        {account, QStringLiteral("The owner's name, as in the names of conflicted copies."),
         QStringLiteral("NAME")},
        {alone, QStringLiteral("Report a deleted folder without what stood in it.")},
        {log, QStringLiteral("Print each request and its answer's status on stderr.")},
    });
    if (!parser.parse(arguments))
        throw UsageError{parser.errorText()};
    if (parser.isSet(help))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        throw UsageError{QStringLiteral("%1: not understood").arg(parser.positionalArguments().first())};

    Options options;
    if (parser.isSet(port))
        options.port = quint16(number(parser, port, 65535));
    options.directory = parser.value(directory);
    if (parser.isSet(directory) && options.directory.isEmpty())
        throw UsageError{QStringLiteral("--dir: the directory's name is missing")};
    options.token = parser.value(token);
    if (parser.isSet(latency))
        options.latency = std::chrono::milliseconds(number(parser, latency, 3'600'000));
    if (parser.isSet(page))
        options.pageSize = number(parser, page, Listing::mostEntries);
    if (parser.isSet(account))
        options.accountName = parser.value(account);
    options.reportsChildrenOfDeletedFolders = !parser.isSet(alone);
    options.isLogged = parser.isSet(log);
    for (const QString& rule : parser.values(failure))
        options.failures.emplace_back(rule, Service::routeNames());
    return options;
}

} // namespace standin
