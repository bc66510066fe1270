#include "platform/linux/DesktopNotices.h"

#include <utility>

namespace lanterna
{

void DesktopNotices::show(const QString &title, const QString &body)
{
    if (m_underWay)
        m_waiting = Notice{title, body};
    else
        send({title, body});
}

void DesktopNotices::send(const Notice &notice)
{
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"), QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("lanterna")}};
    // Many services read markup in the body, none in the title.
    call.setArguments(
        {QStringLiteral("Lanterna"), m_shownId, QStringLiteral("lanterna"), notice.title, notice.body.toHtmlEscaped(), QStringList(), hints, -1});
    m_underWay = true;
    callBus(m_bus, call, &m_context, [this](const QDBusMessage &reply) {
        m_underWay = false;
        if (reply.type() == QDBusMessage::ReplyMessage)
            m_shownId = reply.arguments().value(0).toUInt();
        if (const std::optional<Notice> next = std::exchange(m_waiting, std::nullopt))
            send(*next);
    });
}

} // namespace lanterna
