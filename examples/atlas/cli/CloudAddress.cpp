#include "cli/CloudAddress.h"

#include "dropbox/folder/QWFolderRestClient.h"
#include "dropbox/http/QWHTTPRestClient.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QUrl>

namespace {

constexpr QLatin1String folderScheme("folder:");
constexpr qint64 longestToken = 100'000; // bytes; a token of the service has some hundred

[[noreturn]] void refuse(QString address) {
    static const QRegularExpression userInfo(QStringLiteral("//[^/]*@")); // may hold a password
    address.replace(userInfo, QStringLiteral("//…@"));
    throw Failure(
        QStringLiteral("--cloud: expected folder:PATH or http(s)://HOST[:PORT], found \"%1\"").arg(address));
}

bool isHTTP(const QString& address) {
    return address.startsWith(QLatin1String("http:")) || address.startsWith(QLatin1String("https:"));
}

QString serverAddress(const QString& given) {
    const QUrl url(given, QUrl::StrictMode);
    const bool isHostAlone = url.userInfo().isEmpty() && !url.hasQuery() && !url.hasFragment()
                             && (url.path().isEmpty() || url.path() == QLatin1String("/"));
    if (!url.isValid() || url.host().isEmpty() || !isHostAlone)
        refuse(given);
    // Whichever of the service's names is given, its API is meant; and never in the clear.
    QString host = url.host();
    if (host.endsWith(QLatin1Char('.'))) // means the same name
        host.chop(1);
    for (const char* domain : {"dropboxapi.com", "dropbox.com"})
        if (host == QLatin1String(domain) || host.endsWith(QLatin1Char('.') + QLatin1String(domain)))
            return QWHTTPRestClientOptions().apiHost.toString();
    return url.toString(QUrl::RemovePath);
}

// The bytes of the file, without the line break that an editor ends it with.
QString tokenInFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(QStringLiteral("--token-file: %1: %2").arg(path, file.errorString()));
    QByteArray bytes = file.read(longestToken);
    if (bytes.endsWith('\n'))
        bytes.chop(bytes.endsWith("\r\n") ? 2 : 1);
    return QString::fromUtf8(bytes);
}

QString accessToken(const Arguments& arguments) {
    const bool isInFile = arguments.has("token-file");
    if (arguments.has("token") == isInFile)
        throw Failure(
            QStringLiteral("%1 wants one of --token and --token-file").arg(arguments.value("cloud")));
    const QString path = arguments.value("token-file");
    const QString token = isInFile ? tokenInFile(path) : arguments.value("token");
    if (const QString objection = QWHTTPRestClient::objectionToAccessToken(token); !objection.isEmpty())
        throw Failure((isInFile ? "--token-file: " + path : QStringLiteral("--token")) + ": " + objection);
    return token;
}

} // namespace

CloudAddress cloudAddress(const Arguments& arguments) {
    const QString given = arguments.value("cloud");
    if (isHTTP(given)) {
        const QString server = serverAddress(given);
        return {server, accessToken(arguments)};
    }
    const QString path = given.mid(folderScheme.size());
    if (!given.startsWith(folderScheme) || path.isEmpty())
        refuse(given);
    if (arguments.has("token") || arguments.has("token-file"))
        throw Failure(given + ": a folder takes no token");
    return {folderScheme + QDir(path).absolutePath(), {}};
}

std::unique_ptr<DBRestClient> openCloud(const CloudAddress& cloud,
                                        const std::shared_ptr<QWEnvironment>& environment) {
    if (isHTTP(cloud.address)) {
        QWHTTPRestClientOptions options{.accessToken = cloud.accessToken};
        // A server that is not the service itself stands for both halves of it.
        if (const QUrl server(cloud.address); server != options.apiHost)
            options.apiHost = options.contentHost = server;
        return std::make_unique<QWHTTPRestClient>(options, environment);
    }
    QWError error;
    auto client = QWFolderRestClient::open(cloud.address, environment, &error);
    if (!client)
        throw Failure(QStringLiteral("%1: %2").arg(cloud.address, error.message));
    return client;
}
