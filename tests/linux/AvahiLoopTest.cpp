#include "platform/linux/AvahiLoop.h"

#include <avahi-common/timeval.h>

#include <QByteArray>

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace lanterna;
using namespace std::chrono_literals;

namespace
{

/// Something that another thread makes true; waits ten seconds for it.
class Event
{
public:
    void happen()
    {
        const std::lock_guard lock(m_mutex);
        ++m_times;
        m_changed.notify_all();
    }
    bool wait(int times = 1)
    {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, 10s, [&] { return m_times >= times; });
    }
    int times()
    {
        const std::lock_guard lock(m_mutex);
        return m_times;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_times = 0;
};

class AvahiLoopTest : public testing::Test
{
protected:
    /// Runs a task on the loop's thread and waits for its end.
    void onLoop(const Task &task)
    {
        Event done;
        loop->post([&] {
            task();
            done.happen();
        });
        ASSERT_TRUE(done.wait());
    }
    static timeval in(unsigned milliseconds)
    {
        timeval when{};
        avahi_elapse_time(&when, milliseconds, 0);
        return when;
    }

    std::unique_ptr<AvahiLoop> loop = AvahiLoop::start();
};

void happened(AvahiTimeout *, void *event)
{
    static_cast<Event *>(event)->happen();
}

/// A watch that reads what there is and counts its calls.
struct Reader {
    const AvahiPoll *api = nullptr;
    AvahiWatch *watch = nullptr;
    int descriptor = -1;
    bool freesItself = false;
    QByteArray text;
    Event called;

    static void read(AvahiWatch *watch, int descriptor, AvahiWatchEvent events, void *self)
    {
        auto *reader = static_cast<Reader *>(self);
        char buffer[100];
        const ssize_t size = ::read(descriptor, buffer, sizeof buffer);
        reader->text.append(buffer, std::max<ssize_t>(size, 0));
        EXPECT_EQ(events, reader->api->watch_get_events(watch));
        if (reader->freesItself)
            reader->api->watch_free(watch);
        reader->called.happen();
    }
    void start(const AvahiPoll *onApi, int fromDescriptor)
    {
        api = onApi;
        descriptor = fromDescriptor;
        watch = api->watch_new(api, descriptor, AVAHI_WATCH_IN, read, this);
    }
};

/// Two sockets on the loopback that send to each other.
struct SocketPair {
    SocketPair()
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(receiver, reinterpret_cast<sockaddr *>(&address), size);
        getsockname(receiver, reinterpret_cast<sockaddr *>(&address), &size);
        connect(sender, reinterpret_cast<sockaddr *>(&address), size);
    }
    ~SocketPair()
    {
        close(receiver);
        close(sender);
    }
    SocketPair(const SocketPair &) = delete;
    SocketPair &operator=(const SocketPair &) = delete;
    void send(const QByteArray &packet) const { ASSERT_EQ(::send(sender, packet.data(), size_t(packet.size()), 0), packet.size()); }

    int receiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    int sender = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

struct Pipe {
    Pipe() { opened = pipe2(ends, O_CLOEXEC) == 0; }
    ~Pipe()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;
    void send(char byte) const { ASSERT_EQ(write(ends[1], &byte, 1), 1); }

    int ends[2] = {-1, -1};
    bool opened = false;
};

} // namespace

TEST_F(AvahiLoopTest, TasksRunInOrderOnOneOtherThread)
{
    std::vector<std::thread::id> threads;
    std::vector<int> order;
    for (int number = 0; number < 100; ++number) {
        loop->post([&, number] {
            order.push_back(number);
            threads.push_back(std::this_thread::get_id());
        });
    }
    onLoop([] {});
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_TRUE(std::all_of(threads.begin(), threads.end(), [&](auto id) { return id == threads.front() && id != std::this_thread::get_id(); }));
}

TEST_F(AvahiLoopTest, TasksThatWaitRunBeforeTheEnd)
{
    Event first;
    std::atomic<int> count = 0;
    loop->post([&] { ASSERT_TRUE(first.wait()); });
    for (int number = 0; number < 10; ++number)
        loop->post([&] { ++count; });
    first.happen();
    loop.reset();
    EXPECT_EQ(count, 10);
}

TEST_F(AvahiLoopTest, TimeoutRunsOnceWhenItIsDue)
{
    Event late;
    Event soon;
    const auto before = std::chrono::steady_clock::now();
    onLoop([&] {
        const timeval when = in(30);
        loop->api()->timeout_new(loop->api(), &when, happened, &late);
        const timeval now = {};
        loop->api()->timeout_new(loop->api(), &now, happened, &soon);
    });
    EXPECT_TRUE(soon.wait());
    EXPECT_TRUE(late.wait());
    EXPECT_GE(std::chrono::steady_clock::now() - before, 29ms);
    onLoop([] {});
    EXPECT_EQ(late.times() + soon.times(), 2);
}

TEST_F(AvahiLoopTest, TimeoutThatWasFreedOrSwitchedOffNeverRuns)
{
    Event event;
    Event other;
    AvahiTimeout *off = nullptr;
    const timeval soon = in(10);
    onLoop([&] {
        off = loop->api()->timeout_new(loop->api(), &soon, happened, &event);
        loop->api()->timeout_update(off, nullptr);
        loop->api()->timeout_free(loop->api()->timeout_new(loop->api(), &soon, happened, &event));
        loop->api()->timeout_new(loop->api(), &soon, happened, &other);
    });
    EXPECT_TRUE(other.wait());
    onLoop([] {});
    EXPECT_EQ(event.times(), 0);
    onLoop([&] { loop->api()->timeout_update(off, &soon); });
    EXPECT_TRUE(event.wait());
}

