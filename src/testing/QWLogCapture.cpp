#include "testing/QWLogCapture.h"

#include <atomic>

namespace {
std::atomic<QWLogCapture*> innermost = nullptr;
}

QWLogCapture::QWLogCapture()
    : outer_(innermost.exchange(this)), outerHandler_(qInstallMessageHandler(handle)) {}

QWLogCapture::~QWLogCapture() {
    qInstallMessageHandler(outerHandler_);
    innermost = outer_;
}

void QWLogCapture::handle(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    QWLogCapture& capture = *innermost;
    const std::lock_guard lock(capture.mutex_);
    capture.lines_.push_back({type, QString::fromUtf8(context.category), text});
}

std::vector<QWLogCapture::Line> QWLogCapture::lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
}

QStringList QWLogCapture::texts(const QString& category) const {
    QStringList result;
    for (const Line& line : lines()) {
        if (category.isEmpty() || line.category == category)
            result.append(line.text);
    }
    return result;
}
