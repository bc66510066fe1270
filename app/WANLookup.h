#pragma once

#include "app/HttpFetch.h"
#include "app/WANReply.h"
#include "platform/Dispatch.h"
#include "platform/SettingsStore.h"
#include "platform/SystemLog.h"

namespace lanterna
{

/// Learns the network's public address: reads the configuration once, then asks the endpoint as often as it is told to.
///
/// Main thread, but for the reading of a configuration file, which runs on the global pool.
class WANLookup
{
public:
    /// Receives each lookup's outcome: an address, "offline" or "unavailable"; `answered` is false when no reply arrived.
    using Finished = std::function<void(const QString &result, bool answered)>;

    /// What a lookup needs; the references outlive it.
    struct Environment {
        Dispatch &dispatch;
        const SettingsStore &settings;
        SystemLog &log;
        std::function<void(const QString &url, HttpFetch::Completion)> download; ///< http and https; main thread
        QString defaultConfigurationURL; ///< used while `configurationURL` is not set
    };

    WANLookup(Environment environment, Finished finished);

    /// The configuration task of the start: reads the configuration, sets the endpoint, then calls `configured` on the main thread.
    void readConfiguration(std::function<void()> configured);
    /// One lookup, which ends with `finished`. False when there is no endpoint to ask: then nothing follows.
    bool getWANIP();

    /// Where to ask; the URL is empty until the configuration was read.
    [[nodiscard]] const WANEndpoint &endpoint() const { return m_endpoint; }
    [[nodiscard]] bool hasEndpoint() const { return !m_endpoint.url.isEmpty(); }

private:
    void configure(const std::optional<QString> &text);
    void receive(const HttpReply &reply);

    Environment m_environment;
    Finished m_finished;
    WANEndpoint m_endpoint;
    std::shared_ptr<char> m_alive = std::make_shared<char>(); // answers that come after this is gone do nothing
};

} // namespace lanterna
