#include "service/ServiceRoutes.h"

#include <QJsonDocument>
#include <algorithm>

namespace standin {

namespace {

const QString argumentHeader = QStringLiteral("HTTP header \"Dropbox-API-Arg\"");
constexpr qint64 longestArgument = 1024 * 1024;

// The media type without its parameters, in lower case.
QByteArray mediaType(const Request& request) {
    return request.header("Content-Type").value_or(QByteArray()).split(';').first().trimmed().toLower();
}

QJsonObject decoded(const QByteArray& json, const QString& place) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError)
        throw BadRequest{place + QStringLiteral(": could not decode input as JSON")};
    if (!document.isObject())
        throw BadRequest{place + QStringLiteral(": expected object")};
    return document.object();
}

Arguments bodyArguments(const Request& request) {
    const QString place = QStringLiteral("request body");
    const QByteArray type = mediaType(request);
    const bool isVoid = request.body->size() == 0 && !request.header("Content-Type");
    if (!isVoid && type != "application/json")
        throw BadRequest{QStringLiteral("Bad HTTP \"Content-Type\" header: \"%1\".  Expecting one of "
                                        "\"application/json\", \"application/json; charset=utf-8\"")
                             .arg(QString::fromLatin1(type))};
    if (request.body->size() > longestArgument)
        throw BadRequest{place + QStringLiteral(": too long")};
    const QByteArray json = request.body->all();
    if (isVoid || json.trimmed() == "null")
        return Arguments({}, place);
    return Arguments(decoded(json, place), place);
}

Arguments headerArguments(const Request& request) {
    const auto header = request.header("Dropbox-API-Arg");
    if (!header) {
        // A form's encoding: "+" is a space.
        const QUrlQuery query(
            request.target.query(QUrl::FullyEncoded).replace(QLatin1Char('+'), QLatin1String("%20")));
        const QString place = QStringLiteral("URL parameter \"arg\"");
        if (!query.hasQueryItem(QStringLiteral("arg")))
            throw BadRequest{
                QStringLiteral("Must provide HTTP header \"Dropbox-API-Arg\" or URL parameter \"arg\".")};
        return Arguments(
            decoded(query.queryItemValue(QStringLiteral("arg"), QUrl::FullyDecoded).toUtf8(), place), place);
    }
    const auto isASCII = [](char c) { return c >= 0x20 && c < 0x7f; };
    if (!std::all_of(header->begin(), header->end(), isASCII))
        throw BadRequest{argumentHeader
                         + QStringLiteral(": must be ASCII; escape other characters as \\uXXXX")};
    return Arguments(decoded(*header, argumentHeader), argumentHeader);
}

} // namespace

Service::Service(std::shared_ptr<QWAppFolder> folder, std::shared_ptr<QWEnvironment> environment,
                 ServiceOptions options)
    : folder_(std::move(folder)), environment_(std::move(environment)), options_(std::move(options)) {}

Service::~Service() {
    nextCheck_.cancel();
}

const std::vector<Service::Route>& Service::routes() {
    static const std::vector<Route> table = {
        {"check/user", Route::RPC, &Service::checkUser},
        {"files/create_folder_v2", Route::RPC, &Service::createFolder},
        {"files/delete_v2", Route::RPC, &Service::remove},
        {"files/download", Route::Download, &Service::download},
        {"files/get_metadata", Route::RPC, &Service::getMetadata},
        {"files/list_folder", Route::RPC, &Service::listFolder},
        {"files/list_folder/continue", Route::RPC, &Service::continueListing},
        {"files/list_folder/get_latest_cursor", Route::RPC, &Service::latestCursor},
        {"files/list_folder/longpoll", Route::LongPoll, nullptr},
        {"files/move_v2", Route::RPC, &Service::move},
        {"files/upload", Route::Upload, &Service::upload},
        {"files/upload_session/append_v2", Route::Upload, &Service::appendToSession},
        {"files/upload_session/finish", Route::Upload, &Service::finishSession},
        {"files/upload_session/start", Route::Upload, &Service::startSession},
        {"users/get_current_account", Route::RPC, &Service::currentAccount},
    };
    return table;
}

