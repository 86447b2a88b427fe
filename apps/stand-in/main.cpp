#include "StandIn.h"
#include "platform/QWInterrupt.h"

#include <QCoreApplication>
#include <cstdio>

namespace {

int failed(const QString& message, int exitCode) {
    std::fprintf(stderr, "qw-stand-in: %s\n", qUtf8Printable(message));
    return exitCode;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    application.setApplicationName(QStringLiteral("qw-stand-in"));
    try {
        standin::Options options = standin::Options::parse(application.arguments());
        const auto environment = QWEnvironment::standard();
        QWAppFolderOptions folderOptions;
        folderOptions.accountName = options.accountName;
        folderOptions.reportsChildrenOfDeletedFolders = options.reportsChildrenOfDeletedFolders;
        QWError error;
        std::shared_ptr<QWAppFolder> folder =
            options.directory.isEmpty()
                ? QWAppFolder::inMemory(environment, folderOptions)
                : QWAppFolder::inDirectory(options.directory, environment, folderOptions, &error);
        if (!folder)
            return failed(error.message, 1);

        standin::StandIn standIn(std::move(options), std::move(folder), environment);
        if (!standIn.listen(&error))
            return failed(error.message, 1);
        QWOnInterrupt(&application, [] { QCoreApplication::quit(); });
        std::puts(qPrintable(standIn.url()));
        std::fflush(stdout);
        return application.exec();
    } catch (const standin::UsageError& usage) {
        return failed(usage.message, 2);
    }
}
