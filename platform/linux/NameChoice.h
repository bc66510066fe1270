#pragma once

#include <QString>

#include <chrono>

namespace lanterna
{

// Which of a host's names counts, and when. Pure; any thread.

/// When patience ends, counted from the beginning of a look-up. The caller is taken to cut it off after five seconds.
struct NamePatience {
    /// The device's own name is given to a host for which DNS has said nothing until now. A server that answers after three seconds, or the third of
    /// three servers, still comes first, and a second is left for handing over tens of thousands of names on a busy machine.
    std::chrono::milliseconds heldNames{4000};
    /// DNS that has been silent for so long may be mute; the system is asked in the meantime.
    std::chrono::milliseconds domainOverdue{2000};
    /// The end of the look-up. What is not there by now (a stuck resolver module) would come too late for everyone.
    std::chrono::milliseconds end{5000};
    /// The time that a name server has for its answer before the next one is asked; see DomainNames.
    std::chrono::milliseconds server{1000};
    /// The time in which a device answers as a rule; see DeviceNames.
    std::chrono::milliseconds device{1000};
};

/// What is known of the name of one host.
struct NameEvidence {
    QString domain; // from DNS
    QString device; // from the device itself, by multicast DNS
    QString system; // from the system's resolver
    bool domainFinished = false; // it has answered, if only "no such name", or was given up
    bool deviceQuiet = false; // it had time enough for an ordinary answer
    bool deviceFinished = false; // it was given up
    bool systemAsked = false;
    bool systemFinished = false;
};

enum class NameStep {
    wait,
    tell, // the name that `bestName` gives
    askSystem,
    giveUp, // there will be no name
};

/// The name by which the host goes: DNS before the system's resolver (which may have asked DNS once more) before the device. Empty for none.
[[nodiscard]] QString bestName(const NameEvidence &evidence);

/// What is to be done for a host that was neither told nor given up yet.
[[nodiscard]] NameStep nextNameStep(const NameEvidence &evidence, std::chrono::milliseconds sinceStart, const NamePatience &patience);

} // namespace lanterna
