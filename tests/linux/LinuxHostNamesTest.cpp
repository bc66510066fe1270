#include "platform/linux/LinuxHostNames.h"

#include "platform/linux/HostNameLookUp.h"

#include "tests/linux/FakeNameServer.h"
#include "tests/linux/PrivateNetwork.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QTemporaryDir>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include <pthread.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

using Clock = std::chrono::steady_clock;

constexpr quint32 serverAddress = 0x7F000035; // 127.0.0.53
constexpr quint32 firstHost = 0x7F010101; // 127.1.1.1
const QString host = QStringLiteral("127.1.1.1");
const QString otherHost = QStringLiteral("127.1.1.2");

/// When the caller of the port cuts off.
constexpr auto cut = 5s;

FakeNameServer::Script always(const NameAnswer &answer)
{
    return [answer](quint32) { return answer; };
}

const NameAnswer fromDns = {NameAnswer::named, "host.dns"};
const NameAnswer fromDevice = {NameAnswer::named, "host.local"};
const NameAnswer unknown = {NameAnswer::unknown};
const NameAnswer silence = {NameAnswer::nothing};

/// A resolver of the system that counts, and blocks while it is held.
class CountingResolver
{
public:
    explicit CountingResolver(QByteArray answer = {}) : m_answer(std::move(answer)) { }
    ~CountingResolver() { release(); }

    QByteArray operator()(quint32 address)
    {
        std::unique_lock lock(m_mutex);
        m_asked.append(address);
        m_most = std::max(m_most, ++m_present);
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_held; });
        --m_present;
        return m_answer;
    }
    void hold()
    {
        const std::lock_guard lock(m_mutex);
        m_held = true;
    }
    void release()
    {
        const std::lock_guard lock(m_mutex);
        m_held = false;
        m_changed.notify_all();
    }
    bool awaitPresent(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 10s, [&] { return m_present >= count; });
    }
    int most()
    {
        const std::lock_guard lock(m_mutex);
        return m_most;
    }
    QList<quint32> asked()
    {
        const std::lock_guard lock(m_mutex);
        return m_asked;
    }

private:
    const QByteArray m_answer;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_held = false;
    int m_present = 0;
    int m_most = 0;
    QList<quint32> m_asked;
};

class LinuxHostNamesTest : public PrivateNetworkTest
{
protected:
    void SetUp() override
    {
        PrivateNetworkTest::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        sources.hostsFile = QFile::encodeName(m_folder.filePath(QStringLiteral("hosts")));
        sources.resolverConfiguration = QFile::encodeName(m_folder.filePath(QStringLiteral("resolv.conf")));
        sources.nameServiceSwitch = QFile::encodeName(m_folder.filePath(QStringLiteral("nsswitch.conf")));
        write(sources.nameServiceSwitch, "hosts: files dns other\n");
        sources.systemName = [resolver = system](quint32 address) { return (*resolver)(address); };
        write(sources.resolverConfiguration, "nameserver 127.0.0.53\n");
    }

