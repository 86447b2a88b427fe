#include "util/QWOperationQueue.h"

#include <QThreadPool>

void QWOperationQueue::performBlockInBackground(std::function<void()> block) {
    QThreadPool::globalInstance()->start(std::move(block));
}

void QWOperationQueue::performBlockOnMainQueue(QWRunLoop& mainRunLoop, std::function<void()> block) {
    mainRunLoop.post(std::move(block));
}
