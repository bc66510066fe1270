#include "cloud/SignInCallback.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

/// The token, or "none".
std::string token(const QByteArray &callback)
{
    const SignInReturn expected{signInScheme("iCloud.org.Example.lanterna"), "http://127.0.0.1:8123/signed-in"};
    return sessionTokenIn(callback, expected).value_or("none").toStdString();
}

constexpr const char *scheme = "cloudkit-icloud.org.example.lanterna:";

} // namespace

TEST(SignInCallback, TokenStandsUnderEitherKey)
{
    EXPECT_EQ(token(QByteArray(scheme) + "//signed-in?ckWebAuthToken=106__a&ckSession=106__b"), "106__a");
    EXPECT_EQ(token(QByteArray(scheme) + "//signed-in?ckSession=106__b"), "106__b");
    EXPECT_EQ(token(QByteArray(scheme) + "?a=b&ckSession=106__b&c"), "106__b");
    EXPECT_EQ(token("http://127.0.0.1:8123/signed-in?ckWebAuthToken=106__a"), "106__a");
}

TEST(SignInCallback, TokenStandsInTheQueryOrInTheFragment)
{
    EXPECT_EQ(token(QByteArray(scheme) + "//x#ckWebAuthToken=106__a"), "106__a");
    EXPECT_EQ(token(QByteArray(scheme) + "//x#/done?ckSession=106__a"), "106__a");
    EXPECT_EQ(token(QByteArray(scheme) + "//x?ckSession=106__q#ckWebAuthToken=106__f"), "106__q");
    EXPECT_EQ(token(QByteArray(scheme) + "//x?a=b#ckWebAuthToken=106__f"), "106__f");
}

TEST(SignInCallback, TokenIsDecodedOnceAndBlanksArePlusesAgain)
{
    EXPECT_EQ(token(QByteArray(scheme) + "?ckSession=106__A%2Bb%2Fc%3D%3D"), "106__A+b/c==");
    EXPECT_EQ(token(QByteArray(scheme) + "?ckSession=106__A+b/c=="), "106__A+b/c==");
    EXPECT_EQ(token(QByteArray(scheme) + "?ckSession=106__A b/c=="), "106__A+b/c==");
    EXPECT_EQ(token(QByteArray(scheme) + "?ckSession=106__A%20b"), "106__A+b");
    EXPECT_EQ(token(QByteArray(scheme) + "?ckSession=106__A%252Bb"), "106__A%2Bb");
}

TEST(SignInCallback, SchemeIsOfAnyCaseAndTheAddressIsNot)
{
    EXPECT_EQ(token("CloudKit-iCloud.org.example.lanterna://x?ckSession=106__a"), "106__a");
    for (const char *other : {"cloudkit-icloud.org.example.lanterna2:?ckSession=106__a", "https://example.org/?ckSession=106__a", "?ckSession=106__a",
             "ckSession=106__a", "http://127.0.0.1:8123/Signed-in?ckSession=106__a", "http://127.0.0.1:8123/?ckSession=106__a",
             "http://127.0.0.1:8124/signed-in?ckSession=106__a", ""})
        EXPECT_EQ(token(other), "none") << other;
}

TEST(SignInCallback, WhatCannotBeATokenIsNone)
{
    for (const char *bad : {"?ckSession=", "?ckSession", "?cksession=106__a", "?ckSession=a%00b", "?ckSession=a%0Ab", "?ckSession=%ff",
             "?xckSession=a", "", "#", "?", "?&&=", "#?#?"})
        EXPECT_EQ(token(scheme + QByteArray(bad)), "none") << bad;
    EXPECT_EQ(token(scheme + QByteArray("?ckSession=") + QByteArray(16'385, 'a')), "none");
    EXPECT_EQ(token(scheme + QByteArray("?ckSession=a&b=") + QByteArray(32 * 1024, 'b')), "none");
    EXPECT_EQ(token(scheme + QByteArray("?ckWebAuthToken=%0A&ckSession=106__b")), "106__b") << "the other one is good";
}

TEST(SignInCallback, NoAddressIsExpectedWithoutASetting)
{
    EXPECT_FALSE(sessionTokenIn("?ckSession=106__a", {signInScheme("iCloud.a"), {}}));
    EXPECT_FALSE(sessionTokenIn(":?ckSession=106__a", {{}, {}}));
}
