#pragma once

#include "store/QWManagedObjectModel.h"

#include <QByteArrayView>
#include <QVarLengthArray>
#include <QVariant>
#include <memory>

// A row as it was read: the columns' bytes in one block, turned into a value when one is asked for. A fetch
// of many records costs one allocation for each row this way, and a list that shows one column never builds
// the others.
class QWPackedRow {
public:
    bool isEmpty() const { return !block_; }
    void clear() { block_.reset(); }
    // The value of the property with that index: an attribute in its own type, a to-one's key, or no value.
    QVariant value(const QWPropertyDescription& property) const;

    // Gathers the columns of one row, in any order; slots that are not set hold no value.
    class Writer {
    public:
        explicit Writer(size_t propertyCount);
        void setInteger(int slot, qint64 number);
        void setReal(int slot, double number);
        void setText(int slot, QByteArrayView utf8);
        void setBytes(int slot, QByteArrayView bytes);
        QWPackedRow finish() const;

    private:
        void append(int slot, quint32 kind, const void* bytes, size_t size);
        QVarLengthArray<char, 1024> bytes_;
    };

private:
    std::unique_ptr<char[]> block_; // a Cell for each slot, then what they point to
};
