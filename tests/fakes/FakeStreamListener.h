#pragma once

#include "platform/StreamListener.h"

#include <QList>

#include <optional>

namespace lanterna
{

/// A client of the fake listener and what it has received.
struct FakeStreamClient {
    std::optional<QByteArray> received; ///< the whole message; none while it waits, or was left without one
    bool disconnected = false;
};

/// A listener whose clients are a test's own. One thread.
class FakeStreamListener : public StreamListener
{
public:
    /// The listeners that there are, and how new ones behave. Outlives them.
    struct Machine {
        QList<FakeStreamListener *> listeners;
        QString startError; ///< why none can be started; empty when they can
        quint16 nextPort = 40000;

        /// For a port's factory.
        [[nodiscard]] std::unique_ptr<StreamListener> make() { return std::make_unique<FakeStreamListener>(*this); }
        /// A client of the listener that was started last.
        [[nodiscard]] std::shared_ptr<FakeStreamClient> connect() const { return listeners.last()->connect(); }
    };

    explicit FakeStreamListener(Machine &machine) : m_machine(machine) { }
    FakeStreamListener(const FakeStreamListener &) = delete;
    FakeStreamListener &operator=(const FakeStreamListener &) = delete;
    ~FakeStreamListener() override { m_machine.listeners.removeOne(this); }

    [[nodiscard]] Started start(NewConnection newConnection, Failed failed) override
    {
        if (!m_machine.startError.isEmpty())
            return {0, m_machine.startError};
        m_newConnection = std::move(newConnection);
        m_failed = std::move(failed);
        m_machine.listeners.append(this);
        port = m_machine.nextPort++;
        return {port, {}};
    }

    /// Someone connects.
    [[nodiscard]] std::shared_ptr<FakeStreamClient> connect() const
    {
        struct Connection : StreamConnection {
            explicit Connection(std::shared_ptr<FakeStreamClient> newClient) : client(std::move(newClient)) { }
            Connection(const Connection &) = delete;
            Connection &operator=(const Connection &) = delete;
            ~Connection() override { client->disconnected = true; }
            void sendFinalMessage(const QByteArray &bytes) override
            {
                if (!client->received)
                    client->received = bytes;
            }
            std::shared_ptr<FakeStreamClient> client;
        };
        auto client = std::make_shared<FakeStreamClient>();
        m_newConnection(std::make_shared<Connection>(client));
        return client;
    }
    /// The listening socket breaks.
    void fail(const QString &error) const { m_failed(error); }

    quint16 port = 0;

private:
    Machine &m_machine;
    NewConnection m_newConnection;
    Failed m_failed;
};

} // namespace lanterna
