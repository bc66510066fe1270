#include "platform/linux/NetlinkTransport.h"

#include "platform/linux/Netlink.h"

namespace lanterna
{

namespace
{

/// A dump that is interrupted is asked for again this often. Each takes about a millisecond, so five in a row mean constant change.
constexpr int attempts = 5;

} // namespace

NetlinkAnswer askKernel(NetlinkTransport &transport, NetlinkBus bus, const QByteArray &request)
{
    NetlinkAnswer answer;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        answer = transport.exchange(bus, request);
        if (answer.error != 0 || !answerInterrupted(answer.bytes))
            break;
    }
    return answer;
}

} // namespace lanterna
