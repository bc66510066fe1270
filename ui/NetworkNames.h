#pragma once

#include <QString>
#include <QVariant>

#include <optional>

namespace lanterna
{

/// The setting with the hardware addresses by network name, and the copy of it that the views show and edit as recent activity.
inline const QString macAddressesKey = QStringLiteral("MACAddressesByNetworkSegment");
inline const QString recentActivityKey = QStringLiteral("recentICloudActivity");

/// A network's name fit for one line of text: control characters written out, without the marks that would turn the direction of the text around
/// it, and cut where it is far longer than any name of a network. Any other name is as it was.
QString shownNetworkName(const QString &name);

/// A setting's dictionary without this network; nothing when it is no dictionary.
std::optional<QVariantMap> withoutNetwork(const QVariant &tables, const QString &name);

} // namespace lanterna
