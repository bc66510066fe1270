#include "cli/PeersRun.h"
#include "platform/Json.h"
#include "tests/fakes/VirtualDispatch.h"
#include "tests/support/RunUntil.h"

#include <QTcpServer>

#include <gtest/gtest.h>

#include <deque>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// What a sensor of the network announces, and where it says that it is.
struct Announced {
    QString name;
    std::optional<ResolvedService> where;
    unsigned interfaceIndex = 2;
    std::chrono::milliseconds found{100};
    std::chrono::milliseconds resolved{50};
};

/// A network on which services are announced, in virtual time.
class Announcements : public ServiceDiscovery
{
public:
    explicit Announcements(VirtualDispatch &dispatch) : m_dispatch(dispatch) { }

    [[nodiscard]] std::shared_ptr<void> searchForServices(
        const QString &ofType, const QString &inDomain, DidFindService found, DidNotSearch didNotSearch) override
    {
        searches.append(ofType + inDomain);
        const auto handle = std::make_shared<char>();
        if (!works)
            later(handle, 10ms, didNotSearch);
        for (const Announced &service : services)
            later(handle, service.found, [=] { found({service.name, ofType, inDomain, service.interfaceIndex}); });
        return handle;
    }
    [[nodiscard]] std::shared_ptr<void> watchForServices(const QString &, const QString &, DidFindService) override { return {}; }
    [[nodiscard]] std::shared_ptr<void> resolve(const ServiceInstance &service, std::chrono::milliseconds withTimeout, DidResolve resolved) override
    {
        const auto handle = std::make_shared<char>();
        for (const Announced &known : services) {
            if (known.name == service.name && known.interfaceIndex == service.interfaceIndex)
                later(handle, known.where ? known.resolved : withTimeout, [resolved, where = known.where] { resolved(where); });
        }
        return handle;
    }

    QList<Announced> services;
    QStringList searches;
    bool works = true;

private:
    void later(const std::shared_ptr<char> &handle, std::chrono::milliseconds delay, Task task)
    {
        m_dispatch.mainAfter(delay, [task = std::move(task), held = std::weak_ptr(handle)] {
            if (!held.expired())
                task();
        });
    }

    VirtualDispatch &m_dispatch;
};

/// A sensor on loopback: writes these bytes to whoever connects, and then closes, resets, or stays.
class Sensor
{
public:
    enum class End { close, reset, stayOpen, flood };

    Sensor(QByteArray bytes, End end) : m_bytes(std::move(bytes)), m_end(end)
    {
        m_server.setListenBacklogSize(512); // or connections come late
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { serve(m_server.nextPendingConnection()); });
    }
    [[nodiscard]] ResolvedService where(const QString &host = QStringLiteral("lighthouse.local.")) const
    {
        return {host, {QStringLiteral("127.0.0.1")}, m_server.serverPort()};
    }

    int connections = 0;
    qint64 received = 0; ///< from clients, who have nothing to say

private:
    void serve(QTcpSocket *socket)
    {
        ++connections;
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { received += socket->readAll().size(); });
        socket->write(m_bytes);
        if (m_end == End::flood) {
            QObject::connect(socket, &QTcpSocket::bytesWritten, socket, [socket] {
                if (socket->bytesToWrite() < 1024 * 1024)
                    socket->write(QByteArray(1024 * 1024, 'x'));
            });
        }
        if (m_end == End::close)
            socket->disconnectFromHost();
        if (m_end == End::reset)
            QObject::connect(socket, &QTcpSocket::bytesWritten, socket, [socket] { socket->abort(); });
    }

    QByteArray m_bytes;
    End m_end;
    QTcpServer m_server; // owns the connections
};

const QByteArray snapshotBytes = "{\"ssid\":\"Harbour\",\"devices\":\"\",\"source\":\"Lanterna\",\"dateEpoch\":1}";

class Peers : public testing::Test
{
protected:
    /// A sensor that is announced under a name.
    Sensor &sensor(const QString &name, const QByteArray &bytes, Sensor::End end = Sensor::End::close)
    {
        Sensor &made = sensors.emplace_back(bytes, end);
        network.services.append({name, made.where()});
        return made;
    }
    void start(PeersOptions options = {4s, true}, qsizetype bytesInAll = PeersRun::mostBytes)
    {
        run = std::make_unique<PeersRun>(dispatch, network, options, bytesInAll);
        run->start([this] { ++ends; });
        EXPECT_EQ(ends, 0);
    }
    /// Lets real sockets do their work while virtual time stands still.
    void exchange(const std::function<bool()> &until)
    {
        EXPECT_TRUE(runUntil([&] {
            dispatch.runReady();
            return until();
        }));
    }
    /// The whole run; sensors that never end run into their time-outs.
    CommandResult wholeRun(PeersOptions options = {4s, true})
    {
        start(options);
        dispatch.advance(options.timeout + 3s);
        exchange([this] { return run->openFetches() <= stillOpen; });
        dispatch.advance(10s);
        exchange([this] { return ends > 0; });
        EXPECT_EQ(ends, 1);
        return run->result(0);
    }
    /// State words by name, as JSON tells them; empty for a snapshot.
    static QMap<QString, QString> problems(const CommandResult &result)
    {
        QMap<QString, QString> found;
        for (const QVariant &peer : parseJson(result.output.toUtf8()).value_or(QVariant()).toList())
            found.insert(peer.toMap().value("name").toString(), peer.toMap().value("problem").toString());
        return found;
    }

