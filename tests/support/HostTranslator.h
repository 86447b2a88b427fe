#pragma once

#include <QCoreApplication>
#include <QHash>
#include <QTranslator>

// A host's translator: these texts for the library's keys, installed for the duration of a test.
class HostTranslator final : public QTranslator {
public:
    explicit HostTranslator(const QHash<QString, QString>& texts) : texts_(texts) {
        QCoreApplication::installTranslator(this);
    }
    QString translate(const char* context, const char* source, const char*, int) const override {
        return qstrcmp(context, "QWLibrary") == 0 ? texts_.value(QString::fromUtf8(source)) : QString();
    }
    bool isEmpty() const override { return false; }

private:
    QHash<QString, QString> texts_;
};
