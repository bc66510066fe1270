#pragma once

#include "platform/NotificationNames.h"
#include "scan/ScanPorts.h"
#include "tests/fakes/FakeLAN.h"
#include "tests/fakes/FakeSystemLog.h"
#include "tests/fakes/FakeWiFiClient.h"
#include "tests/fakes/VirtualDispatch.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace lanterna
{

/// A machine with one interface on a LAN of fakes, in virtual time.
class ScanFixture : public testing::Test
{
protected:
    ~ScanFixture() override { dispatch.endSleeps(); } // while what the sweeps use is still there
    ScanFixture() { lan.routes = QStringLiteral("default 192.168.1.1 UGSc eth0\n"); }

    ScanPorts ports()
    {
        return {dispatch, settings, notifications, log, lan, wiFi, lan, lan, lan, lan, lan,
            [this](const std::function<void(bool)> &answer) { answer(locationAllowed); },
            [this](const QVariantMap &snapshot) { recorded.append(snapshot); }, {}, true};
    }

    /// An interface with a broadcast address.
    void addInterface(const QString &name, const QString &address, const QString &broadcast = {})
    {
        lan.add(name, address);
        lan.addresses.last().hasBroadcast = !broadcast.isEmpty();
        lan.addresses.last().broadcast = broadcast;
    }
    void standardInterface() { addInterface(QStringLiteral("eth0"), QStringLiteral("192.168.1.10"), QStringLiteral("192.168.1.255")); }
    void set(const char *key, const QVariant &value) { settings.setValue(QLatin1String(key), value); }
    [[nodiscard]] QVariant stored(const char *key) const { return settings.value(QLatin1String(key)); }
    FakeHost &addHost(const QString &address, const QString &mac)
    {
        FakeHost host;
        host.address = address;
        host.mac = mac;
        lan.hosts.append(host);
        return lan.hosts.last();
    }

    QTemporaryDir folder;
    FakeSystemLog log;
    SettingsStore settings{folder.path(), log};
    NotificationCenter notifications;
    FakeWiFiClient wiFi;
    bool locationAllowed = true;
    QVariantList recorded; ///< snapshots that went to the history
    VirtualDispatch dispatch;
    FakeLAN lan{dispatch};
};

} // namespace lanterna
