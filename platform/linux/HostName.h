#pragma once

#include <QByteArrayView>
#include <QString>

namespace lanterna
{

/// Bytes in the longest name that a host may have (RFC 1035, 2.3.4). Longer ones are refused, not cut: half a name is another host's.
constexpr qsizetype maximumHostNameBytes = 255;

/// A host's name as anybody on the network may have sent it, fit to be shown: UTF-8 decoded, spaces around it and one trailing dot removed.
///
/// Empty, thus no name at all, for what no honest host is called: too long, not UTF-8, with a control character, a line separator or a character
/// that turns the direction of writing (such a name could pass for another one or break a line), nothing but dots, spaces and what cannot be seen, an
/// address in numbers (IPv4 or IPv6), or the question's own name under in-addr.arpa or ip6.arpa. The last two are seen through invisible characters.
/// Those inside other names stay, since they join letters and emoji; who removes format characters (Unicode's Cf) still has a name left. Pure; any
/// thread.
[[nodiscard]] QString hostName(QByteArrayView bytes);

} // namespace lanterna
