// folder_writer DIRECTORY NAME COUNT: uploads /shared/NAME 0, 1, … COUNT-1 and after each one to
// /shared/counter, whose content is the number of uploads to it and the last one's NAME. Prints a line for
// each of its own files when both uploads were acknowledged.
#include "dropbox/folder/QWAppFolder.h"

#include <QCoreApplication>
#include <cstdio>

namespace {

// Adds one to the number in a file that others write too. The name keeps two writers from writing the same
// bytes, which would be no conflict.
bool count(QWAppFolder& folder, const QString& path, const QString& name) {
    for (;;) {
        const auto file = folder.read(path);
        const int counted = file ? file->bytes.split(' ').first().toInt() : 0;
        const QByteArray next = QByteArray::number(counted + 1) + " " + name.toUtf8();
        QWError error;
        if (folder.upload(path, next, QWWriteMode::update(file ? file->metadata.rev : "000000000"), &error))
            return true;
        if (QWAppFolderErrorCode(error.code) != QWAppFolderErrorCode::FileInTheWay)
            return false;
    }
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    QWError error;
    const auto folder = QWAppFolder::inDirectory(arguments[1], QWEnvironment::standard(), {}, &error);
    if (!folder) {
        std::fprintf(stderr, "%s\n", qPrintable(error.message));
        return 1;
    }
    for (int i = 0; i < arguments[3].toInt(); ++i) {
        const QString path = QStringLiteral("/shared/%1 %2").arg(arguments[2]).arg(i);
        const QByteArray bytes = path.toUtf8().repeated(50);
        if (!folder->upload(path, bytes, QWWriteMode::add(), &error)
            || !count(*folder, QStringLiteral("/shared/counter"), arguments[2])) {
            std::fprintf(stderr, "%s\n", qPrintable(error.message));
            return 1;
        }
        std::printf("%s\n", qPrintable(path));
        std::fflush(stdout);
    }
    return 0;
}
