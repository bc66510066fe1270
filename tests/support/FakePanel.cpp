#include "tests/support/FakePanel.h"

#include <QDBusError>

namespace lanterna
{

namespace
{

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");

} // namespace

FakePanel::FakePanel(const QDBusConnection &bus, bool hosted, Manner manner)
    : DBusObject(bus, QStringLiteral("/StatusNotifierWatcher"), watcherName, QString()), m_connection(bus), m_hosted(hosted), m_manner(manner)
{
    m_connection.registerService(watcherName);
}

FakePanel::~FakePanel()
{
    m_connection.unregisterService(watcherName);
}

void FakePanel::setHosted(bool hosted)
{
    m_hosted = hosted;
    sendSignal(hosted ? QStringLiteral("StatusNotifierHostRegistered") : QStringLiteral("StatusNotifierHostUnregistered"));
}

QVariantMap FakePanel::busProperties() const
{
    return {{QStringLiteral("IsStatusNotifierHostRegistered"), m_hosted}};
}

bool FakePanel::handleCall(const QDBusMessage &message)
{
    if (message.member() != QLatin1String("RegisterStatusNotifierItem"))
        return false;
    m_registrations.append(message.service() + QLatin1Char(' ') + message.arguments().value(0).toString());
    switch (m_manner) {
    case Manner::answers:
        reply(message);
        break;
    case Manner::refuses:
        replyError(message, QDBusError::Failed, QStringLiteral("not now"));
        break;
    case Manner::keepsSilent:
        break;
    }
    return true;
}

} // namespace lanterna
