#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <initializer_list>
#include <optional>

namespace standin {

// What the service accepts as a path.
enum class PathForm {
    Listed,  // "" is the root; also ids and namespaces
    Read,    // not the root; also ids, revisions and namespaces
    Written, // not the root; also ids and namespaces
    Created, // not the root; also namespaces
};

// The argument of a call, field by field. A field that is missing, has another type or another form, or that
// nobody asks for, is a bad request: it is thrown as BadRequest, in the words of the service.
class Arguments {
public:
    // `place` is where the argument came from: "request body", …
    Arguments(QJsonObject fields, QString place);

    bool has(const char* name) const { return fields_.contains(QLatin1String(name)); }
    QString text(const char* name, qsizetype longest = 1 << 20);
    // 64 hexadecimal digits; nothing when it is missing.
    std::optional<QString> hash(const char* name);
    bool flag(const char* name, bool fallback);
    qint64 integer(const char* name, std::optional<qint64> fallback, qint64 least, qint64 most);
    QString path(const char* name, PathForm form);
    void time(const char* name); // only its form matters
    Arguments object(const char* name);
    // Takes the field whatever it is; undefined when it is missing.
    QJsonValue value(const char* name);

    // Fields of the service's that make no difference here.
    void ignore(std::initializer_list<const char*> names);
    // Everything known has been taken: what is left is not known.
    void finish() const;

    [[noreturn]] void refuse(const char* name, const QString& problem) const;

private:
    QJsonValue required(const char* name, QJsonValue::Type type, const char* typeName);

    QJsonObject fields_;
    QString place_;
};

} // namespace standin
