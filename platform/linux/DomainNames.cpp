#include "platform/linux/DomainNames.h"

#include "platform/linux/HostName.h"

#include <QtEndian>

#include <array>
#include <memory>
#include <utility>

#include <ares.h>
#include <netdb.h>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace lanterna
{

namespace
{

constexpr int rounds = 3;

/// Questions on their way carry 16-bit numbers, which c-ares draws until it hits a free one. With half of them taken that is two draws.
constexpr int maximumWaiting = 32768;

/// Replies to hundreds of questions arrive within the same millisecond. The system gives less where its limit is lower.
constexpr int socketBufferBytes = 1 << 20;

bool libraryReady()
{
    static const bool ready = ares_library_init(ARES_LIB_INIT_ALL) == ARES_SUCCESS;
    return ready;
}

} // namespace

struct DomainNames::Question {
    DomainNames *asker;
    quint32 address;
};

DomainNames::DomainNames(Readiness &readiness, const QByteArray &configuration, std::chrono::milliseconds patience, Finished finished)
    : m_readiness(readiness), m_finished(std::move(finished))
{
    QByteArray path = configuration;
    std::array<char, 2> lookups = {'b', '\0'}; // DNS alone: c-ares would read the whole hosts file anew for each address
    ares_options options = {};
    options.flags = ARES_FLAG_STAYOPEN;
    options.timeout = int(patience.count());
    options.tries = rounds;
    options.lookups = lookups.data();
    options.sock_state_cb = &DomainNames::socketChanged;
    options.sock_state_cb_data = this;
    options.socket_send_buffer_size = socketBufferBytes;
    options.socket_receive_buffer_size = socketBufferBytes;
    options.resolvconf_path = path.data();
    constexpr int given = ARES_OPT_FLAGS | ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES | ARES_OPT_LOOKUPS | ARES_OPT_SOCK_STATE_CB | ARES_OPT_SOCK_SNDBUF
        | ARES_OPT_SOCK_RCVBUF | ARES_OPT_RESOLVCONF | ARES_OPT_NOROTATE;
    if (!libraryReady() || ares_init_options(&m_channel, &options, given) != ARES_SUCCESS)
        m_channel = nullptr;
}

DomainNames::~DomainNames()
{
    m_finished = nullptr; // open questions are called off
    if (m_channel)
        ares_destroy(m_channel);
}

void DomainNames::ask(quint32 address)
{
    if (!m_channel) {
        m_finished(address, {});
        return;
    }
    ++m_waiting;
    const in_addr wire = {qToBigEndian(address)};
    auto question = std::make_unique<Question>(Question{this, address});
    ares_gethostbyaddr(m_channel, &wire, int(sizeof wire), AF_INET, &DomainNames::answered, question.release()); // `answered` takes it back
}

bool DomainNames::hasRoom() const
{
    return m_waiting < maximumWaiting;
}

void DomainNames::timePassed()
{
    if (m_channel)
        ares_process_fd(m_channel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
}

void DomainNames::answered(void *question, int status, int /*timeouts*/, hostent *host)
{
    const std::unique_ptr<Question> owned(static_cast<Question *>(question));
    DomainNames &self = *owned->asker;
    --self.m_waiting;
    if (!self.m_finished)
        return;
    const bool named = status == ARES_SUCCESS && host && host->h_name;
    self.m_finished(owned->address, named ? hostName(QByteArrayView(host->h_name)) : QString());
}

void DomainNames::socketChanged(void *self, int socket, int readable, int writable)
{
    auto &names = *static_cast<DomainNames *>(self);
    if (!readable && !writable) {
        names.m_readiness.forget(socket);
        return;
    }
    const uint32_t events = (readable ? uint32_t(EPOLLIN) : 0U) | (writable ? uint32_t(EPOLLOUT) : 0U);
    names.m_readiness.watch(socket, events, [&names, socket](uint32_t happened) {
        // An error shows when the socket is read.
        const bool read = (happened & (EPOLLIN | EPOLLERR | EPOLLHUP)) != 0;
        const bool write = (happened & EPOLLOUT) != 0;
        ares_process_fd(names.m_channel, read ? socket : ARES_SOCKET_BAD, write ? socket : ARES_SOCKET_BAD);
    });
}

} // namespace lanterna
