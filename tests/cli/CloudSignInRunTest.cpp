#include "cli/CloudSignInRun.h"

#include "cli/TextWidth.h"
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

class CloudSignInRunTest : public testing::Test
{
protected:
    void SetUp() override { server.storeIn(settings); }
    void TearDown() override
    {
        for (const QString &line : (printed + run->result().output + run->result().error).split('\n')) {
            EXPECT_TRUE(columnsOf(line) <= 80 || line.startsWith("http")) << line.toStdString();
            EXPECT_FALSE(line.contains("106__") || holdsSecret(line));
        }
    }
    void start()
    {
        run = std::make_unique<CloudSignInRun>(
            CloudSignInPorts{dispatch, settings, session.session(), awaiter, [this](const QUrl &) { return hasDesktop; },
                [this](const QString &question) {
                    questions.append(question);
                    return true;
                },
                [this](const QString &lines) { printed += lines; }});
        run->start([this] { finished = true; });
        EXPECT_FALSE(finished);
        EXPECT_TRUE(waitUntil([&] { return finished || !printed.isEmpty(); }));
    }
    void come(const QString &token) { callbacks.come(FakeCloudKitServer::callback("cloudkit-icloud.org.example.lanterna", token)); }
    CommandResult end()
    {
        EXPECT_TRUE(waitUntil([&] { return finished; }));
        return run->result();
    }
    template <typename Condition> bool waitUntil(Condition condition)
    {
        return runUntil([&] {
            dispatch.runReady();
            return condition();
        });
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    FakeCloudKitServer server;
    MemorySession session{dispatch};
    Callbacks callbacks;
    FakeCallbackAwaiter awaiter{dispatch, callbacks};
    std::unique_ptr<CloudSignInRun> run;
    QString printed;
    QStringList questions;
    bool hasDesktop = true;
    bool finished = false;
};

} // namespace

TEST_F(CloudSignInRunTest, PersonReadsWhatHappens)
{
    start();
    EXPECT_TRUE(printed.startsWith("A browser window opens with the sign-in page of 127.0.0.1. If none does, open\nthis address in a browser on this "
                                   "machine:\n\nhttp://127.0.0.1:"))
        << printed.toStdString();
    EXPECT_TRUE(printed.endsWith("/IDMSWebAuth/auth?oauth_token=a%2Bb\n\nWaiting for two minutes at most; Ctrl-C ends it.\n"))
        << printed.toStdString();
    come(server.signIn());
    const CommandResult result = end();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "Signed in to iCloud, as _904181d1d76652d1.\n");
    EXPECT_TRUE(settings.date("cloudCredentialsDate").isValid());
}

TEST_F(CloudSignInRunTest, WithoutADesktopThePersonIsTheBrowsersWayHome)
{
    hasDesktop = false;
    start();
    EXPECT_TRUE(printed.startsWith("There is no desktop to open a browser on."));
    EXPECT_TRUE(printed.contains("'lanternactl cloud callback'"));
    come(server.signIn());
    EXPECT_EQ(end().exitCode, 0);
}

TEST_F(CloudSignInRunTest, SilenceEndsWithWordsOnWhatToDo)
{
    start();
    dispatch.advance(2min);
    const CommandResult result = end();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.error.startsWith("nothing came back from the browser for two minutes\nFinish signing in in the browser and try again."));
    EXPECT_TRUE(result.error.simplified().contains("Advanced Data Protection"));
}

TEST_F(CloudSignInRunTest, AnotherAccountIsAskedAbout)
{
    settings.setValue("cloudKitUser", "_another");
    start();
    come(server.signIn());
    EXPECT_EQ(end().exitCode, 0);
    ASSERT_EQ(questions.size(), 1);
    EXPECT_TRUE(questions[0].contains("_another"));
}

TEST_F(CloudSignInRunTest, WhoIsSignedInAlreadyIsTold)
{
    session.token = server.signIn();
    settings.setValue("cloudBackend", "embedded");
    start();
    EXPECT_EQ(end().output.simplified(),
        "Already signed in to iCloud, as _904181d1d76652d1; 'lanternactl cloud sign-out' ends that. The document is still kept elsewhere; "
        "'lanternactl "
        "cloud setup' chooses iCloud.");
    EXPECT_TRUE(printed.isEmpty());
}
