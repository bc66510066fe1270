#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <map>

namespace lanterna
{

/// One network interface as the kernel describes it.
struct Link {
    unsigned index = 0;
    QByteArray name; ///< raw bytes: the kernel forbids only "/", ":" and blanks
    unsigned flags = 0; ///< IFF_UP, IFF_RUNNING, IFF_LOOPBACK, ...

    /// The name as text; bytes that are no UTF-8 are replaced.
    [[nodiscard]] QString displayName() const { return QString::fromUtf8(name); }
    bool operator==(const Link &) const = default;
};

/// Interfaces by their index.
using LinkTable = std::map<unsigned, Link>;

/// The request for all interfaces, or for the one with this index (refused with ENODEV when there is none).
QByteArray linkDumpRequest();
QByteArray linkRequest(unsigned index);

/// The interfaces in an answer; messages of other kinds are passed over.
LinkTable parseLinks(QByteArrayView bytes);

} // namespace lanterna
