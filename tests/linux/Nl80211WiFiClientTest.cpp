#include "platform/linux/Nl80211WiFiClient.h"

#include "tests/fakes/FakeNetlinkTransport.h"
#include "tests/linux/CapturedKernel.h"
#include "tests/linux/NetlinkBytes.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

namespace lanterna
{

/// How a failed comparison reads.
void PrintTo(const WiFiState &state, std::ostream *out)
{
    *out << "interface " << qPrintable(state.interfaceName.value_or("none")) << ", network " << qPrintable(state.ssid.value_or("none")) << ", power "
         << state.powerOn << ", denied " << state.permissionDenied;
}

} // namespace lanterna

using namespace lanterna;

namespace
{

class WiFiClientTest : public testing::Test
{
protected:
    /// Makes an rfkill switch of this interface's radio below the temporary device tree.
    void makeSwitch(const QString &interface, const char *soft, const char *hard, const QString &name = "rfkill0")
    {
        const QString path = m_sysfs.path() + "/class/net/" + interface + "/phy80211/" + name;
        ASSERT_TRUE(QDir().mkpath(path));
        std::ofstream(path.toStdString() + "/soft") << soft << '\n';
        std::ofstream(path.toStdString() + "/hard") << hard << '\n';
    }
    [[nodiscard]] std::string sysfs() const { return m_sysfs.path().toStdString(); }
    [[nodiscard]] WiFiState stateIn(const QString &recording) const
    {
        const auto kernel = std::make_shared<CapturedKernel>(recording);
        const WiFiState state = Nl80211WiFiClient(kernel, sysfs()).state();
        EXPECT_TRUE(kernel->unknownRequests().isEmpty()) << qPrintable(kernel->unknownRequests().join(' '));
        return state;
    }
    [[nodiscard]] WiFiState stateWithError(int error) const
    {
        return Nl80211WiFiClient(std::make_shared<FakeNetlinkTransport>([=](NetlinkBus, const QByteArray &) {
            return NetlinkAnswer{{}, error};
        }),
            sysfs())
            .state();
    }