    static void write(const QByteArray &path, const QByteArray &text)
    {
        QFile file(QFile::decodeName(path));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    void dns(FakeNameServer::Script script)
    {
        m_dns.emplace(serverAddress, 53, std::move(script));
        ASSERT_TRUE(m_dns->listens());
    }
    void devices(FakeNameServer::Script script)
    {
        m_devices.emplace(0, 5353, std::move(script));
        ASSERT_TRUE(m_devices->listens() && m_devices->joinGroup(0x7F000001));
    }

    /// For rules that hold for any patience: that of devices and servers is short. The end is not, since a busy machine may need it.
    void hurry(std::chrono::milliseconds ordinary = 200ms)
    {
        sources.patience.device = ordinary;
        sources.patience.server = ordinary;
        sources.patience.domainOverdue = 2 * ordinary;
        sources.patience.heldNames = 4 * ordinary;
    }

    void start(const QStringList &addresses)
    {
        m_started = Clock::now();
        m_names.emplace(sources);
        m_handle = m_names->lookUp(
            addresses,
            [this](const QString &address, const QString &name) {
                const std::lock_guard lock(m_mutex);
                m_calls += m_inside.exchange(true) ? 1000 : 1; // two at a time would show
                m_found.insert(address, {name, Clock::now() - m_started});
                m_inside = false;
                m_changed.notify_all();
            },
            [this] {
                const std::lock_guard lock(m_mutex);
                ++m_dones;
                m_doneAfter = Clock::now() - m_started;
                m_changed.notify_all();
            });
    }
    /// The whole look-up; what was found before the caller's cut.
    QHash<QString, QString> lookUp(const QStringList &addresses)
    {
        start(addresses);
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, cut, [this] { return m_dones > 0; });
        lock.unlock();
        m_handle.reset();
        QHash<QString, QString> names;
        for (auto each = m_found.cbegin(); each != m_found.cend(); ++each)
            names.insert(each.key(), each->name);
        EXPECT_EQ(m_calls, names.size());
        return names;
    }
    QString nameOf(const QString &address) { return lookUp({address}).value(address); }
    bool awaitFound(int count)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 10s, [&] { return m_found.size() >= count; });
    }
    int calls()
    {
        const std::lock_guard lock(m_mutex);
        return m_calls + m_dones;
    }

    struct Finding {
        QString name;
        Clock::duration after;
    };
    QTemporaryDir m_folder;
    HostNameSources sources;
    std::shared_ptr<CountingResolver> system = std::make_shared<CountingResolver>();
    std::optional<FakeNameServer> m_dns;
    std::optional<FakeNameServer> m_devices;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    Clock::time_point m_started;
    QHash<QString, Finding> m_found;
    std::atomic<bool> m_inside = false;
    int m_calls = 0;
    int m_dones = 0;
    Clock::duration m_doneAfter{0};
    std::optional<LinuxHostNames> m_names;
    std::shared_ptr<void> m_handle;
};

/// No thread can be made during its life: each would need a stack larger than any address space.
class NoMoreThreads
{
public:
    NoMoreThreads()
    {
        pthread_getattr_default_np(&m_usual);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, size_t(1) << 60);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    ~NoMoreThreads()
    {
        pthread_setattr_default_np(&m_usual);
        pthread_attr_destroy(&m_usual);
    }
    NoMoreThreads(const NoMoreThreads &) = delete;
    NoMoreThreads &operator=(const NoMoreThreads &) = delete;

private:
    pthread_attr_t m_usual = {};
};

/// Whether it comes true in time.
bool awaitTrue(const std::function<bool()> &condition)
{
    const Clock::time_point end = Clock::now() + 10s;
    while (!condition() && Clock::now() < end)
        std::this_thread::yield();
    return condition();
}

QStringList hosts(int count)
{
    QStringList addresses;
    for (int i = 0; i < count; ++i)
        addresses += QHostAddress(firstHost + quint32(i)).toString();
    return addresses;
}

TEST_F(LinuxHostNamesTest, DnsHasTheName)
{
    dns(always(fromDns));
    EXPECT_EQ(nameOf(host), QStringLiteral("host.dns"));
    EXPECT_EQ(m_dones, 1);
    EXPECT_LT(m_doneAfter, 1s);
}

TEST_F(LinuxHostNamesTest, TheHostsFileComesFirst)
{
    write(sources.hostsFile, "127.1.1.1 host.file\n");
    dns(always(fromDns));
    const QHash<QString, QString> names = lookUp({host, otherHost});
    EXPECT_EQ(names.value(host), QStringLiteral("host.file"));
    EXPECT_EQ(names.value(otherHost), QStringLiteral("host.dns"));
    EXPECT_EQ(m_dns->questions(), 1);
}

TEST_F(LinuxHostNamesTest, WhatDnsDoesNotKnowTheDeviceSays)
{
    dns(always(unknown));
    devices(always(fromDevice));
    EXPECT_EQ(nameOf(host), QStringLiteral("host.local"));
    EXPECT_LT(m_doneAfter, 1s);
}

