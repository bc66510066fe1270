#pragma once

#include "platform/linux/Readiness.h"

#include <QByteArray>
#include <QString>

#include <chrono>
#include <functional>

struct ares_channeldata;
struct hostent;

namespace lanterna
{

/// Asks the name servers for the names of any number of addresses at once, over one socket for each server. For one thread only; nothing blocks but
/// the reading of the configuration.
///
/// Each question goes to the first server, and when the patience is over to the next one, three times around, with doubled patience after each round. Errors of a server lead to the next one at once.
class DomainNames
{
public:
    /// Called once for each address, also from inside `ask`, unless the object goes before. Without a name: there is none, or no server answers.
    using Finished = std::function<void(quint32 address, const QString &name)>;

    /// `configuration` is the path of a resolv.conf(5). It is read now, so that each look-up goes by the servers of the present network.
    DomainNames(Readiness &readiness, const QByteArray &configuration, std::chrono::milliseconds patience, Finished finished);
    ~DomainNames();
    DomainNames(const DomainNames &) = delete;
    DomainNames &operator=(const DomainNames &) = delete;

    /// The address is in host order.
    void ask(quint32 address);
    /// Whether one more question may be asked now.
    [[nodiscard]] bool hasRoom() const;
    /// Repeats what has been waiting for too long; to be called every few dozen milliseconds.
    void timePassed();

private:
    struct Question;
    static void answered(void *question, int status, int timeouts, hostent *host);
    static void socketChanged(void *self, int socket, int readable, int writable);

    Readiness &m_readiness;
    Finished m_finished;
    ares_channeldata *m_channel = nullptr;
    int m_waiting = 0;
};

} // namespace lanterna
