#pragma once

#include <functional>

class QObject;

// Calls `callback` on the event loop when the user interrupts the program (Ctrl-C, or a request to
// terminate), for as long as `receiver` lives. A second interrupt ends the program at once. To be used once
// in a process.
void QWOnInterrupt(QObject* receiver, std::function<void()> callback);
