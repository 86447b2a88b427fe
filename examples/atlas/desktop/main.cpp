// atlas-desktop --library DIR [--cloud CLOUD] [--token-file FILE] [--place left|right]:
// the window of one library.

#include "desktop/AtlasWindow.h"
#include "desktop/SignIn.h"
#include "platform/QWInterrupt.h"
#include "session/CoreFiles.h"
#include "views/QWMessageBoxErrorPresenter.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QImageReader>
#include <QLoggingCategory>
#include <QScreen>
#include <QStyleFactory>
#include <algorithm>
#include <cstdio>

namespace {

struct Options {
    QString library;
    std::optional<atlas::CloudAddress> cloud;
    QString place; // empty: where it was
};

// Nothing, with the reason, when they are wrong.
std::optional<Options> parse(const QStringList& arguments, QWError* error) {
    const auto fail = [error](const QString& message) {
        qw::fail(error, {QStringLiteral("atlas"), 1, message});
        return std::nullopt;
    };
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A traveller's atlas: the window of one library."));
    const QCommandLineOption help = parser.addHelpOption();
    parser.addOption({"library", "The library's folder, made when missing.", "DIR"});
    parser.addOption({"cloud", "Where to sync: folder:PATH or http(s)://HOST[:PORT].", "CLOUD"});
    parser.addOption({"token-file", "A file that holds the access token of an http cloud.", "FILE"});
    parser.addOption({"place", "The half of the screen that the window fills: left or right.", "HALF"});
    if (!parser.parse(arguments))
        return fail(parser.errorText());
    if (parser.isSet(help))
        parser.showHelp();
    if (parser.value("library").isEmpty() || !parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("usage: atlas-desktop --library DIR [--cloud CLOUD] [--token-file FILE] "
                                   "[--place left|right]"));
    Options options{parser.value("library"), {}, parser.value("place")};
    if (!options.place.isEmpty() && options.place != "left" && options.place != "right")
        return fail(QStringLiteral("--place: expected left or right, found \"%1\"").arg(options.place));
    if (parser.isSet("token-file") && !parser.isSet("cloud"))
        return fail(QStringLiteral("--token-file wants a --cloud"));
    if (parser.isSet("cloud")) {
        atlas::CloudOptions cloud{parser.value("cloud")};
        if (parser.isSet("token-file"))
            cloud.tokenFile = parser.value("token-file");
        options.cloud = atlas::cloudAddress(cloud, error);
        if (!options.cloud)
            return {};
    }
    return options;
}

void fillHalf(QWidget& window, const QString& half) {
    QRect place = window.screen()->availableGeometry();
    place.setWidth(place.width() / 2);
    if (half == "right")
        place.translate(place.width(), 0);
    window.setGeometry(place - QMargins(0, 32, 0, 0)); // room for the title bar
}

bool asksForHelp(int argc, char** argv) {
    return std::any_of(argv + 1, argv + argc, [](const char* argument) {
        return qstrcmp(argument, "--help") == 0 || qstrcmp(argument, "-h") == 0;
    });
}

int fail(const QWError& error) {
    std::fprintf(stderr, "atlas-desktop: %s\n", qUtf8Printable(error.message));
    return 1;
}

} // namespace

int main(int argc, char** argv) {
    atlas::makeNoCoreFiles();
    if (asksForHelp(argc, argv)) { // which needs no display
        const QCoreApplication application(argc, argv);
        parse({argv[0], "--help"}, nullptr);
    }
    QApplication application(argc, argv);
    application.setApplicationName("atlas-desktop");
    application.setApplicationDisplayName("Atlas");
    QApplication::setStyle(QStyleFactory::create("Fusion")); // whose colours are the user's to choose
    QImageReader::setAllocationLimit(256); // megabytes: a flag may be a photograph of 67 million pixels
    // QT_LOGGING_RULES brings the rest back.
    QLoggingCategory::setFilterRules("qwlibrary.*.debug=false\nqwlibrary.*.info=false");

    if (QLocale::system().language() == QLocale::C) // the library's texts then, as Atlas' own, are English
        QLocale::setDefault(QLocale(QLocale::English));

    QWError error;
    const auto options = parse(application.arguments(), &error);
    if (!options)
        return fail(error);
    QWEnvironment::Parts parts;
    parts.errorPresenter = std::make_shared<QWMessageBoxErrorPresenter>();
    auto library = atlas::AtlasLibrary::open(options->library, &error, parts);
    if (!library)
        return fail(error);
    atlas::AtlasWindow window(std::move(library));
    if (!options->cloud)
        window.signIn().resume();
    else if (!window.connection().start(*options->cloud, true, &error))
        return fail(error);
    if (!options->place.isEmpty())
        fillHalf(window, options->place);
    QWOnInterrupt(&window, [&window] { window.close(); });
    window.show();
    return application.exec();
}
