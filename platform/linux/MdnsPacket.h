#pragma once

#include <QByteArrayView>

#include <optional>
#include <vector>

namespace lanterna
{

/// Where in a packet the types of its resource records stand, two bytes each, most significant first, in the order of the records. None for bytes
/// that are no answer of multicast DNS from beginning to end: queries, answers that repeat a question, records that reach behind the end.
std::optional<std::vector<qsizetype>> answerRecordTypes(QByteArrayView packet);

/// Whether the embedded mDNS stack shall see a packet. It sees answers only, since it publishes nothing that could be asked for, and none with a
/// CNAME record: service discovery knows no such record, and on ones that point to each other or are taken back the library calls abort(), with
/// which a single packet would end the program (CVE-2025-68468, CVE-2025-68471, CVE-2026-24401; open in Avahi 0.8).
bool mayReachMdnsStack(QByteArrayView packet);

} // namespace lanterna
