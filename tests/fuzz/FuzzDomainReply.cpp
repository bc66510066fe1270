#include "platform/linux/HostName.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include <ares.h>
#include <netdb.h>
#include <sys/socket.h>

/// Replies of name servers from any bytes, read the way they are in a look-up: what comes out as a name is bounded and can be printed.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    constexpr size_t maximumReplyBytes = 65535; // over TCP
    constexpr std::array<unsigned char, 4> address = {192, 168, 1, 20};
    hostent *host = nullptr;
    if (size > maximumReplyBytes || ares_parse_ptr_reply(data, int(size), address.data(), int(address.size()), AF_INET, &host) != ARES_SUCCESS)
        return 0;
    const QString name = host->h_name ? hostName(QByteArrayView(host->h_name)) : QString();
    ares_free_hostent(host);
    const bool controls = std::any_of(name.begin(), name.end(), [](QChar c) { return c.category() == QChar::Other_Control; });
    in_addr number = {};
    if (controls || name.toUtf8().size() > maximumHostNameBytes || ares_inet_pton(AF_INET, name.toLatin1().constData(), &number) == 1)
        __builtin_trap();
    return 0;
}
