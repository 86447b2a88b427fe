#include "core/QWJSON.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr int maximumDepth = 512;

// `depth` counts the containers around `value`.
bool isJSON(const QVariant& value, int depth) {
    const auto isMember = [depth](const QVariant& member) { return isJSON(member, depth + 1); };
    switch (value.typeId()) {
    case QMetaType::QVariantMap: {
        const auto map = value.toMap();
        return depth < maximumDepth && std::all_of(map.begin(), map.end(), isMember);
    }
    case QMetaType::QVariantList: {
        const auto list = value.toList();
        return depth < maximumDepth && std::all_of(list.begin(), list.end(), isMember);
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return std::isfinite(value.toDouble());
    case QMetaType::ULongLong:
        return value.toULongLong() <= static_cast<quint64>(std::numeric_limits<qint64>::max());
    case QMetaType::QStringList:
    case QMetaType::QString:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Nullptr:
        return true;
    default:
        return false;
    }
}

bool isContainer(const QVariant& value) {
    const auto type = value.typeId();
    return type == QMetaType::QVariantMap || type == QMetaType::QVariantList
           || type == QMetaType::QStringList;
}

// Fractions from 2^53 on are whole. As such they are written with all their digits, where a fraction is
// written with as few as tell it from its neighbours: readers that take it for a whole number would find
// another one.
QJsonValue valueFromNumber(double number) {
    return std::abs(number) >= 0x1p53 && std::abs(number) < 0x1p63 ? QJsonValue(static_cast<qint64>(number))
                                                                   : QJsonValue(number);
}

QJsonValue valueFromTree(const QVariant& tree) {
    switch (tree.typeId()) {
    case QMetaType::QVariantMap: {
        QJsonObject object;
        const auto map = tree.toMap();
        for (auto member = map.begin(); member != map.end(); ++member)
            object.insert(member.key(), valueFromTree(*member));
        return object;
    }
    case QMetaType::QVariantList: {
        QJsonArray array;
        const auto list = tree.toList();
        for (const auto& member : list)
            array.append(valueFromTree(member));
        return array;
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return valueFromNumber(tree.toDouble());
    default:
        return QJsonValue::fromVariant(tree);
    }
}

std::optional<QByteArray> asUtf8(const QByteArray& bytes) {
    // Without a byte order mark, the first character tells: JSON begins with a bracket or a blank.
    std::optional<QStringConverter::Encoding> encoding;
    for (const char16_t first : {u'{', u'[', u' ', u'\t', u'\r', u'\n'}) {
        if (!encoding)
            encoding = QStringConverter::encodingForData(bytes, first);
    }
    if (!encoding || encoding == QStringConverter::Utf8)
        return bytes;
    QStringDecoder decoder(*encoding);
    const QString text = decoder(bytes);
    if (decoder.hasError() || !text.isValidUtf16())
        return std::nullopt;
    return text.toUtf8();
}

bool isNestedTooDeep(const QByteArray& json) {
    int depth = 0;
    bool inString = false;
    for (auto at = json.begin(); at != json.end(); ++at) {
        if (inString) {
            if (*at == '\\' && at + 1 != json.end())
                ++at;
            else if (*at == '"')
                inString = false;
        } else if (*at == '"') {
            inString = true;
        } else if (*at == '{' || *at == '[') {
            if (++depth > maximumDepth)
                return true;
        } else if (*at == '}' || *at == ']') {
            --depth;
        }
    }
    return false;
}

} // namespace

bool qw::json::isValid(const QVariant& tree) {
    return isContainer(tree) && isJSON(tree, 0);
}

std::optional<QByteArray> qw::json::write(const QVariant& tree, Format format) {
    if (!isValid(tree))
        return std::nullopt;
    const QJsonValue value = valueFromTree(tree);
    const auto document = value.isObject() ? QJsonDocument(value.toObject()) : QJsonDocument(value.toArray());
    return document.toJson(format == Format::Compact ? QJsonDocument::Compact : QJsonDocument::Indented);
}

std::optional<QVariant> qw::json::read(const QByteArray& bytes) {
    const auto json = asUtf8(bytes);
    if (!json || isNestedTooDeep(*json))
        return std::nullopt;
    const auto document = QJsonDocument::fromJson(*json);
    if (document.isNull())
        return std::nullopt;
    return document.toVariant();
}
