#include "tests/fakes/FakeSystemLog.h"

#include <gtest/gtest.h>

#include <QUrl>

using namespace lanterna;

namespace
{

TEST(NeverLogged, ASecretIsSeenInWhateverForm)
{
    const QByteArray secret = "p\xc3\xa4ss: " SECRET_MARK " %";
    EXPECT_TRUE(holdsSecret(secret));
    EXPECT_TRUE(holdsSecret(secret.toUpper()));
    EXPECT_TRUE(holdsSecret(QUrl::toPercentEncoding(secret)));
    EXPECT_TRUE(holdsSecret(QUrl::toPercentEncoding(QUrl::toPercentEncoding(secret))));
    for (const char *before : {"", "a", "ab", "ada:"}) {
        EXPECT_TRUE(holdsSecret("Basic " + (before + secret).toBase64())) << before;
        EXPECT_TRUE(holdsSecret((before + secret).toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals))) << before;
    }
    for (const char *harmless : {"", "s3cr3t", "a password was asked for", "Basic YWRhOnBhc3N3b3Jk"})
        EXPECT_FALSE(holdsSecret(QByteArray(harmless))) << harmless;
}

TEST(FakeSystemLogDeathTest, ALineWithASecretEndsTheTestWithoutTellingIt)
{
    FakeSystemLog log;
    log(QStringLiteral("%@ failed"), QStringLiteral("https://cloud.example/"));
    EXPECT_DEATH(
        log(QStringLiteral("%@ failed"), QStringLiteral("https://ada:" SECRET_MARK "@cloud.example/")), "^a secret was about to be logged\n$");
}

} // namespace