    VirtualDispatch dispatch;
    Announcements network{dispatch};
    std::deque<Sensor> sensors;
    qsizetype stillOpen = 0; ///< how many sensors never end
    std::unique_ptr<PeersRun> run;
    int ends = 0;
};

TEST_F(Peers, TheSnapshotOfASensorIsFetchedWithoutAWord)
{
    const Sensor &lighthouse = sensor("lighthouse", snapshotBytes);
    const CommandResult result = wholeRun();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(network.searches, QStringList{"_rgfscanmac._tcp.local."});
    EXPECT_EQ(problems(result), (QMap<QString, QString>{{"lighthouse", ""}}));
    const QVariantMap peer = parseJson(result.output.toUtf8())->toList().value(0).toMap();
    EXPECT_EQ(peer.value("snapshot"), parseJson(snapshotBytes));
    EXPECT_EQ(peer.value("address"), "127.0.0.1");
    EXPECT_EQ(lighthouse.connections, 1);
    EXPECT_EQ(lighthouse.received, 0);
}

TEST_F(Peers, GoodOnesAreReadBesideBadOnes)
{
    stillOpen = 2;
    sensor("good", snapshotBytes);
    sensor("withheld", "{\"source\":\"Lanterna\"}");
    sensor("silent", "", Sensor::End::stayOpen);
    sensor("slow", "{\"devices\":\"", Sensor::End::stayOpen);
    sensor("garbage", "SSH-2.0-Door\r\n", Sensor::End::stayOpen);
    sensor("nested", "{\"a\":" + QByteArray(200000, '['), Sensor::End::stayOpen);
    sensor("cut", "{\"devices\":\"abc");
    sensor("reset", "{\"devices\":\"abc", Sensor::End::reset);
    sensor("empty", "");
    sensor("flood", "{\"devices\":\"", Sensor::End::flood);
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    network.services.append({"refuses", ResolvedService{"a.local.", {"127.0.0.1"}, closed.serverPort()}});
    closed.close();
    network.services.append({"lost", std::nullopt});
    network.services.append({"nowhere", ResolvedService{"b.local.", {}, 5}});
    network.services.append({"portless", ResolvedService{"b.local.", {"127.0.0.1"}, 0}});
    network.services.append({"named", ResolvedService{"b.local.", {"localhost"}, 5}});
    EXPECT_EQ(problems(wholeRun()),
        (QMap<QString, QString>{{"good", ""}, {"withheld", "withheld or none"}, {"silent", "no answer in 10 s"}, {"slow", "no end in 10 s"},
            {"garbage", "no JSON"}, {"nested", "no JSON"}, {"cut", "cut short"}, {"reset", "cut short"}, {"empty", "cut short"},
            {"flood", "over 64 MiB"}, {"refuses", "no connection"}, {"lost", "no address"}, {"nowhere", "no address"}, {"portless", "no address"},
            {"named", "no connection"}}));
}

TEST_F(Peers, WhoHangsCostsTenSecondsFromTheConnectionOn)
{
    sensor("silent", "", Sensor::End::stayOpen);
    start({1s, true});
    dispatch.advance(150ms); // found and resolved
    dispatch.advance(9999ms);
    EXPECT_EQ(ends, 0);
    dispatch.advance(1ms);
    EXPECT_EQ(ends, 1);
}

TEST_F(Peers, TheSearchLastsAsLongAsItWasAskedTo)
{
    start({7s, true});
    dispatch.advance(6999ms);
    EXPECT_EQ(ends, 0);
    dispatch.advance(1ms);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(run->result(0).exitCode, 1);
    EXPECT_EQ(run->result(0).error, "no sensor was found in 7 s");
    EXPECT_EQ(run->result(0).output, "[]\n");
}

TEST_F(Peers, WithoutASensorTheTableIsEmpty)
{
    const CommandResult result = wholeRun({4s, false});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "no sensor was found in 4 s");
}

TEST_F(Peers, WhereNothingCanBeSearchedItEndsAtOnceAndSaysWhy)
{
    network.works = false;
    start();
    dispatch.advance(10ms);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(run->result(0).exitCode, 1);
    EXPECT_TRUE(run->result(0).error.startsWith("sensors cannot be looked for"));
}