TEST_F(LinuxHostNamesTest, DnsHasThreeSecondsAndBehindAMuteServerTheDeviceIsHeardBeforeTheCut)
{
    NameAnswer late = fromDns;
    late.delay = 3s;
    dns([late](quint32 address) { return address == firstHost ? silence : late; });
    devices(always(fromDevice));
    const QHash<QString, QString> names = lookUp({host, otherHost});
    EXPECT_EQ(names.value(host), QStringLiteral("host.local"));
    EXPECT_GE(m_found[host].after, NamePatience().heldNames);
    EXPECT_EQ(names.value(otherHost), QStringLiteral("host.dns"));
}

TEST_F(LinuxHostNamesTest, WithoutAnyServerTheDeviceIsHeardAtOnce)
{
    devices(always(fromDevice)); // nobody listens on the server's port
    EXPECT_EQ(nameOf(host), QStringLiteral("host.local"));
    EXPECT_LT(m_doneAfter, 1s);
}

TEST_F(LinuxHostNamesTest, DnsWinsOverTheDevice)
{
    NameAnswer late = fromDns;
    late.delay = 300ms;
    dns(always(late));
    devices(always(fromDevice));
    EXPECT_EQ(nameOf(host), QStringLiteral("host.dns"));
}

TEST_F(LinuxHostNamesTest, AMuteFirstServerDoesNotHideTheSecond)
{
    hurry();
    write(sources.resolverConfiguration, "nameserver 127.0.0.52\nnameserver 127.0.0.53\n");
    const FakeNameServer mute(serverAddress - 1, 53, always(silence));
    dns(always(fromDns));
    devices(always(fromDevice));
    EXPECT_EQ(nameOf(host), QStringLiteral("host.dns"));
    EXPECT_GT(mute.questions(), 0);
}

TEST_F(LinuxHostNamesTest, ANumberIsNoName)
{
    dns(always({NameAnswer::named, "127.1.1.1"}));
    devices(always(fromDevice));
    EXPECT_EQ(nameOf(host), QStringLiteral("host.local"));
}

TEST_F(LinuxHostNamesTest, ADeviceThatLosesTheFirstQuestionIsAskedAgain)
{
    hurry();
    dns(always(unknown));
    devices([asked = 0](quint32) mutable { return ++asked == 1 ? silence : fromDevice; });
    EXPECT_EQ(nameOf(host), QStringLiteral("host.local"));
}

TEST_F(LinuxHostNamesTest, ALiarAtAnotherAddressIsNotBelieved)
{
    hurry(100ms);
    NameAnswer lie = {NameAnswer::named, "liar.local"};
    lie.from = firstHost + 7;
    dns(always(unknown));
    devices(always(lie));
    EXPECT_EQ(nameOf(host), QString());
    EXPECT_GT(m_devices->questions(), 0);
}

TEST_F(LinuxHostNamesTest, AnAnswerToAnotherQuestionIsNotBelieved)
{
    hurry(100ms);
    NameAnswer lie = {NameAnswer::named, "liar.local"};
    lie.idError = 1;
    dns(always(unknown));
    devices(always(lie));
    EXPECT_EQ(nameOf(host), QString());
}

TEST_F(LinuxHostNamesTest, ANameThatCouldUpsetATerminalIsNotTold)
{
    hurry(100ms);
    dns(always({NameAnswer::named, "host\x1b[2J.dns"}));
    devices(always({NameAnswer::named, "host\x1b[2J.local"}));
    EXPECT_EQ(nameOf(host), QString());
}

