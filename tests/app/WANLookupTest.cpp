#include "tests/app/ControllerFixture.h"

#include <QFile>
#include <QUrl>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

const QString configuration = QStringLiteral("http://lan.example/lanterna.txt");
const QString endpoint = QStringLiteral("http://lan.example/ip");

class WANLookups : public ControllerFixture
{
protected:
    /// Starts with this configuration and this reply of the endpoint, and waits for the first lookup's end.
    void look(const QByteArray &configurationText, const HttpReply &answer)
    {
        earlierRun();
        replies[configuration].body = configurationText;
        replies[endpoint] = answer;
        start();
        dispatch.advance(600ms);
    }
    [[nodiscard]] QString wanText() const { return stored("WANIP").toString(); }
};

TEST_F(WANLookups, TheAddressBetweenTheConfiguredMarkersIsStoredAndLogged)
{
    look("http://lan.example/ip||<b>||</b>", {std::nullopt, "<b> 203.0.113.7 </b>"});
    EXPECT_EQ(wanText(), "203.0.113.7");
    EXPECT_TRUE(log.contains(QStringLiteral("current WAN: 203.0.113.7")));
    EXPECT_EQ(log.count(QStringLiteral("Lanterna...go!")), 2); // the configuration's and the start's
}

TEST_F(WANLookups, ATransportErrorIsOfflineAndLogged)
{
    look("http://lan.example/ip||<b>||</b>", {QStringLiteral("connection refused"), {}});
    EXPECT_EQ(wanText(), "offline");
    EXPECT_TRUE(log.contains(QStringLiteral("Error fetching WAN IP: connection refused")));
    EXPECT_FALSE(log.contains(QStringLiteral("current WAN: offline")));
}

TEST_F(WANLookups, MissingMarkersAreUnavailable)
{
    look("http://lan.example/ip||<b>||</b>", {std::nullopt, "nothing here"});
    EXPECT_EQ(wanText(), "unavailable");
    EXPECT_TRUE(log.contains(QStringLiteral("current WAN: unavailable")));
}

TEST_F(WANLookups, EveryOutcomeIsFollowedByALANPass)
{
    const QList<HttpReply> outcomes{{std::nullopt, "<b>203.0.113.7</b>"}, {std::nullopt, "no markers"}, {std::nullopt, ""},
        {std::nullopt, "502 Bad Gateway"}, {QStringLiteral("timed out"), {}}};
    for (const HttpReply &outcome : outcomes) {
        log.clear();
        look("http://lan.example/ip||<b>||</b>", outcome);
        EXPECT_EQ(lanPasses(), 1) << outcome.body.constData();
    }
}

TEST_F(WANLookups, AnUnreachableConfigurationLeavesTheBuiltInEndpoint)
{
    earlierRun();
    replies[builtInWANEndpoint().url].body = "Current IP Address: 203.0.113.9</body>";
    start();
    dispatch.advance(600ms);
    EXPECT_EQ(downloads, QStringList({configuration, builtInWANEndpoint().url}));
    EXPECT_EQ(wanText(), "203.0.113.9");
    EXPECT_EQ(log.count(QStringLiteral("Lanterna...go!")), 1);
}

TEST_F(WANLookups, AConfigurationWithoutAnEndpointUsesTheBuiltInOneWithItsMarkers)
{
    replies[builtInWANEndpoint().url].body = "Current IP Address: 198.51.100.1</body> [203.0.113.9]";
    look("||[||]", {});
    EXPECT_EQ(wanText(), "203.0.113.9");
}

TEST_F(WANLookups, AConfigurationWithTwoFieldsSaysSo)
{
    look("http://lan.example/ip||<b>", {std::nullopt, "<b>203.0.113.7</body>"});
    EXPECT_EQ(wanText(), "203.0.113.7");
    EXPECT_TRUE(log.contains(QStringLiteral("WAN configuration: the end marker is missing, using \"</body>\"")));
}

TEST_F(WANLookups, AnEndpointThatIsNoWebAddressIsNeverAsked)
{
    for (const char *url : {"file:///etc/passwd", "not a url", "http://", "ftp://lan.example/ip"}) {
        downloads.clear();
        look(QByteArray(url) + "||<b>||</b>", {});
        EXPECT_EQ(downloads, QStringList({configuration})) << url;
        EXPECT_TRUE(log.contains(QStringLiteral("Invalid URL: ") + QString::fromLatin1(url))) << url;
    }
}

TEST_F(WANLookups, AConfigurationFileIsReadFromTheDisk)
{
    QFile file(folder.filePath(QStringLiteral("endpoint.txt")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("http://lan.example/ip||<b>||</b>\n");
    file.close();
    set("configurationURL", QUrl::fromLocalFile(file.fileName()).toString());
    look({}, {std::nullopt, "<b>203.0.113.7</b>"});
    EXPECT_EQ(downloads, QStringList({endpoint}));
    EXPECT_EQ(wanText(), "203.0.113.7");
}

TEST_F(WANLookups, SwitchedOffTheyAskNobodyAndShowOffline)
{
    set("WANLookupEnabled", false);
    set("WANIP", QStringLiteral("203.0.113.7"));
    look("http://lan.example/ip||<b>||</b>", {std::nullopt, "<b>203.0.113.7</b>"});
    dispatch.advance(1h);
    EXPECT_EQ(downloads, QStringList());
    EXPECT_EQ(wanText(), "offline");
    EXPECT_EQ(log.count(QStringLiteral("whatIsMyIPURL is nil or empty, cannot fetch WAN IP")), 1); // the first tick comes before the configuration
}

TEST_F(WANLookups, AConfigurationThatIsNoFileLeavesTheBuiltInEndpoint)
{
    set("configurationURL", QUrl::fromLocalFile(folder.path()).toString());
    replies[builtInWANEndpoint().url].body = "Current IP Address: 203.0.113.9</body>";
    look({}, {});
    EXPECT_EQ(wanText(), "203.0.113.9");
}

TEST_F(WANLookups, ANewLookupOverwritesTheLastWhateverItsOutcome)
{
    look("http://lan.example/ip||<b>||</b>", {std::nullopt, "<b>203.0.113.7</b>"});
    replies[endpoint] = {QStringLiteral("gone"), {}};
    dispatch.advance(10min);
    EXPECT_EQ(wanText(), "offline");
}

TEST_F(WANLookups, AReplyThatComesAfterTheControllerIsGoneDoesNothing)
{
    earlierRun();
    start();
    controller.reset();
    dispatch.advance(10min);
    EXPECT_EQ(wanText(), "gathering...");
}

} // namespace
