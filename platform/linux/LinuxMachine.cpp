#include "platform/linux/LinuxMachine.h"

#include "platform/DataFolder.h"
#include "platform/linux/DesktopSecretStore.h"
#include "platform/linux/EpollStreamListener.h"
#include "platform/linux/ProgramFiles.h"

#include <QUrl>

namespace lanterna
{

LinuxMachine::LinuxMachine(const QByteArray &identifier, const Shown &shown, SyslogSystemLog::TerminalSink terminalSink)
    : log(identifier, std::move(terminalSink)), settings(SettingsStore::defaultFolder(), log),
      settingsWatch(settings.folder(), QStringLiteral("settings.json"), [this] { settings.noticeChanges(); }),
      events(dispatch, log, [this, shown](const InterfaceAddress &address) { return shown(address, settings); }),
      locationManager(dispatch, wiFiClient), discovery(dispatch)
{
}

std::unique_ptr<StreamListener> LinuxMachine::makeListener()
{
    return std::make_unique<EpollStreamListener>();
}

std::function<std::unique_ptr<SecretStore>()> LinuxMachine::secretStoreMaker()
{
    return [this] { return std::make_unique<DesktopSecretStore>(QDBusConnection::sessionBus(), dispatch, dataFolder(), log); };
}

QString installedConfigurationURL()
{
    const QString file = ProgramFiles().dataFile(QStringLiteral("endpoint.txt"));
    return file.isEmpty() ? QString() : QUrl::fromLocalFile(file).toString();
}

} // namespace lanterna