TEST_F(LinuxHostNamesTest, TheSystemIsAskedForWhatIsLeft)
{
    hurry();
    system = std::make_shared<CountingResolver>("host.system.");
    sources.systemName = [resolver = system](quint32 address) { return (*resolver)(address); };
    dns([](quint32 address) { return address == firstHost ? fromDns : unknown; });
    devices([](quint32 address) { return address == firstHost + 1 ? fromDevice : silence; });
    const QHash<QString, QString> names = lookUp(hosts(3));
    EXPECT_EQ(names.value(host), QStringLiteral("host.dns"));
    EXPECT_EQ(names.value(otherHost), QStringLiteral("host.local"));
    EXPECT_EQ(names.value(QStringLiteral("127.1.1.3")), QStringLiteral("host.system"));
    EXPECT_EQ(system->asked(), QList<quint32>{firstHost + 2});
}

TEST_F(LinuxHostNamesTest, TheSystemIsAskedBySixteenThreadsAtMost)
{
    system->hold();
    hurry(100ms);
    sources.patience.end = 1s; // all 100 wait for the system by then
    dns(always(unknown));
    lookUp(hosts(100));
    EXPECT_EQ(m_dones, 1);
    EXPECT_EQ(system->most(), SystemNames::maximumThreads);
    system->release();
}

TEST_F(LinuxHostNamesTest, TheSystemNamesAsManyAsAreLeft)
{
    hurry();
    system = std::make_shared<CountingResolver>("host.system");
    sources.systemName = [resolver = system](quint32 address) { return (*resolver)(address); };
    dns(always(unknown));
    EXPECT_EQ(lookUp(hosts(100)).size(), 100);
    EXPECT_EQ(system->asked().size(), 100);
}

TEST_F(LinuxHostNamesTest, AStuckSystemHoldsUpNeitherTheEndNorTheDrop)
{
    hurry();
    system->hold();
    dns(always(unknown));
    start({host});
    ASSERT_TRUE(system->awaitPresent(1));
    const Clock::time_point dropped = Clock::now();
    m_handle.reset();
    m_names.reset();
    EXPECT_LT(Clock::now() - dropped, 500ms);
    system->release(); // the thread answers to nobody
    EXPECT_EQ(calls(), 0);
}

TEST_F(LinuxHostNamesTest, AStuckSystemEndsWithTheLookUp)
{
    system->hold();
    hurry(100ms);
    sources.patience.end = 600ms;
    dns(always(unknown));
    EXPECT_TRUE(lookUp({host}).isEmpty());
    EXPECT_EQ(m_dones, 1);
}

TEST_F(LinuxHostNamesTest, AStuckSystemKeepsNothingOfLookUpsThatAreOver)
{
    hurry();
    const auto descriptors = [] { return QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System).size(); };
    system->hold();
    const auto names = std::make_shared<SystemNames>(sources.systemName);
    const qsizetype before = descriptors();
    std::vector<std::unique_ptr<HostNameLookUp>> lookUps; // nobody listens on the server's port
    for (int i = 0; i < 50; ++i)
        lookUps.push_back(std::make_unique<HostNameLookUp>(sources, names, QList<quint32>{firstHost}, nullptr, [] {}));
    EXPECT_TRUE(awaitTrue([&] { return names->waiting() == 50 - SystemNames::maximumThreads; }));
    lookUps.clear();
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(names->waiting(), 0);
    system->release();
}

TEST_F(LinuxHostNamesTest, EveryOtherNameIsThereThoughHalfTheHostsAreSilent)
{
    system->hold();
    const auto speaks = [](quint32 address) { return address % 2 == 1; };
    dns([speaks](quint32 address) { return speaks(address) ? unknown : silence; });
    devices([speaks](quint32 address) { return speaks(address) ? fromDevice : silence; });
    start(hosts(512));
    EXPECT_TRUE(awaitFound(256));
    m_handle.reset();
    EXPECT_EQ(m_found.size(), 256);
    EXPECT_TRUE(std::all_of(m_found.begin(), m_found.end(), [](const Finding &finding) { return finding.after < cut; }));
}

