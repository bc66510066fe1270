#include "app/WANReply.h"

#include <gtest/gtest.h>

using namespace lanterna;

namespace
{

QString reply(const QString &body)
{
    const WANEndpoint endpoint = builtInWANEndpoint();
    return parseWANReply(body, endpoint.beginningCrop, endpoint.endCrop);
}

TEST(WANReply, TheAddressStandsBetweenTheMarkers)
{
    EXPECT_EQ(reply("<html><body>Current IP Address: 203.0.113.7</body></html>"), "203.0.113.7");
}

TEST(WANReply, AWordBetweenTheMarkersIsUnavailable)
{
    EXPECT_EQ(reply("Current IP Address: unknown</body>"), "unavailable");
}

TEST(WANReply, AMissingMarkerIsUnavailable)
{
    EXPECT_EQ(reply("203.0.113.7"), "unavailable");
    EXPECT_EQ(parseWANReply("203.0.113.7", "", ""), "unavailable");
}

TEST(WANReply, AnEmptyBodyIsOffline)
{
    EXPECT_EQ(reply(""), "offline");
}

TEST(WANReply, AnyOccurrenceOf502IsOffline)
{
    EXPECT_EQ(reply("502 Bad Gateway"), "offline");
    EXPECT_EQ(reply("Current IP Address: 203.0.113.7</body><!-- 1502 -->"), "offline");
}

TEST(WANReply, ABodyWithoutEndMarkerIsReadToItsEnd)
{
    EXPECT_EQ(reply("Current IP Address: 203.0.113.7\n"), "203.0.113.7");
}

TEST(WANReply, OnlyTheTextAfterTheFirstMarkerCounts)
{
    EXPECT_EQ(parseWANReply("a[1.2.3.4]b[5.6.7.8]", "[", "]"), "1.2.3.4");
}

TEST(WANReply, SpaceAroundTheAddressIsTrimmed)
{
    EXPECT_EQ(reply("Current IP Address: \r\n 203.0.113.7\t</body>"), "203.0.113.7");
}

TEST(WANConfiguration, ThreeFieldsAreTakenExactly)
{
    const WANEndpoint endpoint = parseWANConfiguration(QStringLiteral("http://ip.example/||Address: || <br>"));
    EXPECT_EQ(endpoint, (WANEndpoint{"http://ip.example/", "Address: ", " <br>"}));
}

TEST(WANConfiguration, AnEmptyFirstFieldMeansTheBuiltInEndpoint)
{
    const WANEndpoint endpoint = parseWANConfiguration(QStringLiteral("||[||]"));
    EXPECT_EQ(endpoint, (WANEndpoint{builtInWANEndpoint().url, "[", "]"}));
}

TEST(WANConfiguration, WithoutTextOrSeparatorEverythingIsBuiltIn)
{
    EXPECT_EQ(parseWANConfiguration(std::nullopt), builtInWANEndpoint());
    EXPECT_EQ(parseWANConfiguration(QStringLiteral("")), builtInWANEndpoint());
    EXPECT_EQ(parseWANConfiguration(QStringLiteral("http://ip.example/")), builtInWANEndpoint());
}

TEST(WANConfiguration, AMissingThirdFieldKeepsTheBuiltInMarkerAndIsReported)
{
    bool complete = true;
    const WANEndpoint endpoint = parseWANConfiguration(QStringLiteral("http://ip.example/||["), &complete);
    EXPECT_EQ(endpoint, (WANEndpoint{"http://ip.example/", "[", builtInWANEndpoint().endCrop}));
    EXPECT_FALSE(complete);
}

TEST(WANConfiguration, ALineEndAtTheEndIsNotPartOfTheMarker)
{
    EXPECT_EQ(decodeWANConfiguration("u||[||]\r\n"), std::optional<QString>("u||[||]"));
    EXPECT_EQ(decodeWANConfiguration("u||[||] "), std::optional<QString>("u||[||] "));
}

TEST(WANConfiguration, BytesThatAreNoTextAreNoConfiguration)
{
    EXPECT_EQ(decodeWANConfiguration("\xff\xfe||\x80||"), std::nullopt);
}

} // namespace
