#include "app/SignInOffer.h"

#include "cloud/ChosenRecordDatabase.h"
#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/fakes/FakeCallbackAwaiter.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeSecretStore.h"
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

class KeptNotices : public UserNotices
{
public:
    void show(const QString &title, const QString &body) override { shown.append(title + '|' + body); }
    void showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> whenChosen) override
    {
        show(title, body);
        actions.append(action);
        chosen = std::move(whenChosen);
    }
    void showBriefly(const QString &body, std::chrono::milliseconds) override { shown.append(body); }
    QStringList shown;
    QStringList actions;
    std::function<void()> chosen;
};

class SignInOfferTest : public testing::Test
{
protected:
    void SetUp() override { server.storeIn(settings); }
    void TearDown() override
    {
        for (const QString &line : notices.shown + log.lines())
            EXPECT_FALSE(line.contains("106__") || holdsSecret(line)) << line.toStdString();
    }
    void note(RecordErrorCode code)
    {
        offer.note({CloudOutcome::Call::save, dispatch.now(), RecordError{code, "words", {}}});
        dispatch.runReady();
    }
    void noteSuccess() { offer.note({CloudOutcome::Call::save, dispatch.now(), std::nullopt}); }
    template <typename Condition> bool waitUntil(Condition condition)
    {
        return runUntil([&] {
            dispatch.runReady();
            return condition();
        });
    }
    /// The person takes the button, and a browser opens.
    void choose()
    {
        const qsizetype before = opened.size();
        notices.chosen();
        EXPECT_TRUE(waitUntil([&] { return opened.size() > before; }));
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    FakeCloudKitServer server;
    KeptNotices notices;
    FakeAlerts alerts{dispatch};
    FakeSecretStore secrets{dispatch};
    Callbacks callbacks;
    QList<QUrl> opened;
    SignInOffer offer{{dispatch, settings, log, notices, alerts, [this]() -> SecretStore & { return secrets; },
        [this] { return std::make_unique<FakeCallbackAwaiter>(dispatch, callbacks); },
        [this](const QUrl &page) {
            opened.append(page);
            return true;
        }}};
};

} // namespace

TEST_F(SignInOfferTest, OneNoticeIsShownAndNoBrowserOpensByItself)
{
    for (int i = 0; i < 5; ++i)
        note(RecordErrorCode::notAuthenticated);
    noteSuccess();
    note(RecordErrorCode::notAuthenticated);
    ASSERT_EQ(notices.shown.size(), 1);
    EXPECT_TRUE(notices.shown[0].startsWith("Sign in to iCloud|Lanterna can read and save the shared document only after you have signed in."));
    EXPECT_EQ(notices.actions, QStringList{"Sign in"});
    EXPECT_EQ(log.count("cloud: iCloud asks to sign in; 'lanternactl cloud sign-in' does it, too"), 1);
    EXPECT_TRUE(opened.isEmpty() && server.asked.isEmpty());
}

TEST_F(SignInOfferTest, OtherErrorsAndOtherStoresAreNoReason)
{
    for (const auto code : {RecordErrorCode::networkFailure, RecordErrorCode::requestRateLimited, RecordErrorCode::permissionFailure})
        note(code);
    settings.setValue("cloudBackend", "webdav");
    note(RecordErrorCode::notAuthenticated);
    EXPECT_TRUE(notices.shown.isEmpty());
}

TEST_F(SignInOfferTest, CredentialsThatChangedMayBeRefusedAnew)
{
    note(RecordErrorCode::notAuthenticated);
    offer.noteSetting("whichIP");
    note(RecordErrorCode::notAuthenticated);
    EXPECT_EQ(notices.shown.size(), 1);
    offer.noteSetting("cloudCredentialsDate");
    note(RecordErrorCode::notAuthenticated);
    EXPECT_EQ(notices.shown.size(), 2);
}

TEST_F(SignInOfferTest, ButtonSignsIn)
{
    note(RecordErrorCode::notAuthenticated);
    choose();
    notices.chosen(); // a second click
    note(RecordErrorCode::notAuthenticated);
    const QString token = server.signIn();
    EXPECT_TRUE(callbacks.come(FakeCloudKitServer::callback("cloudkit-icloud.org.example.lanterna", token)));
    ASSERT_TRUE(waitUntil([&] { return notices.shown.size() > 1; }));
    EXPECT_EQ(notices.shown.last(), "Signed in to iCloud|The account's name there is _904181d1d76652d1.");
    EXPECT_EQ(secrets.secrets[cloudKitSessionSecret], server.currentToken(token));
    EXPECT_EQ(opened.size(), 1);
    EXPECT_EQ(callbacks.begun, 1);
    EXPECT_FALSE(callbacks.isListening());
}

TEST_F(SignInOfferTest, FailureIsSaidAndTriedAgainByItsButtonAlone)
{
    note(RecordErrorCode::notAuthenticated);
    choose();
    dispatch.advance(2min);
    ASSERT_EQ(notices.shown.size(), 2);
    EXPECT_TRUE(notices.shown[1].startsWith("Not signed in to iCloud|nothing came back from the browser for two minutes. Finish"));
    EXPECT_TRUE(notices.shown[1].contains("Advanced Data Protection"));
    EXPECT_TRUE(log.contains("cloud: not signed in: nothing came back from the browser for two minutes"));
    note(RecordErrorCode::notAuthenticated);
    EXPECT_EQ(notices.shown.size(), 2);
    EXPECT_EQ(opened.size(), 1);
    EXPECT_EQ(notices.actions, (QStringList{"Sign in", "Try again"}));
    choose();
    EXPECT_EQ(opened.size(), 2);
    EXPECT_TRUE(callbacks.isListening());
}

TEST_F(SignInOfferTest, AnotherAccountIsAskedAbout)
{
    settings.setValue("cloudKitUser", "_another");
    alerts.answer = 1;
    note(RecordErrorCode::notAuthenticated);
    choose();
    callbacks.come(FakeCloudKitServer::callback("cloudkit-icloud.org.example.lanterna", server.signIn()));
    ASSERT_TRUE(waitUntil([&] { return !alerts.shown.isEmpty(); }));
    EXPECT_EQ(alerts.shown[0].buttons, QStringList({"Use This Account", "Cancel"}));
    EXPECT_EQ(alerts.shown[0].cancelButton, 1);
    EXPECT_TRUE(alerts.shown[0].informativeText.contains("_another"));
    ASSERT_TRUE(waitUntil([&] { return notices.shown.size() > 1; }));
    EXPECT_TRUE(notices.shown[1].contains("another account signed in; nothing was changed"));
    EXPECT_TRUE(secrets.secrets.empty());
}

TEST_F(SignInOfferTest, EndOfTheProgramEndsTheListening)
{
    note(RecordErrorCode::notAuthenticated);
    choose();
    EXPECT_TRUE(callbacks.isListening());
    offer.end();
    EXPECT_FALSE(callbacks.isListening());
    dispatch.advance(3min);
    EXPECT_EQ(notices.shown.size(), 1);
}
