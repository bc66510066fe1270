#include "platform/NamePatterns.h"

#include <algorithm>

#include <fnmatch.h>

namespace lanterna
{

bool matchesInterfacePattern(const QString &label, const QStringList &patterns)
{
    // An address label ("eth0:1") belongs to the interface before the colon.
    const QByteArray name = label.section(QLatin1Char(':'), 0, 0).toUtf8();
    return std::any_of(patterns.begin(), patterns.end(),
        [&](const QString &pattern) { return fnmatch(pattern.toUtf8().constData(), name.constData(), FNM_NOESCAPE) == 0; });
}

} // namespace lanterna
