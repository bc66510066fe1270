#include "platform/linux/SocketAddress.h"

#include <arpa/inet.h>

namespace lanterna
{

std::optional<sockaddr_in> socketAddress(const QString &address, quint16 port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(port);
    if (inet_pton(AF_INET, address.toLatin1().constData(), &result.sin_addr) != 1)
        return std::nullopt;
    return result;
}

} // namespace lanterna