QStringList Service::routeNames() {
    QStringList names;
    for (const Route& route : routes())
        names += QLatin1String(route.name);
    return names;
}

const Service::Route* Service::find(const QString& name) {
    const auto route = std::find_if(routes().begin(), routes().end(), [&](const Route& candidate) {
        return name == QLatin1String(candidate.name);
    });
    return route == routes().end() ? nullptr : &*route;
}

QString Service::routeOf(const QUrl& target) {
    const QString path = target.path();
    const QString name = path.startsWith(QLatin1String("/2/")) ? path.mid(3) : QString();
    return find(name) ? name : QString();
}

void Service::handle(const Request& request, const Answer& answer) {
    const QString path = request.target.path();
    const Route* route = find(routeOf(request.target));
    if (!route && path.startsWith(QLatin1String("/2/")))
        return answer(Reply::text(400, QStringLiteral("Unknown API function: \"%1\"").arg(path.mid(3))));
    if (!route)
        return answer(Reply::text(404, QStringLiteral("Nothing is served at \"%1\".").arg(path)));
    if (request.method != "POST" && !(request.method == "GET" && route->style == Route::Download))
        return answer(Reply::text(405, QStringLiteral("\"%1\" wants POST.").arg(path)));

    const QString name = QLatin1String(route->name);
    try {
        checkToken(request, *route);
        if (route->style == Route::LongPoll) {
            Arguments arguments = bodyArguments(request);
            startLongPoll(arguments, answer);
        } else {
            answer(carryOut(request, *route));
        }
    } catch (const BadRequest& bad) {
        answer(Reply::text(
            400, QStringLiteral("Error in call to API function \"%1\": %2").arg(name, bad.problem)));
    } catch (const BadToken&) {
        const QString tag = QStringLiteral("invalid_access_token");
        answer(errorReply(401, {tag}, {{QStringLiteral(".tag"), tag}}));
    } catch (const EndpointError& error) {
        answer(errorReply(409, error.tags, errorObject(name, error)));
    } catch (const Breakdown& breakdown) {
        answer(Reply::text(500, breakdown.problem));
    }
    checkLongPolls();
}

void Service::checkToken(const Request& request, const Route& route) const {
    const auto authorization = request.header("Authorization");
    if (route.style == Route::LongPoll) {
        if (authorization)
            throw BadRequest{QStringLiteral("This call takes no HTTP header \"Authorization\".")};
        return;
    }
    if (!authorization)
        throw BadRequest{QStringLiteral("Must provide HTTP header \"Authorization\".")};
    const QByteArray bearer = "Bearer ";
    if (!authorization->startsWith(bearer) || authorization->size() == bearer.size())
        throw BadRequest{QStringLiteral("Invalid authorization value in HTTP header \"Authorization\": "
                                        "expecting \"Bearer <access token>\".")};
    if (!options_.token.isEmpty() && authorization->mid(bearer.size()) != options_.token.toUtf8())
        throw BadToken();
}

Reply Service::carryOut(const Request& request, const Route& route) {
    if (route.style == Route::RPC) {
        Arguments arguments = bodyArguments(request);
        return (this->*route.handler)(arguments, request);
    }
    const QByteArray type = mediaType(request);
    const bool isBare = route.style == Route::Download && !request.header("Content-Type");
    if (!isBare && type != "application/octet-stream")
        throw BadRequest{QStringLiteral("Bad HTTP \"Content-Type\" header: \"%1\".  Expecting one of "
                                        "\"application/octet-stream\"")
                             .arg(QString::fromLatin1(type))};
    if (route.style == Route::Download && request.body->size() > 0)
        throw BadRequest{QStringLiteral("request body: expected to be empty")};
    Arguments arguments = headerArguments(request);
    return (this->*route.handler)(arguments, request);
}

void Service::forgetCursors() {
    folder_->forgetCursors();
    checkLongPolls();
}

} // namespace standin