    QTemporaryDir m_sysfs;
};

/// What the client has to say, from what the independent reader saw: of the stations the one that runs, else one switched on, else the oldest.
WiFiState expectedState(const QList<CapturedKernel::Reference> &newestFirst)
{
    WiFiState expected;
    int best = -1;
    for (const CapturedKernel::Reference &reference : newestFirst) {
        const bool running = reference["running"] == "1";
        const bool powerOn = reference["up"] == "1" && reference["rfkill_soft"] == "0" && reference["rfkill_hard"] == "0";
        const int rank = running ? 2 : powerOn ? 1 : 0;
        if (reference["type"] != "STATION" || rank < best)
            continue;
        best = rank;
        expected = {reference["if"], std::nullopt, powerOn, false};
        const QByteArray ssid = QByteArray::fromHex(reference["bss_ssid"].section(':', 1).toLatin1());
        if (running && !ssid.isEmpty())
            expected.ssid = QString::fromUtf8(ssid);
    }
    return expected;
}

class EveryRecording : public WiFiClientTest, public testing::WithParamInterface<std::string>
{
protected:
    QString recording = QString::fromStdString(GetParam()) + ".txt";
};

TEST_P(EveryRecording, StateIsWhatTheIndependentReaderSaw)
{
    const QList<CapturedKernel::Reference> references = CapturedKernel(recording).references();
    for (const CapturedKernel::Reference &reference : references) {
        if (reference["if"] != "(none)")
            makeSwitch(reference["if"], qPrintable(reference["rfkill_soft"]), qPrintable(reference["rfkill_hard"]));
    }
    WiFiState expected = expectedState(references);
    // Two recordings of events begin without a reader. Only the station is one in the first, both radios are in the second; all are down.
    if (recording == "60-events-passive.txt")
        expected.interfaceName = "wlp0s20f3u1u4i2";
    if (recording == "60-events-country-passive.txt")
        expected.interfaceName = "wlan0";
    EXPECT_EQ(stateIn(recording), expected);
}

std::vector<std::string> recordingNames()
{
    std::vector<std::string> names;
    for (const QString &file : CapturedKernel::files())
        names.push_back(file.chopped(4).toStdString());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Nl80211, EveryRecording, testing::ValuesIn(recordingNames()),
    [](const auto &test) { return QString::fromStdString(test.param).replace('-', '_').toStdString(); });

TEST(Recordings, AreAllThere)
{
    EXPECT_EQ(CapturedKernel::files().size(), 38);
}

/// The right answers once more, written by hand, so that an error in reading the references cannot hide one in the client.
TEST_F(WiFiClientTest, ConnectedStationShowsItsNetwork)
{
    for (const char *recording : {"03-connected-wpa2.txt", "05-connected-open.txt", "06-connected-wpa2-country.txt", "09-rfkill-unblocked.txt",
             "40-hidden-country.txt", "41-hidden.txt", "50-p2p-device.txt", "51-monitor-and-second.txt"})
        EXPECT_EQ(stateIn(recording), (WiFiState{"wlan1", "LabNet", true, false})) << recording;
    EXPECT_EQ(stateIn("53-switched.txt"), (WiFiState{"wlp0s20f3u1u4i2", "OtherNet", true, false}));
    EXPECT_EQ(stateIn("70-ap-in-other-netns.txt"), (WiFiState{"wlp0s20f3u1u4i2", "LabNet", true, false}));
}

TEST_F(WiFiClientTest, StationWithoutConnectionShowsNoNetwork)
{
    for (const char *recording : {"02-searching.txt", "04-disconnected.txt", "07-disconnected-country.txt", "43-wrong-password-later.txt"})
        EXPECT_EQ(stateIn(recording), (WiFiState{"wlan1", std::nullopt, true, false})) << recording;
}

TEST_F(WiFiClientTest, NetworkThatRefusesThePasswordIsNotShown)
{
    EXPECT_EQ(stateIn("42-wrong-password.txt"), (WiFiState{"wlan1", std::nullopt, true, false}));
}

TEST_F(WiFiClientTest, InterfaceThatIsDownHasNoPower)
{
    EXPECT_EQ(stateIn("01-down.txt"), (WiFiState{"wlan0", std::nullopt, false, false})); // the older of two
    EXPECT_EQ(stateIn("11-admin-down.txt"), (WiFiState{"wlan1", std::nullopt, false, false}));
}

TEST_F(WiFiClientTest, MachineWithoutRadioHasNoInterface)
{
    for (const char *recording : {"80-no-radio.txt", "81-no-cfg80211.txt", "71-station-in-other-netns.txt"})
        EXPECT_EQ(stateIn(recording), WiFiState{}) << recording;
}

TEST_F(WiFiClientTest, NamesAreBytesAndUnreadableOnesAreReplaced)
{
    EXPECT_EQ(stateIn("20-ssid.txt").ssid, QString::fromUtf8("Café-☕"));
    EXPECT_EQ(stateIn("21-ssid.txt").ssid, QString::fromUtf8("lab\ufffd\ufffd\ufffd"));
    EXPECT_EQ(stateIn("24-ssid.txt").ssid, QString("  "));
    EXPECT_TRUE(stateIn("27-ssid.txt").ssid->startsWith(QString::fromUtf8("☃ab☃ab")));
    EXPECT_TRUE(stateIn("27-ssid.txt").ssid->endsWith(QChar(0xfffd)));
    EXPECT_EQ(stateIn("28-ssid.txt").ssid, QString::fromLatin1("A\0B\0C", 5));
    EXPECT_EQ(stateIn("29-ssid.txt").ssid, QString(4, QChar(0)));
    EXPECT_EQ(stateIn("30-ssid.txt").ssid, QString("lab\n\x1b[1"));
}

TEST_F(WiFiClientTest, EitherSwitchTakesThePowerAway)
{
    makeSwitch("wlan1", "0", "0");
    EXPECT_TRUE(stateIn("03-connected-wpa2.txt").powerOn);
    makeSwitch("wlan1", "1", "0", "rfkill3");
    EXPECT_FALSE(stateIn("03-connected-wpa2.txt").powerOn);
    makeSwitch("wlan1", "0", "1", "rfkill3");
    EXPECT_FALSE(stateIn("03-connected-wpa2.txt").powerOn);
}

TEST_F(WiFiClientTest, SwitchOfAnotherRadioOrAnEmptyFileBlocksNothing)
{
    makeSwitch("wlan0", "1", "1");
    makeSwitch("wlan1", "", "");
    EXPECT_FALSE(radioBlocked(sysfs(), "wlan1"));
    EXPECT_FALSE(radioBlocked(sysfs(), "../net/wlan0"));
    EXPECT_FALSE(radioBlocked(sysfs(), "w\xff"));
    EXPECT_TRUE(radioBlocked(sysfs(), "wlan0"));
}

TEST_F(WiFiClientTest, RefusedQuestionIsPermissionDenied)
{
    for (const int error : {EPERM, EACCES})
        EXPECT_EQ(stateWithError(error), (WiFiState{std::nullopt, std::nullopt, false, true}));
    for (const int error : {ENOENT, ETIMEDOUT, EAFNOSUPPORT})
        EXPECT_EQ(stateWithError(error), WiFiState{});
}

TEST_F(WiFiClientTest, RefusedScanResultsArePermissionDeniedToo)
{
    CapturedKernel recording("41-hidden.txt");
    const auto kernel = std::make_shared<FakeNetlinkTransport>([&](NetlinkBus bus, const QByteArray &request) {
        const QByteArray scan = scanResultsRequest(32, 3);
        return request == scan ? NetlinkAnswer{errorBytes(EPERM), EPERM} : recording.exchange(bus, request);
    });
    EXPECT_EQ(Nl80211WiFiClient(kernel, sysfs()).state(), (WiFiState{"wlan1", std::nullopt, true, true}));
}

TEST_F(WiFiClientTest, InterfaceThatVanishesBetweenTwoQuestionsIsNone)
{
    CapturedKernel recording("03-connected-wpa2.txt");
    const auto kernel = std::make_shared<FakeNetlinkTransport>([&](NetlinkBus bus, const QByteArray &request) {
        return bus == NetlinkBus::route ? NetlinkAnswer{errorBytes(ENODEV), ENODEV} : recording.exchange(bus, request);
    });
    EXPECT_EQ(Nl80211WiFiClient(kernel, sysfs()).state(), WiFiState{});
}

TEST(ChoiceOfStation, ConnectedOneWithANameIsPreferred)
{
    const StationReading idle = {"wlan0", true, false, false, {}};
    const StationReading nameless = {"wlan1", true, true, false, {}};
    const StationReading named = {"wlan2", true, true, false, "Home"};
    EXPECT_EQ(wiFiState({idle, nameless, named}).interfaceName, QString("wlan2"));
    EXPECT_EQ(wiFiState({idle, nameless}).interfaceName, QString("wlan1"));
    EXPECT_EQ(wiFiState({named, {"wlan3", true, true, false, "Work"}}).interfaceName, QString("wlan2"));
    EXPECT_EQ(wiFiState({}), WiFiState{});
}

TEST(ChoiceOfStation, SwitchedOnIsPreferredToSwitchedOff)
{
    const StationReading off = {"wlan0", false, false, false, {}};
    const StationReading blocked = {"wlan1", true, false, true, {}};
    EXPECT_EQ(wiFiState({off, blocked, {"wlan2", true, false, false, {}}}).interfaceName, QString("wlan2"));
    EXPECT_EQ(wiFiState({off, blocked}).interfaceName, QString("wlan0"));
}

TEST(ChoiceOfStation, NameBeforeTheConnectionIsCompleteDoesNotCount)
{
    const WiFiState state = wiFiState({{"wlan0", true, false, false, "Home"}});
    EXPECT_EQ(state, (WiFiState{"wlan0", std::nullopt, true, false}));
}

TEST(RealKernel, AnswersTheQuestionForTheFamily)
{
    const NetlinkAnswer answer = NetlinkSockets().exchange(NetlinkBus::generic, wirelessFamilyRequest());
    EXPECT_TRUE(answer.error == 0 || answer.error == ENOENT) << answer.error; // ENOENT: a kernel without Wi-Fi
    EXPECT_EQ(answer.error == 0, parseFamilyId(answer.bytes).has_value());
}

} // namespace
