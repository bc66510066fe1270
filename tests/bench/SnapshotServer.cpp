#include "platform/NotificationNames.h"
#include "platform/linux/EpollStreamListener.h"
#include "platform/linux/LinuxMachine.h"
#include "platform/linux/MachineName.h"
#include "platform/linux/WatchedKernelTables.h"
#include "publish/MacSnapshotBonjourPublisher.h"
#include "scan/NetworkScanner.h"
#include "scan/NetworkSnapshot.h"
#include "tests/fakes/FakeServicePublishing.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <cstdio>
#include <iostream>
#include <string>

using namespace lanterna;

// The snapshot publisher as the programs have it, but announced to nobody; publish_bench.py runs it. Prints the port, then obeys its standard input:
//   devices N     stores a snapshot of N devices
//   bytes N       stores one with a text of N bytes
// and answers each with "stored". Ends with its input.

namespace
{

constexpr auto subnet = "192.168.77"; // publish_bench.py gives the machine an address in it

QVariantMap snapshotOf(int count)
{
    QList<RGFCoreScanDevice> devices;
    for (int number = 1; number <= count; ++number) {
        RGFCoreScanDevice device;
        device.ipAddress = QStringLiteral("%1.%2").arg(QLatin1String(subnet)).arg(number);
        device.macAddress = QStringLiteral("00:11:32:00:77:%1").arg(number, 2, 16, QLatin1Char('0')).toUpper();
        device.deviceName = QStringLiteral("device-%1.local").arg(number);
        devices.append(device);
    }
    return networkSnapshot(devices, QStringLiteral("Home"), QLatin1String(subnet), QDateTime::currentDateTimeUtc());
}

QVariantMap snapshotOfBytes(int count)
{
    QVariantMap snapshot = snapshotOf(0);
    snapshot.insert(QStringLiteral("devices"), QString(count, u'x'));
    return snapshot;
}

/// What a sweep needs is there as well, and not used.
ScanPorts scanPorts(LinuxMachine &machine, const KernelTables &kernel)
{
    return {machine.dispatch, machine.settings, machine.notifications, machine.log, kernel, machine.wiFiClient, machine.probes, machine.processes,
        machine.names, machine.tester, machine.discovery, {}, {}, {}, true};
}

/// Does what a line of the input says.
void obey(LinuxMachine &machine, const std::string &line)
{
    const QStringList words = QString::fromStdString(line).split(u' ');
    const int count = words.value(1).toInt();
    const QVariantMap snapshot = words.first() == QLatin1String("devices") ? snapshotOf(count) : snapshotOfBytes(count);
    machine.settings.setValue(QStringLiteral("latestLocalSnapshot"), snapshot);
    machine.notifications.post(snapshotSavedNotification);
    std::puts("stored");
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    const QCoreApplication application(argc, argv);
    LinuxMachine machine("snapshot_server", [](const InterfaceAddress &, const SettingsStore &) { return false; });
    const WatchedKernelTables watched;
    const KernelTables &kernel = argc > 1 ? static_cast<const KernelTables &>(machine.kernel) : watched; // any argument: reads the list each time
    FakeServicePublishing nobody;
    MacSnapshotBonjourPublisher publisher(
        {machine.dispatch, machine.settings, machine.notifications, machine.log, nobody, [] { return std::make_unique<EpollStreamListener>(); },
            [&] { return NetworkScanner::currentIPv4SubnetPrefixes(scanPorts(machine, kernel)); }, machineServiceName});
    publisher.start();
    TimerHandle waitForPort = machine.dispatch.performEvery(std::chrono::milliseconds(1), [&] {
        if (nobody.services.isEmpty())
            return;
        std::printf("%d\n", nobody.services.first()->port);
        std::fflush(stdout);
        waitForPort.cancel();
    });
    const QSocketNotifier input(0, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &application, [&] {
        std::string line;
        if (std::getline(std::cin, line))
            obey(machine, line);
        else
            QCoreApplication::quit();
    });
    return QCoreApplication::exec();
}