TEST_F(AvahiLoopTest, WatchHearsOfWhatCanBeRead)
{
    const Pipe pipe;
    Reader reader;
    onLoop([&] { reader.start(loop->api(), pipe.ends[0]); });
    pipe.send('a');
    EXPECT_TRUE(reader.called.wait());
    pipe.send('b');
    EXPECT_TRUE(reader.called.wait(2));
    onLoop([&] { loop->api()->watch_free(reader.watch); });
    pipe.send('c');
    onLoop([] {});
    EXPECT_EQ(reader.text, "ab");
}

TEST_F(AvahiLoopTest, WatchMayFreeItselfInItsOwnCall)
{
    const Pipe pipe;
    Reader reader;
    reader.freesItself = true;
    onLoop([&] { reader.start(loop->api(), pipe.ends[0]); });
    pipe.send('a');
    EXPECT_TRUE(reader.called.wait());
    pipe.send('b');
    onLoop([] {});
    EXPECT_EQ(reader.text, "a");
}

TEST_F(AvahiLoopTest, OnlyHarmlessPacketsReachAWatchOfTheNetwork)
{
    const SocketPair sockets;
    Reader reader;
    onLoop([&] { reader.start(loop->api(), sockets.receiver); });
    const QByteArray answer("\0\0\x84\0\0\0\0\0\0\0\0\0", 12);
    sockets.send("nonsense");
    sockets.send({});
    sockets.send(QByteArray("\0\0\0\0\0\0\0\0\0\0\0\0", 12)); // a question
    sockets.send(answer);
    EXPECT_TRUE(reader.called.wait());
    onLoop([&] { loop->api()->watch_free(reader.watch); });
    EXPECT_EQ(reader.text, answer);
    EXPECT_EQ(reader.called.times(), 1);
}

TEST_F(AvahiLoopTest, QuestionsReachAResponder)
{
    const SocketPair sockets;
    Reader reader;
    onLoop([&] {
        loop->setRole(MdnsRole::responder);
        reader.start(loop->api(), sockets.receiver);
    });
    const QByteArray question("\0\0\0\0\0\0\0\0\0\0\0\0", 12);
    sockets.send(question);
    EXPECT_TRUE(reader.called.wait());
    onLoop([&] { loop->api()->watch_free(reader.watch); });
    EXPECT_EQ(reader.text, question);
}

TEST_F(AvahiLoopTest, ChainOfEventsBehindOneTimerIsNotHeldUpByPackets)
{
    struct Chain {
        const AvahiPoll *api;
        Reader *reader;
        int left = 20;
        int packetsBefore = -1;
        Event ended = {};
    };
    const SocketPair sockets;
    Reader reader;
    Chain chain{loop->api(), &reader};
    onLoop([&] {
        const QByteArray answer("\0\0\x84\0\0\0\0\0\0\0\0\0", 12);
        for (int i = 0; i < 100; ++i)
            sockets.send(answer);
        reader.start(loop->api(), sockets.receiver);
        const timeval now = in(0);
        loop->api()->timeout_new(
            loop->api(), &now,
            [](AvahiTimeout *timeout, void *user) {
                auto *self = static_cast<Chain *>(user);
                if (--self->left > 0) {
                    const timeval again = in(0);
                    self->api->timeout_update(timeout, &again);
                    return;
                }
                self->packetsBefore = self->reader->called.times();
                self->api->timeout_free(timeout);
                self->ended.happen();
            },
            &chain);
    });
    EXPECT_TRUE(chain.ended.wait());
    EXPECT_TRUE(reader.called.wait(100)); // nor are the packets held up
    onLoop([&] { loop->api()->watch_free(reader.watch); });
    EXPECT_LE(chain.packetsBefore, 2);
}

TEST_F(AvahiLoopTest, EndlessChainOfEventsHoldsUpNoPacket)
{
    const SocketPair sockets;
    Reader reader;
    AvahiTimeout *endless = nullptr;
    onLoop([&] {
        reader.start(loop->api(), sockets.receiver);
        const timeval now = in(0);
        endless = loop->api()->timeout_new(
            loop->api(), &now,
            [](AvahiTimeout *timeout, void *user) {
                const timeval again = in(0);
                static_cast<const AvahiPoll *>(user)->timeout_update(timeout, &again);
            },
            const_cast<AvahiPoll *>(loop->api()));
    });
    sockets.send(QByteArray("\0\0\x84\0\0\0\0\0\0\0\0\0", 12));
    EXPECT_TRUE(reader.called.wait());
    onLoop([&] {
        loop->api()->timeout_free(endless);
        loop->api()->watch_free(reader.watch);
    });
}

TEST_F(AvahiLoopTest, MorePacketsMayWaitThanUsual)
{
    const auto room = [](int descriptor) {
        int bytes = 0;
        socklen_t size = sizeof bytes;
        getsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &bytes, &size);
        return bytes;
    };
    const SocketPair sockets;
    const int usual = room(sockets.receiver);
    Reader reader;
    onLoop([&] { reader.start(loop->api(), sockets.receiver); });
    EXPECT_GT(room(sockets.receiver), usual);
    onLoop([&] { loop->api()->watch_free(reader.watch); });
}
