#include "cli/CommandLine.h"
#include "session/CoreFiles.h"

#include <QCoreApplication>
#include <QImageReader>
#include <QLoggingCategory>
#include <cstdio>

int main(int argc, char** argv) {
    atlas::makeNoCoreFiles();
    QCoreApplication application(argc, argv);
    application.setApplicationName("atlas");
    QImageReader::setAllocationLimit(256); // megabytes: a flag may be a photograph of 67 million pixels
    // QT_LOGGING_RULES brings the rest back.
    QLoggingCategory::setFilterRules("qwlibrary.*.debug=false\nqwlibrary.*.info=false");
    int exitCode = 0;
    try {
        const auto [command, arguments] = parseCommandLine(application.arguments());
        exitCode = command->run(arguments);
    } catch (const Failure& failure) {
        std::fprintf(stderr, "atlas: %s\n", qUtf8Printable(failure.message));
        exitCode = failure.exitCode;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fputs("atlas: the output cannot be written\n", stderr);
        return 1;
    }
    return exitCode;
}
