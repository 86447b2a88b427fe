#pragma once

#include "FailureRule.h"

#include <vector>

namespace standin {

// What the command line asks for: docs/stand-in.md.
struct Options {
    quint16 port = 0;  // 0: a free one
    QString directory; // empty: in memory
    QString token;     // empty: any
    std::chrono::milliseconds latency{0};
    int pageSize = 0; // 0: as many as the service
    QString accountName = QStringLiteral("Owner");
    bool reportsChildrenOfDeletedFolders = true;
    bool isLogged = false;
    std::vector<FailureRule> failures;

    // From the program's arguments. Throws UsageError. Prints the help and ends the program when asked to.
    static Options parse(const QStringList& arguments);
};

} // namespace standin
