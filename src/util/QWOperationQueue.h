#pragma once

#include "platform/QWRunLoop.h"

#include <functional>

// Runs callbacks elsewhere or later. Both operations return at once and may be called from any thread.
class QWOperationQueue {
public:
    QWOperationQueue() = delete;

    // On a worker thread of the process-wide pool, concurrently with other callbacks.
    static void performBlockInBackground(std::function<void()> block);
    // On a later turn of the main thread's run loop, never inside the call; in the order of the calls.
    static void performBlockOnMainQueue(QWRunLoop& mainRunLoop, std::function<void()> block);
};
