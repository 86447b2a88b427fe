#include "editing/QWNSStringNSArrayTransformer.h"

#include "editing/QWEditingLog_p.h"

#include <QStringList>

namespace {

QString& separatorOfProcess() {
    static QString separator = QStringLiteral(";");
    return separator;
}

} // namespace

QMetaType QWNSStringNSArrayTransformer::transformedValueClass() const {
    return QMetaType::fromType<QStringList>();
}

bool QWNSStringNSArrayTransformer::allowsReverseTransformation() const {
    return true;
}

QVariant QWNSStringNSArrayTransformer::transformedValue(const QVariant& value) const {
    return value;
}

QVariant QWNSStringNSArrayTransformer::reverseTransformedValue(const QVariant& value) const {
    if (value.isValid() && !value.canConvert<QStringList>()) {
        qCWarning(qwEditingLog, "QWNSStringNSArrayTransformer: expected a list of strings, given %s",
                  value.typeName());
        return {};
    }
    return value.toStringList().join(separatorString() + ' ');
}

void QWNSStringNSArrayTransformer::setSeparatorSting(const QString& separator) {
    if (separator.size() == 1)
        separatorOfProcess() = separator;
}

const QString& QWNSStringNSArrayTransformer::separatorString() {
    return separatorOfProcess();
}
