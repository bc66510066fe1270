#include "cloud/CloudKitReply.h"

#include "tests/support/NeverLogged.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QStringList secrets{"api+" SECRET_MARK "/1=", "106__54__AZ+x" SECRET_MARK "/y=="};

CloudKitReply records(int status, const QByteArray &body, const QByteArray &retryAfter = {})
{
    HttpAnswer answer;
    answer.status = status;
    answer.body = body;
    if (!retryAfter.isNull())
        answer.headers.append({"Retry-After", retryAfter});
    return parseCloudKitReply(CloudKitReplyKind::records, answer, secrets);
}

RecordError errorOf(const CloudKitReply &reply)
{
    EXPECT_TRUE(reply.failure);
    return reply.failure ? reply.failure->error : RecordError{};
}

int code(int status, const QByteArray &body)
{
    return int(errorOf(records(status, body)).code);
}

/// Of the one entry in a reply that is itself a success.
RecordError entryError(const QByteArray &entry)
{
    const auto found = recordNamed(records(200, "{\"records\":[" + entry + "]}"), "user");
    const auto *error = std::get_if<RecordError>(&found);
    EXPECT_TRUE(error) << entry.toStdString();
    return error ? *error : RecordError{};
}

QByteArray failure(const char *name, const QByteArray &more = {})
{
    return QByteArray("{\"recordName\":\"user\",\"uuid\":\"u-1\",\"reason\":\"why\",\"serverErrorCode\":\"") + name + '"' + more + '}';
}

} // namespace

TEST(CloudKitReply, EachErrorCodeHasItsNumberForTheRequestAndForARecord)
{
    struct Row {
        const char *name;
        int status;
        int code;
    };
    constexpr Row table[] = {{"NOT_FOUND", 404, 11}, {"THROTTLED", 429, 7}, {"THROTTLED", 503, 7}, {"TRY_AGAIN_LATER", 503, 6}, {"CONFLICT", 409, 14},
        {"EXISTS", 409, 14}, {"AUTHENTICATION_REQUIRED", 421, 9}, {"AUTHENTICATION_FAILED", 401, 9}, {"ACCESS_DENIED", 403, 10},
        {"ZONE_NOT_FOUND", 404, 26}, {"QUOTA_EXCEEDED", 413, 25}, {"BAD_REQUEST", 400, 12}, {"ATOMIC_ERROR", 400, 22},
        {"VALIDATING_REFERENCE_ERROR", 412, 31}, {"INTERNAL_ERROR", 500, 15}};
    for (const Row &row : table) {
        EXPECT_EQ(code(row.status, failure(row.name)), row.code) << row.name;
        EXPECT_EQ(int(entryError(failure(row.name)).code), row.code) << row.name;
    }
}

TEST(CloudKitReply, UnknownCodesGoByTheirClass)
{
    EXPECT_EQ(code(418, failure("BRAND_NEW")), 12);
    EXPECT_EQ(code(599, failure("BRAND_NEW")), 6);
    EXPECT_EQ(int(entryError(failure("BRAND_NEW")).code), 15);
    EXPECT_EQ(
        errorOf(records(418, failure("BRAND_NEW"))).description.toStdString(), "iCloud does not accept the request (BRAND_NEW: why, request u-1).");
}

TEST(CloudKitReply, AFailureWithStatus200IsOne)
{
    EXPECT_EQ(code(200, failure("ZONE_NOT_FOUND")), 26);
}

TEST(CloudKitReply, SecondsComeFromTheBodyAndElseFromTheHeader)
{
    const auto seconds = [](const QByteArray &more, const QByteArray &header) {
        return errorOf(records(429, failure("THROTTLED", more), header)).retryAfter;
    };
    EXPECT_EQ(seconds(",\"retryAfter\":110207", "5"), 110207);
    EXPECT_EQ(seconds(",\"retryAfter\":1.5", {}), 1.5);
    EXPECT_EQ(seconds(",\"retryAfter\":0", {}), 0);
    EXPECT_EQ(seconds("", "5"), 5);
    EXPECT_EQ(seconds("", "2.5"), 2.5);
    EXPECT_EQ(seconds(",\"retryAfter\":-3", "5"), 5);
    EXPECT_EQ(seconds(",\"retryAfter\":\"3\"", {}), std::nullopt);
    EXPECT_EQ(seconds("", "-5"), std::nullopt);
    EXPECT_EQ(seconds("", "soon"), std::nullopt);
    EXPECT_EQ(seconds("", "nan"), std::nullopt);
    EXPECT_LT(seconds(",\"retryAfter\":1e300", {}), 2e9);
}

