#include "platform/linux/DesktopNotices.h"

#include <utility>

namespace lanterna
{

namespace
{

const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString actionKey = QStringLiteral("lanterna-action");

} // namespace

DesktopNotices::DesktopNotices(const QDBusConnection &bus)
    : m_bus(bus), m_actionInvoked(bus, path, service, QStringLiteral("ActionInvoked"), [this](const QDBusMessage &signal) { actionInvoked(signal); })
{
}

void DesktopNotices::show(const QString &title, const QString &body)
{
    offer({title, body, {}, {}});
}

void DesktopNotices::showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> chosen)
{
    offer({title, body, action, std::move(chosen)});
}

void DesktopNotices::offer(const Notice &notice)
{
    if (m_underWay)
        m_waiting = notice;
    else
        send(notice);
}

void DesktopNotices::actionInvoked(const QDBusMessage &signal)
{
    const bool isOurs = m_shownId != 0 && signal.service() == m_service && signal.arguments().value(0).toUInt() == m_shownId;
    if (!isOurs || signal.arguments().value(1).toString() != actionKey)
        return;
    if (const auto chosen = std::exchange(m_chosen, nullptr))
        chosen();
}

void DesktopNotices::send(const Notice &notice)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    const QStringList actions = notice.action.isEmpty() ? QStringList() : QStringList{actionKey, notice.action};
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("lanterna")}};
    // Many services read markup in the body, none in the title.
    call.setArguments(
        {QStringLiteral("Lanterna"), m_shownId, QStringLiteral("lanterna"), notice.title, notice.body.toHtmlEscaped(), actions, hints, -1});
    m_underWay = true;
    m_chosen = nullptr; // that button is no longer there
    callBus(m_bus, call, &m_context, [this, chosen = notice.chosen](const QDBusMessage &reply) {
        m_underWay = false;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            m_shownId = reply.arguments().value(0).toUInt();
            m_service = reply.service();
            m_chosen = chosen;
        }
        if (const std::optional<Notice> next = std::exchange(m_waiting, std::nullopt))
            send(*next);
    });
}

} // namespace lanterna
