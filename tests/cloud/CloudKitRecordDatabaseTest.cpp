#include "tests/cloud/CloudKitFixture.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// Sessions, pauses and settings: what stands before every request.
class CloudKitRecordDatabaseTest : public CloudKitFixture
{
protected:
    FakeHttpReply throttled(const QByteArray &seconds)
    {
        return json(429, "{\"serverErrorCode\":\"THROTTLED\",\"reason\":\"slow down\",\"retryAfter\":" + seconds + "}");
    }
    QByteArray lastTarget() const { return server.requests.last().target; }
};

} // namespace

TEST_F(CloudKitRecordDatabaseTest, WithoutASessionNothingGoesOut)
{
    session.token.clear();
    EXPECT_EQ(words(fetch()), "Not signed in to iCloud. (9)");
    EXPECT_EQ(code(save(newRecord())), 9);
    EXPECT_EQ(code(query()), 9);
    EXPECT_EQ(server.asked, QStringList{});
}

TEST_F(CloudKitRecordDatabaseTest, WithoutContainerOrAPITokenNothingGoesOut)
{
    CloudKitConfiguration configuration = server.configuration();
    configuration.apiToken.clear();
    start(configuration);
    EXPECT_EQ(words(fetch()), "No API token of the iCloud container is set (cloudKitAPIToken). (12)");
    EXPECT_EQ(code(user()), 12);
    configuration = server.configuration();
    configuration.container.clear();
    start(configuration);
    EXPECT_EQ(code(query()), 12);
    EXPECT_EQ(server.asked, QStringList{});
}

TEST_F(CloudKitRecordDatabaseTest, EveryReplyBringsTheNextToken)
{
    put();
    for (int call = 0; call < 3; ++call)
        EXPECT_EQ(code(fetch()), 0);
    EXPECT_EQ(session.stored.size(), 3);
    EXPECT_EQ(session.token, server.currentToken(firstToken));
}

TEST_F(CloudKitRecordDatabaseTest, TheNextTokenIsStoredBeforeTheNextRequestGoesOut)
{
    put();
    session.delay = 1s; // of virtual time: reading and storing stand still until it is moved
    QStringList early;
    server.onRequest = [&] {
        if (session.token != server.currentToken(firstToken))
            early.append(server.asked.last());
    };
    bool done = false;
    database->fetchRecord("user", [](const auto &) {});
    database->queryRecords("Dictionary", [](const auto &) {});
    database->saveRecord(newRecord(), [&](const auto &) { done = true; });
    EXPECT_TRUE(waitUntil([&] {
        dispatch.advance(1s);
        return done;
    }));
    EXPECT_EQ(session.stored.size(), 4); // two lookups and queries, and the two requests of a save that is refused
    EXPECT_EQ(early, QStringList{});
}

TEST_F(CloudKitRecordDatabaseTest, ATokenOfAnErrorOrOfHalfAReplyCountsToo)
{
    server.insteadOf("records/lookup", json(500, R"({"serverErrorCode":"INTERNAL_ERROR"})"));
    EXPECT_EQ(code(fetch()), 15);
    EXPECT_EQ(session.token, server.currentToken(firstToken));
    server.onTheWayBack("records/lookup", delivered(Delivery::half));
    EXPECT_EQ(code(fetch()), 4);
    EXPECT_EQ(session.stored.size(), 2);
    EXPECT_EQ(session.token, server.currentToken(firstToken));
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, TheOtherHeaderCarriesTheTokenWhereTheFirstIsMissing)
{
    FakeHttpReply reply = json(200, R"({"records":[]})");
    reply.headers = {{"X-Apple-CloudKit-Session", "fallback+/="}};
    server.insteadOf("records/lookup", reply);
    (void)fetch();
    EXPECT_EQ(session.token, "fallback+/=");
    reply.headers = {{"X-Apple-CloudKit-Session", "fallback+/="}, {"X-Apple-CloudKit-Web-Auth-Token", "first+/="}};
    session.token = server.currentToken(firstToken);
    server.insteadOf("records/lookup", reply);
    (void)fetch();
    EXPECT_EQ(session.token, "first+/=");
}

