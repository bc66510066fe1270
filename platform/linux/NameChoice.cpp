#include "platform/linux/NameChoice.h"

namespace lanterna
{

QString bestName(const NameEvidence &evidence)
{
    if (!evidence.domain.isEmpty())
        return evidence.domain;
    return evidence.system.isEmpty() ? evidence.device : evidence.system;
}

NameStep nextNameStep(const NameEvidence &evidence, std::chrono::milliseconds sinceStart, const NamePatience &patience)
{
    if (!evidence.domain.isEmpty() || !evidence.system.isEmpty())
        return NameStep::tell;
    if (!evidence.device.isEmpty())
        return evidence.domainFinished || sinceStart >= patience.heldNames ? NameStep::tell : NameStep::wait;
    const bool domainSilent = evidence.domainFinished || sinceStart >= patience.domainOverdue;
    if (!evidence.systemAsked && evidence.deviceQuiet && domainSilent)
        return NameStep::askSystem;
    return evidence.domainFinished && evidence.deviceFinished && evidence.systemFinished ? NameStep::giveUp : NameStep::wait;
}

} // namespace lanterna
