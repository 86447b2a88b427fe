#include "apps/stand-in/StandInTest.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// What the service refuses to read is answered 400, in plain text.
class StandInStrictness : public StandInTest {
protected:
    StandInStrictness() { start(); }

    HTTPAnswer uploadWith(const QByteArray& argumentHeader) {
        return request("/2/files/upload", {bearer, bytes, argumentHeader}, "x");
    }
    HTTPAnswer rpcWith(const HeaderLines& headers, const QByteArray& body,
                       const QByteArray& route = "files/get_metadata") {
        return request("/2/" + route, headers, body);
    }
};

TEST_F(StandInStrictness, A_route_that_takes_JSON_takes_no_other_content_type) {
    const QByteArray argument = R"({"path":"/a"})";
    for (const char* type :
         {"application/x-www-form-urlencoded", "text/plain", "application/octet-stream", ""})
        EXPECT_THAT(bad(rpcWith({bearer, QByteArray("Content-Type: ") + type}, argument)),
                    HasSubstr("Content-Type"))
            << type;
    EXPECT_THAT(bad(rpcWith({bearer}, argument)), HasSubstr("Content-Type"));
    EXPECT_EQ(rpcWith({bearer, "Content-Type: application/json; charset=utf-8"}, argument).status, 409);
}

TEST_F(StandInStrictness, A_route_that_takes_bytes_takes_no_other_content_type) {
    const QByteArray argument = R"(Dropbox-API-Arg: {"path":"/a"})";
    for (const char* type : {"application/x-www-form-urlencoded", "application/json", "image/png"})
        EXPECT_THAT(
            bad(request("/2/files/upload", {bearer, QByteArray("Content-Type: ") + type, argument}, "x")),
            HasSubstr("Content-Type"))
            << type;
    EXPECT_THAT(bad(request("/2/files/upload", {bearer, argument}, "x")), HasSubstr("Content-Type"));
    EXPECT_THAT(bad(request("/2/files/download",
                            {bearer, "Content-Type: application/x-www-form-urlencoded", argument}, "")),
                HasSubstr("Content-Type"));
    EXPECT_EQ(conflict(request("/2/files/download", {bearer, bytes, argument}, "")), "path/not_found/");
}

TEST_F(StandInStrictness, A_download_has_no_body) {
    for (const QByteArray& type : {bytes, QByteArray("X: y")})
        EXPECT_THAT(
            bad(request("/2/files/download", {bearer, type, R"(Dropbox-API-Arg: {"path":"/a"})"}, "x")),
            HasSubstr("expected to be empty"));
}

TEST_F(StandInStrictness, The_argument_in_a_header_is_JSON_in_ASCII) {
    EXPECT_THAT(bad(uploadWith("X: y")), HasSubstr("Dropbox-API-Arg"));
    EXPECT_THAT(bad(uploadWith("Dropbox-API-Arg: {")), HasSubstr("could not decode input as JSON"));
    EXPECT_THAT(bad(uploadWith("Dropbox-API-Arg: []")), HasSubstr("expected object"));
    EXPECT_THAT(bad(uploadWith("Dropbox-API-Arg: {\"path\":\"/\xc3\xa4\"}")), HasSubstr("ASCII"));
    EXPECT_EQ(uploadWith("Dropbox-API-Arg: {\"path\":\"/\x7f\"}").status, 400);
    EXPECT_EQ(uploadWith(R"(Dropbox-API-Arg: {"path":"/\u00e4"})").status, 200);
    EXPECT_EQ(conflict(uploadWith(R"(Dropbox-API-Arg: {"path":"/\u007f"})")), "path/malformed_path/");
}

TEST_F(StandInStrictness, The_argument_in_a_body_is_JSON) {
    EXPECT_THAT(bad(rpcWith({bearer, json}, "{")), HasSubstr("could not decode input as JSON"));
    EXPECT_THAT(bad(rpcWith({bearer, json}, "")), HasSubstr("could not decode input as JSON"));
    EXPECT_THAT(bad(rpcWith({bearer, json}, R"(["/a"])")), HasSubstr("expected object"));
    EXPECT_THAT(bad(rpcWith({bearer, json}, "null")), HasSubstr("missing required field 'path'"));
}

