#include "Statistics.h"

#include <algorithm>

namespace standin {

namespace {
QJsonObject counts(const std::map<QString, int>& counted) {
    QJsonObject object;
    for (const auto& [name, count] : counted)
        object.insert(name, count);
    return object;
}
} // namespace

void Statistics::Concurrency::change(int by) {
    now += by;
    most = std::max(most, now);
}

Statistics::Concurrency* Statistics::concurrencyOf(const QString& route) {
    if (route.startsWith(QLatin1String("files/upload")))
        return &uploads_;
    return route == QLatin1String("files/download") ? &downloads_ : nullptr;
}

void Statistics::began(const QString& route) {
    ++requests_[route];
    if (Concurrency* concurrency = concurrencyOf(route))
        concurrency->change(+1);
}

void Statistics::ended(const QString& route, int status) {
    ++answers_[status == 0 ? QStringLiteral("none") : QString::number(status)];
    if (Concurrency* concurrency = concurrencyOf(route))
        concurrency->change(-1);
}

QJsonObject Statistics::toJSON() const {
    return {{QStringLiteral("requests"), counts(requests_)},
            {QStringLiteral("answers"), counts(answers_)},
            {QStringLiteral("uploadsAtOnce"), uploads_.most},
            {QStringLiteral("downloadsAtOnce"), downloads_.most}};
}

} // namespace standin
