#include "core/QWJSON.h"

#include <QJsonDocument>
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
    return QJsonDocument::fromVariant(tree).toJson(format == Format::Compact ? QJsonDocument::Compact
                                                                             : QJsonDocument::Indented);
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
