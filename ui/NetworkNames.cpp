#include "ui/NetworkNames.h"

#include "platform/SystemLog.h"

namespace lanterna
{

namespace
{

// A network name has at most 32 bytes; what comes from a shared document may have any length.
constexpr qsizetype longestShown = 100;

/// Whether it is one of the marks that begin or end a piece of text in another direction (Unicode's UAX 9).
bool turnsDirection(QChar character)
{
    return (character >= QChar(0x202a) && character <= QChar(0x202e)) || (character >= QChar(0x2066) && character <= QChar(0x2069));
}

} // namespace

QString shownNetworkName(const QString &name)
{
    QString shown = name;
    if (shown.size() > longestShown) {
        shown.truncate(shown.at(longestShown - 1).isHighSurrogate() ? longestShown - 1 : longestShown);
        shown += QChar(0x2026);
    }
    shown = escapedControls(shown);
    shown.removeIf(turnsDirection);
    return shown;
}

std::optional<QVariantMap> withoutNetwork(const QVariant &tables, const QString &name)
{
    if (tables.typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    QVariantMap left = tables.toMap();
    left.remove(name);
    return left;
}

} // namespace lanterna
