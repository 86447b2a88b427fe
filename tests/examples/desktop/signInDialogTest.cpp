// Signing in, as a person does it.

#include "desktop/SignInDialog.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

using atlas::SignInDialog;

namespace {

struct SignIn : testing::Test {
    explicit SignIn(const QString& given = {}) : dialog(given) {
        dialog.open();
        QApplication::setActiveWindow(&dialog);
        QObject::connect(&dialog, &QDialog::accepted, [this] { ++timesAccepted; });
    }
    QLineEdit& field(int index) { return *dialog.findChildren<QLineEdit*>().at(index); }
    QLineEdit& address() { return field(0); }
    QLineEdit& token() { return field(1); }
    QPushButton& button(const QString& text) {
        for (auto* candidate : dialog.findChildren<QPushButton*>())
            if (candidate->text().remove('&') == text)
                return *candidate;
        throw std::runtime_error("no button " + text.toStdString());
    }
    bool says(const QString& text) {
        for (const auto* label : dialog.findChildren<QLabel*>())
            if (label->isVisible() && label->text().contains(text))
                return true;
        return false;
    }
    void press(Qt::Key key) { QTest::keyClick(QApplication::focusWidget(), key); }

    SignInDialog dialog;
    int timesAccepted = 0;
};

struct SignInAgain : SignIn {
    SignInAgain() : SignIn("https://cloud.example.com") {}
};

TEST_F(SignIn, Takes_an_address_and_a_token_from_the_keyboard) {
    ASSERT_TRUE(address().hasFocus());
    QTest::keyClicks(&address(), " https://cloud.example.com ");
    press(Qt::Key_Tab);
    ASSERT_TRUE(token().hasFocus());
    QTest::keyClicks(&token(), "secret");
    press(Qt::Key_Return);
    EXPECT_EQ(timesAccepted, 1);
    EXPECT_EQ(dialog.address(), "https://cloud.example.com");
    EXPECT_EQ(dialog.token(), "secret");
}

TEST_F(SignIn, Cannot_be_accepted_without_an_address_and_a_token) {
    EXPECT_FALSE(button("Sign In").isEnabled());
    QTest::keyClicks(&address(), "https://cloud.example.com");
    EXPECT_FALSE(button("Sign In").isEnabled());
    press(Qt::Key_Return);
    EXPECT_EQ(timesAccepted, 0);
    EXPECT_TRUE(dialog.isVisible());
    QTest::keyClicks(&token(), "secret");
    EXPECT_TRUE(button("Sign In").isEnabled());
}

TEST_F(SignIn, Wants_no_token_for_a_folder) {
    QTest::keyClicks(&address(), "folder:cloud");
    EXPECT_FALSE(token().isEnabled());
    QTest::mouseClick(&button("Sign In"), Qt::LeftButton);
    EXPECT_EQ(timesAccepted, 1);
    EXPECT_EQ(dialog.address(), "folder:" + QDir("cloud").absolutePath());
    EXPECT_EQ(dialog.token(), QString());
}

TEST_F(SignIn, Says_what_is_wrong_with_an_address) {
    QTest::keyClicks(&address(), "ftp://cloud");
    EXPECT_TRUE(says("ftp://cloud"));
    EXPECT_FALSE(button("Sign In").isEnabled());
    address().setText("folder:cloud");
    EXPECT_FALSE(says("ftp://cloud"));
}

TEST_F(SignInAgain, Says_what_is_wrong_with_a_token) {
    QTest::keyClicks(&token(), "two words");
    EXPECT_FALSE(button("Sign In").isEnabled());
    token().setText("secret");
    EXPECT_TRUE(button("Sign In").isEnabled());
}

TEST_F(SignInAgain, Asks_for_the_token_alone_where_the_address_is_known) {
    EXPECT_TRUE(token().hasFocus());
    EXPECT_EQ(dialog.address(), "https://cloud.example.com");
}

TEST_F(SignInAgain, Shows_why_it_asks) {
    dialog.setMessage("The cloud has refused the token.");
    EXPECT_TRUE(says("The cloud has refused the token."));
    dialog.setMessage({});
    EXPECT_FALSE(says("The cloud has refused the token."));
}

TEST_F(SignInAgain, Hides_the_token_unless_it_is_asked_to_show_it) {
    EXPECT_EQ(token().echoMode(), QLineEdit::Password);
    QTest::keyClick(dialog.findChild<QCheckBox*>(), Qt::Key_Space);
    EXPECT_EQ(token().echoMode(), QLineEdit::Normal);
}

TEST_F(SignInAgain, Is_left_by_Escape) {
    QTest::keyClicks(&token(), "secret");
    press(Qt::Key_Escape);
    EXPECT_FALSE(dialog.isVisible());
    EXPECT_EQ(timesAccepted, 0);
}

TEST_F(SignIn, Names_its_fields_to_screen_readers) {
    for (const auto* edit : dialog.findChildren<QLineEdit*>()) {
        bool hasLabel = false;
        for (const auto* label : dialog.findChildren<QLabel*>())
            hasLabel |= label->buddy() == edit;
        EXPECT_TRUE(hasLabel);
    }
}

} // namespace
