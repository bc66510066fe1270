#include "cli/CloudSetup.h"

#include "cloud/ChosenRecordDatabase.h"
#include "tests/cloud/FakeCloudKitServer.h"
#include "tests/cloud/PlayedFileServer.h"
#include "tests/fakes/FakeSecretStore.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/NeverLogged.h"
#include "tests/support/RunUntil.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <map>

using namespace lanterna;

namespace
{

class CloudSetupTest : public testing::Test
{
protected:
    CommandResult setUp(const QStringList &answers)
    {
        m_answers = answers;
        CloudSetup setup(ports());
        const CommandResult result = run(setup, [&](auto finished) { setup.setUp(finished); });
        choseCloudKit = setup.choseCloudKit();
        return result;
    }
    CommandResult signOut()
    {
        CloudSetup setup(ports());
        return run(setup, [&](auto finished) { setup.signOut(finished); });
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    SettingsStore settings{folder.path(), log};
    FakeSecretStore secrets{dispatch};
    QStringList questions;
    QString callbacksProblem;
    int forgotten = 0;
    bool choseCloudKit = false;

private:
    CloudSetupPorts ports()
    {
        const auto ask = [this](const QString &question) -> std::optional<QString> {
            questions.append(question);
            return m_answers.isEmpty() ? std::nullopt : std::optional(m_answers.takeFirst());
        };
        return {dispatch, settings, [this]() -> SecretStore & { return secrets; }, ask, ask,
            [this] {
                ++forgotten;
                return callbacksProblem;
            }};
    }
    template <typename Start> CommandResult run(CloudSetup &setup, const Start &start)
    {
        bool finished = false;
        start([&] { finished = true; });
        EXPECT_FALSE(finished);
        EXPECT_TRUE(runUntil([&] {
            dispatch.runReady();
            return finished;
        }));
        return setup.result();
    }

    QStringList m_answers;
};

} // namespace

TEST_F(CloudSetupTest, EmptyAnswerKeepsWhatThereIs)
{
    EXPECT_EQ(setUp({""}).output, "The document is kept on this machine.\n");
    EXPECT_EQ(settings.text("cloudBackend"), "embedded");
    EXPECT_TRUE(questions.first().endsWith("[embedded]:"));
}

TEST_F(CloudSetupTest, NothingChangesWithoutAnswersThatMakeSense)
{
    settings.setValue("cloudWebDAVURL", "https://cloud.example/old/");
    EXPECT_EQ(setUp({}).error, "there is nobody to answer");
    EXPECT_EQ(setUp({"punched cards"}).error, "none of embedded, webdav and icloud; nothing was changed");
    EXPECT_EQ(setUp({"webdav", "http://cloud.example/"}).error, "the address must begin with https:// (http:// on this machine only)");
    EXPECT_EQ(setUp({"webdav", "https://ada:" SECRET_MARK "@cloud.example/"}).error, "an address must hold no user and no password");
    EXPECT_EQ(setUp({"webdav", "", "ada"}).error, "no password; nothing was changed");
    EXPECT_EQ(settings.keys(), QStringList{"cloudWebDAVURL"});
    EXPECT_TRUE(secrets.secrets.empty());
}

TEST_F(CloudSetupTest, FolderIsTriedBeforeItIsChosen)
{
    PlayedFileServer server;
    server.honoursIfMatch = false;
    const QString url = server.url().toString();
    const CommandResult refused = setUp({"webdav", url, "ada", "pass " SECRET_MARK});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.error.endsWith("; nothing was changed")) << refused.error.toStdString();
    EXPECT_TRUE(settings.keys().isEmpty());
    EXPECT_TRUE(secrets.secrets.empty());
    server.honoursIfMatch = true;
    EXPECT_EQ(setUp({"webdav", url, "ada", "pass " SECRET_MARK}).output, "The document is kept in that folder.\n");
    EXPECT_EQ(server.requests.last().headers.value("authorization"), "Basic " + QByteArray("ada:pass " SECRET_MARK).toBase64());
    EXPECT_EQ(settings.text("cloudBackend"), "webdav");
    EXPECT_EQ(settings.text("cloudWebDAVURL"), url);
    EXPECT_EQ(settings.text("cloudWebDAVUser"), "ada");
    EXPECT_TRUE(settings.date("cloudCredentialsDate").isValid());
    EXPECT_EQ(secrets.secrets[webDAVPasswordSecret], "pass " SECRET_MARK);
    EXPECT_TRUE(server.files.isEmpty()) << "nothing is left of the trial";
}

