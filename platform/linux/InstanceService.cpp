#include "platform/linux/InstanceService.h"

#include <QDBusConnectionInterface>
#include <QRegularExpression>

namespace lanterna
{

namespace
{

const QString path = QStringLiteral("/org/lanterna/Lanterna");
const QString interfaceName = QStringLiteral("org.lanterna.Lanterna");
const QString introspection = QStringLiteral(R"(<interface name="org.lanterna.Lanterna">
<method name="Activate"/>
<method name="ResetPreferences"/>
</interface>
)");
constexpr int answerTimeOutMilliseconds = 5000;

} // namespace

QString InstanceService::busName(const QString &instance)
{
    static const QRegularExpression foreign(QStringLiteral("[^A-Za-z0-9_]"));
    QString suffix = instance;
    suffix.replace(foreign, QStringLiteral("_"));
    return suffix.isEmpty() ? interfaceName : interfaceName + QStringLiteral(".i_") + suffix; // a part of a name does not begin with a digit
}

InstanceService::InstanceService(const QDBusConnection &bus, const QString &instance)
    : DBusObject(bus, path, interfaceName, introspection), m_connection(bus), m_name(busName(instance))
{
}

InstanceService::Claim InstanceService::claim()
{
    if (!m_connection.isConnected() || !m_connection.interface())
        return Claim::noBus;
    const auto reply = m_connection.interface()->registerService(m_name, QDBusConnectionInterface::DontQueueService);
    if (!reply.isValid())
        return Claim::noBus;
    return reply.value() == QDBusConnectionInterface::ServiceRegistered ? Claim::first : Claim::another;
}

void InstanceService::serve(std::function<void()> activate, std::function<void()> resetPreferences)
{
    m_activate = std::move(activate);
    m_resetPreferences = std::move(resetPreferences);
}

bool InstanceService::askOther(bool resetPreferences)
{
    const QString method = resetPreferences ? QStringLiteral("ResetPreferences") : QStringLiteral("Activate");
    const QDBusMessage call = QDBusMessage::createMethodCall(m_name, path, interfaceName, method);
    return m_connection.call(call, QDBus::Block, answerTimeOutMilliseconds).type() == QDBusMessage::ReplyMessage;
}

bool InstanceService::handleCall(const QDBusMessage &message)
{
    if (!message.signature().isEmpty())
        return false;
    const bool activate = message.member() == QLatin1String("Activate");
    if (!activate && message.member() != QLatin1String("ResetPreferences"))
        return false;
    reply(message);
    if (const auto &called = activate ? m_activate : m_resetPreferences)
        called();
    return true;
}

} // namespace lanterna
