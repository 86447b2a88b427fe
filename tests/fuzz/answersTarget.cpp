// An answer of the service, or of whatever stands in its place, to each operation of the client: taken only
// as what the service says, and nobody learns the token from it.
//
// The input is an answer in the form of HTTP: a line with the status, lines of headers, an empty line, and the
// body, which comes in pieces.
#include "Fuzzing.h"

#include "dropbox/http/QWDeltaQuery_p.h"
#include "dropbox/http/QWFileDownload_p.h"
#include "dropbox/http/QWFileUpload_p.h"
#include "dropbox/http/QWHTTPExchange_p.h"
#include "testing/QWVirtualWorld.h"

#include <QDir>
#include <QJsonArray>
#include <QTemporaryDir>
#include <set>

using namespace qw::http;

namespace {

const QByteArray token = "sl.a-token-of-the-fuzzer";

struct Answer {
    QWHTTPHead head;
    QByteArray body;
};

Answer answerIn(const QByteArray& input) {
    const qsizetype end = input.indexOf("\n\n");
    Answer answer;
    answer.body = end < 0 ? QByteArray() : input.mid(end + 2);
    const QList<QByteArray> lines = input.left(end).split('\n');
    answer.head.status = lines[0].toInt();
    for (const QByteArray& line : lines) {
        const QByteArray name = line.left(line.indexOf(':')).toLower();
        const QByteArray value = line.mid(line.indexOf(':') + 1).trimmed();
        if (name == "content-type")
            answer.head.contentType = value;
        else if (name == "retry-after")
            answer.head.retryAfter = value;
        else if (name == "dropbox-api-result")
            answer.head.result = value;
    }
    return answer;
}

// What the exchange makes of it. Half of the body each time, so that long ones end.
QWHTTPAnswer exchanged(const Answer& answer, QWVirtualWorld& world,
                       const std::shared_ptr<QWFileDownload>& download = {}) {
    int answers = 0;
    QWHTTPAnswer result;
    QWHTTPExchange exchange(download, *world.runLoop, std::chrono::minutes(1),
                            [&](const QWHTTPAnswer& given) {
                                ++answers;
                                result = given;
                            });
    if (answer.head.status > 0)
        exchange.headCame(answer.head);
    bool goesOn = true;
    for (qsizetype at = 0; goesOn && at < answer.body.size();) {
        const qsizetype length = std::max<qsizetype>(1, (answer.body.size() - at) / 2);
        goesOn = exchange.bytesCame(answer.body.mid(at, length));
        at += length;
    }
    exchange.ended(answer.head.status > 0 ? QString() : QStringLiteral("no answer"));
    world.runLoop->advance(std::chrono::hours(1));
    require(answers == 1, "a request is answered once");
    result.host = QStringLiteral("api.example");
    result.token = token;
    return result;
}

void checkMetadata(const DBMetadata& metadata) {
    require(!metadata.path.isEmpty() && metadata.totalBytes >= 0, "a file has a path and a size");
    require(metadata.isDirectory || (!metadata.rev.isEmpty() && metadata.lastModifiedDate.isValid()),
            "a file has a revision and a date");
    for (const char c : headerText({{"path", metadata.path}}))
        require(c >= ' ' && c < 0x7f, "a header is printable ASCII");
}

void checkPage(const QByteArray& body) {
    const auto read = page(body);
    if (!read)
        return;
    require(!read->cursor.isEmpty(), "a page has a cursor");
    QWDeltaQuery query("c");
    query.add(*read);
    query.add(*read);
    std::set<QString> paths;
    for (const auto& entry : query.entries()) {
        require(!entry->lowercasePath.isEmpty(), "an entry has a path");
        require(paths.insert(entry->lowercasePath).second, "each path has one state");
        if (entry->metadata)
            checkMetadata(*entry->metadata);
    }
}

void checkPause(const QWHTTPAnswer& answer) {
    const auto pause = pauseAskedFor(answer, QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC));
    if (pause && pause->length)
        require(pause->length->count() > 0, "a wait has a length");
}

void checkError(const QWHTTPAnswer& answer) {
    const QWError error = failure(QStringLiteral("Looking up /a"), answer, {});
    require(!error.message.toUtf8().contains(token), "no text shows the token");
    require(error.message.size() < 1000, "a reason is short");
    require(error.code != 404 || answer.status == 409, "only the service says that a file is missing");
    require(!error.message.contains('\n'), "a reason is one line");
}

void checkDownload(const Answer& answer, QWVirtualWorld& world, const QTemporaryDir& folder) {
    const QString path = folder.filePath("file");
    require(world.files->write(path, "old"), "there is a file to replace");
    bool isWritten = false;
    {
        const auto download = std::make_shared<QWFileDownload>(*world.files, path);
        isWritten = exchanged(answer, world, download).status == 200 && download->commit(nullptr);
        if (isWritten)
            checkMetadata(download->metadata());
    }
    require(world.files->read(path) == (isWritten ? answer.body : QByteArray("old")),
            "a download is there whole or not at all");
    require(QDir(folder.path()).entryList(QDir::Files) == QStringList("file"), "a download leaves nothing");
}

// A file in three pieces, whose every request is answered alike.
void checkUpload(const QWHTTPAnswer& answer, QWVirtualWorld& world, const QTemporaryDir& folder) {
    const QString path = folder.filePath("file");
    require(world.files->write(path, "0123456789"), "there is a file to send");
    QWFileUpload upload(*world.files, {{"path", "/F/a"}}, path, 4, 1);
    int requests = 0;
    do {
        const auto request = upload.request(nullptr);
        require(request && request->body.size() <= 4, "a piece has its size");
        require(++requests <= 20, "an upload ends");
    } while (upload.goesOnAfter(answer));
}

} // namespace

void runInput(const QByteArray& input) {
    static QWVirtualWorld world;
    static const QTemporaryDir folder;
    const Answer given = answerIn(input);
    const QWHTTPAnswer answer = exchanged(given, world);
    checkPage(answer.body);
    if (const auto metadata = fileMetadata(answer.body))
        checkMetadata(*metadata);
    if (const auto object = jsonObject(answer.body))
        if (const auto metadata = qw::http::metadata(*object))
            checkMetadata(*metadata);
    checkPause(answer);
    checkError(answer);
    QWHTTPAnswer quoting = answer;
    quoting.body.insert(quoting.body.size() / 2, token);
    checkError(quoting);
    checkUpload(answer, world, folder);
    checkDownload(given, world, folder);
}
