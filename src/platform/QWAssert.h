#pragma once

#include <QString>
#include <functional>

// Programming errors: conditions that no input can cause, only wrong code. The text of the checked expression
// is part of the interface ("NO", "context", "[objects count] == 1"), as is the operation's selector text
// ("-[QWManagedObjectContextAutosaver init]").
struct QWAssertionFailure {
    QString expression;
    QString operation;
    QString file; // the source file that holds the check, without its folder
};

// Called on a failed assertion. A handler may throw (tests do); when it returns, the process is aborted.
using QWAssertionHandler = std::function<void(const QWAssertionFailure&)>;

// Replaces the process-wide handler and returns the previous one. An empty handler restores the default,
// which writes one line to stderr. Not to be called while other threads may fail an assertion.
QWAssertionHandler QWSetAssertionHandler(QWAssertionHandler handler);

namespace qw {
[[noreturn]] void assertionFailed(const char* expression, const char* operation, const char* file);
}

// Stops the process unless `condition` holds. Checked in every build type.
#define QWAssert(condition, expressionText, operationText)                                                   \
    do {                                                                                                     \
        if (!(condition)) [[unlikely]]                                                                       \
            ::qw::assertionFailed(expressionText, operationText, __FILE__);                                  \
    } while (false)