TEST_F(CloudKitRecordDatabaseTest, AReplyWithoutATokenKeepsTheOneThereIs)
{
    server.onTheWayBack("records/lookup", delivered(Delivery::none), 10);
    EXPECT_EQ(code(fetch()), 4);
    EXPECT_EQ(session.token, firstToken);
}

TEST_F(CloudKitRecordDatabaseTest, ATokenThatCannotBeStoredStopsTheNextRequest)
{
    put();
    session.storeError = "The secrets are locked.";
    EXPECT_EQ(code(fetch()), 0);
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(words(fetch()), "The iCloud session cannot be read or kept: The secrets are locked. (1)"); }), QStringList{});
    session.storeError.clear();
    EXPECT_EQ(code(fetch()), 0);
}

TEST_F(CloudKitRecordDatabaseTest, AnEndedSessionAsksForASignInAndSaysWhere)
{
    put();
    EXPECT_TRUE(database->signInURL().isEmpty());
    server.endSessions();
    EXPECT_EQ(code(fetch()), 9);
    EXPECT_TRUE(database->signInURL().toString().contains("/IDMSWebAuth/auth"));
    session.token = server.signIn();
    EXPECT_EQ(code(fetch()), 0);
    EXPECT_TRUE(database->signInURL().isEmpty());
}

TEST_F(CloudKitRecordDatabaseTest, ATokenThatAnotherProgramUsedUpIsReplacedByTheOneItKept)
{
    put();
    server.onRequest = [&] { // the other program's reply comes between our reading of the token and our request
        server.onRequest = nullptr;
        session.token = server.rotate(firstToken);
    };
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(fetch()), 0); }), (QStringList{"records/lookup", "records/lookup", "download"}));
    server.endSessions();
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(fetch()), 9); }), QStringList{"records/lookup"});
}

