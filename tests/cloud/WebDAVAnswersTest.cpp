#include "cloud/WebDAVAnswers.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

const QDateTime now(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
const QString host = QStringLiteral("cloud.example");

HttpAnswer answerWith(int status, QList<QPair<QByteArray, QByteArray>> headers = {})
{
    HttpAnswer answer;
    answer.status = status;
    answer.headers = std::move(headers);
    return answer;
}

QByteArray listing(const QByteArray &responses)
{
    return "<?xml version=\"1.0\"?>\n<D:multistatus xmlns:D=\"DAV:\" xmlns:x=\"urn:x\">" + responses + "</D:multistatus>";
}

} // namespace

TEST(WebDAVError, EachStatusHasItsCode)
{
    for (const int fine : {200, 201, 204, 207})
        EXPECT_FALSE(webDAVError(answerWith(fine), host, now)) << fine;
    const std::map<int, int> codes = {{301, 15}, {302, 15}, {307, 15}, {400, 12}, {401, 9}, {403, 10}, {404, 11}, {405, 12}, {409, 12}, {410, 11},
        {412, 14}, {413, 25}, {423, 6}, {429, 7}, {500, 15}, {501, 15}, {502, 6}, {503, 6}, {504, 6}, {507, 25}, {0, 15}, {100, 15}, {999, 15}};
    for (const auto &[status, code] : codes) {
        const auto error = webDAVError(answerWith(status), host, now);
        ASSERT_TRUE(error) << status;
        EXPECT_EQ(int(error->code), code) << status;
        EXPECT_TRUE(error->description.contains(host)) << status;
        EXPECT_FALSE(error->retryAfter) << status;
    }
}

TEST(WebDAVError, WaitingTimeIsTakenFromNumbersAndDates)
{
    const auto seconds = [](const QByteArray &value, int status = 503) {
        const auto error = webDAVError(answerWith(status, {{"retry-after", value}}), host, now);
        return error && int(error->code) == 7 ? error->retryAfter.value_or(-1) : -1;
    };
    EXPECT_EQ(seconds("120"), 120);
    EXPECT_EQ(seconds(" 0 ", 429), 0);
    EXPECT_EQ(seconds("Sun, 01 Mar 2026 12:01:30 GMT"), 90);
    EXPECT_EQ(seconds("Sun, 01 Mar 2026 11:00:00 GMT"), 0);
    for (const char *odd : {"", "-5", "soon", "1.5", "12 s", "0x10"})
        EXPECT_EQ(seconds(odd), -1) << odd;
}

TEST(WebDAVError, WaitingTimeUntilADateGoesByTheServersClock)
{
    const auto answer = answerWith(429, {{"Retry-After", "Fri, 01 Mar 2030 00:00:10 GMT"}, {"Date", "Fri, 01 Mar 2030 00:00:00 GMT"}});
    EXPECT_EQ(retryAfter(answer, now), 10);
}

TEST(EntityTag, IsTakenAsItStandsOrNotAtAll)
{
    const auto tag = [](const QByteArray &value) { return entityTag(answerWith(200, {{"etag", value}})); };
    EXPECT_EQ(tag("\"a b\""), QByteArray()); // a blank is none of its characters
    EXPECT_EQ(tag(" \"a-1\" "), "\"a-1\"");
    EXPECT_EQ(tag("W/\"a\""), "W/\"a\"");
    EXPECT_EQ(tag("\"\""), "\"\"");
    EXPECT_TRUE(isStrongTag("\"a\""));
    EXPECT_FALSE(isStrongTag("W/\"a\""));
    for (const char *odd : {"", "a", "\"", "W/a", "W/\"", "w/\"a\"", "\"a\"b\"", "\"a\r\nX: y\"", "*"})
        EXPECT_EQ(tag(odd), QByteArray()) << odd;
}

TEST(Locks, AreOfferedByTheSecondClassOnly)
{
    for (const char *offer : {"1,2", "1, 2, 3", "2", "1, 2, <http://server.example/props>"})
        EXPECT_TRUE(offersLocks(answerWith(200, {{"DAV", offer}}))) << offer;
    for (const char *none : {"", "1", "1, 3", "12", "<2>", "1, 3, extended-mkcol, 21"})
        EXPECT_FALSE(offersLocks(answerWith(200, {{"DAV", none}}))) << none;
}

