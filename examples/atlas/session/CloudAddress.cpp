#include "session/CloudAddress.h"

#include "dropbox/folder/QWFolderRestClient.h"
#include "dropbox/http/QWHTTPRestClient.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QUrl>

namespace atlas {

namespace {

constexpr QLatin1String folderScheme("folder:");
constexpr qint64 longestToken = 100'000; // bytes; a token of the service has some hundred

std::nullopt_t fail(QWError* error, const QString& message) {
    qw::fail(error, {QStringLiteral("atlas"), 1, message});
    return std::nullopt;
}

std::nullopt_t refuse(QString address, QWError* error) {
    static const QRegularExpression userInfo(QStringLiteral("//[^/]*@")); // may hold a password
    address.replace(userInfo, QStringLiteral("//…@"));
    return fail(error,
                QStringLiteral("expected folder:PATH or http(s)://HOST[:PORT], found \"%1\"").arg(address));
}

std::optional<QString> serverAddress(const QString& given, QWError* error) {
    const QUrl url(given, QUrl::StrictMode);
    const bool isHostAlone = url.userInfo().isEmpty() && !url.hasQuery() && !url.hasFragment()
                             && (url.path().isEmpty() || url.path() == QLatin1String("/"));
    if (!url.isValid() || url.host().isEmpty() || !isHostAlone)
        return refuse(given, error);
    // Whichever of the service's names is given, its API is meant; and never in the clear.
    QString host = url.host();
    if (host.endsWith(QLatin1Char('.'))) // means the same name
        host.chop(1);
    for (const char* domain : {"dropboxapi.com", "dropbox.com"})
        if (host == QLatin1String(domain) || host.endsWith(QLatin1Char('.') + QLatin1String(domain)))
            return QWHTTPRestClientOptions().apiHost.toString();
    if (const QString objection = QWHTTPRestClient::objectionToHost(url); !objection.isEmpty())
        return fail(error, given + ": " + objection);
    return url.toString(QUrl::RemovePath);
}

// The bytes of the file, without the line break that an editor ends it with.
std::optional<QString> tokenInFile(const QString& path, QWError* error) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, QStringLiteral("--token-file: %1: %2").arg(path, file.errorString()));
    QByteArray bytes = file.read(longestToken);
    if (bytes.endsWith('\n'))
        bytes.chop(bytes.endsWith("\r\n") ? 2 : 1);
    return QString::fromUtf8(bytes);
}

std::optional<QString> accessToken(const CloudOptions& options, QWError* error) {
    if (options.token.has_value() == options.tokenFile.has_value())
        return fail(error, QStringLiteral("%1 wants one of --token and --token-file").arg(options.cloud));
    const auto token = options.token ? options.token : tokenInFile(*options.tokenFile, error);
    if (!token)
        return {};
    if (const QString objection = QWHTTPRestClient::objectionToAccessToken(*token); !objection.isEmpty())
        return fail(error, (options.token ? QStringLiteral("--token") : "--token-file: " + *options.tokenFile)
                               + ": " + objection);
    return token;
}

} // namespace

bool wantsToken(const QString& address) {
    return address.startsWith(QLatin1String("http:")) || address.startsWith(QLatin1String("https:"));
}

std::optional<QString> addressFromText(const QString& text, QWError* error) {
    if (wantsToken(text))
        return serverAddress(text, error);
    const QString path = text.mid(folderScheme.size());
    if (!text.startsWith(folderScheme) || path.isEmpty())
        return refuse(text, error);
    return folderScheme + QDir(path).absolutePath();
}

std::optional<CloudAddress> cloudAddress(const CloudOptions& options, QWError* error) {
    QWError reason;
    const auto address = addressFromText(options.cloud, &reason);
    if (!address)
        return fail(error, "--cloud: " + reason.message);
    if (wantsToken(*address)) {
        const auto token = accessToken(options, error);
        return token ? std::optional(CloudAddress{*address, *token}) : std::nullopt;
    }
    if (options.token || options.tokenFile)
        return fail(error, options.cloud + ": a folder takes no token");
    return CloudAddress{*address, {}};
}

std::unique_ptr<DBRestClient> openCloud(const CloudAddress& cloud,
                                        const std::shared_ptr<QWEnvironment>& environment, QWError* error) {
    if (wantsToken(cloud.address)) {
        QWHTTPRestClientOptions options{.accessToken = cloud.accessToken};
        // A server that is not the service itself stands for both halves of it.
        if (const QUrl server(cloud.address); server != options.apiHost)
            options.apiHost = options.contentHost = server;
        return std::make_unique<QWHTTPRestClient>(options, environment);
    }
    QWError reason;
    auto client = QWFolderRestClient::open(cloud.address, environment, &reason);
    if (!client)
        fail(error, QStringLiteral("%1: %2").arg(cloud.address, reason.message));
    return client;
}

} // namespace atlas
