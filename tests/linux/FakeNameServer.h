#pragma once

#include "platform/linux/Readiness.h"

#include <QByteArray>
#include <QHash>
#include <QList>

#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <thread>

#include <netinet/in.h>

namespace lanterna
{

/// What a server says when it is asked for the name of an address.
struct NameAnswer {
    enum Kind { named, unknown, nothing };

    Kind kind = nothing;
    QByteArray name = {}; // dotted
    std::chrono::milliseconds delay{0};
    quint32 from = 0; // the address from which the answer comes, when it is not the one that was asked
    int idError = 0; // added to the question's number
};

/// A small name server on a thread of its own, for PTR questions over UDP. It plays DNS and, on port 5353 of any number of loopback addresses, devices
/// that speak multicast DNS: an answer comes from the address that was asked, and repeats question and number.
class FakeNameServer
{
public:
    /// Runs on the server's thread. The address is in host order.
    using Script = std::function<NameAnswer(quint32 askedAddress)>;

    /// Listens on the address (host order; 0 for every one).
    FakeNameServer(quint32 address, quint16 port, Script script);
    ~FakeNameServer();

    [[nodiscard]] bool listens() const { return m_listens; }
    /// Hears also what is sent to the group of multicast DNS on the interface with this address (host order), and then answers for every address
    /// from that address. False when the system refuses.
    bool joinGroup(quint32 interfaceAddress) const;
    /// How many questions have come.
    [[nodiscard]] int questions() const { return m_questions; }
    /// How many of them to the group.
    [[nodiscard]] int groupQuestions() const { return m_groupQuestions; }

private:
    struct Reply {
        QByteArray bytes;
        sockaddr_in to;
        in_addr from;
    };

    void run();
    void receive();
    void receiveOne(const QByteArray &packet, const sockaddr_in &from, in_addr to);
    void answer(const QByteArray &header, const QByteArray &question, const sockaddr_in &from, in_addr to);
    void sendDue();

    const Script m_script;
    int m_socket;
    std::atomic<bool> m_listens = false;
    std::atomic<bool> m_stopped = false;
    std::atomic<int> m_questions = 0;
    std::atomic<int> m_groupQuestions = 0;
    WakeBell m_bell;
    std::multimap<std::chrono::steady_clock::time_point, Reply> m_replies;
    std::thread m_thread;
};

} // namespace lanterna