TEST_F(StandInStrictness, Fields_have_a_type_and_a_name) {
    EXPECT_THAT(bad(rpc("files/get_metadata", {})),
                AllOf(HasSubstr("\"files/get_metadata\""), HasSubstr("missing required field 'path'")));
    EXPECT_THAT(bad(rpc("files/get_metadata", {{"path", 1}})), HasSubstr("path: expected string"));
    EXPECT_THAT(bad(rpc("files/get_metadata", {{"path", "/a"}, {"include_deleted", "yes"}})),
                HasSubstr("include_deleted: expected boolean"));
    EXPECT_THAT(bad(rpc("files/get_metadata", {{"path", "/a"}, {"colour", "red"}})),
                HasSubstr("unknown field 'colour'"));
    EXPECT_THAT(bad(rpc("files/list_folder", {{"path", ""}, {"limit", 1.5}})), HasSubstr("limit"));
    EXPECT_THAT(bad(request("/2/users/get_current_account", {bearer, json}, R"({"a":1})")),
                HasSubstr("unknown field 'a'"));
    EXPECT_THAT(bad(content("files/upload_session/append_v2", {{"cursor", "x"}}, "")),
                HasSubstr("cursor: expected object"));
}

TEST_F(StandInStrictness, Paths_match_the_pattern_of_their_route) {
    for (const char* path : {"a", "a/b", "", "C:\\a"}) {
        EXPECT_THAT(bad(rpc("files/get_metadata", {{"path", path}})), HasSubstr("did not match pattern"))
            << path;
        EXPECT_THAT(bad(rpc("files/delete_v2", {{"path", path}})), HasSubstr("did not match pattern"))
            << path;
        EXPECT_THAT(bad(rpc("files/create_folder_v2", {{"path", path}})), HasSubstr("did not match pattern"));
        EXPECT_THAT(bad(rpc("files/move_v2", {{"from_path", "/a"}, {"to_path", path}})),
                    HasSubstr("did not match pattern"));
        EXPECT_THAT(bad(upload(path, "x")), HasSubstr("did not match pattern")) << path;
        EXPECT_THAT(bad(download(path)), HasSubstr("did not match pattern")) << path;
    }
    EXPECT_THAT(bad(rpc("files/list_folder", {{"path", "/"}})), HasSubstr("Specify the root folder"));
    EXPECT_THAT(bad(rpc("files/list_folder", {{"path", "a"}})), HasSubstr("did not match pattern"));
    EXPECT_THAT(bad(rpc("files/create_folder_v2", {{"path", "id:a"}})), HasSubstr("did not match pattern"));
}

TEST_F(StandInStrictness, Every_route_but_the_long_poll_needs_a_bearer_token) {
    const QByteArray argument = R"({"path":"/a"})";
    EXPECT_THAT(bad(rpcWith({json}, argument)), HasSubstr("Must provide HTTP header \"Authorization\""));
    for (const char* value : {"Basic YTpi", "Bearer", "bearer x", "x"})
        EXPECT_THAT(bad(rpcWith({QByteArray("Authorization: ") + value, json}, argument)),
                    HasSubstr("Invalid authorization value"))
            << value;
    EXPECT_EQ(rpcWith({"Authorization: Bearer any", json}, argument).status, 409);
}

TEST_F(StandInStrictness, The_long_poll_takes_no_authorization) {
    const QByteArray argument = compact({{"cursor", cursorOf(list())}});
    EXPECT_THAT(bad(rpcWith({bearer, json}, argument, "files/list_folder/longpoll")),
                HasSubstr("Authorization"));
}

TEST_F(StandInStrictness, A_token_that_was_given_is_the_only_one) {
    start({"--token", "secret"});
    const QByteArray argument = R"({"path":"/a"})";
    EXPECT_EQ(rpcWith({"Authorization: Bearer secret", json}, argument).status, 409);
    for (const char* other : {"Secret", "secret2", "any"}) {
        const HTTPAnswer answer = rpcWith({QByteArray("Authorization: Bearer ") + other, json}, argument);
        EXPECT_EQ(answer.status, 401);
        EXPECT_EQ(answer.json()["error"], QJsonObject({{".tag", "invalid_access_token"}}));
        EXPECT_THAT(answer.body.toStdString(), Not(HasSubstr("secret")));
    }
}

TEST_F(StandInStrictness, Unknown_functions_paths_and_methods_are_refused) {
    EXPECT_THAT(bad(rpc("files/copy_v2", {})), HasSubstr("Unknown API function: \"files/copy_v2\""));
    EXPECT_EQ(request("/elsewhere", {}, {}).status, 404);
    EXPECT_EQ(request("/2/files/get_metadata", {bearer}, {}, "GET").status, 405);
    EXPECT_EQ(request("/2/files/upload", {bearer}, {}, "PUT").status, 405);
}

TEST_F(StandInStrictness, The_summary_of_an_error_ends_in_dots_that_differ) {
    QSet<QString> summaries;
    for (int i = 0; i < 12; ++i)
        summaries += download("/a").summary();
    EXPECT_GT(summaries.size(), 3);
    for (const QString& summary : summaries)
        EXPECT_TRUE(summary.startsWith("path/not_found/")) << summary.toStdString();
}
