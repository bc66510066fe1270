#include "cli/PeerFetch.h"

#include <QHostAddress>
#include <QNetworkProxy>

namespace lanterna
{

namespace
{
// What is read in one turn of the event loop. Whoever floods has to wait for the others, and the kernel holds back the rest.
constexpr qint64 turnSize = qint64{256} * 1024;
} // namespace

PeerFetch::PeerFetch(Dispatch &dispatch, const QString &address, quint16 port, Grew grew, Done done)
    : m_dispatch(dispatch), m_grew(std::move(grew)), m_done(std::move(done)),
      m_deadline(dispatch.performAfter(patience, [this] { giveUp(m_payload.size() > 0 ? PeerState::slow : PeerState::silent); }))
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_socket.setReadBufferSize(turnSize);
    QObject::connect(&m_socket, &QTcpSocket::readyRead, &m_socket, [this] { read(); });
    QObject::connect(&m_socket, &QTcpSocket::errorOccurred, &m_socket, [this] { streamEnded(); });
    connectTo(address, port);
}

PeerFetch::~PeerFetch()
{
    m_socket.disconnect();
    m_socket.abort();
}

void PeerFetch::connectTo(const QString &address, quint16 port)
{
    const QHostAddress host(address);
    if (host.isNull()) // a name would be looked up, which is not what the peer was asked for
        giveUp(PeerState::noConnection);
    else
        m_socket.connectToHost(host, port, QIODevice::ReadOnly);
}

void PeerFetch::read()
{
    if (m_ended)
        return;
    const QByteArray bytes = m_socket.read(turnSize);
    if (bytes.isEmpty())
        return;
    if (m_payload.take(bytes))
        m_grew();
    else
        end(m_payload.finish(), 0);
}

void PeerFetch::streamEnded()
{
    while (!m_ended && m_socket.bytesAvailable() > 0)
        read();
    if (m_ended)
        return;
    const qsizetype size = m_payload.size();
    const bool connected = m_socket.error() == QAbstractSocket::RemoteHostClosedError || size > 0; // a reset is a closing to Qt, too
    end(connected ? m_payload.finish() : PeerAnswer{PeerState::noConnection, {}}, size);
}

void PeerFetch::giveUp(PeerState state)
{
    m_payload = {};
    end({state, {}}, 0);
}

void PeerFetch::end(const PeerAnswer &answer, qsizetype size)
{
    if (std::exchange(m_ended, true))
        return;
    m_deadline.cancel();
    m_socket.disconnect();
    m_socket.abort();
    m_dispatch.mainAsync([this, alive = std::weak_ptr(m_alive), answer, size] {
        if (!alive.expired())
            m_done(answer, size);
    });
}

} // namespace lanterna
