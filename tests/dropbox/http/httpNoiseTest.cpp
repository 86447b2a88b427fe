// Whatever bytes come back: each operation is answered, once.
#include "dropbox/http/HTTPClientFixture.h"

#include <QRegularExpression>
#include <random>

namespace {

class HTTPNoise : public HTTPClientTest, public testing::WithParamInterface<unsigned> {
protected:
    // An answer of the service, then bytes changed, taken out, doubled or cut off.
    QByteArray spoilt() {
        const QByteArray bodies[] = {
            fileJson("/F/a", 5),
            R"({"metadata":)" + fileJson("/F/a", 5) + "}",
            "bytes",
            "null",
            R"({"entries":[{".tag":"file",)" + fileJson("/F/a", 5).mid(1)
                + R"(],"cursor":"c1","has_more":false})",
            R"({"error_summary":"x","error":{".tag":"path","path":{".tag":"not_found"}}})"};
        const QByteArray statuses[] = {"200 OK",    "200 OK",   "409 Conflict", "500 Error",   "401 No",
                                       "302 Found", "204 None", "304 Same",     "100 Continue"};
        const QByteArray body = bodies[upTo(std::size(bodies))];
        QByteArray bytes = "HTTP/1.1 " + statuses[upTo(std::size(statuses))] + "\r\nContent-Length: "
                           + QByteArray::number(body.size()) + "\r\nDropbox-API-Result: "
                           + fileJson("/F/a", 5) + "\r\nWWW-Authenticate: Basic realm=\"x\"\r\n\r\n" + body;
        for (std::size_t change = upTo(4); change > 0; --change) {
            const qsizetype at = qsizetype(upTo(std::size_t(bytes.size())));
            switch (upTo(4)) {
            case 0:
                bytes[at] = char(upTo(256));
                break;
            case 1:
                bytes.remove(at, qsizetype(upTo(20)));
                break;
            case 2:
                bytes.insert(at, bytes.mid(at, qsizetype(upTo(20))));
                break;
            default:
                bytes.truncate(at + 1);
            }
        }
        return bytes;
    }
    std::size_t upTo(std::size_t limit) { return random_() % limit; }

    std::mt19937 random_{GetParam()};
};

TEST_P(HTTPNoise, Is_answered_once) {
    for (int round = 0; round < 20; ++round) {
        localFile("staged", "bytes");
        localFile("download", "old");
        server.always(spoilt(), ScriptedServer::Closes);
        client->loadDelta("c0");
        client->uploadFile("a", "/F", {}, directory.filePath("staged"));
        client->deletePath("/F/a");
        client->loadFile("/F/a", directory.filePath("download"));
        client->loadMetadata("/F/a");
        const QStringList lines = answers(5);
        ASSERT_EQ(lines.size(), 5) << lines.join('\n').toStdString();
        const bool isLoaded = !lines.filter(QRegularExpression("^loaded ")).isEmpty();
        EXPECT_EQ(bytesAt("download") == "old", !isLoaded);
        EXPECT_EQ(localFiles(), QStringList({"download", "staged"}));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, HTTPNoise, testing::Range(1u, 11u));

} // namespace
