#pragma once

#include <QByteArrayView>

#include <optional>
#include <vector>

namespace lanterna
{

/// What the embedded mDNS stack is there for.
enum class MdnsRole {
    asker, ///< asks and hears answers
    responder, ///< announces services, too, and answers
};

/// Where the parts of a packet stand.
struct MdnsPacketParts {
    std::vector<qsizetype> questionNames;
    std::vector<qsizetype> recordTypes; ///< two bytes each, most significant first; of all records, known answers and those of probes included
};

/// None for bytes that are no packet of multicast DNS from beginning to end, such as one with records that reach behind the end.
std::optional<MdnsPacketParts> mdnsPacketParts(QByteArrayView packet);

/// Whether the embedded mDNS stack shall see a packet.
///
/// None with a CNAME record: service discovery knows no such record, and on ones that point to each other or are taken back the library calls abort(),
/// with which a single packet would end the program (CVE-2025-68468, CVE-2025-68471, CVE-2026-24401; open in Avahi 0.8). Answers must have nothing
/// but answers. Questions are for a responder only, and not those for the names of the loopback: the library would answer them.
bool mayReachMdnsStack(QByteArrayView packet, MdnsRole role);

} // namespace lanterna
