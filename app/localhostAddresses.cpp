#include "app/localhostAddresses.h"

#include "app/NotificationNames.h"

#include <QRegularExpression>

#include <algorithm>

namespace lanterna
{

namespace
{

bool matchesWhole(const QString &pattern, const QString &name)
{
    const auto expression = QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern));
    return expression.isValid() && expression.match(name).hasMatch();
}

/// An address label ("eth0:1") belongs to the interface before the colon.
QString interfaceOf(const QString &label)
{
    return label.section(QLatin1Char(':'), 0, 0);
}

} // namespace

QStringList builtInHiddenInterfaces()
{
    // Docker names its bridges after the first twelve digits of the network's identifier.
    const QString identifiedBridge = QStringLiteral("br-") + QStringLiteral("[0-9a-fA-F]").repeated(12);
    return {QStringLiteral("docker*"), QStringLiteral("veth*"), QStringLiteral("virbr*"), QStringLiteral("vnet*"), QStringLiteral("lxcbr*"),
        QStringLiteral("cni*"), QStringLiteral("podman*"), identifiedBridge};
}

QStringList hiddenInterfacePatterns(const SettingsStore &settings)
{
    const QVariant stored = settings.value(QStringLiteral("hiddenInterfaces"));
    return stored.typeId() == QMetaType::QVariantList ? stored.toStringList() : builtInHiddenInterfaces();
}

bool isShownInterface(const InterfaceAddress &address, const QStringList &hiddenPatterns)
{
    if (address.loopback || address.name.contains(QLatin1String("vnic")))
        return false;
    const QString name = interfaceOf(address.name);
    return std::none_of(hiddenPatterns.begin(), hiddenPatterns.end(), [&](const QString &pattern) { return matchesWhole(pattern, name); });
}

bool isShownAddress(const InterfaceAddress &address, const QStringList &hiddenPatterns)
{
    return address.up && address.running && isShownInterface(address, hiddenPatterns);
}

QVariantMap localhostAddresses::addressDictionary(const QList<InterfaceAddress> &addresses, const QStringList &hiddenPatterns)
{
    QVariantMap dictionary;
    for (const InterfaceAddress &address : addresses) {
        if (isShownAddress(address, hiddenPatterns))
            dictionary.insert(address.name, address.name + QStringLiteral(": ") + address.address);
    }
    return dictionary;
}

void localhostAddresses::list(const KernelTables &kernel, const QStringList &hiddenPatterns, NotificationCenter &notifications)
{
    notifications.post(localhostAddressesResolvedNotification, addressDictionary(kernel.interfaceAddresses(), hiddenPatterns));
}

} // namespace lanterna