TEST(CloudKitReply, LaterWithSecondsIsTooOften)
{
    EXPECT_EQ(code(503, failure("TRY_AGAIN_LATER", ",\"retryAfter\":30")), 7);
    EXPECT_EQ(int(entryError(failure("TRY_AGAIN_LATER", ",\"retryAfter\":30")).code), 7);
}

TEST(CloudKitReply, WhatIsNoJSONObjectIsANetworkFailure)
{
    for (const char *body : {"", "<html><body>Log in to this Wi-Fi</body></html>", "{\"records\":[", "[]", "null", "{\"records\":{}}", "{}",
             "{\"records\":[1]}", "\xff\xfe"})
        EXPECT_EQ(code(200, body), 4) << body;
    EXPECT_EQ(code(404, "{\"error\":\"gone\"}"), 4);
    EXPECT_EQ(code(302, ""), 4);
    EXPECT_EQ(code(401, "<html>"), 4);
    EXPECT_TRUE(errorOf(records(200, "<html>")).description.contains("log-in page"));
}

TEST(CloudKitReply, AMisdirectedRequestIsNoSignIn)
{
    EXPECT_EQ(code(421, "Misdirected Request"), 4);
    EXPECT_EQ(code(421, ""), 4);
}

TEST(CloudKitReply, AStatusAloneTellsThatRequestsComeTooOften)
{
    EXPECT_EQ(errorOf(records(429, "<html>", "7")), errorOf(records(503, "", "7")));
    EXPECT_EQ(errorOf(records(429, "<html>", "7")).retryAfter, 7);
    EXPECT_EQ(code(429, ""), 7);
    EXPECT_EQ(code(503, ""), 4);
}

TEST(CloudKitReply, ASignInAddressComesWithTheError)
{
    const CloudKitReply reply = records(421, failure("AUTHENTICATION_REQUIRED", ",\"redirectURL\":\"https://idmsa.apple.com/a?b\""));
    ASSERT_TRUE(reply.failure);
    EXPECT_EQ(reply.failure->redirectURL, "https://idmsa.apple.com/a?b");
    EXPECT_FALSE(reply.failure->error.description.contains("idmsa"));
}

TEST(CloudKitReply, WordsHoldNoSecretAndNoAddress)
{
    for (const char *reason :
        {"token 106__54__AZ+x" SECRET_MARK "/y== is old", "106__54__AZ%2Bx" SECRET_MARK "%2Fy%3D%3D", "106__54__AZ%2bx" SECRET_MARK "%2fy%3d%3d",
            "api+" SECRET_MARK "/1= unknown", "GET https://h.example/x?ckWebAuthToken=zzz failed", "ckWebAuthToken=zzz", "ckSession=zzz"}) {
        const QString words = errorOf(records(400, QByteArray("{\"serverErrorCode\":\"BAD_REQUEST\",\"reason\":\"") + reason + "\"}")).description;
        for (const char *secret : {"AZ+x", "AZ%2", SECRET_MARK, "zzz", "h.example"})
            EXPECT_FALSE(words.contains(secret)) << words.toStdString();
        EXPECT_TRUE(words.contains("BAD_REQUEST"));
    }
    const QString token(3000, u'q');
    HttpAnswer answer;
    answer.status = 400;
    answer.body = "{\"serverErrorCode\":\"BAD_REQUEST\",\"reason\":\"" + QByteArray(100, 'a') + "\\n" + token.toLatin1() + "\"}";
    const CloudKitReply reply = parseCloudKitReply(CloudKitReplyKind::user, answer, {token});
    EXPECT_FALSE(errorOf(reply).description.contains("qqq")) << errorOf(reply).description.toStdString();
}

