#include "tests/cloud/MemorySession.h"
#include "tests/fakes/VirtualDispatch.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

class CloudKitTokensTest : public testing::Test
{
protected:
    SecretResult current()
    {
        SecretResult result{{}, "no answer"};
        tokens.current([&](const SecretResult &each) { result = each; });
        dispatch.runReady();
        return result;
    }
    bool adopt(const QString &sent, const QString &next)
    {
        bool done = false;
        tokens.adopt(sent, next, [&] { done = true; });
        dispatch.runReady();
        return done;
    }

    VirtualDispatch dispatch;
    MemorySession memory{dispatch, "first"};
    CloudKitTokens tokens{memory.session()};
};

} // namespace

TEST_F(CloudKitTokensTest, TheNextTokenReplacesTheOneThatWasSent)
{
    EXPECT_EQ(current().secret, "first");
    EXPECT_TRUE(adopt("first", "second"));
    EXPECT_EQ(memory.token, "second");
    EXPECT_EQ(current().secret, "second");
}

TEST_F(CloudKitTokensTest, WhoSignedOutMeanwhileStaysSignedOut)
{
    memory.token = QString();
    EXPECT_TRUE(adopt("first", "second"));
    EXPECT_TRUE(memory.token.isEmpty());
    EXPECT_TRUE(current().secret.isEmpty());
}

TEST_F(CloudKitTokensTest, ANewSignInIsNotOverwritten)
{
    memory.token = "another";
    EXPECT_TRUE(adopt("first", "second"));
    EXPECT_EQ(current().secret, "another");
}

TEST_F(CloudKitTokensTest, ATokenThatCouldNotBeStoredIsStoredBeforeItIsUsed)
{
    memory.storeError = "the disk is full";
    EXPECT_TRUE(adopt("first", "second"));
    EXPECT_EQ(current().error, "the disk is full");
    EXPECT_TRUE(current().secret.isNull());
    memory.storeError.clear();
    EXPECT_EQ(current().secret, "second");
    EXPECT_EQ(memory.stored, QStringList{"second"});
}

TEST_F(CloudKitTokensTest, AStoreThatCannotBeReadIsAnError)
{
    memory.readError = "locked";
    EXPECT_EQ(current().error, "locked");
    EXPECT_TRUE(adopt("first", "second"));
    memory.readError.clear();
    EXPECT_EQ(current().secret, "second");
}

TEST_F(CloudKitTokensTest, NothingIsAnsweredAfterTheEnd)
{
    bool answered = false;
    {
        CloudKitTokens dropped(memory.session());
        dropped.current([&](const SecretResult &) { answered = true; });
    }
    dispatch.runReady();
    EXPECT_FALSE(answered);
}

TEST(SessionToken, IsVisibleTextOfSomeLength)
{
    EXPECT_TRUE(isSessionToken("106__54__AZ+x/y=="));
    for (const QByteArray &bad : {QByteArray(), QByteArray("a b"), QByteArray("a\tb"), QByteArray("\xC3\xA4"), QByteArray(20'000, 'a')})
        EXPECT_FALSE(isSessionToken(bad));
}
