#pragma once

#include <QString>

// How far a long operation is, as one line on stderr that is drawn over itself; silent without a terminal.
// Notes about it stand on lines of their own, always.
class Progress {
public:
    Progress();
    ~Progress() { wipe(); }

    // `done` of `all` things; redraws only when the picture changes.
    void show(const QString& what, qint64 done, qint64 all);
    void wipe();
    void note(const QString& line);

private:
    bool isTerminal_;
    QString drawn_;
};