TEST_F(CloudKitRecordDatabaseTest, ARecordCanAskForASignInToo)
{
    server.insteadOf("records/lookup",
        json(200,
            R"({"records":[{"recordName":"user","serverErrorCode":"AUTHENTICATION_REQUIRED","redirectURL":"https://idmsa.apple.com/a?b=%2B"}]})"));
    EXPECT_EQ(code(fetch()), 9);
    EXPECT_EQ(database->signInURL().toEncoded(), "https://idmsa.apple.com/a?b=%2B");
    server.insteadOf("records/lookup", json(421, R"({"serverErrorCode":"AUTHENTICATION_REQUIRED","redirectURL":"https://evil.example/"})"));
    EXPECT_EQ(code(fetch()), 9);
    EXPECT_EQ(database->signInURL().host(), "idmsa.apple.com");
}

TEST_F(CloudKitRecordDatabaseTest, ASignInBeginsWithoutASession)
{
    session.token.clear();
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(code(user()), 9); }), QStringList{"users/current"});
    EXPECT_EQ(server.requests.last().method, "GET");
    EXPECT_FALSE(lastTarget().contains("ckWebAuthToken"));
    EXPECT_FALSE(database->signInURL().isEmpty());
    session.token = server.signIn();
    EXPECT_EQ(value(user()), "_904181d1d76652d1");
}

TEST_F(CloudKitRecordDatabaseTest, AWrongAPITokenIsSaidInWords)
{
    CloudKitConfiguration configuration = server.configuration();
    configuration.apiToken = "wrong";
    start(configuration);
    EXPECT_EQ(words(user()),
        "iCloud does not accept the session or the API token, or no longer does (AUTHENTICATION_FAILED: no such API token, request "
        "5f1b6f3e-0000-4000-8000-000000000001). (9)");
    EXPECT_TRUE(database->signInURL().isEmpty());
}

TEST_F(CloudKitRecordDatabaseTest, WhileThrottledEveryCallIsAnsweredWithTheSecondsThatAreLeftAndWithoutARequest)
{
    server.insteadOf("records/lookup", throttled("110207"));
    EXPECT_EQ(seconds(fetch()), 110207);
    dispatch.advance(100'000s);
    const QStringList asked = askedBy([&] {
        EXPECT_EQ(words(fetch()), "iCloud asks for fewer requests: none for another 10207 s. (7)");
        EXPECT_EQ(seconds(save(newRecord())), 10'207);
        EXPECT_EQ(seconds(query()), 10'207);
        EXPECT_EQ(seconds(user()), 10'207);
    });
    EXPECT_EQ(asked, QStringList{});
    dispatch.advance(10'207s);
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, AClockThatJumpsDoesNotChangeAPause)
{
    server.insteadOf("records/lookup", throttled("60.5"));
    EXPECT_EQ(code(fetch()), 7);
    dispatch.jumpWallClock(24h);
    EXPECT_EQ(seconds(fetch()), 60.5);
    dispatch.jumpWallClock(-72h);
    dispatch.advance(60s);
    EXPECT_EQ(seconds(fetch()), 0.5);
    dispatch.advance(500ms);
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, APauseSurvivesARestart)
{
    server.insteadOf("records/lookup", throttled("110207"));
    EXPECT_EQ(code(fetch()), 7);
    const auto kept = database->throttle();
    ASSERT_TRUE(kept);
    restart();
    EXPECT_FALSE(database->throttle());
    dispatch.advance(207s);
    database->resumeThrottle(*kept);
    EXPECT_EQ(seconds(fetch()), 110'000);
    EXPECT_EQ(database->throttle(), kept);
    dispatch.advance(110'000s);
    EXPECT_FALSE(database->throttle());
    restart();
    database->resumeThrottle(*kept);
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, AClockThatWasSetBackMakesAKeptPauseNoLonger)
{
    database->resumeThrottle({dispatch.now().addYears(30), 60});
    EXPECT_EQ(seconds(fetch()), 60);
    database->resumeThrottle({dispatch.now(), 5}); // a shorter one does not end it
    EXPECT_EQ(seconds(fetch()), 60);
}

TEST_F(CloudKitRecordDatabaseTest, AThrottleWithoutSecondsIsToldAndNotRemembered)
{
    server.insteadOf("records/lookup", json(429, R"({"serverErrorCode":"THROTTLED"})"));
    EXPECT_EQ(code(fetch()), 7);
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, ARecordOrAFileCanThrottleToo)
{
    server.insteadOf("records/lookup", json(200, R"({"records":[{"recordName":"user","serverErrorCode":"TRY_AGAIN_LATER","retryAfter":30}]})"));
    EXPECT_EQ(seconds(fetch()), 30);
    EXPECT_EQ(seconds(fetch()), 30);
    dispatch.advance(30s);
    put();
    server.insteadOf("download", {503, "busy", {{"Retry-After", "20"}}});
    EXPECT_EQ(seconds(fetch()), 20);
    EXPECT_EQ(askedBy([&] { EXPECT_EQ(seconds(fetch()), 20); }), QStringList{});
}

TEST_F(CloudKitRecordDatabaseTest, SilenceEndsAfterTheIdleTime)
{
    server.insteadOf("records/lookup", undelivered(Delivery::silence));
    EXPECT_EQ(words(fetch()), "127.0.0.1 took too long. (4)");
    EXPECT_EQ(code(fetch()), 11);
}

TEST_F(CloudKitRecordDatabaseTest, ALargeReplyIsTakenApartOffTheMainThread)
{
    QByteArray body = R"({"records":[{"recordName":"user","recordType":"Dictionary","recordChangeTag":"1","fields":{"dictName":{"value":")";
    body += QByteArray(100'000, 'x') + R"("}}}]})";
    server.insteadOf("records/lookup", json(200, body));
    EXPECT_EQ(value(fetch()).texts.value("dictName").size(), 100'000);
}
