#pragma once

#include <QStringList>

namespace lanterna
{

/// Whether one of the patterns matches the interface of an address label as a whole: "eth0" for both "eth0" and "eth0:1". In a pattern "*" stands for
/// any text, "?" for one character, "[0-9a-f]" for one of a class; one that is no pattern matches nothing. Any thread.
bool matchesInterfacePattern(const QString &label, const QStringList &patterns);

} // namespace lanterna
