#include "sync/records/QWPropertyList_p.h"

#include "sync/records/QWPlainLocale_p.h"
#include "sync/records/QWPropertyListGuard_p.h"

#include <QDateTime>
#include <cstdlib>
#include <limits>
#include <memory>
#include <plist/plist.h>
#include <type_traits>

namespace {

struct FreeNode {
    void operator()(plist_t node) const { plist_free(node); }
};
using Node = std::unique_ptr<std::remove_pointer_t<plist_t>, FreeNode>;

struct FreeMemory {
    void operator()(char* memory) const { std::free(memory); }
};
using Memory = std::unique_ptr<char, FreeMemory>;

// Dates are counted from here, in 32 bits.
const QDateTime referenceDate(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC);

// Writing ---------------------------------------------------------------------------------------------------

QByteArray xmlText(QString text) {
    for (QChar& character : text) {
        const char16_t unit = character.unicode();
        if ((unit < 0x20 && unit != '\t' && unit != '\n' && unit != '\r') || unit >= 0xfffe)
            character = QChar::ReplacementCharacter;
    }
    return text.toUtf8();
}

Node nodeFromValue(const QVariant& value);

Node nodeFromList(const QVariantList& list) {
    Node array(plist_new_array());
    for (const auto& value : list) {
        if (value.isNull())
            continue;
        auto member = nodeFromValue(value);
        if (!member)
            return nullptr;
        plist_array_append_item(array.get(), member.release());
    }
    return array;
}

Node nodeFromMap(const QVariantMap& map) {
    Node dictionary(plist_new_dict());
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        if (entry->isNull())
            continue;
        auto member = nodeFromValue(*entry);
        if (!member)
            return nullptr;
        plist_dict_set_item(dictionary.get(), xmlText(entry.key()).constData(), member.release());
    }
    return dictionary;
}

Node nodeFromDate(const QDateTime& date) {
    const qint64 milliseconds = referenceDate.msecsTo(date);
    const qint64 seconds = milliseconds / 1000 - (milliseconds % 1000 < 0 ? 1 : 0);
    if (seconds != static_cast<qint32>(seconds))
        return nullptr;
    return Node(plist_new_date(static_cast<qint32>(seconds), 0));
}

Node nodeFromValue(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::QVariantMap:
        return nodeFromMap(value.toMap());
    case QMetaType::QVariantList:
    case QMetaType::QStringList:
        return nodeFromList(value.toList());
    case QMetaType::QString:
        return Node(plist_new_string(xmlText(value.toString()).constData()));
    case QMetaType::Bool:
        return Node(plist_new_bool(value.toBool()));
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        return Node(plist_new_uint(static_cast<quint64>(value.toLongLong()))); // writes the sign
    case QMetaType::Double:
        return Node(plist_new_real(value.toDouble()));
    case QMetaType::QDateTime:
        return nodeFromDate(value.toDateTime());
    case QMetaType::QByteArray: {
        const auto bytes = value.toByteArray();
        return Node(plist_new_data(bytes.constData(), static_cast<quint64>(bytes.size())));
    }
    default:
        return nullptr;
    }
}

// Reading ---------------------------------------------------------------------------------------------------

QVariant valueFromNode(plist_t node);

QVariantMap mapFromNode(plist_t dictionary) {
    QVariantMap map;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(dictionary, &iterator);
    const Memory iteratorOwner(static_cast<char*>(iterator));
    for (;;) {
        char* key = nullptr;
        plist_t member = nullptr;
        plist_dict_next_item(dictionary, iterator, &key, &member);
        const Memory keyOwner(key);
        if (!member)
            return map;
        map.insert(QString::fromUtf8(key), valueFromNode(member));
    }
}

QVariantList listFromNode(plist_t array) {
    QVariantList list;
    plist_array_iter iterator = nullptr;
    plist_array_new_iter(array, &iterator);
    const Memory iteratorOwner(static_cast<char*>(iterator));
    for (;;) {
        plist_t member = nullptr;
        plist_array_next_item(array, iterator, &member);
        if (!member)
            return list;
        list.append(valueFromNode(member));
    }
}

// Nothing for a date that 32 bits do not hold: the parser gives numbers then that mean nothing.
QVariant dateFromNode(plist_t node) {
    using Limits = std::numeric_limits<qint32>;
    qint32 seconds = 0, microseconds = 0;
    plist_get_date_val(node, &seconds, &microseconds);
    const bool isHeld =
        seconds != Limits::min() && seconds != Limits::max() && microseconds >= 0 && microseconds < 1'000'000;
    return isHeld ? QVariant(referenceDate.addSecs(seconds).addMSecs(microseconds / 1000)) : QVariant();
}

QVariant valueFromNode(plist_t node) {
    switch (plist_get_node_type(node)) {
    case PLIST_DICT:
        return mapFromNode(node);
    case PLIST_ARRAY:
        return listFromNode(node);
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        return QString::fromUtf8(text, static_cast<qsizetype>(length));
    }
    case PLIST_BOOLEAN: {
        quint8 value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return QVariant::fromValue(static_cast<qint64>(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_DATE:
        return dateFromNode(node);
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        return QByteArray(bytes, static_cast<qsizetype>(length));
    }
    default:
        return {};
    }
}

} // namespace

std::optional<QByteArray> qw::sync::writePropertyList(const QVariantMap& dictionary) {
    const Node node = nodeFromMap(dictionary);
    if (!node)
        return std::nullopt;
    const PlainLocale pointInFractions;
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(node.get(), &xml, &length);
    const Memory owner(xml);
    return QByteArray(xml, length);
}

std::optional<QVariant> qw::sync::readPropertyList(const QByteArray& bytes) {
    if (bytes.size() > std::numeric_limits<qint32>::max() || !isSafePropertyList(bytes))
        return std::nullopt;
    const PlainLocale pointInFractions;
    plist_t parsed = nullptr;
    plist_from_memory(bytes.constData(), static_cast<quint32>(bytes.size()), &parsed);
    const Node node(parsed);
    if (!node)
        return std::nullopt;
    return valueFromNode(node.get());
}
