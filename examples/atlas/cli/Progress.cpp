#include "cli/Progress.h"

#include <QtGlobal>
#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

constexpr int barWidth = 30;

bool stderrIsTerminal() {
#ifdef Q_OS_WIN
    return _isatty(_fileno(stderr)) != 0;
#else
    return isatty(STDERR_FILENO) != 0;
#endif
}

} // namespace

Progress::Progress() : isTerminal_(stderrIsTerminal()) {}

void Progress::show(const QString& what, qint64 done, qint64 all) {
    if (!isTerminal_ || all <= 0)
        return;
    const auto filled = static_cast<int>(qBound(qint64(0), done, all) * barWidth / all);
    const int percent = static_cast<int>(done * 100 / all);
    const QString line = QStringLiteral("%1 [%2%3] %4 %")
                             .arg(what, QString(filled, '#'), QString(barWidth - filled, '.'))
                             .arg(percent);
    if (line == drawn_)
        return;
    drawn_ = line;
    std::fprintf(stderr, "\r%s\x1b[K", qUtf8Printable(line));
}

void Progress::wipe() {
    if (!std::exchange(drawn_, QString()).isEmpty())
        std::fputs("\r\x1b[K", stderr);
}

void Progress::note(const QString& line) {
    wipe();
    std::fprintf(stderr, "%s\n", qUtf8Printable(line));
}
