#include "FailureRule.h"

#include "service/Refusals.h"

#include <QHash>

namespace standin {

namespace {

UsageError usage(const QString& problem) {
    return {QStringLiteral("--fail ") + problem};
}

qint64 number(const QString& name, const QString& value, qint64 least) {
    bool isNumber = false;
    const qint64 result = value.toLongLong(&isNumber);
    if (!isNumber || result < least)
        throw usage(
            QStringLiteral("%1: \"%2\" is no whole number of %3 or more").arg(name, value).arg(least));
    return result;
}

QString defaultTag(int status) {
    switch (status) {
    case 401:
        return QStringLiteral("invalid_access_token");
    case 403:
        return QStringLiteral("no_permission");
    case 409:
        return QStringLiteral("too_many_write_operations");
    case 429:
        return QStringLiteral("too_many_requests");
    default:
        return {};
    }
}

} // namespace

FailureRule::FailureRule(const QString& text, const QStringList& routes) {
    const QString kind = text.section(QLatin1Char(':'), 0, 0);
    if (!parseKind(kind))
        throw usage(
            QStringLiteral("%1: no such kind; a status from 300 to 599, drop, lost, cut, delay, html, "
                           "empty or reset is meant")
                .arg(kind));
    for (const QString& selector :
         text.section(QLatin1Char(':'), 1).split(QLatin1Char(','), Qt::SkipEmptyParts))
        parseSelector(selector, routes);
    if (failure_.kind == Failure::Delay && failure_.delay.count() == 0)
        throw usage(QStringLiteral("delay: ms= is missing"));
}

bool FailureRule::parseKind(const QString& kind) {
    static const QHash<QString, Failure::Kind> kinds = {
        {QStringLiteral("drop"), Failure::Drop},   {QStringLiteral("lost"), Failure::Lost},
        {QStringLiteral("cut"), Failure::Cut},     {QStringLiteral("delay"), Failure::Delay},
        {QStringLiteral("html"), Failure::HTML},   {QStringLiteral("empty"), Failure::Empty},
        {QStringLiteral("reset"), Failure::Reset},
    };
    failure_.kind = kinds.value(kind, Failure::Status);
    if (failure_.kind != Failure::Status)
        return true;
    failure_.status = kind.toInt();
    failure_.tags = defaultTag(failure_.status);
    return failure_.status >= 300 && failure_.status <= 599;
}

void FailureRule::parseSelector(const QString& text, const QStringList& routes) {
    const QString name = text.section(QLatin1Char('='), 0, 0);
    const QString value = text.section(QLatin1Char('='), 1);
    if (name == QLatin1String("route")) {
        if (!routes.contains(value))
            throw usage(QStringLiteral("route: there is no \"%1\"").arg(value));
        route_ = value;
    } else if (name == QLatin1String("rate")) {
        bool isNumber = false;
        rate_ = value.toDouble(&isNumber);
        if (!isNumber || !(rate_ >= 0 && rate_ <= 1))
            throw usage(QStringLiteral("rate: \"%1\" is no number from 0 to 1").arg(value));
    } else if (name == QLatin1String("seed")) {
        random_.seed(std::mt19937_64::result_type(number(name, value, 0)));
    } else if (name == QLatin1String("nth")) {
        nth_ = number(name, value, 1);
    } else if (name == QLatin1String("every")) {
        every_ = number(name, value, 1);
    } else if (name == QLatin1String("from")) {
        from_ = number(name, value, 1);
    } else if (name == QLatin1String("to")) {
        to_ = number(name, value, 1);
    } else if (name == QLatin1String("count")) {
        count_ = number(name, value, 1);
    } else if (name == QLatin1String("ms")) {
        failure_.delay = std::chrono::milliseconds(number(name, value, 0));
    } else if (name == QLatin1String("retry-after")) {
        failure_.retryAfter = number(name, value, 0);
    } else if (name == QLatin1String("tag")) {
        failure_.tags = value;
    } else if (name == QLatin1String("plain") && value.isEmpty()) {
        failure_.isPlain = true;
    } else {
        throw usage(QStringLiteral("%1: there is no such selector").arg(text));
    }
}

bool FailureRule::strikes(const QString& route) {
    if (!route_.isEmpty() && route != route_)
        return false;
    ++seen_;
    // Drawn for every request, so that the other selectors do not shift the sequence. Not a standard
    // distribution: each library has its own.
    const bool isDrawn = double(random_() >> 11) / double(quint64(1) << 53) < rate_;
    const bool isChosen = isDrawn && (nth_ == 0 || seen_ == nth_) && seen_ % every_ == 0 && seen_ >= from_
                          && seen_ <= to_ && struck_ < count_;
    if (isChosen)
        ++struck_;
    return isChosen;
}

Reply Failure::reply(const QString& route) const {
    if (kind == HTML)
        return Reply::text(200,
                           QStringLiteral("<!DOCTYPE html><html><head><title>Log in</title></head>"
                                          "<body><h1>Welcome to this network</h1></body></html>\n"),
                           "text/html; charset=utf-8");
    if (kind == Empty)
        return jsonReply(QByteArray());

    Reply failed = Reply::text(status, QStringLiteral("failed on request"));
    const EndpointError error{tags.split(QLatin1Char('/')), {}, {}};
    if (status == 429 && !isPlain) {
        QJsonObject object{{QStringLiteral("reason"), errorObject({}, error)}};
        if (retryAfter)
            object.insert(QStringLiteral("retry_after"), *retryAfter);
        failed = errorReply(status, error.tags, object);
    } else if (!tags.isEmpty() && !isPlain) {
        failed = errorReply(status, error.tags, errorObject(route, error));
    }
    if (retryAfter)
        failed.headers.emplace_back("Retry-After", QByteArray::number(*retryAfter));
    if (status < 400)
        failed.headers.emplace_back("Location", "/elsewhere");
    return failed;
}

} // namespace standin
