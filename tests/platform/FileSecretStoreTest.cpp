#include "platform/FileSecretStore.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/Children.h"
#include "tests/support/NeverLogged.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace lanterna;

namespace
{

class FileSecretStoreTest : public testing::Test
{
protected:
    QTemporaryDir m_temporary;
    FakeSystemLog log;
    VirtualDispatch dispatch;
    std::unique_ptr<FileSecretStore> store = std::make_unique<FileSecretStore>(dispatch, folder(), log);

    [[nodiscard]] QString folder() const { return m_temporary.filePath(QStringLiteral("data/lanterna")); }
    [[nodiscard]] QString path(const QString &name = QStringLiteral("secrets.json")) const { return folder() + u'/' + name; }
    [[nodiscard]] static mode_t modeOf(const QString &path)
    {
        struct stat information = {};
        return ::stat(path.toUtf8().constData(), &information) == 0 ? information.st_mode & 07777 : 0;
    }

    SecretResult read(const QString &name)
    {
        SecretResult result{{}, QStringLiteral("never answered")};
        store->read(name, [&](const SecretResult &answer) { result = answer; });
        dispatch.runReady();
        return result;
    }
    QString write(const QString &name, const QString &secret)
    {
        QString error = QStringLiteral("never answered");
        store->write(name, secret, [&](const SecretResult &answer) { error = answer.error; });
        dispatch.runReady();
        return error;
    }
    void leave(const QByteArray &content)
    {
        QDir().mkpath(folder());
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    [[nodiscard]] QByteArray content(const QString &name = QStringLiteral("secrets.json")) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

TEST_F(FileSecretStoreTest, WithoutAFileThereIsNoSecretAndNothingIsMade)
{
    const SecretResult result = read("webdav");
    EXPECT_TRUE(result.secret.isNull());
    EXPECT_EQ(result.error, QString());
    EXPECT_EQ(write("webdav", {}), QString()) << "removing what is not there";
    EXPECT_FALSE(QFile::exists(path()));
}

TEST_F(FileSecretStoreTest, ASecretComesBackAlsoInAnotherRun)
{
    EXPECT_EQ(write("webdav", SECRET_MARK), QString());
    EXPECT_EQ(write("token", QString::fromUtf8("\"\\\n\t pässwörd " SECRET_MARK " \U0001f511")), QString());
    EXPECT_EQ(write("empty", ""), QString());
    store = std::make_unique<FileSecretStore>(dispatch, folder(), log);
    EXPECT_EQ(read("webdav").secret, SECRET_MARK);
    EXPECT_EQ(read("token").secret, QString::fromUtf8("\"\\\n\t pässwörd " SECRET_MARK " \U0001f511"));
    EXPECT_FALSE(read("empty").secret.isNull());
    EXPECT_TRUE(read("other").secret.isNull());
}

TEST_F(FileSecretStoreTest, WritingReplacesAndANullSecretIsRemoved)
{
    write("webdav", "old");
    write("token", "kept");
    write("webdav", "new");
    EXPECT_EQ(read("webdav").secret, "new");
    write("webdav", {});
    EXPECT_TRUE(read("webdav").secret.isNull());
    EXPECT_EQ(read("token").secret, "kept");
    EXPECT_FALSE(content().contains("new"));
}

TEST_F(FileSecretStoreTest, NobodyElseCanReadIt)
{
    const mode_t before = ::umask(0);
    write("webdav", SECRET_MARK);
    ::umask(before);
    EXPECT_EQ(modeOf(path()), 0600U);
    EXPECT_EQ(modeOf(folder()), 0700U);
    ASSERT_EQ(::chmod(path().toUtf8().constData(), 0644), 0);
    EXPECT_EQ(read("webdav").secret, SECRET_MARK);
    EXPECT_EQ(modeOf(path()), 0600U) << "a file that came from a backup";
}

TEST_F(FileSecretStoreTest, ADamagedFileIsSetAsideWithOneLine)
{
    for (const char *damage : {"", "{\"webdav\":\"" SECRET_MARK, "[\"" SECRET_MARK "\"]", "\"" SECRET_MARK "\"", "\0\0\0\0"}) {
        log.clear();
        QDir(folder()).removeRecursively();
        leave(damage);
        EXPECT_TRUE(read("webdav").secret.isNull());
        EXPECT_EQ(read("webdav").error, QString());
        EXPECT_EQ(log.lines(), QStringList{"the file of secrets was damaged and is now " + path("secrets.json.damaged-1")}) << damage;
        EXPECT_EQ(content("secrets.json.damaged-1"), QByteArray(damage));
        EXPECT_EQ(modeOf(path("secrets.json.damaged-1")), 0600U);
        EXPECT_EQ(write("webdav", "new"), QString());
        EXPECT_EQ(read("webdav").secret, "new");
    }
}

TEST_F(FileSecretStoreTest, WritingOverADamagedFileLosesNothingOfIt)
{
    leave("{\"webdav\":\"" SECRET_MARK);
    EXPECT_EQ(write("token", "x"), QString());
    EXPECT_EQ(content("secrets.json.damaged-1"), "{\"webdav\":\"" SECRET_MARK);
    EXPECT_EQ(log.lines().size(), 1);
}

TEST_F(FileSecretStoreTest, MembersThatAreNoTextsAreNoSecretsAndStay)
{
    leave(R"({"version":7,"webdav":")" SECRET_MARK "\"}");
    EXPECT_TRUE(read("version").secret.isNull());
    write("webdav", "new");
    EXPECT_EQ(content(), R"({"version":7,"webdav":"new"})");
}

TEST_F(FileSecretStoreTest, WhatTheSystemRefusesIsOneLineWithoutTheSecret)
{
    ASSERT_TRUE(QDir().mkpath(m_temporary.path()));
    QFile inTheWay(m_temporary.filePath("data"));
    ASSERT_TRUE(inTheWay.open(QIODevice::WriteOnly));
    EXPECT_EQ(write("webdav", SECRET_MARK), "the secrets cannot be written: Not a directory");
    store = std::make_unique<FileSecretStore>(dispatch, QString(), log);
    EXPECT_EQ(read("webdav").error, "the secrets cannot be read: no home folder is known");
    EXPECT_EQ(write("webdav", SECRET_MARK), "the secrets cannot be written: no home folder is known");
    EXPECT_TRUE(log.lines().isEmpty());
}

TEST_F(FileSecretStoreTest, CompletionsComeInOrderAndNeverInsideTheCall)
{
    QStringList order;
    store->write("a", "1", [&](const SecretResult &) { order.append("written"); });
    store->read("a", [&](const SecretResult &result) { order.append(result.secret); });
    store->write("a", {}, [&](const SecretResult &) { order.append("removed"); });
    store->read("a", [&](const SecretResult &result) { order.append(result.secret.isNull() ? "none" : result.secret); });
    EXPECT_TRUE(order.isEmpty());
    dispatch.runReady();
    EXPECT_EQ(order, (QStringList{"written", "1", "removed", "none"}));
}

TEST_F(FileSecretStoreTest, ADroppedStoreAnswersNoMoreButWrites)
{
    bool answered = false;
    store->write("a", "1", [&](const SecretResult &) { answered = true; });
    store.reset();
    dispatch.runReady();
    EXPECT_FALSE(answered);
    store = std::make_unique<FileSecretStore>(dispatch, folder(), log);
    EXPECT_EQ(read("a").secret, "1");
}

TEST_F(FileSecretStoreTest, ProcessesThatWriteAtTheSameTimeLoseNothing)
{
    std::vector<pid_t> children;
    for (int child = 0; child < 3; ++child) {
        children.push_back(startChild([&] {
            int failures = 0;
            for (int number = 0; number < 20; ++number)
                failures += write(QStringLiteral("%1-%2").arg(child).arg(number), QString::number(number)).isEmpty() ? 0 : 1;
            return failures;
        }));
    }
    for (const pid_t child : children)
        EXPECT_EQ(endOfChild(child), 0);
    for (int child = 0; child < 3; ++child) {
        for (int number = 0; number < 20; ++number)
            EXPECT_EQ(read(QStringLiteral("%1-%2").arg(child).arg(number)).secret, QString::number(number));
    }
}

} // namespace
