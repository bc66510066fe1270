#pragma once

#include "platform/linux/Descriptor.h"
#include "platform/linux/RtnetlinkKernelTables.h"

#include <mutex>
#include <optional>

namespace lanterna
{

/// Tells whether interfaces or their IPv4 addresses may have changed since it was last asked, from the kernel's own messages. One thread at a time.
class AddressNews
{
public:
    /// True at first, and whenever the system does not tell.
    [[nodiscard]] bool mayHaveChanged();

private:
    Descriptor m_socket;
};

/// The kernel's tables for whoever asks for the interface list thousands of times a second: it is read again only after the kernel has announced a
/// change, and asking for that takes less than a microsecond. Reading takes fifty.
///
/// An announcement reaches its listeners one after the other: who has just been told of a change by another socket may find the list as it was
/// before, for the blink of an eye. Any thread.
class WatchedKernelTables : public RtnetlinkKernelTables
{
public:
    using RtnetlinkKernelTables::RtnetlinkKernelTables;
    [[nodiscard]] QList<InterfaceAddress> interfaceAddresses() const override;

private:
    mutable std::mutex m_mutex; // guards both
    mutable AddressNews m_news;
    mutable std::optional<QList<InterfaceAddress>> m_addresses; ///< none where the list could not be read
};

} // namespace lanterna