TEST_F(CloudSetupTest, ContainerIsTriedBeforeItIsChosen)
{
    FakeCloudKitServer server;
    const CloudKitConfiguration good = server.configuration();
    settings.setValue("cloudKitBaseURL", good.baseURL);
    settings.setValue("cloudKitUser", "_of_another_container");
    EXPECT_EQ(setUp({"icloud", "punched cards", "development", "x"}).error,
        "The iCloud container (cloudKitContainer) has to look like iCloud.org.example.name. (12); nothing was changed");
    EXPECT_TRUE(setUp({"icloud", good.container, "test", "x"}).error.contains("(cloudKitEnvironment)"));
    EXPECT_EQ(setUp({"icloud", good.container, "development", ""}).error,
        "No API token of the iCloud container is set (cloudKitAPIToken). (12); nothing was changed");
    EXPECT_EQ(setUp({"icloud", good.container, "development"}).error, "not everything was answered; nothing was changed");
    EXPECT_TRUE(server.asked.isEmpty());
    const QString refusal = setUp({"icloud", good.container, "development", "s+cret"}).error;
    EXPECT_TRUE(refusal.startsWith("iCloud does not accept the session or the API token") && refusal.endsWith("; nothing was changed"));
    EXPECT_FALSE(refusal.contains("s+cret"));
    EXPECT_EQ(settings.keys(), QStringList({"cloudKitBaseURL", "cloudKitUser"}));
    EXPECT_FALSE(choseCloudKit);
    EXPECT_EQ(setUp({"icloud", good.container, "development", good.apiToken}).output, "The document is kept in that container.\n");
    EXPECT_TRUE(choseCloudKit);
    EXPECT_EQ(settings.text("cloudBackend"), "cloudkit");
    EXPECT_EQ(cloudKitConfiguration(settings).container, good.container);
    EXPECT_EQ(cloudKitConfiguration(settings).environment, "development");
    EXPECT_EQ(cloudKitConfiguration(settings).apiToken, good.apiToken);
    EXPECT_FALSE(settings.contains("cloudKitUser")) << "names are those of one container";
    EXPECT_EQ(server.complaints, QStringList());
}

TEST_F(CloudSetupTest, WhatIsSetForTheContainerIsOfferedAndTheTokenIsNotShown)
{
    FakeCloudKitServer server;
    const CloudKitConfiguration good = server.configuration();
    settings.setValue("cloudKitBaseURL", good.baseURL);
    setUp({"icloud", good.container, "development", good.apiToken});
    settings.setValue("cloudKitUser", "_904181d1");
    questions.clear();
    EXPECT_EQ(setUp({"", "", "", ""}).error, "");
    EXPECT_TRUE(choseCloudKit);
    EXPECT_TRUE(questions.value(0).endsWith("[icloud]:"));
    EXPECT_EQ(questions.mid(1),
        QStringList({"Container (iCloud.org.example.name) [iCloud.org.example.lanterna]:", "Environment (development or production) [development]:",
            "API token of that container and environment (nothing keeps the present one):"}));
    EXPECT_EQ(settings.text("cloudKitUser"), "_904181d1") << "it is still the same container";
}

TEST_F(CloudSetupTest, PasswordThatCannotBeKeptChangesNoSetting)
{
    PlayedFileServer server;
    secrets.error = "the keyring is locked";
    EXPECT_EQ(setUp({"webdav", server.url().toString(), "ada", SECRET_MARK}).error, "the password cannot be kept: the keyring is locked");
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(CloudSetupTest, SignOutForgetsBothSecretsAndTellsARunningProgram)
{
    secrets.secrets = {{webDAVPasswordSecret, SECRET_MARK}, {cloudKitSessionSecret, "106__" SECRET_MARK}};
    settings.setValue("cloudKitUser", "_904181d1");
    EXPECT_EQ(signOut().output, "No password and no session is kept any more.\n");
    EXPECT_TRUE(secrets.secrets[webDAVPasswordSecret].isNull());
    EXPECT_TRUE(secrets.secrets[cloudKitSessionSecret].isNull());
    EXPECT_TRUE(settings.date("cloudCredentialsDate").isValid());
    EXPECT_EQ(forgotten, 1) << "the desktop starts nothing of ours any more";
    EXPECT_EQ(settings.text("cloudKitUser"), "_904181d1") << "another account is asked about at its sign-in";
    callbacksProblem = "a file cannot be removed";
    EXPECT_EQ(signOut().error, "a file cannot be removed");
    secrets.error = "the keyring is locked";
    EXPECT_EQ(signOut().error, "the keyring is locked");
}
