#pragma once

#include <QCryptographicHash>
#include <QString>

// What happened, step by step: its hash tells two runs apart, its text is for people.
class Trace {
public:
    explicit Trace(bool isPrinted = false) : isPrinted_(isPrinted) {}

    void add(const QString& line);
    QByteArray hash() const { return hash_.result().toHex(); }

private:
    QCryptographicHash hash_{QCryptographicHash::Sha256};
    const bool isPrinted_;
};
