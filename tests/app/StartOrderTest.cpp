#include "tests/app/RecordedStart.h"

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// A first start, and ten minutes of its timers.
const QStringList firstStart{
    // awakeFromNib
    "store iCloud_MAC_Sync",
    "remove currentWiFiName",
    "remove currentDisplayedWiFiName",
    "(addresses are being gathered)",
    "hears LTNLocationAuthorizationChangedNotification",
    "call customisations",
    "main queue", // the status item
    "pool", // the configuration
    "ask for the host name",
    "log hostname: lighthouse",
    "log Lanterna: maiden voyage",
    "store first_run",
    "store lan_or_wan",
    "store updateFrequencyLAN",
    "store updateFrequencyWAN",
    "store rendezvous_frequency",
    "store showMACAddresses",
    "store showCurrentUser",
    "store whichIP",
    "call welcome",
    "log which IP? 4",
    "timer 1 every 60000 ms",
    "timer 2 every 600000 ms",
    "timer 3 every 60000 ms",
    "timer 4 after 5000 ms",
    "log whatIsMyIPURL is nil or empty, cannot fetch WAN IP", // the WAN timer, fired at once
    "pool", // and the presence's: the user's name
    "watch network and sleep",
    "call launchAtLogin",
    "call publisher",
    "timer 5 every 60000 ms",
    "hears LocalhostAdressesResolved",
    "hears MACAddressesByNetworkSegmentDictEdited",
    "hears PreferencesChanged",
    "hears updateMenubarData",
    "hears TriggerImmediateScan",
    "pool", // the addresses; the presence once more waits for the first answer
    "(pop-ups are filled)",
    "log Lanterna...go!",
    // applicationWillFinishLaunching
    "watch for _mediaremotetv._tcp.",
    // the status item
    "show starting...",
    "main queue", // the menu once more, with all that changed in this turn
    "show the menu",
    "start the item",
    "log DEBUG changeMenuIcon: called",
    "log DEBUG changeMenuIcon: whichIP = 4",
    "log DEBUG changeMenuIcon: using image mode",
    "main queue", // the icon
    // the configuration
    "log getting external IP",
    "main queue", // its download
    // the presence
    "ask for the user's name",
    "main queue", // nothing to announce yet
    // the addresses
    "post LocalhostAdressesResolved",
    "after 200 ms", // the rest
    "store previousNetworkAddresses",
    "main queue", // rows and title
    "show the menu",
    "show an image",
    "download http://lan.example/lanterna.txt",
    "pool", // the presence once more
    "log Active interfaces: first=eth0: 192.168.1.20, second=(null), count=1",
    "store WANIP",
    "store LANIP",
    "main queue", // the rows
    "store currentTitle",
    "main queue", // the icon
    "ask for the user's name",
    "main queue", // the presence
    "show the menu",
    "show an image",
    "announce lighthouse, Ada Keeper: eth0: 192.168.1.20",
    // the configuration has arrived
    "log Lanterna...go!",
    "pool", // the user's name
    "ask for the user's name",
    "main queue", // the first lookup
    "download http://lan.example/ip",
    // the timers' first runs
    "5000 ms, timer 4 after 5000 ms: log timerLAN",
    "60000 ms, timer 1 every 60000 ms: log timerLAN",
    "60000 ms, timer 3 every 60000 ms: pool",
    "60000 ms, timer 5 every 60000 ms: call review",
    "600000 ms, timer 2 every 600000 ms: download http://lan.example/ip",
};

TEST(StartOrder, EverythingThatTheStartDoesComesInItsOrder)
{
    RecordedStart start(RecordedStart::findHearing());
    start.awake();
    start.finishLaunching();
    start.untilTheFirstLookup();
    start.recordFirings(10min);
    EXPECT_EQ(start.lines().join(u'\n').toStdString(), firstStart.join(u'\n').toStdString());
}

TEST(StartOrder, ALaterStartReadsItsPeriodsBeforeTheFirstTimer)
{
    const QStringList laterStart{
        "store iCloud_MAC_Sync",
        "remove currentWiFiName",
        "remove currentDisplayedWiFiName",
        "(addresses are being gathered)",
        "call customisations",
        "main queue", // the status item
        "pool", // the configuration
        "ask for the host name",
        "log hostname: lighthouse",
        "log which IP? 1",
        "log updateFrequencyLAN is 0, using 60",
        "log updateFrequencyWAN is -3, using 60",
        "timer 1 every 60000 ms",
        "timer 2 every 3600000 ms",
        "timer 3 every 30000 ms",
        "timer 4 after 5000 ms",
        "log whatIsMyIPURL is nil or empty, cannot fetch WAN IP",
        "pool", // the user's name, for the presence
        "watch network and sleep",
        "call launchAtLogin",
        "call publisher",
        "timer 5 every 60000 ms",
        "pool", // the addresses
        "(pop-ups are filled)",
        "log Lanterna...go!",
    };
    RecordedStart start({}, -1, {{"first_run", "TRUE"}, {"whichIP", 1}, {"updateFrequencyLAN", "soon"}, {"updateFrequencyWAN", "-3"}});
    start.awake();
    EXPECT_EQ(start.lines().join(u'\n').toStdString(), laterStart.join(u'\n').toStdString());
}

} // namespace
