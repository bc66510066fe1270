#include "platform/SettingsRules.h"

#include "tests/support/NeverLogged.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

std::string problem(const char *key, const char *value)
{
    return settingProblem(QString::fromUtf8(key), QString::fromUtf8(value)).toStdString();
}

TEST(SettingsRules, TheBackendAndTheEnvironmentAreOneOfAFewWords)
{
    for (const char *backend : {"embedded", "cloudkit", "webdav"})
        EXPECT_EQ(problem("cloudBackend", backend), "");
    for (const char *backend : {"", "iCloud", "Embedded", "webdav ", "embedded,webdav"})
        EXPECT_EQ(problem("cloudBackend", backend), "expected embedded, cloudkit or webdav") << backend;
    EXPECT_EQ(problem("cloudKitEnvironment", "development"), "");
    EXPECT_EQ(problem("cloudKitEnvironment", "production"), "");
    for (const char *environment : {"", "Production", "test"})
        EXPECT_EQ(problem("cloudKitEnvironment", environment), "expected development or production") << environment;
}

TEST(SettingsRules, RecordServersAreSpokenToSecurelyOrOnThisMachine)
{
    for (const char *key : {"cloudWebDAVURL", "cloudKitBaseURL"}) {
        EXPECT_EQ(problem(key, "https://cloud.example/dav/"), "");
        EXPECT_EQ(problem(key, "http://127.0.0.1:8080/"), "");
        for (const char *bad : {"http://cloud.example/", "", "cloud.example", "ftp://cloud.example", "https://"})
            EXPECT_EQ(problem(key, bad), "the address must begin with https:// (http:// on this machine only)") << bad;
    }
}

TEST(SettingsRules, BrowsersComeBackToThisMachineOnly)
{
    for (const char *good : {"http://127.0.0.1:1024/", "http://127.0.0.1:65535/signed-in", "http://127.0.0.1:8123/a/b_c.html"})
        EXPECT_EQ(problem("cloudKitCallback", good), "") << good;
    for (const char *bad : {"", "http://127.0.0.1/", "http://127.0.0.1:80/", "http://127.0.0.1:65536/", "http://127.0.0.1:8123",
             "http://localhost:8123/", "https://127.0.0.1:8123/", "http://127.0.0.2:8123/", "http://127.0.0.1:8123/?a=b", "http://127.0.0.1:8123/a#b",
             "http://[::1]:8123/", "http://192.168.1.2:8123/", "http://127.0.0.1:8123/a b", "http://127.0.0.1:8123/\n", "http://127.0.0.1:08123/"})
        EXPECT_EQ(problem("cloudKitCallback", bad), "the address must be http://127.0.0.1:PORT/PATH, with a port from 1024 on") << bad;
}

TEST(SettingsRules, NoAddressHoldsAUserOrAPassword)
{
    for (const char *key : {"cloudWebDAVURL", "cloudKitBaseURL", "configurationURL", "cloudKitContainer", "wiFiStubSSID"}) {
        EXPECT_EQ(problem(key, "https://anna:" SECRET_MARK "@cloud.example/"), "an address must hold no user and no password") << key;
        EXPECT_EQ(problem(key, "https://anna@cloud.example/"), "an address must hold no user and no password") << key;
    }
}

TEST(SettingsRules, WhatIsNoAddressMayHoldAnyText)
{
    EXPECT_EQ(problem("configurationURL", "file:///etc/lanterna/endpoint.txt"), "");
    EXPECT_EQ(problem("configurationURL", "http://192.168.1.1/endpoint.txt"), "");
    EXPECT_EQ(problem("configurationURL", ""), "");
    EXPECT_EQ(problem("cloudWebDAVUser", "anna@example.org"), "");
    EXPECT_EQ(problem("associatedWiFiNetwork", "a@b"), "");
    EXPECT_EQ(settingProblem(QStringLiteral("whichIP"), 2), QString());
}

} // namespace
