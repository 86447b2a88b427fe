#include "service/Listing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>

namespace standin {

QString Listing::toText() const {
    const QByteArray json =
        QJsonDocument(QJsonArray{lowercasePath, isRecursive, limit, cursor}).toJson(QJsonDocument::Compact);
    return QString::fromLatin1(json.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

Listing Listing::fromText(const QString& text) {
    const QByteArray json = QByteArray::fromBase64(text.toLatin1(), QByteArray::Base64UrlEncoding);
    const QJsonArray fields = QJsonDocument::fromJson(json).array();
    Listing listing{fields.at(0).toString(), fields.at(1).toBool(),
                    std::clamp(fields.at(2).toInt(), 1, mostEntries), fields.at(3).toString()};
    if (listing.cursor.isEmpty() || listing.toText() != text)
        listing = {{}, true, mostEntries, QStringLiteral("unknown")};
    return listing;
}

bool Listing::holds(const QString& path) const {
    if (!path.startsWith(lowercasePath + QLatin1Char('/')))
        return false;
    return isRecursive || path.indexOf(QLatin1Char('/'), lowercasePath.size() + 1) < 0;
}

} // namespace standin
