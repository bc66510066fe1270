#include "platform/linux/BackgroundPortal.h"

#include "platform/linux/BusCall.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusObjectPath>
#include <QFile>

#include <utility>

namespace lanterna
{

namespace
{

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString desktopPath = QStringLiteral("/org/freedesktop/portal/desktop");

} // namespace

BackgroundPortal::BackgroundPortal(Dispatch &dispatch, const QDBusConnection &bus, QString command)
    : m_dispatch(dispatch), m_bus(bus), m_command(std::move(command))
{
}

BackgroundPortal::~BackgroundPortal() = default;

bool BackgroundPortal::isNeeded()
{
    return QFile::exists(QStringLiteral("/.flatpak-info")) || qEnvironmentVariableIsSet("SNAP");
}

void BackgroundPortal::registerItem(Asker, Completion completion)
{
    ask({true, std::move(completion)});
}

void BackgroundPortal::unregisterItem(Completion completion)
{
    ask({false, std::move(completion)});
}

std::optional<bool> BackgroundPortal::latest() const
{
    if (m_waiting)
        return m_waiting->enable;
    return m_underWay ? m_underWay->enable : m_enabled;
}

void BackgroundPortal::ask(Request request)
{
    // What the portal has not taken yet cannot be closed.
    if (m_waiting || (m_underWay && !m_isTaken)) {
        if (const std::optional<Request> replaced = std::exchange(m_waiting, std::move(request)))
            tell(*replaced, {});
        return;
    }
    close();
    m_underWay = std::move(request);
    send();
}

void BackgroundPortal::askWaiting()
{
    if (std::optional<Request> next = std::exchange(m_waiting, std::nullopt))
        ask(std::move(*next));
}

void BackgroundPortal::close()
{
    if (!std::exchange(m_isAwaited, false))
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(service, m_place, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Close"));
    call.setAutoStartService(false);
    m_bus.send(call); // an error would say that there is nothing to close
    m_enabled.reset(); // it may have been done a moment ago
    finish(QStringLiteral("there was no answer before the next choice"));
}

void BackgroundPortal::send()
{
    const QString token = QStringLiteral("lanterna_login_%1").arg(++m_number);
    const QString sender = m_bus.baseService().mid(1).replace(u'.', u'_');
    // The portal may answer before its reply has come, so the answer's place is named beforehand.
    m_place = QStringLiteral("%1/request/%2/%3").arg(desktopPath, sender, token);
    m_response = std::make_unique<BusSignal>(m_bus, m_place, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"),
        [this](const QDBusMessage &signal) { responded(signal); });
    m_isTaken = false;
    m_isAwaited = true;
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, desktopPath, QStringLiteral("org.freedesktop.portal.Background"), QStringLiteral("RequestBackground"));
    const QVariantMap options{{QStringLiteral("handle_token"), token},
        {QStringLiteral("reason"), QStringLiteral("Lanterna shows this machine's network address in the panel.")},
        {QStringLiteral("autostart"), m_underWay->enable}, {QStringLiteral("commandline"), QStringList{m_command}},
        {QStringLiteral("dbus-activatable"), false}};
    call.setArguments({QString(), options});
    callBus(m_bus, call, &m_context, [this, number = m_number](const QDBusMessage &reply) {
        if (number == m_number)
            replied(reply);
    });
}

void BackgroundPortal::replied(const QDBusMessage &reply)
{
    m_isTaken = true;
    if (reply.type() == QDBusMessage::ErrorMessage && m_isAwaited) {
        // A call that took too long may still be answered, and may have been done without a word.
        m_isAwaited = QDBusError(reply).type() == QDBusError::NoReply;
        if (m_isAwaited)
            m_enabled.reset();
        finish(reply.errorMessage());
    }
    askWaiting();
}

void BackgroundPortal::responded(const QDBusMessage &signal)
{
    if (!std::exchange(m_isAwaited, false))
        return;
    const QVariantMap results = qdbus_cast<QVariantMap>(signal.arguments().value(1));
    const bool enabled = results.value(QStringLiteral("autostart")).toBool();
    if (signal.arguments().value(0).toUInt() != 0) {
        finish(QStringLiteral("the desktop was not allowed to"));
    } else {
        m_enabled = enabled;
        finish(m_underWay && enabled != m_underWay->enable ? QStringLiteral("the desktop did not do it") : QString());
    }
    // Not from here: this is the delivery of the signal that goes with the request.
    m_dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            askWaiting();
    });
}

void BackgroundPortal::finish(const QString &error)
{
    if (const std::optional<Request> done = std::exchange(m_underWay, std::nullopt))
        tell(*done, error);
}

void BackgroundPortal::tell(const Request &request, const QString &error)
{
    m_dispatch.mainAsync([completion = request.completion, error] { completion(error); });
}

} // namespace lanterna
