#include "platform/linux/Netlink.h"
#include "platform/linux/Nl80211WiFiClient.h"

#include <cstdint>

namespace
{

/// A kernel that gives the same bytes to every question.
class SameAnswer : public lanterna::NetlinkTransport
{
public:
    explicit SameAnswer(QByteArray bytes) : m_answer{bytes, lanterna::answerError(bytes)} { }
    lanterna::NetlinkAnswer exchange(lanterna::NetlinkBus, const QByteArray &) override { return m_answer; }

private:
    lanterna::NetlinkAnswer m_answer;
};

} // namespace

/// The whole Wi-Fi client on any bytes; a network name is never longer than one element can hold.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace lanterna;
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    const auto ssid = parseAssociatedSsid(bytes);
    if (ssid && (ssid->isEmpty() || ssid->size() > 255))
        __builtin_trap();
    (void)Nl80211WiFiClient(std::make_shared<SameAnswer>(bytes), "/nonexistent").state();
    return 0;
}
