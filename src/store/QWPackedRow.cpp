#include "store/QWPackedRow.h"

#include <QDateTime>
#include <cstring>

namespace {

enum Kind : quint32 { None, Integer, Real, Text, Bytes };

struct Cell {
    quint32 offset;
    quint32 size : 29;
    quint32 kind : 3;
};

template <class Number>
Number numberAt(const char* place) {
    Number number;
    std::memcpy(&number, place, sizeof number);
    return number;
}

} // namespace

QVariant QWPackedRow::value(const QWPropertyDescription& property) const {
    const Cell cell = numberAt<Cell>(block_.get() + size_t(property.index()) * sizeof(Cell));
    const char* const bytes = block_.get() + cell.offset;
    switch (cell.kind) {
    case Integer: {
        const qint64 number = numberAt<qint64>(bytes);
        if (property.isRelationship() || property.type() == QWAttributeType::Integer)
            return QVariant(qlonglong(number));
        if (property.type() == QWAttributeType::Boolean)
            return QVariant(number != 0);
        if (property.type() == QWAttributeType::Date)
            return QVariant(QDateTime::fromMSecsSinceEpoch(number, Qt::UTC));
        return QVariant(double(number));
    }
    case Real:
        return QVariant(numberAt<double>(bytes));
    case Text:
        return QVariant(QString::fromUtf8(bytes, cell.size));
    case Bytes:
        return QVariant(QByteArray(bytes, cell.size));
    default:
        return {};
    }
}

QWPackedRow::Writer::Writer(size_t propertyCount) {
    bytes_.resize(qsizetype(propertyCount) * qsizetype(sizeof(Cell)));
    std::memset(bytes_.data(), 0, size_t(bytes_.size()));
}

void QWPackedRow::Writer::append(int slot, quint32 kind, const void* bytes, size_t size) {
    const Cell cell{quint32(bytes_.size()), quint32(size), kind};
    std::memcpy(bytes_.data() + size_t(slot) * sizeof(Cell), &cell, sizeof cell);
    bytes_.append(static_cast<const char*>(bytes), qsizetype(size));
}

void QWPackedRow::Writer::setInteger(int slot, qint64 number) {
    append(slot, Integer, &number, sizeof number);
}

void QWPackedRow::Writer::setReal(int slot, double number) {
    append(slot, Real, &number, sizeof number);
}

void QWPackedRow::Writer::setText(int slot, QByteArrayView utf8) {
    append(slot, Text, utf8.data(), size_t(utf8.size()));
}

void QWPackedRow::Writer::setBytes(int slot, QByteArrayView bytes) {
    append(slot, Bytes, bytes.data(), size_t(bytes.size()));
}

QWPackedRow QWPackedRow::Writer::finish() const {
    QWPackedRow row;
    row.block_.reset(new char[size_t(bytes_.size())]);
    std::memcpy(row.block_.get(), bytes_.constData(), size_t(bytes_.size()));
    return row;
}
