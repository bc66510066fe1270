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
    offer(m_plain, {title, body, {}, {}, {}});
}

void DesktopNotices::showWithAction(const QString &title, const QString &body, const QString &action, std::function<void()> chosen)
{
    offer(m_withButton, {title, body, action, std::move(chosen), {}});
}

void DesktopNotices::showBriefly(const QString &body, std::chrono::milliseconds duration)
{
    offer(m_brief, {QStringLiteral("Lanterna"), body, {}, {}, duration});
}

void DesktopNotices::offer(Place &place, const Notice &notice)
{
    if (place.underWay)
        place.waiting = notice;
    else
        send(place, notice);
}

void DesktopNotices::actionInvoked(const QDBusMessage &signal)
{
    const Place &place = m_withButton;
    const bool isOurs = place.shownId != 0 && signal.service() == place.service && signal.arguments().value(0).toUInt() == place.shownId;
    if (!isOurs || signal.arguments().value(1).toString() != actionKey)
        return;
    if (const auto chosen = std::exchange(m_withButton.chosen, nullptr))
        chosen();
}

void DesktopNotices::send(Place &place, const Notice &notice)
{
    place.underWay = true;
    place.chosen = nullptr; // that button is no longer there
    // Some services read markup in the body, none in the title. Only a text with special characters is different for them.
    const QString escaped = notice.body.toHtmlEscaped();
    if (escaped == notice.body) {
        notify(place, notice, notice.body);
        return;
    }
    const QDBusMessage question = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("GetCapabilities"));
    callBus(m_bus, question, &m_context, [this, &place, notice, escaped](const QDBusMessage &reply) {
        const bool answered = reply.type() == QDBusMessage::ReplyMessage;
        const bool plain = answered && !reply.arguments().value(0).toStringList().contains(QStringLiteral("body-markup"));
        notify(place, notice, plain ? notice.body : escaped);
    });
}

void DesktopNotices::notify(Place &place, const Notice &notice, const QString &body)
{
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, service, QStringLiteral("Notify"));
    const QStringList actions = notice.action.isEmpty() ? QStringList() : QStringList{actionKey, notice.action};
    QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("lanterna")}};
    if (notice.duration)
        hints.insert(QStringLiteral("transient"), true);
    const int expireTimeout = notice.duration ? static_cast<int>(notice.duration->count()) : -1; // -1: as the desktop likes
    call.setArguments({QStringLiteral("Lanterna"), place.shownId, QStringLiteral("lanterna"), notice.title, body, actions, hints, expireTimeout});
    callBus(m_bus, call, &m_context, [this, &place, chosen = notice.chosen](const QDBusMessage &reply) {
        place.underWay = false;
        if (reply.type() == QDBusMessage::ReplyMessage) {
            place.shownId = reply.arguments().value(0).toUInt();
            place.service = reply.service();
            place.chosen = chosen;
        }
        if (const std::optional<Notice> next = std::exchange(place.waiting, std::nullopt))
            send(place, *next);
    });
}

} // namespace lanterna
