#pragma once

#include "platform/WiFiClient.h"

#include <mutex>

namespace lanterna
{

/// A Wi-Fi interface whose state the test sets. Any thread.
class FakeWiFiClient : public WiFiClient
{
public:
    [[nodiscard]] WiFiState state() const override
    {
        const std::lock_guard lock(m_mutex);
        return m_state;
    }
    void setState(const WiFiState &state)
    {
        const std::lock_guard lock(m_mutex);
        m_state = state;
    }

private:
    mutable std::mutex m_mutex;
    WiFiState m_state;
};

} // namespace lanterna
