#pragma once

#include "platform/KernelTables.h"
#include "platform/SettingsStore.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

namespace lanterna
{

/// The addresses that the program would show, one line each: "eth0: 192.168.1.20".
QString addressesText(const QList<InterfaceAddress> &shown);
/// The same as JSON: [{"interface", "address", "prefixLength", "broadcast"}], the broadcast null where there is none.
QJsonArray addressesJson(const QList<InterfaceAddress> &shown);

/// What the status item would show now.
struct StatusReport {
    QString title; ///< empty while only the icon is shown
    qlonglong mode = 0; ///< `whichIP`
    QStringList addresses; ///< active interfaces, "eth0: 192.168.1.20"
    QString wan; ///< the WAN address or the word that stands for it
    QString network; ///< name under which the latest scan is filed; empty when there is none
    qint64 runningPid = 0; ///< process of the running core; 0 for none
};

/// Works the status out from the present addresses and the stored settings.
StatusReport statusReport(const QList<InterfaceAddress> &addresses, const SettingsStore &settings, qint64 runningPid);

/// Some lines for people.
QString statusText(const StatusReport &report);
/// {"title", "mode", "addresses", "wan", "network", "running", "pid"}; texts that are not known are null.
QJsonObject statusJson(const StatusReport &report);
/// One object as waybar's custom modules read it: {"text", "alt", "tooltip", "class"}; markup in the texts is escaped. The class is "online", or
/// "offline" without an active interface; "alt" is the display mode's name.
QJsonObject waybarJson(const StatusReport &report);

} // namespace lanterna
