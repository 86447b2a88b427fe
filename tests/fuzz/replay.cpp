// Runs a target over files, and over the files of folders: what the fuzzer found once is tested for ever.
#include "Fuzzing.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <cstdio>

namespace {

QStringList filesAt(const QString& path) {
    QStringList files;
    if (QFileInfo(path).isDir())
        for (QDirIterator entries(path, QDir::Files); entries.hasNext();)
            files.append(entries.next());
    else if (QFileInfo::exists(path))
        files.append(path);
    files.sort();
    return files;
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (int argument = 1; argument < argc; ++argument)
        for (const QString& path : filesAt(QString::fromLocal8Bit(argv[argument]))) {
            // Said before, so that the last line names the input that ended the process.
            std::printf("%s\n", qPrintable(path));
            std::fflush(stdout);
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly))
                return 1;
            const QByteArray bytes = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                                   std::size_t(bytes.size()));
            ++count;
        }
    return count > 0 ? 0 : 1; // A corpus without inputs tests nothing.
}