TEST_F(Peers, ASensorThatAnswersNothingIsASensorStill)
{
    network.services.append({"lost", std::nullopt});
    const CommandResult result = wholeRun({4s, false});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(result.output.contains("no address"));
    EXPECT_TRUE(result.output.endsWith("1 sensor, 0 with a snapshot\n"));
}

TEST_F(Peers, ASensorHeardOnTwoInterfacesIsAskedOnce)
{
    Sensor &lighthouse = sensor("lighthouse", snapshotBytes);
    network.services.append({"lighthouse", lighthouse.where(), 3});
    network.services.append({"lighthouse", std::nullopt, 4});
    network.services.append({"lighthouse", std::nullopt, 5});
    const CommandResult result = wholeRun();
    EXPECT_EQ(lighthouse.connections, 1);
    EXPECT_EQ(parseJson(result.output.toUtf8())->toList().size(), 1);
    EXPECT_EQ(problems(result).value("lighthouse"), "");
}

TEST_F(Peers, TwoSensorsOfOneNameAreTwo)
{
    sensor("lighthouse", snapshotBytes);
    Sensor &other = sensors.emplace_back("{\"source\":\"Lanterna\"}", Sensor::End::close);
    network.services.append({"lighthouse", other.where("attic.local."), 3});
    EXPECT_EQ(parseJson(wholeRun().output.toUtf8())->toList().size(), 2);
}

TEST_F(Peers, ThoseThatSendMostAreGivenUpWhenAllTogetherSendTooMuch)
{
    stillOpen = 1;
    sensor("good", snapshotBytes);
    sensor("large", "{\"devices\":\"" + QByteArray(300 * 1024, 'x'), Sensor::End::stayOpen);
    sensor("larger", "{\"devices\":\"" + QByteArray(800 * 1024, 'x'), Sensor::End::stayOpen);
    start({1s, true}, 1024 * 1024);
    dispatch.advance(1s);
    exchange([this] { return run->openFetches() == 1; });
    dispatch.advance(10s);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(problems(run->result(0)), (QMap<QString, QString>{{"good", ""}, {"large", "no end in 10 s"}, {"larger", "too much for all"}}));
}

TEST_F(Peers, SnapshotsThatAreKeptCountToo)
{
    for (const char *name : {"a", "b", "c"})
        sensor(name, "{\"devices\":\"" + QByteArray(400 * 1024, 'x') + "\"}");
    start({1s, true}, 1024 * 1024);
    dispatch.advance(1s);
    exchange([this] { return ends > 0; });
    QStringList states = problems(run->result(0)).values();
    states.sort();
    EXPECT_EQ(states, QStringList({"", "", "too much for all"}));
}

TEST_F(Peers, ForTheTableSnapshotsAreNotKept)
{
    for (const char *name : {"a", "b", "c", "d"})
        sensor(name, "{\"devices\":\"" + QByteArray(400 * 1024, 'x') + "\"}");
    for (qsizetype at = 0; at < network.services.size(); ++at)
        network.services[at].found = 100ms * (at + 1);
    start({1s, false}, 1024 * 1024);
    for (int step = 1; step <= 4; ++step) {
        dispatch.advance(200ms);
        exchange([this] { return run->openFetches() == 0; });
    }
    dispatch.advance(1s);
    EXPECT_EQ(ends, 1);
    EXPECT_TRUE(run->result(0).output.endsWith("4 sensors, 4 with a snapshot\n"));
}

TEST_F(Peers, MoreThanTwoHundredFiftySixAreNotAsked)
{
    for (int number = 0; number < 300; ++number)
        network.services.append({QString::number(number), std::nullopt});
    const CommandResult result = wholeRun();
    EXPECT_EQ(problems(result).size(), 256);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.error, "more than 256 sensors announce themselves; the others were not asked");
}

TEST_F(Peers, TwoHundredFiftySixThatFloodLeaveTheGoodOneItsAnswer)
{
    const QByteArray head = "{\"devices\":\"" + QByteArray(64 * 1024, 'x');
    Sensor &flood = sensors.emplace_back(head, Sensor::End::stayOpen);
    for (int number = 0; number < 255; ++number)
        network.services.append({QString::number(number), flood.where()});
    sensor("good", snapshotBytes);
    start({1s, true}, 4 * 1024 * 1024);
    dispatch.advance(1s);
    exchange([&] { return flood.connections == 255 && run->openFetches() == 63; });
    EXPECT_EQ(run->heldBytes(), 63 * head.size() + snapshotBytes.size()); // one more would be too much
    dispatch.advance(10s);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(problems(run->result(0)).value("good"), "");
}

TEST_F(Peers, DroppingTheRunEndsIt)
{
    const Sensor &silent = sensor("silent", "{", Sensor::End::stayOpen);
    start({1s, true});
    dispatch.advance(1s);
    exchange([&] { return silent.connections == 1; });
    run.reset();
    dispatch.advance(1min);
    EXPECT_EQ(ends, 0);
}

} // namespace
