#pragma once

#include "cli/PeerFetch.h"
#include "cli/PeersCommand.h"
#include "cli/PeersReport.h"
#include "cli/SettingsCommand.h"
#include "platform/ServiceDiscovery.h"

#include <memory>
#include <vector>

namespace lanterna
{

/// The one run of `lanternactl peers`: looks for sensors ("_rgfscanmac._tcp"), this machine's own among them, and fetches what each serves, all of
/// them side by side. Main thread only; the dispatch and the discovery outlive it.
///
/// It ends `timeout` + 3 s (resolution) + 10 s (fetch) after its start at the latest, unless so many sensors are dead that they have to be resolved by
/// turns. At most 256 sensors are asked; what they send is held to 64 MiB
/// in all: when it becomes more, the one that has sent most is given up, so that a peer that floods does not cost the others their answers.
class PeersRun
{
public:
    static constexpr qsizetype mostPeers = 256;
    static constexpr qsizetype mostBytes = PeerPayload::maximumSize;

    /// `bytesInAll` is `mostBytes` but in tests.
    PeersRun(Dispatch &dispatch, ServiceDiscovery &discovery, const PeersOptions &options, qsizetype bytesInAll = mostBytes);
    ~PeersRun();
    PeersRun(const PeersRun &) = delete;
    PeersRun &operator=(const PeersRun &) = delete;

    /// Looks and fetches; `finished` comes once, on the main thread and not from inside the call.
    void start(std::function<void()> finished);
    /// What to print, and the exit code: 0 when there was a sensor, whatever it handed over. `columns` is the terminal's width, 0 for no terminal.
    [[nodiscard]] CommandResult result(int columns) const;

    /// How many sensors are being read.
    [[nodiscard]] qsizetype openFetches() const;
    /// How much of what they sent is held.
    [[nodiscard]] qsizetype heldBytes() const;

private:
    struct Asked {
        ServiceInstance service;
        Peer peer;
        std::shared_ptr<void> resolution;
        std::unique_ptr<PeerFetch> fetch;
        qsizetype kept = 0; // bytes of the stream whose snapshot is kept
        bool open = true; // its answer is still to come
        bool again = false; // the same sensor was heard on another interface, too
    };

    [[nodiscard]] static qsizetype heldOf(const Asked &asked);
    void found(const ServiceInstance &service);
    void resolved(Asked &asked, const std::optional<ResolvedService> &where);
    void fetched(Asked &asked, const PeerAnswer &answer, qsizetype size);
    void boundBytes();
    void finishIfDone();
    [[nodiscard]] bool isKnown(const Asked &asked) const;
    [[nodiscard]] QList<Peer> peers() const;

    Dispatch &m_dispatch;
    ServiceDiscovery &m_discovery;
    const PeersOptions m_options;
    const qsizetype m_bytesInAll;
    std::function<void()> m_finished;
    std::shared_ptr<void> m_search;
    TimerHandle m_searchEnd;
    std::vector<std::unique_ptr<Asked>> m_asked;
    bool m_searching = false;
    bool m_couldNotSearch = false;
    bool m_leftOut = false; // there were more than are asked
};

} // namespace lanterna
