#include "cloud/CloudKitSignIn.h"

#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/cloud/MemorySession.h"
#include "tests/fakes/FakeCallbackAwaiter.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

class CloudKitSignInTest : public testing::Test
{
protected:
    void TearDown() override
    {
        EXPECT_EQ(server.complaints.join(", ").toStdString(), "");
        EXPECT_LE(server.mostInFlight, 1);
        EXPECT_LE(opened.size(), 1);
        EXPECT_FALSE(callbacks.isListening() && result) << "it listens after its end";
        for (const QString &line : told + log.lines() + QStringList{result ? result->error + result->advice : QString()})
            EXPECT_FALSE(line.contains("106__") || holdsSecret(line)) << line.toStdString();
        for (const QString &key : settings.keys())
            EXPECT_FALSE(settings.text(key).contains("106__"));
    }

    void start()
    {
        signIn = std::make_unique<CloudKitSignIn>(
            CloudKitSignInParts{dispatch, settings, configuration, session.session(), awaiter, "http://127.0.0.1:8123/signed-in",
                [this](const QUrl &page) {
                    EXPECT_TRUE(callbacks.isListening()) << "before the browser opens";
                    opened.append(page);
                    return hasBrowser;
                },
                [this](const QString &question, std::function<void(bool)> answer) {
                    questions.append(question);
                    dispatch.mainAsync([this, answer = std::move(answer)] { answer(yes); });
                },
                [this](const QString &line) { told.append(line); }});
        result.reset();
        signIn->start([this](const CloudKitSignInResult &ended) { result = ended; });
        EXPECT_FALSE(result);
    }
    /// Until a browser is open, or it has ended.
    void startAndOpen()
    {
        start();
        EXPECT_TRUE(waitUntil([&] { return !opened.isEmpty() || result; }));
    }
    CloudKitSignInResult end()
    {
        EXPECT_TRUE(waitUntil([&] { return result.has_value(); }));
        return result.value_or(CloudKitSignInResult{});
    }
    bool come(const QString &token) { return callbacks.come(FakeCloudKitServer::callback(callbacks.scheme, token)); }
    bool waitForRequests(qsizetype count)
    {
        return waitUntil([&] { return server.asked.size() >= count; });
    }
    template <typename Condition> bool waitUntil(Condition condition)
    {
        return runUntil([&] {
            dispatch.runReady();
            return condition();
        });
    }
    /// Turns the event loop until the answer to the last request has been dealt with.
    void settle(qsizetype lines)
    {
        EXPECT_TRUE(waitUntil([&] { return told.size() >= lines; }));
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    FakeCloudKitServer server;
    CloudKitConfiguration configuration = server.configuration();
    MemorySession session{dispatch};
    Callbacks callbacks;
    FakeCallbackAwaiter awaiter{dispatch, callbacks};
    std::unique_ptr<CloudKitSignIn> signIn;
    std::optional<CloudKitSignInResult> result;
    QList<QUrl> opened;
    QStringList questions;
    QStringList told;
    bool hasBrowser = true;
    bool yes = false;
};

} // namespace

TEST_F(CloudKitSignInTest, SessionThatComesBackIsVerifiedAndKept)
{
    startAndOpen();
    EXPECT_EQ(opened.value(0).path(), "/IDMSWebAuth/auth");
    EXPECT_EQ(callbacks.scheme, "cloudkit-icloud.org.example.lanterna");
    const QString token = server.signIn();
    EXPECT_TRUE(come(token));
    EXPECT_TRUE(session.token.isEmpty()) << "not before it is verified";
    EXPECT_EQ(end(), (CloudKitSignInResult{FakeCloudKitServer::owner, false, {}, {}}));
    EXPECT_EQ(server.asked, QStringList({"users/current", "users/current"}));
    EXPECT_EQ(session.stored, QStringList{server.currentToken(token)}) << "the token as it was replaced meanwhile, and only that";
    EXPECT_EQ(settings.text("cloudKitUser"), FakeCloudKitServer::owner);
    EXPECT_EQ(settings.date("cloudCredentialsDate"), dispatch.now());
    EXPECT_TRUE(questions.isEmpty());
}