TEST(CloudKitReply, ARecordComesWithItsFieldsWhateverTheirTypesAreCalled)
{
    const CloudKitReply reply = records(200, R"({"records":[{"recordName":"user","recordType":"T","recordChangeTag":"mi3",
        "modified":{"timestamp":1763428582657},"fields":{
        "text":{"value":"x","type":"STRING"},"plain":{"value":"y"},"number":{"value":1,"type":"NUMBER_INT64"},"list":{"value":["a"],"type":"LIST"},
        "bytes":{"value":"AAAA","type":"BYTES"},"secret":{"value":"z","type":"STRING","isEncrypted":true},"none":{"value":null,"type":"STRING"},
        "one":{"value":{"size":3,"downloadURL":"https://h.example/${f}","wrappingKey":"w"},"type":"ASSETID"},
        "two":{"value":{"size":-1},"type":"ASSET"},"wrong":7}}]})");
    const auto found = recordNamed(reply, "user");
    ASSERT_TRUE(std::holds_alternative<CloudKitEntry>(found));
    const auto &entry = std::get<CloudKitEntry>(found);
    EXPECT_EQ(entry.record.texts, (QMap<QString, QString>{{"plain", "y"}, {"text", "x"}}));
    EXPECT_EQ(entry.assets, (QMap<QString, CloudKitAsset>{{"one", {"https://h.example/${f}", 3}}, {"two", {"", std::nullopt}}}));
    EXPECT_EQ(entry.record.changeTag, "mi3");
    EXPECT_EQ(entry.record.modificationDate, QDateTime::fromMSecsSinceEpoch(1763428582657, Qt::UTC));
}

TEST(CloudKitReply, ARecordIsFoundByItsNameNotItsPlace)
{
    const QByteArray body = R"({"records":[{"recordName":"other","recordChangeTag":"1"},{"recordName":"user","recordChangeTag":"2"}]})";
    EXPECT_EQ(std::get<CloudKitEntry>(recordNamed(records(200, body), "user")).record.changeTag, "2");
    EXPECT_EQ(int(entryError(R"({"recordName":"other","recordChangeTag":"1"})").code), 4);
    EXPECT_EQ(int(entryError(R"({"recordName":"other","serverErrorCode":"NOT_FOUND"})").code), 4);
    EXPECT_EQ(int(entryError(R"({"serverErrorCode":"NOT_FOUND"})").code), 11) << "it can only be about the one that was asked for";
}

TEST(CloudKitReply, ARecordWithoutATagOrADeletedOneIsNone)
{
    EXPECT_EQ(int(entryError(R"({"recordName":"user"})").code), 4);
    EXPECT_EQ(int(entryError(R"({"recordName":"user","recordChangeTag":7})").code), 4);
    EXPECT_EQ(int(entryError(R"({"recordName":"user","recordChangeTag":"1","deleted":true})").code), 11);
}

TEST(CloudKitReply, AReceiptHasAllItsPartsAndKeepsWhatElseIsInIt)
{
    HttpAnswer answer;
    answer.status = 200;
    const QByteArray parts = R"("wrappingKey":"w","fileChecksum":"A","referenceChecksum":"R","size":2,"new":[1.5])";
    answer.body = "{\"singleFile\":{" + parts + ",\"receipt\":\"r\"}}";
    EXPECT_EQ(std::get<QVariantMap>(parseUploadReceipt(answer)).value("new"), QVariant(QVariantList{1.5}));
    answer.body = "{\"singleFile\":{" + parts + "}}";
    EXPECT_EQ(std::get<RecordError>(parseUploadReceipt(answer)).code, RecordErrorCode::networkFailure);
    const auto refused = [&](int status) {
        answer.status = status;
        return int(std::get<RecordError>(parseUploadReceipt(answer)).code);
    };
    EXPECT_EQ(refused(413), 25);
    EXPECT_EQ(refused(429), 7);
    EXPECT_EQ(refused(403), 15);
    EXPECT_EQ(refused(500), 6);
    EXPECT_EQ(refused(302), 4);
}
