#pragma once

#include "cli/PeerPayload.h"
#include "platform/Dispatch.h"

#include <QTcpSocket>

#include <functional>

namespace lanterna
{

/// Fetches what one peer serves: connects, sends nothing, and reads up to the end of the stream, for ten seconds at most.
///
/// Main thread only. `done` comes once, on the main thread and never from inside a call; dropping the object ends the matter.
/// The dispatch outlives it.
class PeerFetch
{
public:
    using Grew = std::function<void()>;
    using Done = std::function<void(const PeerAnswer &answer, qsizetype size)>;

    static constexpr std::chrono::seconds patience{10};

    /// `address` is a numeric one. `grew` comes whenever the fetch holds more than before; it may call `giveUp`. `done` also tells how many bytes
    /// came.
    PeerFetch(Dispatch &dispatch, const QString &address, quint16 port, Grew grew, Done done);
    ~PeerFetch();
    PeerFetch(const PeerFetch &) = delete;
    PeerFetch &operator=(const PeerFetch &) = delete;

    /// How many bytes it holds.
    [[nodiscard]] qsizetype size() const { return m_payload.size(); }
    /// Ends the fetch with this answer, and forgets what has come.
    void giveUp(PeerState state);

private:
    void connectTo(const QString &address, quint16 port);
    void read();
    void streamEnded();
    void end(const PeerAnswer &answer, qsizetype size);

    Dispatch &m_dispatch;
    Grew m_grew;
    Done m_done;
    QTcpSocket m_socket;
    PeerPayload m_payload;
    TimerHandle m_deadline;
    bool m_ended = false;
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

} // namespace lanterna
