#include "cli/PeersReport.h"
#include "cli/TextWidth.h"
#include "platform/Json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace lanterna;

namespace
{

const QDateTime noon = QDateTime::fromSecsSinceEpoch(1731680000, Qt::UTC);

Peer sensor(const QString &name, PeerState state = PeerState::snapshot)
{
    Peer peer;
    peer.name = name;
    peer.hostName = QStringLiteral("lighthouse.local.");
    peer.address = QStringLiteral("192.168.1.20");
    peer.port = 40123;
    peer.state = state;
    if (state == PeerState::snapshot)
        describe(peer, {{"ssid", "Harbour"}, {"dateEpoch", 1731680000.0 - 150}, {"devices", "\"a\"|*|Router|*|192.168.1.1|*|UNKNOWN\n"}});
    return peer;
}

TEST(PeersTable, SaysWhoServesWhatAndFromWhen)
{
    EXPECT_EQ(peersTable({sensor("lighthouse"), sensor("attic", PeerState::silent)}, noon, 80).toStdString(),
        "NAME        ADDRESS             NETWORK  DEVICES  AGE\n"
        "lighthouse  192.168.1.20:40123  Harbour  1        2 min\n"
        "attic       192.168.1.20:40123  -        -        no answer in 10 s\n"
        "\n"
        "2 sensors, 1 with a snapshot\n");
}

TEST(PeersTable, LongNamesAndNetworksAreCutToTheTerminal)
{
    Peer wide = sensor(QString(63, u'n'));
    wide.network = QString(200, u'w');
    const Peer silent = sensor(QString(40, u'm'), PeerState::silent);
    const QString table = peersTable({wide, silent}, noon, 80);
    for (const QString &line : table.split('\n'))
        EXPECT_LE(columnsOf(line), 80) << line.toStdString();
    EXPECT_TRUE(table.contains("no answer in 10 s"));
    EXPECT_TRUE(table.contains("192.168.1.20:40123"));
    EXPECT_TRUE(peersTable({wide}, noon, 0).contains(wide.name)); // nothing is cut for a program
    for (const QString &line : peersTable({wide, silent}, noon, 20).split('\n'))
        EXPECT_LE(columnsOf(line), 20) << line.toStdString();
}

TEST(PeersTable, NamesCannotCommandATerminal)
{
    Peer bad = sensor(QStringLiteral("a\x1b[2J\nb\u202e"));
    bad.network = QStringLiteral("\a\t\u009b31m");
    const QString table = peersTable({bad}, noon, 0);
    EXPECT_EQ(table.count('\n'), 4);
    for (const QChar character : table)
        EXPECT_TRUE(character == '\n' || (character >= ' ' && character < QChar(0x7f))) << int(character.unicode());
}

TEST(PeersTable, EveryProblemHasItsWords)
{
    QStringList words;
    for (int state = int(PeerState::none); state <= int(PeerState::noSnapshot); ++state) {
        const QString problem = peerProblem(PeerState(state));
        EXPECT_FALSE(problem.isEmpty() || words.contains(problem)) << state;
        words.append(problem);
    }
    EXPECT_EQ(words.value(0), "withheld or none");
    EXPECT_TRUE(peerProblem(PeerState::snapshot).isNull());
}

TEST(SnapshotAge, IsToldInTheLargestWholeUnit)
{
    const auto ago = [](double seconds) { return snapshotAge(1731680000 - seconds, noon); };
    EXPECT_EQ(ago(0), "0 s");
    EXPECT_EQ(ago(59.9), "59 s");
    EXPECT_EQ(ago(60), "1 min");
    EXPECT_EQ(ago(3599), "59 min");
    EXPECT_EQ(ago(3600), "1 h");
    EXPECT_EQ(ago(86399), "23 h");
    EXPECT_EQ(ago(86400 * 90), "90 d");
}

TEST(SnapshotAge, AClockThatIsAheadIsNamed)
{
    EXPECT_EQ(snapshotAge(1731680059, noon), "0 s");
    EXPECT_EQ(snapshotAge(1731680060, noon), "clock ahead");
    EXPECT_EQ(snapshotAge(1e300, noon), "clock ahead");
}

TEST(SnapshotAge, WithoutAUsableDateThereIsNone)
{
    for (const double date : {0.0, -5.0, -1e300, -std::numeric_limits<double>::infinity(), std::nan("")})
        EXPECT_EQ(snapshotAge(date, noon), "no date") << date;
    Peer peer;
    describe(peer, {{"dateEpoch", "1731680000"}});
    EXPECT_EQ(peer.dateEpoch, 0);
    describe(peer, {{"dateEpoch", qlonglong(1731680000)}});
    EXPECT_EQ(peer.dateEpoch, 1731680000);
}

TEST(PeersJson, HoldsEachPeerWithItsSnapshotOrItsProblem)
{
    Peer good = sensor("lighthouse\n");
    good.snapshot = {{"devices", ""}, {"dateEpoch", 1731680000.5}};
    Peer lost;
    lost.name = "attic";
    EXPECT_EQ(peersJson({good, lost}).toStdString(),
        "[{\"address\":\"192.168.1.20\",\"host\":\"lighthouse.local.\",\"name\":\"lighthouse\\n\",\"port\":40123,\"problem\":null,"
        "\"snapshot\":{\"dateEpoch\":1731680000.5,\"devices\":\"\"}},"
        "{\"address\":null,\"host\":null,\"name\":\"attic\",\"port\":null,\"problem\":\"no address\",\"snapshot\":null}]\n");
    EXPECT_EQ(peersJson({}), "[]\n");
}

} // namespace
