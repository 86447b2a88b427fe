#pragma once

#include "service/Refusals.h"
#include "service/Service.h"

// What the files of `Service` share, and nobody else includes.
namespace standin {

struct Service::Route {
    enum Style {
        RPC,      // JSON in the body, JSON back
        Upload,   // argument in a header, bytes in the body, JSON back
        Download, // argument in a header, JSON back in a header, bytes in the body
        LongPoll, // like RPC, without a token, answered later
    };
    const char* name;
    Style style;
    Reply (Service::*handler)(Arguments&, const Request&); // null for long polls
};

// The entry of a file or folder; with its tag where it could be something else.
enum class Tagged { No, Yes };
QJsonObject metadataObject(const DBMetadata& metadata, Tagged tagged);
QJsonObject deletedObject(const QString& lowercasePath);

} // namespace standin
