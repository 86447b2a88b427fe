#include "dropbox/http/QWServiceAnswers_p.h"

#include <gmock/gmock.h>

namespace {

using namespace std::chrono_literals;
using namespace qw::http;

TEST(HeaderText, Is_ASCII_for_every_character) {
    QString text;
    for (uint code = 1; code < 0x3000; ++code)
        text += QChar(code);
    text += QString("\U0001F30D") + QChar(0xD800); // the last is half of a pair
    const QByteArray header = headerText({{"path", text}});
    for (const char c : header)
        ASSERT_TRUE(c >= ' ' && c < 0x7F) << int(c);
    EXPECT_EQ((*jsonObject(header))["path"].toString().left(text.size() - 1), text.left(text.size() - 1));
}

TEST(ErrorTags, Follow_the_unions_inwards) {
    const auto tags = [](const QByteArray& error, int status = 409) {
        return errorTags({.status = status, .body = "{\"error\":" + error + "}"}).join('/');
    };
    EXPECT_EQ(tags(R"({".tag":"path","path":{".tag":"conflict","conflict":{".tag":"file"}}})"),
              "path/conflict/file");
    EXPECT_EQ(tags(R"({".tag":"path","reason":{".tag":"conflict","conflict":"file"}})"),
              "path/conflict/file");
    EXPECT_EQ(tags(R"({"reason":{".tag":"too_many_requests"},"retry_after":3})", 429), "too_many_requests");
    for (const QByteArray none : {"{}", "5", "null", "[]", R"({".tag":5})"})
        EXPECT_EQ(tags(none), "");
    EXPECT_TRUE(errorTags({.status = 409, .body = "Conflict"}).isEmpty());
    EXPECT_EQ(tags(R"({".tag":"path","path":{".tag":"not_found"}})", 200), "");
}

struct Wait {
    QWHTTPAnswer answer;
    std::optional<Pause::Scope> scope;
    std::optional<QWRunLoop::Duration> length;
};

TEST(PauseAskedFor, Is_what_the_service_says) {
    const QDateTime now({2024, 5, 6}, {7, 8, 9}, Qt::UTC);
    const QByteArray requests = R"({"error":{"reason":{".tag":"too_many_requests"},"retry_after":7}})";
    const QByteArray writes = R"({"error":{"reason":{".tag":"too_many_write_operations"}}})";
    const QByteArray contention =
        R"({"error":{".tag":"path","reason":{".tag":"too_many_write_operations"}}})";
    const Wait table[] = {
        {{.status = 200, .retryAfter = "5"}, {}, {}},
        {{.status = 401, .retryAfter = "5"}, {}, {}},
        {{.status = 500, .retryAfter = "5"}, {}, {}},
        {{.status = 503}, {}, {}},
        {{.status = 503, .retryAfter = "0"}, {}, {}},
        {{.status = 503, .retryAfter = "soon"}, {}, {}},
        {{.status = 503, .retryAfter = " 120 "}, Pause::Host, 120s},
        {{.status = 503, .retryAfter = "Mon, 06 May 2024 07:09:09 GMT"}, Pause::Host, 60s},
        {{.status = 503, .retryAfter = "Mon, 06 May 2024 07:00:00 GMT"}, {}, {}},
        {{.status = 503, .retryAfter = "99999999999"}, Pause::Host, std::chrono::seconds(1LL << 31)},
        {{.status = 429}, Pause::Request, {}},
        {{.status = 429, .retryAfter = "0"}, Pause::Request, {}},
        {{.status = 429, .retryAfter = "-5"}, Pause::Request, {}},
        {{.status = 429, .body = "too_many_requests", .retryAfter = "30"}, Pause::Everything, 30s},
        {{.status = 429, .body = requests}, Pause::Everything, 7s},
        {{.status = 429, .body = requests, .retryAfter = "30"}, Pause::Everything, 30s},
        {{.status = 429, .body = writes}, Pause::Request, {}},
        {{.status = 429, .body = writes, .retryAfter = "30"}, Pause::Changes, 30s},
        {{.status = 409, .body = contention, .retryAfter = "30"}, Pause::Request, {}},
        {{.status = 409, .body = requests, .retryAfter = "30"}, {}, {}},
    };
    for (const Wait& row : table) {
        const auto pause = pauseAskedFor(row.answer, now);
        const std::string what = std::to_string(row.answer.status) + " " + row.answer.retryAfter.toStdString()
                                 + " " + row.answer.body.toStdString();
        ASSERT_EQ(pause.has_value(), row.scope.has_value()) << what;
        if (pause) {
            EXPECT_EQ(pause->scope, *row.scope) << what;
            EXPECT_EQ(pause->length, row.length) << what;
        }
    }
}

} // namespace
