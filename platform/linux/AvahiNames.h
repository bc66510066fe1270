#pragma once

#include "platform/ServiceDiscovery.h"
#include "platform/ServicePublishing.h"

#include <QByteArray>
#include <QSet>

#include <map>
#include <optional>
#include <utility>

namespace lanterna
{

/// The longest host name that is passed on, in bytes of UTF-8 and without the trailing dot: what a DNS name can hold (RFC 1035, section 2.3.4).
inline constexpr qsizetype longestHostName = 255;
/// The longest service name, in bytes of UTF-8: one DNS label (RFC 6763, section 4.1.1).
inline constexpr qsizetype longestServiceName = 63;
/// How many services of one search are told. No honest network has more; one that invents services shall not fill the memory.
inline constexpr qsizetype mostServicesPerSearch = 4096;
/// How many are told in one pass: what several searches that are lied to may cost together.
inline constexpr qsizetype mostServicesPerPass = 8192;

/// The longest entry of a TXT record, in bytes (RFC 6763, section 6.1), and of all of one record with their lengths (section 6.2).
inline constexpr qsizetype longestTextEntry = 255;
inline constexpr qsizetype longestText = 1300;

/// A type or domain in the form that Avahi takes: "_ipp._tcp." becomes "_ipp._tcp". None for one with a NUL, which would end the C string early.
std::optional<QByteArray> nameForAvahi(const QString &name);
/// A name with exactly the trailing dot that the port promises: "local" and "local." become "local.".
QString withTrailingDot(const QString &name);
/// Whether two types or domains are one: capitals (of ASCII) and a trailing dot make no difference.
bool isSameName(QByteArrayView first, QByteArrayView second);

/// A host as Avahi writes it, labels separated by dots and odd bytes as \DDD, in the form of the port: "my\032host.local" becomes "my host.local.".
/// Bytes that are no UTF-8 are replaced. None for what is no name: wrong escapes, NUL, nothing, or more than `longestHostName`.
std::optional<QString> hostNameFromAvahi(QByteArrayView escaped);
/// Dotted text of an address (host byte order); none for those that no single host can have: 0.x.x.x, loopback, multicast and what lies above.
std::optional<QString> hostAddressText(quint32 address);

/// The label under which a host is announced: the first of its name, or "lanterna" where that is "localhost" or has anything but ASCII letters, digits,
/// "-" and "_".
QByteArray announcedHostLabel(QByteArrayView hostName);
/// Whether a service can be announced: a name of 1 to 63 bytes without NUL, and a type and domain that Avahi takes.
bool isAnnounceable(const ServiceRegistration &service);
/// The entries of a TXT record, "key=value" each. Those that cannot be in one are left out: over 255 bytes, with a key that is empty, has bytes other
/// than printable ASCII or a "=", and those behind the first 1,300 bytes.
QList<QByteArray> textEntries(const ServiceText &text);

/// Which services the searches of a pass have told, so that each is told once per search and interface and their number stays bounded.
class ToldServices
{
public:
    /// True the first time for a name and interface, until `mostServicesPerSearch` were told for the search, or `mostServicesPerPass` in all.
    bool add(quint64 search, const QString &name, unsigned interfaceIndex);
    /// Forgets what a search has told; it still counts in its pass.
    void endSearch(quint64 search) { m_told.erase(search); }
    /// Counts from nothing again.
    void beginPass() { m_toldInPass = 0; }

private:
    std::map<quint64, QSet<std::pair<QString, unsigned>>> m_told; // by search
    qsizetype m_toldInPass = 0;
};

} // namespace lanterna
