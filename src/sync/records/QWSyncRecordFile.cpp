#include "sync/records/QWSyncRecordFile_p.h"

#include "core/QWJSON.h"
#include "sync/records/QWPropertyList_p.h"

std::optional<QByteArray> qw::sync::recordFileBytes(const QVariantMap& record) {
    if (auto json = json::write(record))
        return json;
    return writePropertyList(record);
}

std::optional<QVariantMap> qw::sync::recordFromFileBytes(const QByteArray& bytes) {
    auto tree = json::read(bytes);
    if (!tree)
        tree = readPropertyList(bytes);
    if (!tree || tree->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return tree->toMap();
}

std::optional<QVariantMap> qw::sync::recordOnArrival(const QVariantMap& record) {
    const auto bytes = recordFileBytes(record);
    return bytes ? recordFromFileBytes(*bytes) : std::nullopt;
}
