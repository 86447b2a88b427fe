#include "platform/QWStringTable.h"

#include <QCoreApplication>

QString QWLocalizedString(const QString& key, const QString& defaultText) {
    const QString text = QCoreApplication::translate("QWLibrary", key.toUtf8().constData());
    return text == key && !defaultText.isEmpty() ? defaultText : text;
}
