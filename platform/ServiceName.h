#pragma once

#include <QString>

namespace lanterna
{

/// Bytes of UTF-8 in the longest name of a service (RFC 6763, section 4.1.1).
constexpr qsizetype maximumServiceNameBytes = 63;

/// The name under which this machine announces a service: what people call the machine (`prettyName`), else its host name up to the first dot, else
/// "Lanterna". Without control characters and spaces around it, and cut to 63 bytes of UTF-8 without parting what is seen as one character. Pure; any
/// thread.
QString defaultServiceName(const QString &prettyName, const QString &hostName);

} // namespace lanterna
