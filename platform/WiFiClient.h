#pragma once

#include <QString>

#include <optional>

namespace lanterna
{

/// The machine's Wi-Fi interface at one moment.
struct WiFiState {
    std::optional<QString> interfaceName; ///< absent without a station interface
    std::optional<QString> ssid; ///< absent unless connected to a network with a non-empty name; undecodable bytes are replaced
    bool powerOn = false; ///< interface up and not blocked by rfkill
    bool permissionDenied = false; ///< the system refused the question (a sandbox)

    bool operator==(const WiFiState &) const = default;
};

/// Reads the Wi-Fi state. Any thread; every call asks the kernel anew and takes a few milliseconds.
class WiFiClient
{
public:
    virtual ~WiFiClient() = default;
    /// The connected station interface if there is one, else one that is switched on, else the first.
    [[nodiscard]] virtual WiFiState state() const = 0;
};

} // namespace lanterna
