#include "cloud/CloudKitRequests.h"

#include "tests/support/NeverLogged.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const CloudKitConfiguration apple{"iCloud.org.example.lanterna", "production", "api", "https://api.apple-cloudkit.com"};
const CloudKitConfiguration loopback{"iCloud.org.example.lanterna", "development", "api", "http://127.0.0.1:8080/"};

QByteArray encodedAssetURL(const QString &written)
{
    const auto url = assetURL(apple, written);
    return url ? url->toEncoded() : QByteArray("refused");
}

} // namespace

TEST(CloudKitRequests, TokensAreEncodedOnce)
{
    CloudKitConfiguration configuration = apple;
    configuration.apiToken = "a+b/c=";
    EXPECT_EQ(cloudKitURL(configuration, "records/lookup", "106__54__AZ+x/y==%2B").toEncoded(),
        "https://api.apple-cloudkit.com/database/1/iCloud.org.example.lanterna/production/private/records/lookup"
        "?ckAPIToken=a%2Bb%2Fc%3D&ckWebAuthToken=106__54__AZ%2Bx%2Fy%3D%3D%252B");
}

TEST(CloudKitRequests, WithoutASessionOnlyTheProgramIsNamed)
{
    EXPECT_EQ(cloudKitURL(loopback, "users/current", "").toEncoded(),
        "http://127.0.0.1:8080/database/1/iCloud.org.example.lanterna/development/private/users/current?ckAPIToken=api");
}

TEST(CloudKitRequests, WhatIsMissingInTheSettingsIsSaidByName)
{
    EXPECT_FALSE(problemOf(apple));
    EXPECT_FALSE(problemOf(loopback));
    const auto problem = [](auto change) {
        CloudKitConfiguration configuration = apple;
        change(configuration);
        const auto error = problemOf(configuration);
        EXPECT_TRUE(error && error->code == RecordErrorCode::invalidArguments);
        return error ? error->description : QString();
    };
    EXPECT_TRUE(problem([](auto &configuration) { configuration.container.clear(); }).contains("cloudKitContainer"));
    EXPECT_TRUE(problem([](auto &configuration) { configuration.container = "org.example"; }).contains("cloudKitContainer"));
    EXPECT_TRUE(problem([](auto &configuration) { configuration.container = "iCloud.a/../b"; }).contains("cloudKitContainer"));
    EXPECT_TRUE(problem([](auto &configuration) { configuration.environment = "Production"; }).contains("cloudKitEnvironment"));
    EXPECT_TRUE(problem([](auto &configuration) { configuration.apiToken.clear(); }).contains("cloudKitAPIToken"));
    for (const char *url : {"http://api.apple-cloudkit.com", "https://u:" SECRET_MARK "@h.example", "https://h.example/?a=b", "", "ftp://127.0.0.1"})
        EXPECT_TRUE(problem([&](auto &configuration) { configuration.baseURL = url; }).contains("cloudKitBaseURL")) << url;
    EXPECT_FALSE(problem([](auto &configuration) { configuration.baseURL = "https://u:" SECRET_MARK "@h.example"; }).contains(SECRET_MARK));
}

TEST(CloudKitRequests, OnlyThePlaceholderOfAFileAddressIsReplaced)
{
    EXPECT_EQ(encodedAssetURL("https://h.example/B/a%2Fb/${f}?o=A%2Bb%2F&e=1&k=a+b/c=d==&s=(x)~y'!*;,:@$%20n"),
        "https://h.example/B/a%2Fb/asset?o=A%2Bb%2F&e=1&k=a+b/c=d==&s=(x)~y'!*;,:@$%20n");
    EXPECT_EQ(encodedAssetURL("https://h.example/B/1/%24%7Bf%7D?o=%24%7Bf%7D"), "https://h.example/B/1/asset?o=%24%7Bf%7D");
    EXPECT_EQ(encodedAssetURL("https://h.example/B/1/file"), "https://h.example/B/1/file");
}

TEST(CloudKitRequests, FilesAreNotFetchedFromJustAnywhere)
{
    for (const char *url : {"http://h.example/${f}", "http://127.0.0.1:631/${f}", "https://localhost/${f}", "file:///etc/passwd", "", "/B/1",
             "https://u:p@h.example/${f}"})
        EXPECT_EQ(encodedAssetURL(url), "refused") << url;
    EXPECT_TRUE(assetURL(loopback, "http://127.0.0.1:631/${f}"));
}

TEST(CloudKitRequests, PeopleSignInAtApplesOwnHostOnly)
{
    const QString right = "https://idmsa.apple.com/IDMSWebAuth/auth?oauth_token=a%2Bb";
    EXPECT_EQ(checkedSignInURL(apple, right).toEncoded(), right.toLatin1());
    for (const char *url : {"http://idmsa.apple.com/a", "https://idmsa.apple.com.example.org/a", "https://apple.com/a", "https://x@idmsa.apple.com/a",
             "https://idmsa.apple.com:8443/a", "http://127.0.0.1:8080/a", "javascript:alert(1)", ""})
        EXPECT_TRUE(checkedSignInURL(apple, url).isEmpty()) << url;
    EXPECT_FALSE(checkedSignInURL(loopback, "http://127.0.0.1:9090/a").isEmpty());
    EXPECT_FALSE(checkedSignInURL(loopback, right).isEmpty());
}

TEST(CloudKitRequests, ARecordIsCreatedOrUpdatedNeverForced)
{
    Record record;
    record.recordName = "user";
    record.recordType = "Dictionary";
    record.texts = {{"dictName", "current"}};
    EXPECT_EQ(modifyBody(record, {{"dictAsset", {{"receipt", "r"}, {"size", qlonglong(2)}}}}, {}),
        R"({"operations":[{"operationType":"create","record":{"fields":{"dictAsset":{"value":{"receipt":"r","size":2}},)"
        R"("dictName":{"type":"STRING","value":"current"}},"recordName":"user","recordType":"Dictionary"}}]})");
    record.changeTag = "mi3";
    EXPECT_EQ(modifyBody(record, {}, {"old"}),
        R"({"operations":[{"operationType":"update","record":{"fields":{"dictName":{"type":"STRING","value":"current"},"old":{"value":null}},)"
        R"("recordChangeTag":"mi3","recordName":"user","recordType":"Dictionary"}}]})");
}
