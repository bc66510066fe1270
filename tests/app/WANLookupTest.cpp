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
    /// Everything that a controller leaves: what was asked, logged, stored and shown.
    [[nodiscard]] auto traces() const
    {
        QVariantMap values;
        for (const QString &key : settings.keys())
            values.insert(key, settings.value(key));
        return std::tuple(downloads, log.lines(), values, statusItem.titles);
    }
    /// Wakes a controller and drops it after this many turns of the main queue, each of which runs all that waited in the last one. An hour later
    /// there are no traces but those that it had left by then.
    void leaveAfter(int turns)
    {
        controller = std::make_unique<NewMenuItem>(ports(), features());
        controller->awakeFromNib();
        decltype(traces()) left;
        const std::function<void(int)> turn = [&](int remaining) {
            if (remaining > 0) {
                dispatch.mainAsync([&turn, remaining] { turn(remaining - 1); });
                return;
            }
            controller.reset();
            left = traces();
        };
        turn(turns);
        dispatch.advance(1h);
        EXPECT_EQ(traces(), left) << turns;
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

TEST_F(WANLookups, ASlowAccountDatabaseHoldsUpTheFirstLookupAlone)
{
    accountTime = 30s;
    look("http://lan.example/ip||<b>||</b>", {std::nullopt, "<b>203.0.113.7</b>"});
    EXPECT_EQ(downloads, QStringList({configuration}));
    EXPECT_TRUE(statusItem.click(QStringLiteral("Refresh Now"))); // the endpoint is known
    EXPECT_EQ(downloads, QStringList({configuration, endpoint}));
    dispatch.advance(30s);
    EXPECT_EQ(downloads, QStringList({configuration, endpoint, endpoint}));
}

TEST_F(WANLookups, AfterTheControllerIsGoneNoStageOfALookupDoesAnything)
{
    accountTime = 1s;
    replies[configuration].body = "http://lan.example/ip||<b>||</b>";
    replies[endpoint].body = "<b>203.0.113.7</b>";
    earlierRun();
    const std::pair<std::chrono::milliseconds, int> stages[]{
        {0ms, 1}, // the configuration is on its way
        {500ms, 1}, // the account's entry is
        {1200ms, 2}, // the address is
    };
    for (const auto &[moment, asked] : stages) {
        settings.remove(QStringLiteral("WANIP"));
        downloads.clear();
        start();
        dispatch.advance(moment);
        EXPECT_EQ(downloads.size(), asked) << moment.count();
        controller.reset();
        const auto left = traces();
        dispatch.advance(1h);
        EXPECT_EQ(traces(), left) << moment.count();
    }
}

TEST_F(WANLookups, AtWhicheverTurnOfItsStartTheControllerGoesNothingFollows)
{
    constexpr int longestStart = 8;
    earlierRun();
    for (int turns = 0; turns <= longestStart; ++turns)
        leaveAfter(turns); // with a configuration to download
    set("configurationURL", QUrl::fromLocalFile(folder.filePath(QStringLiteral("endpoint.txt"))).toString());
    for (int turns = 0; turns <= longestStart; ++turns)
        leaveAfter(turns); // with one to read
    set("WANLookupEnabled", false);
    for (int turns = 0; turns <= longestStart; ++turns)
        leaveAfter(turns); // and a lookup that asks nobody
    EXPECT_TRUE(log.contains(QStringLiteral("timerLAN"))); // some of them came to the first lookup's end
}

} // namespace