TEST_F(LinuxHostNamesTest, EveryNameIsThereThoughDnsKnowsOneHalfAndIsMuteAboutTheOther)
{
    hurry();
    sources.patience.heldNames = 1200ms; // the last question leaves after 320 ms
    system->hold();
    const auto known = [](quint32 address) { return address % 2 == 1; };
    dns([&](quint32 address) { return known(address) ? fromDns : silence; });
    devices(always(fromDevice));
    const QHash<QString, QString> names = lookUp(hosts(512));
    EXPECT_EQ(names.size(), 512);
    EXPECT_EQ(std::count(names.begin(), names.end(), QStringLiteral("host.dns")), 256);
}

TEST_F(LinuxHostNamesTest, AfterFiveHundredDevicesTheOthersAreAskedTogether)
{
    dns(always(unknown));
    devices(always(fromDevice));
    EXPECT_EQ(lookUp(hosts(600)).size(), 600);
    EXPECT_GE(m_devices->groupQuestions(), 600 - 512);
    EXPECT_GE(m_devices->questions() - m_devices->groupQuestions(), 512);
}

TEST_F(LinuxHostNamesTest, AnAnswerForAnotherDeviceIsNotBelieved)
{
    hurry(100ms);
    NameAnswer lie = {NameAnswer::named, "liar.local"};
    lie.from = firstHost; // answers all that is asked of the group
    dns(always(unknown));
    devices(always(lie));
    EXPECT_EQ(lookUp(hosts(600)).keys(), QStringList{host});
}

TEST_F(LinuxHostNamesTest, DroppingInTheMiddleIsQuickAndFinal)
{
    dns([](quint32 address) { return address % 2 == 1 ? fromDns : silence; });
    start(hosts(200));
    ASSERT_TRUE(awaitFound(50));
    const Clock::time_point dropped = Clock::now();
    m_handle.reset();
    EXPECT_LT(Clock::now() - dropped, 500ms);
    const int before = calls();
    m_dns.reset();
    EXPECT_EQ(calls(), before);
    EXPECT_EQ(m_dones, 0);
}

TEST_F(LinuxHostNamesTest, WithoutAThreadToBeHadNothingIsCalled)
{
    dns(always(fromDns));
    {
        const NoMoreThreads limit;
        start({host});
        EXPECT_THROW(std::thread([] {}), std::system_error);
    }
    m_handle.reset();
    EXPECT_EQ(calls(), 0);
    EXPECT_EQ(m_dns->questions(), 0);
    EXPECT_EQ(nameOf(host), QStringLiteral("host.dns")); // the next one has its thread again
}

TEST_F(LinuxHostNamesTest, NothingToLookUpIsDoneAtOnce)
{
    EXPECT_TRUE(lookUp({QStringLiteral("nonsense"), QStringLiteral("::1"), QString()}).isEmpty());
    EXPECT_EQ(m_dones, 1);
    EXPECT_LT(m_doneAfter, 1s);
}

TEST_F(LinuxHostNamesTest, AnAddressGivenTwiceIsFoundOnce)
{
    dns(always(fromDns));
    EXPECT_EQ(lookUp({host, host}).size(), 1);
    EXPECT_EQ(m_dns->questions(), 1);
}

TEST_F(LinuxHostNamesTest, ServersAreReadAnewForEachLookUp)
{
    hurry(100ms);
    write(sources.resolverConfiguration, "nameserver 127.0.0.77\n");
    dns(always(fromDns));
    EXPECT_EQ(nameOf(host), QString());
    write(sources.resolverConfiguration, "nameserver 127.0.0.53\n");
    m_dones = 0;
    EXPECT_EQ(nameOf(host), QStringLiteral("host.dns"));
}

TEST_F(LinuxHostNamesTest, ASystemThatKnowsNoMoreIsNotAsked)
{
    write(sources.nameServiceSwitch, "hosts: files dns\n");
    dns(always(unknown));
    EXPECT_EQ(nameOf(host), QString());
    EXPECT_TRUE(system->asked().isEmpty());
}

} // namespace
