#include "cli/CloudSetup.h"

#include "cloud/ChosenRecordDatabase.h"
#include "tests/cloud/PlayedFileServer.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/RunUntil.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <map>

using namespace lanterna;

namespace
{

/// Secrets in memory.
class MemorySecrets : public SecretStore
{
public:
    explicit MemorySecrets(Dispatch &dispatch) : m_dispatch(dispatch) { }
    void read(const QString &name, Completion completion) override
    {
        m_dispatch.mainAsync([this, name, completion] { completion({secrets[name], error}); });
    }
    void write(const QString &name, const QString &secret, Completion completion) override
    {
        if (error.isNull())
            secrets[name] = secret;
        m_dispatch.mainAsync([this, completion] { completion({{}, error}); });
    }

    QString error;
    std::map<QString, QString> secrets;

private:
    Dispatch &m_dispatch;
};

class CloudSetupTest : public testing::Test
{
protected:
    CommandResult setUp(const QStringList &answers)
    {
        m_answers = answers;
        CloudSetup setup(ports());
        return run(setup, [&](auto finished) { setup.setUp(finished); });
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
    MemorySecrets secrets{dispatch};
    QStringList questions;

private:
    CloudSetupPorts ports()
    {
        const auto ask = [this](const QString &question) -> std::optional<QString> {
            questions.append(question);
            return m_answers.isEmpty() ? std::nullopt : std::optional(m_answers.takeFirst());
        };
        return {dispatch, settings, [this]() -> SecretStore & { return secrets; }, ask, ask};
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
    EXPECT_EQ(setUp({"punched cards"}).error, "neither embedded nor webdav; nothing was changed");
    EXPECT_EQ(setUp({"webdav", "http://cloud.example/"}).error, "the address must begin with https:// (http:// on this machine only)");
    EXPECT_EQ(setUp({"webdav", "https://ada:pw@cloud.example/"}).error, "an address must hold no user and no password");
    EXPECT_EQ(setUp({"webdav", "", "ada"}).error, "no password; nothing was changed");
    EXPECT_EQ(settings.keys(), QStringList{"cloudWebDAVURL"});
    EXPECT_TRUE(secrets.secrets.empty());
}

TEST_F(CloudSetupTest, FolderIsTriedBeforeItIsChosen)
{
    PlayedFileServer server;
    server.honoursIfMatch = false;
    const QString url = server.url().toString();
    const CommandResult refused = setUp({"webdav", url, "ada", "pass word"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.error.endsWith("; nothing was changed")) << refused.error.toStdString();
    EXPECT_TRUE(settings.keys().isEmpty());
    EXPECT_TRUE(secrets.secrets.empty());
    server.honoursIfMatch = true;
    EXPECT_EQ(setUp({"webdav", url, "ada", "pass word"}).output, "The document is kept in that folder.\n");
    EXPECT_EQ(server.requests.last().headers.value("authorization"), "Basic " + QByteArray("ada:pass word").toBase64());
    EXPECT_EQ(settings.text("cloudBackend"), "webdav");
    EXPECT_EQ(settings.text("cloudWebDAVURL"), url);
    EXPECT_EQ(settings.text("cloudWebDAVUser"), "ada");
    EXPECT_TRUE(settings.date("cloudCredentialsDate").isValid());
    EXPECT_EQ(secrets.secrets[webDAVPasswordSecret], "pass word");
    EXPECT_TRUE(server.files.isEmpty()) << "nothing is left of the trial";
}

TEST_F(CloudSetupTest, PasswordThatCannotBeKeptChangesNoSetting)
{
    PlayedFileServer server;
    secrets.error = "the keyring is locked";
    EXPECT_EQ(setUp({"webdav", server.url().toString(), "ada", "password"}).error, "the password cannot be kept: the keyring is locked");
    EXPECT_TRUE(settings.keys().isEmpty());
}

TEST_F(CloudSetupTest, SignOutForgetsBothSecretsAndTellsARunningProgram)
{
    secrets.secrets = {{webDAVPasswordSecret, "password"}, {cloudKitSessionSecret, "session"}};
    EXPECT_EQ(signOut().output, "No password and no session is kept any more.\n");
    EXPECT_TRUE(secrets.secrets[webDAVPasswordSecret].isNull());
    EXPECT_TRUE(secrets.secrets[cloudKitSessionSecret].isNull());
    EXPECT_TRUE(settings.date("cloudCredentialsDate").isValid());
    secrets.error = "the keyring is locked";
    EXPECT_EQ(signOut().error, "the keyring is locked");
}
