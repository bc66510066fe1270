#pragma once

#include "platform/KernelTables.h"
#include "platform/NotificationCenter.h"
#include "platform/SettingsStore.h"

#include <QStringList>
#include <QVariantMap>

namespace lanterna
{

/// The patterns that `hiddenInterfaces` replaces: bridges, taps and virtual pairs that virtual machines and containers make. "*" stands for any text,
/// "?" for one character, "[0-9a-f]" for one of a class. Bridges that people make (br0, br-lan) are not among them.
QStringList builtInHiddenInterfaces();

/// The patterns in force: those of the setting `hiddenInterfaces` when it is a list, else the built-in ones.
QStringList hiddenInterfacePatterns(const SettingsStore &settings);

/// Whether the address list shows this address: IPv4 up and running, no loopback, no name that contains "vnic", and none that one of the patterns
/// matches as a whole.
bool isShownAddress(const InterfaceAddress &address, const QStringList &hiddenPatterns);
/// The same without asking whether it is up and running.
bool isShownInterface(const InterfaceAddress &address, const QStringList &hiddenPatterns);

/// Lists this machine's own IPv4 addresses.
class localhostAddresses
{
public:
    /// Interface name to "name: address". An interface with several addresses has the last one.
    static QVariantMap addressDictionary(const QList<InterfaceAddress> &addresses, const QStringList &hiddenPatterns);

    /// Reads the interface list and posts "LocalhostAdressesResolved" with the address dictionary as object; an empty one when the list cannot be
    /// read. Blocks for the time of a system call and posts on the calling thread.
    static void list(const KernelTables &kernel, const QStringList &hiddenPatterns, NotificationCenter &notifications);
};

} // namespace lanterna