TEST_F(CloudKitSignInTest, WhoeverIsSignedInAlreadySeesNoBrowser)
{
    session.token = server.signIn();
    start();
    EXPECT_EQ(end(), (CloudKitSignInResult{FakeCloudKitServer::owner, true, {}, {}}));
    EXPECT_TRUE(opened.isEmpty());
    EXPECT_EQ(callbacks.begun, 0);
    EXPECT_EQ(settings.keys(), QStringList{"cloudKitUser"}) << "the credentials did not change";
}

TEST_F(CloudKitSignInTest, SessionThatEndedIsReplaced)
{
    session.token = server.signIn();
    server.endSessions();
    startAndOpen();
    const QString token = server.signIn();
    come(token);
    EXPECT_EQ(end().error, "");
    EXPECT_EQ(session.token, server.currentToken(token));
}

TEST_F(CloudKitSignInTest, RefusalOfTheKeptSessionIsNotTakenForOneOfTheToken)
{
    session.token = server.signIn();
    server.insteadOf("users/current", {401, R"({"serverErrorCode":"AUTHENTICATION_FAILED","reason":"no"})", {}});
    startAndOpen();
    come(server.signIn());
    EXPECT_EQ(end().error, "");
}

TEST_F(CloudKitSignInTest, WrongAPITokenIsSaid)
{
    configuration.apiToken = "another";
    start();
    EXPECT_TRUE(end().error.startsWith("iCloud told no page of its own to sign in at: iCloud does not accept the session or the API token"))
        << result->error.toStdString();
    EXPECT_TRUE(result->advice.contains("API token"));
    EXPECT_EQ(server.asked.size(), 1) << "nobody's session was refused, so nothing is asked twice";
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(CloudKitSignInTest, PageOfSomebodyElseIsNeverOpened)
{
    for (const char *page : {"https://idmsa.apple.com.example.org/", "http://idmsa.apple.com/", "https://example.org/IDMSWebAuth/auth",
             "file:///etc/passwd", "javascript:alert(1)", "https://ada:pw@idmsa.apple.com/"}) {
        server.signInPage = page;
        start();
        EXPECT_TRUE(end().error.startsWith("iCloud told no page of its own")) << page;
    }
    EXPECT_TRUE(opened.isEmpty());
    server.signInPage = "https://idmsa.apple.com/IDMSWebAuth/auth?oauth_token=a%2Bb";
    startAndOpen();
    EXPECT_EQ(opened.value(0).toString(QUrl::FullyEncoded), server.signInPage);
}

TEST_F(CloudKitSignInTest, SilenceEndsAfterTwoMinutesAndSaysWhatToDo)
{
    startAndOpen();
    dispatch.advance(119'999ms);
    EXPECT_FALSE(result);
    dispatch.advance(1ms);
    EXPECT_EQ(end().error, "nothing came back from the browser for two minutes");
    EXPECT_TRUE(result->advice.contains("Advanced Data Protection") && result->advice.contains("access to iCloud data on the web"));
    EXPECT_FALSE(come(server.signIn())) << "too late";
    EXPECT_TRUE(session.stored.isEmpty());
}

TEST_F(CloudKitSignInTest, WhatIsNoSessionIsPassedOverWithOneLine)
{
    startAndOpen();
    for (const char *garbage : {"", "cloudkit-icloud.org.example.lanterna://signed-in", "https://example.org/?ckSession=106__a"})
        EXPECT_FALSE(callbacks.come(garbage));
    EXPECT_EQ(told, QStringList{"Something came back that is no session; still waiting."});
    EXPECT_EQ(server.asked.size(), 1) << "none of it was worth a request";
    come(server.signIn());
    EXPECT_EQ(end().error, "");
}

TEST_F(CloudKitSignInTest, SessionThatTheServerDoesNotKnowIsPassedOverTwice)
{
    startAndOpen();
    EXPECT_TRUE(come("106__54__" SECRET_MARK));
    EXPECT_FALSE(come("106__54__another")) << "one at a time";
    settle(1);
    EXPECT_EQ(told.value(0), "A session came back that iCloud does not know; still waiting.");
    EXPECT_TRUE(come("106__54__" SECRET_MARK));
    EXPECT_TRUE(waitUntil([&] { return come("106__54__" SECRET_MARK); }));
    EXPECT_TRUE(end().error.startsWith("what came back cannot be verified: "));
    EXPECT_EQ(server.asked.size(), 4);
    EXPECT_TRUE(session.stored.isEmpty());
}

TEST_F(CloudKitSignInTest, VerificationThatIsUnderWayMayEndAfterTheTime)
{
    startAndOpen();
    come(server.signIn());
    dispatch.advance(121s);
    EXPECT_EQ(end().error, "");
    EXPECT_FALSE(session.token.isEmpty());
}

TEST_F(CloudKitSignInTest, UnknownSessionAtTheEndOfTheTimeIsSilence)
{
    startAndOpen();
    come("106__54__" SECRET_MARK);
    dispatch.advance(121s);
    EXPECT_EQ(end().error, "nothing came back from the browser for two minutes");
}

TEST_F(CloudKitSignInTest, AnotherAccountIsAskedAboutFirst)
{
    settings.setValue("cloudKitUser", FakeCloudKitServer::owner);
    startAndOpen();
    come(server.signIn("_another"));
    EXPECT_EQ(end().error, "another account signed in; nothing was changed");
    ASSERT_EQ(questions.size(), 1);
    EXPECT_TRUE(questions[0].contains("Before: _904181d1d76652d1\nNow:    _another\n"));
    EXPECT_TRUE(session.stored.isEmpty());
    EXPECT_EQ(settings.keys(), QStringList{"cloudKitUser"});
    EXPECT_EQ(settings.text("cloudKitUser"), FakeCloudKitServer::owner);
    yes = true;
    opened.clear();
    startAndOpen();
    come(server.signIn("_another"));
    EXPECT_EQ(end().userRecordName, "_another");
    EXPECT_EQ(settings.text("cloudKitUser"), "_another");
    EXPECT_EQ(session.stored.size(), 1);
}

TEST_F(CloudKitSignInTest, SessionThatCannotBeKeptIsNoSignIn)
{
    session.storeError = "the keyring is locked";
    startAndOpen();
    come(server.signIn());
    EXPECT_EQ(end().error, "the session cannot be kept: the keyring is locked");
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(CloudKitSignInTest, BrowserThatCannotComeBackIsNotOpened)
{
    callbacks.problem = "another sign-in is under way";
    start();
    EXPECT_EQ(end().error, "nothing could come back from the browser: another sign-in is under way");
    EXPECT_TRUE(opened.isEmpty());
}

TEST_F(CloudKitSignInTest, WithoutABrowserNothingIsAwaited)
{
    hasBrowser = false;
    startAndOpen();
    EXPECT_EQ(end().error, "no browser can be opened");
    EXPECT_FALSE(callbacks.isListening());
}

TEST_F(CloudKitSignInTest, DroppingItEndsTheListening)
{
    startAndOpen();
    come(server.signIn());
    signIn.reset();
    EXPECT_FALSE(callbacks.isListening());
    dispatch.advance(121s);
    EXPECT_FALSE(result);
    EXPECT_TRUE(session.stored.isEmpty());
}

TEST_F(CloudKitSignInTest, AccountsNameHasToBeAPlainOne)
{
    server.insteadOf("users/current", {200, R"({"userRecordName":"\u001b[2J"})", {}});
    start();
    EXPECT_EQ(end().error, "iCloud's reply is not understood: the name of the account cannot be one. (4)");
}

TEST_F(CloudKitSignInTest, PauseThatTheServerAskedForHoldsAndIsKept)
{
    server.insteadOf("users/current", {429, R"({"serverErrorCode":"THROTTLED","retryAfter":110207})", {}});
    start();
    EXPECT_TRUE(end().error.contains("(7)"));
    start();
    EXPECT_TRUE(end().error.contains("(7)"));
    EXPECT_EQ(server.asked.size(), 1) << "the second time nothing goes out";
}

TEST_F(CloudKitSignInTest, ConfigurationThatIsNotWholeIsSaid)
{
    configuration.container.clear();
    start();
    EXPECT_EQ(end().error, "No iCloud container is set (cloudKitContainer). (12)");
    EXPECT_TRUE(server.asked.isEmpty());
}
