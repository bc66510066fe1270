#include "app/localhostAddresses.h"

#include "platform/NamePatterns.h"
#include "platform/NotificationNames.h"

namespace lanterna
{

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
    return !address.loopback && !address.name.contains(QLatin1String("vnic")) && !matchesInterfacePattern(address.name, hiddenPatterns);
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
