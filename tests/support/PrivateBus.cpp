#include "tests/support/PrivateBus.h"

#include <QCoreApplication>
#include <QDBusPendingCall>
#include <QDir>
#include <QFile>

#include <atomic>
#include <chrono>

namespace lanterna
{

namespace
{

const char *configuration = R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
 <type>session</type>
 <listen>unix:path=%1/bus</listen>
 <servicedir>%1/services</servicedir>
 <auth>EXTERNAL</auth>
 <policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy>
</busconfig>
)";

QString nextConnectionName()
{
    static std::atomic<int> count{0};
    return QStringLiteral("test-%1").arg(++count);
}

} // namespace

PrivateBus::PrivateBus(const QString &activatableName)
{
    if (!activatableName.isEmpty()) {
        QDir(m_folder.path()).mkdir(QStringLiteral("services"));
        QFile service(m_folder.filePath(QStringLiteral("services/%1.service").arg(activatableName)));
        if (service.open(QIODevice::WriteOnly))
            service.write("[D-BUS Service]\nName=" + activatableName.toUtf8() + "\nExec=/bin/false\n");
    }
    const QString file = m_folder.filePath(QStringLiteral("bus.conf"));
    QFile config(file);
    if (config.open(QIODevice::WriteOnly))
        config.write(QString::fromLatin1(configuration).arg(m_folder.path()).toUtf8());
    config.close();
    m_address = m_daemon.start(file);
}

PrivateBus::~PrivateBus()
{
    for (const QString &name : m_connections)
        QDBusConnection::disconnectFromBus(name);
    kill();
}

QDBusConnection PrivateBus::connect()
{
    m_connections.append(nextConnectionName());
    return QDBusConnection::connectToBus(m_address, m_connections.last());
}

void PrivateBus::drop(QDBusConnection &connection)
{
    const QString name = connection.name();
    connection = QDBusConnection(QString());
    m_connections.removeOne(name);
    QDBusConnection::disconnectFromBus(name);
}

void PrivateBus::kill()
{
    m_daemon.kill();
}

bool turnLoopUntil(const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < end)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 50);
    return condition();
}

QDBusMessage callAndTurnLoop(const QDBusConnection &from, const QDBusMessage &call)
{
    const QDBusPendingCall pending = from.asyncCall(call, 10000);
    turnLoopUntil([&] { return pending.isFinished(); });
    return pending.isFinished() ? pending.reply() : QDBusMessage();
}

} // namespace lanterna
