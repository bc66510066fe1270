#include "platform/linux/BackgroundPortal.h"

#include "platform/linux/BusCall.h"

#include <QDBusArgument>
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

void BackgroundPortal::ask(Request request)
{
    if (m_underWay) {
        if (const std::optional<Request> replaced = std::exchange(m_waiting, std::move(request)))
            m_dispatch.mainAsync([completion = replaced->completion] { completion({}); });
        return;
    }
    m_underWay = std::move(request);
    send();
}

void BackgroundPortal::send()
{
    const QString token = QStringLiteral("lanterna_login_%1").arg(++m_number);
    const QString sender = m_bus.baseService().mid(1).replace(u'.', u'_');
    // The portal may answer before its reply has come, so the answer's place is named beforehand.
    m_response = std::make_unique<BusSignal>(m_bus, QStringLiteral("%1/request/%2/%3").arg(desktopPath, sender, token),
        QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"), [this](const QDBusMessage &signal) { responded(signal); });
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, desktopPath, QStringLiteral("org.freedesktop.portal.Background"), QStringLiteral("RequestBackground"));
    const QVariantMap options{{QStringLiteral("handle_token"), token},
        {QStringLiteral("reason"), QStringLiteral("Lanterna shows this machine's network address in the panel.")},
        {QStringLiteral("autostart"), m_underWay->enable}, {QStringLiteral("commandline"), QStringList{m_command}},
        {QStringLiteral("dbus-activatable"), false}};
    call.setArguments({QString(), options});
    callBus(m_bus, call, &m_context, [this](const QDBusMessage &reply) {
        if (reply.type() == QDBusMessage::ErrorMessage)
            finish(reply.errorMessage());
    });
}

void BackgroundPortal::responded(const QDBusMessage &signal)
{
    const QVariantMap results = qdbus_cast<QVariantMap>(signal.arguments().value(1));
    const bool enabled = results.value(QStringLiteral("autostart")).toBool();
    if (signal.arguments().value(0).toUInt() != 0) {
        finish(QStringLiteral("the desktop was not allowed to"));
    } else {
        m_enabled = enabled;
        finish(m_underWay && enabled != m_underWay->enable ? QStringLiteral("the desktop did not do it") : QString());
    }
}

void BackgroundPortal::finish(const QString &error)
{
    if (!m_underWay || std::exchange(m_underWay->isAnswered, true))
        return;
    // Not from here: this may be the delivery of the signal that goes with the request.
    m_dispatch.mainAsync([this, error, alive = std::weak_ptr(m_alive)] {
        if (alive.expired())
            return;
        const Request done = *std::exchange(m_underWay, std::nullopt);
        m_response.reset();
        if (std::optional<Request> next = std::exchange(m_waiting, std::nullopt))
            ask(std::move(*next));
        done.completion(error);
    });
}

} // namespace lanterna
