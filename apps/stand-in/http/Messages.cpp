#include "http/Messages.h"

#include <algorithm>

namespace standin {

std::optional<QByteArray> Request::header(const char* name) const {
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const Header& header) {
        return header.first.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == headers.end() ? std::nullopt : std::optional(found->second);
}

Reply Reply::text(int status, const QString& text, const char* contentType) {
    return {status, {{"Content-Type", contentType}}, std::make_shared<Spool>(text.toUtf8())};
}

} // namespace standin
