#pragma once

#include <QLoggingCategory>
#include <QStringList>
#include <mutex>

// Collects the log lines of the whole process while it lives, instead of printing them. Captures nest: the
// innermost gets the lines. Lines of a category are only made when its level is enabled.
class QWLogCapture {
public:
    struct Line {
        QtMsgType type = QtDebugMsg;
        QString category;
        QString text;
    };

    QWLogCapture();
    ~QWLogCapture();
    QWLogCapture(const QWLogCapture&) = delete;
    QWLogCapture& operator=(const QWLogCapture&) = delete;

    std::vector<Line> lines() const;
    // The texts of the lines of one category, in order; of all categories when none is given.
    QStringList texts(const QString& category = {}) const;

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text);

    mutable std::mutex mutex_;
    std::vector<Line> lines_;
    QWLogCapture* outer_;
    QtMessageHandler outerHandler_;
};
