#pragma once

#include "platform/linux/EpollStreamListener.h"
#include "tests/linux/PrivateNetwork.h"
#include "tests/linux/StreamClient.h"

#include <QStringList>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace lanterna
{

/// Bytes in which a lost or doubled piece shows.
inline QByteArray message(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (qsizetype at = 0; at < size; ++at)
        bytes[at] = char((at * 7 + at / 251) % 253);
    return bytes;
}

/// A listener in a private network, and what it has called.
class EpollStreamListenerTest : public PrivateNetworkTest
{
protected:
    /// Starts a listener that answers each client at once with `answer`, or keeps the connections in `waiting`.
    void start(const StreamLimits &limits = {}, bool answers = true)
    {
        listener = std::make_unique<EpollStreamListener>(limits);
        const StreamListener::Started started = listener->start(
            [this, answers](const std::shared_ptr<StreamConnection> &connection) {
                if (answers)
                    connection->sendFinalMessage(answer);
                const std::scoped_lock lock(mutex);
                ++accepted;
                if (!answers)
                    waiting.push_back(connection);
                changed.notify_all();
            },
            [this](const QString &error) {
                const std::scoped_lock lock(mutex);
                failures.append(error);
                changed.notify_all();
            });
        ASSERT_EQ(started.error.toStdString(), "");
        ASSERT_NE(started.port, 0);
        port = started.port;
    }
    /// Waits for what the callbacks count; false after twenty seconds.
    template <typename Condition> bool soon(Condition condition)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(20), condition);
    }
    /// Waits for a condition that nobody reports; false after twenty seconds.
    template <typename Condition> static bool eventually(Condition condition)
    {
        for (int look = 0; look < 4000 && !condition(); ++look)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return condition();
    }
    bool noneOpen()
    {
        return eventually([this] { return listener->connectionCount() == 0; });
    }
    StreamClient::Reading whole() const { return {answer, StreamClient::End::endOfStream}; }
    /// Clients that take a little and then stall, connected one after the other.
    std::deque<StreamClient> stalled(int count)
    {
        std::deque<StreamClient> clients;
        for (int number = 0; number < count; ++number)
            clients.emplace_back(port, 2048);
        return clients;
    }

    QByteArray answer = message(30'003);
    std::mutex mutex;
    std::condition_variable changed;
    std::atomic<int> accepted = 0;
    QStringList failures;
    std::vector<std::shared_ptr<StreamConnection>> waiting;
    quint16 port = 0;
    std::unique_ptr<EpollStreamListener> listener; // goes first
};

} // namespace lanterna
