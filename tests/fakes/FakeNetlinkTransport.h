#pragma once

#include "platform/linux/NetlinkTransport.h"

#include <QList>

#include <functional>

namespace lanterna
{

/// A kernel made of one function. Counts what it was asked.
class FakeNetlinkTransport : public NetlinkTransport
{
public:
    using Kernel = std::function<NetlinkAnswer(NetlinkBus bus, const QByteArray &request)>;

    explicit FakeNetlinkTransport(Kernel kernel) : m_kernel(std::move(kernel)) { }

    [[nodiscard]] NetlinkAnswer exchange(NetlinkBus bus, const QByteArray &request) override
    {
        ++m_count;
        return m_kernel(bus, request);
    }
    [[nodiscard]] int count() const { return m_count; }

private:
    Kernel m_kernel;
    int m_count = 0;
};

} // namespace lanterna
