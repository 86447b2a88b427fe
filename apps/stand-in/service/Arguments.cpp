#include "service/Arguments.h"

#include "service/Refusals.h"

#include <QDateTime>
#include <QHash>
#include <QRegularExpression>
#include <cmath>
#include <utility>

namespace standin {

namespace {

const char* patternOf(PathForm form) {
    switch (form) {
    case PathForm::Listed:
        return R"((/(.|[\r\n])*)?|id:.*|(ns:[0-9]+(/.*)?))";
    case PathForm::Read:
        return R"((/(.|[\r\n])*|id:.*)|(rev:[0-9a-f]{9,})|(ns:[0-9]+(/.*)?))";
    case PathForm::Written:
        return R"((/(.|[\r\n])*)|(ns:[0-9]+(/.*)?)|(id:.*))";
    case PathForm::Created:
        break;
    }
    return R"((/(.|[\r\n])*)|(ns:[0-9]+(/.*)?))";
}

// The pattern is a literal: it is compiled once.
bool matches(const QString& text, const char* pattern) {
    static QHash<const char*, QRegularExpression> compiled;
    QRegularExpression& whole = compiled[pattern];
    if (whole.pattern().isEmpty())
        whole.setPattern(QRegularExpression::anchoredPattern(QLatin1String(pattern)));
    return whole.match(text).hasMatch();
}

} // namespace

Arguments::Arguments(QJsonObject fields, QString place)
    : fields_(std::move(fields)), place_(std::move(place)) {}

void Arguments::refuse(const char* name, const QString& problem) const {
    throw BadRequest{QStringLiteral("%1: %2: %3").arg(place_, QLatin1String(name), problem)};
}

QJsonValue Arguments::value(const char* name) {
    return fields_.take(QLatin1String(name));
}

QJsonValue Arguments::required(const char* name, QJsonValue::Type type, const char* typeName) {
    if (!has(name))
        throw BadRequest{QStringLiteral("%1: missing required field '%2'").arg(place_, QLatin1String(name))};
    QJsonValue taken = value(name);
    if (taken.type() != type)
        refuse(name, QStringLiteral("expected %1").arg(QLatin1String(typeName)));
    return taken;
}

QString Arguments::text(const char* name, qsizetype longest) {
    QString taken = required(name, QJsonValue::String, "string").toString();
    if (taken.size() > longest)
        refuse(name, QStringLiteral("expected at most %1 characters, got %2").arg(longest).arg(taken.size()));
    return taken;
}

std::optional<QString> Arguments::hash(const char* name) {
    if (!has(name))
        return std::nullopt;
    const QString taken = text(name);
    if (!matches(taken, "[0-9a-f]{64}"))
        refuse(name, QStringLiteral("expected 64 hexadecimal digits in lower case"));
    return taken;
}

bool Arguments::flag(const char* name, bool fallback) {
    return has(name) ? required(name, QJsonValue::Bool, "boolean").toBool() : fallback;
}

qint64 Arguments::integer(const char* name, std::optional<qint64> fallback, qint64 least, qint64 most) {
    if (fallback && !has(name))
        return *fallback;
    const double taken = required(name, QJsonValue::Double, "integer").toDouble();
    if (taken != std::floor(taken) || taken < double(least) || taken > double(most))
        refuse(name, QStringLiteral("expected an integer from %1 to %2").arg(least).arg(most));
    return qint64(taken);
}

QString Arguments::path(const char* name, PathForm form) {
    QString taken = text(name);
    if (form == PathForm::Listed && taken == QLatin1String("/"))
        refuse(name, QStringLiteral("Specify the root folder as an empty string rather than as \"/\"."));
    if (!matches(taken, patternOf(form)))
        refuse(name,
               QStringLiteral("'%1' did not match pattern '%2'").arg(taken, QLatin1String(patternOf(form))));
    return taken;
}

void Arguments::time(const char* name) {
    if (!has(name))
        return;
    const QString taken = text(name);
    if (!matches(taken, R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)")
        || !QDateTime::fromString(taken, Qt::ISODate).isValid())
        refuse(name, QStringLiteral("'%1' does not match format '%Y-%m-%dT%H:%M:%SZ'").arg(taken));
}

Arguments Arguments::object(const char* name) {
    const QJsonObject taken = required(name, QJsonValue::Object, "object").toObject();
    return Arguments(taken, place_ + QLatin1String(": ") + QLatin1String(name));
}

void Arguments::ignore(std::initializer_list<const char*> names) {
    for (const char* name : names)
        fields_.remove(QLatin1String(name));
}

void Arguments::finish() const {
    if (!fields_.isEmpty())
        throw BadRequest{QStringLiteral("%1: unknown field '%2'").arg(place_, fields_.begin().key())};
}

} // namespace standin
