#include "platform/linux/DeviceNames.h"
#include "platform/linux/NameChoice.h"

#include "tests/linux/FakeNameServer.h"
#include "tests/linux/PrivateNetwork.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

#include <sys/resource.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

constexpr quint32 first = 0xC0A80114; // 192.168.1.20
constexpr quint32 second = 0x0A000005; // 10.0.0.5

InterfaceAddress interfaceWith(const QString &address, int prefixLength)
{
    InterfaceAddress interface;
    interface.address = address;
    interface.prefixLength = prefixLength;
    return interface;
}

const QList<InterfaceAddress> interfaces = {interfaceWith(QStringLiteral("192.168.1.10"), 24), interfaceWith(QStringLiteral("10.0.0.1"), 8)};

TEST(DeviceNames, TheOwnAddressIsThatOfTheSameNetwork)
{
    EXPECT_EQ(ownAddressBeside(first, interfaces), 0xC0A8010AU);
    EXPECT_EQ(ownAddressBeside(second, interfaces), 0x0A000001U);
}

TEST(DeviceNames, BehindARouterThereIsNone)
{
    EXPECT_EQ(ownAddressBeside(first + 256, interfaces), std::nullopt);
    EXPECT_EQ(ownAddressBeside(first, {}), std::nullopt);
    EXPECT_EQ(ownAddressBeside(first, {interfaceWith(QStringLiteral("192.168.1.10"), 32)}), std::nullopt);
    EXPECT_EQ(ownAddressBeside(first, {interfaceWith(QStringLiteral("192.168.1.10"), 0)}), std::nullopt);
}

/// No descriptor can be opened during its life.
class NoMoreDescriptors
{
public:
    NoMoreDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &m_usual);
        const rlimit none = {0, m_usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoMoreDescriptors() { setrlimit(RLIMIT_NOFILE, &m_usual); }
    NoMoreDescriptors(const NoMoreDescriptors &) = delete;
    NoMoreDescriptors &operator=(const NoMoreDescriptors &) = delete;

private:
    rlimit m_usual = {};
};

/// Asks one device, with a clock that the test moves.
class DeviceNamesTest : public PrivateNetworkTest
{
protected:
    static constexpr quint32 device = 0x7F010101; // 127.1.1.1

    DeviceNames::Listener listener()
    {
        DeviceNames::Listener listener;
        listener.named = [this](quint32, const QString &name) { m_name = name; };
        listener.quiet = [this](quint32) { m_quietAfter = m_now; };
        listener.finished = [this](quint32) { m_finishedAfter = m_now; };
        return listener;
    }
    /// The same with descriptors: the sanitizer needs a pipe to get to know a class.
    void rehearse()
    {
        Readiness readiness;
        DeviceNames names(readiness, 5353, NamePatience().device, listener());
        names.ask(device, DeviceNames::Clock::time_point(m_now));
        passUntil(names, 5s);
        m_now = m_quietAfter = m_finishedAfter = 0s;
        m_name.clear();
    }
    void passUntil(DeviceNames &names, std::chrono::milliseconds end)
    {
        for (; m_now <= end; m_now += 10ms)
            names.timePassed(DeviceNames::Clock::time_point(m_now));
    }

    std::chrono::milliseconds m_now{0};
    std::chrono::milliseconds m_quietAfter{0};
    std::chrono::milliseconds m_finishedAfter{0};
    QString m_name;
};

TEST_F(DeviceNamesTest, WithoutASocketADeviceIsQuietAndFinishedAtTheUsualTimes)
{
    rehearse();
    Readiness readiness;
    const NoMoreDescriptors limit;
    DeviceNames names(readiness, 5353, NamePatience().device, listener());
    names.ask(device, DeviceNames::Clock::time_point(m_now));
    passUntil(names, 5s);
    EXPECT_EQ(m_quietAfter, 1s);
    EXPECT_EQ(m_finishedAfter, 2500ms);
}

TEST_F(DeviceNamesTest, AQuestionLeavesWhenASocketCanBeHadAgain)
{
    FakeNameServer server(0, 5353, [](quint32) { return NameAnswer{NameAnswer::named, "host.local"}; });
    ASSERT_TRUE(server.listens());
    rehearse();
    Readiness readiness;
    std::optional<NoMoreDescriptors> limit(std::in_place);
    DeviceNames names(readiness, 5353, NamePatience().device, listener());
    names.ask(device, DeviceNames::Clock::time_point(m_now));
    passUntil(names, 200ms);
    limit.reset();
    passUntil(names, 300ms);
    for (int waits = 0; m_name.isEmpty() && waits < 100; ++waits)
        readiness.wait(100ms);
    EXPECT_EQ(m_name, QStringLiteral("host.local"));
    EXPECT_EQ(m_quietAfter, 0s);
}

TEST_F(DeviceNamesTest, AThreadThatComesLateGivesADeviceItsTimeAllTheSame)
{
    Readiness readiness;
    DeviceNames names(readiness, 5353, NamePatience().device, listener());
    names.ask(device, DeviceNames::Clock::time_point(m_now));
    m_now = 3s;
    passUntil(names, 6s);
    EXPECT_EQ(m_quietAfter, 4s);
    EXPECT_EQ(m_finishedAfter, 5500ms);
}

} // namespace
