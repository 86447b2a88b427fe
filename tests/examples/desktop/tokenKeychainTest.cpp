// Tokens in the keychain of a system that has none, and of one whose services do not answer. The keychains of
// Linux are found through its session bus, so that a test can take them away.

#include "desktop/TokenKeychain.h"
#include "support/EventLoopWait.h"

#include <QElapsedTimer>
#include <QLocalServer>
#include <QTemporaryDir>
#include <gmock/gmock.h>

using atlas::TokenKeychain;

#ifdef Q_OS_LINUX

namespace {

const QString address = QStringLiteral("https://cloud.example.com");

struct TokenKeychainTest : testing::Test {
    TokenKeychainTest() { qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere"); }

    // What each operation answers, once it does.
    struct Answer {
        std::optional<QString> token;
        QString error;
    };
    Answer read() {
        return wait([this](auto done) { keychain.read(address, done); });
    }
    QString write(const QString& token) {
        return wait([&](auto done) {
                   keychain.write(address, token, [=](const QString& error) { done({}, error); });
               })
            .error;
    }
    Answer wait(const std::function<void(std::function<void(std::optional<QString>, QString)>)>& operation) {
        std::optional<Answer> answer;
        operation([&answer](std::optional<QString> token, const QString& error) {
            answer = Answer{token, error};
        });
        EXPECT_FALSE(answer) << "answered within the call";
        EXPECT_TRUE(runEventLoopUntil([&answer] { return answer.has_value(); }));
        return answer.value_or(Answer{});
    }

    TokenKeychain keychain;
};

// A session bus that takes a connection and never says a word. First of the tests: a program asks for its bus
// once.
struct SilentKeychain : TokenKeychainTest {
    SilentKeychain() {
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder.filePath("bus").toUtf8());
        EXPECT_TRUE(server.listen(folder.filePath("bus")));
        keychain.setTimeLimit(std::chrono::milliseconds(50));
    }
    QTemporaryDir folder;
    QLocalServer server;
};

TEST_F(SilentKeychain, Is_given_up_when_its_time_is_over_and_blocks_nothing_meanwhile) {
    QElapsedTimer time;
    time.start();
    const QString error = write("a token");
    EXPECT_LT(time.elapsed(), 5000);
    EXPECT_EQ(error,
              "The keychain of this system has not answered within 0.05 seconds. The token is forgotten when "
              "Atlas ends.");
    EXPECT_EQ(read().token, "a token"); // for this run
}

TEST_F(SilentKeychain, Answers_nobody_who_has_gone) {
    bool isAnswered = false;
    auto another = std::make_unique<TokenKeychain>();
    another->read(address, [&](const auto&, const auto&) { isAnswered = true; });
    another.reset();
    read(); // long enough
    EXPECT_FALSE(isAnswered);
}

TEST_F(TokenKeychainTest, Says_clearly_that_there_is_no_keychain_and_that_the_token_is_forgotten) {
    const QString error = write("a token");
    EXPECT_THAT(error.toStdString(), testing::StartsWith("This system has no keychain that Atlas can use"));
    EXPECT_THAT(error.toStdString(), testing::EndsWith("The token is forgotten when Atlas ends."));
}

TEST_F(TokenKeychainTest, Knows_a_token_for_this_run_where_there_is_no_keychain) {
    write("a token");
    const Answer answer = read();
    EXPECT_EQ(answer.token, "a token");
    EXPECT_EQ(answer.error, QString());
    write("another one");
    EXPECT_EQ(read().token, "another one");
}

TEST_F(TokenKeychainTest, Says_why_it_cannot_read) {
    const Answer answer = read();
    EXPECT_EQ(answer.token, std::nullopt);
    EXPECT_THAT(answer.error.toStdString(),
                testing::StartsWith("This system has no keychain that Atlas can use"));
}

TEST_F(TokenKeychainTest, Keeps_the_tokens_of_two_clouds_apart) {
    write("a token");
    const Answer other = wait([this](auto done) { keychain.read("https://other.example.com", done); });
    EXPECT_EQ(other.token, std::nullopt);
}

} // namespace

#endif
