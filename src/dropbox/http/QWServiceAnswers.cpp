#include "dropbox/http/QWServiceAnswers_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>
#include <cmath>

namespace qw::http {

namespace {

// A JSON number that is a whole one in the range of file sizes and seconds.
std::optional<qint64> wholeNumber(const QJsonValue& value) {
    constexpr double largest = 1LL << 53;
    const double number = value.toDouble(-1);
    if (number < 0 || number > largest || number != std::floor(number))
        return std::nullopt;
    return static_cast<qint64>(number);
}

// The union that a tag leads into: under a key named like the tag, or under "reason".
QJsonValue inner(const QJsonObject& object, const QString& tag) {
    const QJsonValue named = object.value(tag);
    return named.isUndefined() ? object.value(QLatin1String("reason")) : named;
}

std::optional<QWRunLoop::Duration> secondsUntil(const QByteArray& retryAfter, const QDateTime& now) {
    bool isNumber = false;
    const qint64 seconds = retryAfter.trimmed().toLongLong(&isNumber);
    if (isNumber)
        return std::chrono::seconds(std::min(seconds, qint64(1) << 31));
    QDateTime date = QLocale::c().toDateTime(QString::fromLatin1(retryAfter.trimmed()),
                                             QStringLiteral("ddd, dd MMM yyyy HH:mm:ss 'GMT'"));
    if (!date.isValid())
        return std::nullopt;
    date.setTimeSpec(Qt::UTC);
    return std::chrono::seconds(now.secsTo(date));
}

std::optional<QWRunLoop::Duration> namedLength(const QWHTTPAnswer& answer, const QDateTime& now) {
    auto length = secondsUntil(answer.retryAfter, now);
    if (!length) {
        const auto body = jsonObject(answer.body).value_or(QJsonObject());
        if (const auto seconds = wholeNumber(body["error"]["retry_after"]))
            length = std::chrono::seconds(std::min(*seconds, qint64(1) << 31));
    }
    return length && length->count() > 0 ? length : std::nullopt;
}

int codeOf(const QWHTTPAnswer& answer) {
    const QStringList tags = errorTags(answer);
    const bool isNotFound = tags.size() > 1 && tags[1] == QLatin1String("not_found")
                            && (tags[0] == QLatin1String("path") || tags[0] == QLatin1String("path_lookup"));
    if (isNotFound)
        return 404;
    if (tags.contains(QLatin1String("insufficient_space")))
        return 507;
    // A 404 of HTTP comes from somebody else: the service says 409 of a missing file. To take it at its word
    // would be to believe that everything was deleted.
    const bool isRefusal = answer.status >= 300 && answer.status != 404;
    return isRefusal ? answer.status : 0;
}

// What the service says of a refusal, in few words.
QString summary(const QWHTTPAnswer& answer) {
    constexpr int longest = 200;
    const auto body = jsonObject(answer.body);
    const QString said = body ? (*body)["error_summary"].toString() : QString();
    QString text = said.isEmpty() ? QString::fromUtf8(answer.body) : said;
    // What refuses a token may well quote it.
    if (!answer.token.isEmpty())
        text.replace(QString::fromUtf8(answer.token), QStringLiteral("(token)"));
    return text.simplified().left(longest);
}

} // namespace

std::optional<QJsonObject> jsonObject(const QByteArray& text) {
    const auto document = QJsonDocument::fromJson(text);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

std::optional<DBMetadata> metadata(const QJsonObject& object, const QString& tag) {
    const QString kind = object[".tag"].toString(tag);
    DBMetadata result;
    result.path = object["path_display"].toString(object["path_lower"].toString());
    if (result.path.isEmpty())
        return std::nullopt;
    if (kind == QLatin1String("folder")) {
        result.isDirectory = true;
        return result;
    }
    const auto size = wholeNumber(object["size"]);
    result.rev = object["rev"].toString();
    result.hash = object["content_hash"].toString();
    result.lastModifiedDate =
        QDateTime::fromString(object["server_modified"].toString(), Qt::ISODate).toUTC();
    if (kind != QLatin1String("file") || !size || result.rev.isEmpty() || !result.lastModifiedDate.isValid())
        return std::nullopt;
    result.totalBytes = *size;
    return result;
}

std::optional<DBMetadata> fileMetadata(const QByteArray& text) {
    const auto object = jsonObject(text);
    return object ? metadata(*object, QStringLiteral("file")) : std::nullopt;
}

std::optional<Page> page(const QByteArray& text) {
    const auto object = jsonObject(text);
    if (!object || !(*object)["entries"].isArray() || !(*object)["has_more"].isBool())
        return std::nullopt;
    Page result{{}, (*object)["cursor"].toString(), (*object)["has_more"].toBool()};
    if (result.cursor.isEmpty())
        return std::nullopt;
    for (const auto& value : (*object)["entries"].toArray()) {
        const QJsonObject entry = value.toObject();
        const QString tag = entry[".tag"].toString();
        const QString path = entry["path_lower"].toString();
        if (tag.isEmpty())
            return std::nullopt;
        // What is mounted nowhere has no path, and kinds that the service adds some day are no files.
        const bool isKnown =
            tag == QLatin1String("file") || tag == QLatin1String("folder") || tag == QLatin1String("deleted");
        if (!isKnown || path.isEmpty())
            continue;
        if (tag == QLatin1String("deleted")) {
            result.entries.append({path, std::nullopt});
            continue;
        }
        const auto present = metadata(entry);
        if (!present)
            return std::nullopt;
        result.entries.append({path, present});
    }
    return result;
}

QStringList errorTags(const QWHTTPAnswer& answer) {
    QStringList tags;
    if (answer.status != 409 && answer.status != 429)
        return tags;
    const auto body = jsonObject(answer.body);
    QJsonValue error = body ? (*body)["error"] : QJsonValue();
    if (answer.status == 429)
        error = error["reason"];
    while (error.isObject() && error[".tag"].isString()) {
        tags += error[".tag"].toString();
        error = inner(error.toObject(), tags.constLast());
    }
    if (error.isString())
        tags += error.toString();
    return tags;
}

QByteArray headerText(const QJsonObject& argument) {
    QByteArray result;
    for (const QChar unit : QString::fromUtf8(QJsonDocument(argument).toJson(QJsonDocument::Compact))) {
        if (unit.unicode() < 0x7F)
            result += unit.toLatin1();
        else
            result += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    }
    return result;
}

std::optional<Pause> pauseAskedFor(const QWHTTPAnswer& answer, const QDateTime& now) {
    const bool isContention = errorTags(answer).contains(QLatin1String("too_many_write_operations"));
    if (answer.status == 409 && isContention)
        return Pause{};
    if (answer.status != 429 && answer.status != 503)
        return std::nullopt;
    const auto length = namedLength(answer, now);
    if (!length)
        return answer.status == 429 ? std::optional(Pause{}) : std::nullopt;
    if (answer.status == 503)
        return Pause{Pause::Host, length};
    return Pause{isContention ? Pause::Changes : Pause::Everything, length};
}

QWError failure(const QString& task, const QWHTTPAnswer& answer, const QVariantMap& userInfo) {
    const QString said = summary(answer);
    QString outcome;
    if (answer.status == 0)
        outcome = answer.trouble;
    else if (!answer.trouble.isEmpty())
        outcome = QStringLiteral("status %1: %2").arg(answer.status).arg(answer.trouble);
    else if (answer.status < 300)
        outcome =
            QStringLiteral("status %1 with what the service does not say: %2").arg(answer.status).arg(said);
    else
        outcome = QStringLiteral("status %1: %2").arg(answer.status).arg(said);
    return {QStringLiteral("dropbox"), codeOf(answer),
            QStringLiteral("%1 at %2: %3").arg(task, answer.host, outcome), userInfo};
}

} // namespace qw::http