TEST(Locks, TokenIsTheOneBetweenBrackets)
{
    EXPECT_EQ(lockToken(answerWith(200, {{"Lock-Token", "<urn:uuid:1>"}})), "urn:uuid:1");
    for (const char *odd : {"", "urn:uuid:1", "<>", "<a", "<a b>", "<a><b>", "<a\r\n>"})
        EXPECT_EQ(lockToken(answerWith(200, {{"Lock-Token", odd}})), QByteArray()) << odd;
}

TEST(Multistatus, MembersAreNamedWithoutTheirPath)
{
    const auto members = parseMultistatus(listing("<D:response><D:href>/a%20b/</D:href><D:propstat><D:prop><D:resourcetype><D:collection/>"
                                                  "</D:resourcetype></D:prop><D:status>HTTP/1.1 200 OK</D:status></D:propstat></D:response>"
                                                  "<D:response><D:href>\n https://cloud.example/x/K%C3%BCche.record </D:href></D:response>"));
    EXPECT_EQ(members, (QList<WebDAVMember>{{"a b", true}, {QString::fromUtf8("K\u00FCche.record"), false}}));
}

TEST(Multistatus, FolderIsOneByItsTypeAlsoWithoutASlash)
{
    const auto members = parseMultistatus(listing("<D:response><D:href>/a</D:href><D:propstat><D:prop><D:resourcetype><D:collection/>"
                                                  "</D:resourcetype></D:prop></D:propstat></D:response><D:response><D:href>/b</D:href><D:propstat>"
                                                  "<D:prop><D:resourcetype><x:collection/></D:resourcetype></D:prop></D:propstat></D:response>"));
    EXPECT_EQ(members, (QList<WebDAVMember>{{"a", true}, {"b", false}}));
}

TEST(Multistatus, OnlyElementsOfTheRightNamespaceCount)
{
    EXPECT_FALSE(parseMultistatus("<multistatus><response><href>/a</href></response></multistatus>"));
    EXPECT_EQ(
        parseMultistatus(listing("<x:response><D:href>/a</D:href></x:response><D:response><x:href>/b</x:href></D:response>")), QList<WebDAVMember>());
    EXPECT_EQ(parseMultistatus("<a:multistatus xmlns:a='DAV:'><response xmlns='DAV:'><href>/c</href></response></a:multistatus>"),
        (QList<WebDAVMember>{{"c", false}}));
}

TEST(Multistatus, MemberWithAnErrorIsNone)
{
    EXPECT_EQ(
        parseMultistatus(listing("<D:response><D:href>/a</D:href><D:status>HTTP/1.1 403 Forbidden</D:status></D:response>")), QList<WebDAVMember>());
}

TEST(Multistatus, WhatIsCutOrDeclaresTypesIsNoListing)
{
    const QByteArray whole = listing("<D:response><D:href>/a</D:href></D:response>");
    ASSERT_TRUE(parseMultistatus(whole));
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(parseMultistatus(whole.left(length))) << length;
    QByteArray declared = whole;
    declared.insert(whole.indexOf("\n"), "<!DOCTYPE a [<!ENTITY b \"c\">]>");
    EXPECT_FALSE(parseMultistatus(declared));
    EXPECT_FALSE(parseMultistatus(listing("<D:response><D:href>/&b;</D:href></D:response>")));
    EXPECT_FALSE(parseMultistatus(listing("<D:response><D:href>/a<D:href/></D:href></D:response>")));
}

TEST(Multistatus, BoundsHold)
{
    EXPECT_FALSE(parseMultistatus(listing(QByteArray("<D:response><D:href>/a</D:href></D:response>").repeated(mostWebDAVMembers + 1))));
    EXPECT_FALSE(parseMultistatus(listing(QByteArray(longestWebDAVListing, ' '))));
    EXPECT_FALSE(parseMultistatus(listing("<D:response>" + QByteArray("<x:a>").repeated(300000)))); // deep, and never closed
}
