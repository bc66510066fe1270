#include "platform/linux/SettingsPortal.h"

#include <QDBusError>
#include <QDBusVariant>

#include <utility>

namespace lanterna
{

namespace
{

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString portalInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearanceNamespace = QStringLiteral("org.freedesktop.appearance");
const QString colourSchemeKey = QStringLiteral("color-scheme");
const QString reducedMotionKey = QStringLiteral("reduced-motion"); // 1 asks for it
const QString gnomeNamespace = QStringLiteral("org.gnome.desktop.interface");
const QString animationsKey = QStringLiteral("enable-animations");

/// A running portal answers within a few milliseconds; one that is started by the call takes seconds.
constexpr std::chrono::milliseconds patience{300};
/// The call may start the portal and its back end.
constexpr std::chrono::milliseconds portalTimeout{25000};

/// A value without the variants around it.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

} // namespace

QString appearanceFromColourScheme(const QVariant &value)
{
    bool number = false;
    const uint scheme = unwrapped(value).toUInt(&number);
    if (!number)
        return {};
    return scheme == 1 ? QStringLiteral("dark") : QStringLiteral("light");
}

SettingsPortal::SettingsPortal(const QDBusConnection &bus, Dispatch &dispatch, Events events)
    : m_bus(bus), m_events(std::move(events)),
      m_settingChanged(bus, portalPath, portalInterface, QStringLiteral("SettingChanged"), [this](const QDBusMessage &signal) {
          const QVariantList values = signal.arguments();
          take(values.value(0).toString(), values.value(1).toString(), values.value(2));
      })
{
    m_patience = dispatch.performAfter(patience, [this] {
        if (m_delivered.isEmpty())
            deliver(QStringLiteral("dark"));
    });
    const QString method = QStringLiteral("ReadOne");
    read(appearanceNamespace, colourSchemeKey, method);
    read(appearanceNamespace, reducedMotionKey, method);
    read(gnomeNamespace, animationsKey, method);
}

void SettingsPortal::read(const QString &nameSpace, const QString &key, const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, method);
    call.setArguments({nameSpace, key});
    callBus(
        m_bus, call, &m_context,
        [this, nameSpace, key, method](const QDBusMessage &reply) {
            const bool known = reply.type() == QDBusMessage::ReplyMessage;
            const bool olderPortal = !known && method == QLatin1String("ReadOne") && QDBusError(reply).type() == QDBusError::UnknownMethod;
            if (known)
                take(nameSpace, key, reply.arguments().value(0));
            else if (olderPortal)
                read(nameSpace, key, QStringLiteral("Read"));
            else if (key == colourSchemeKey && m_delivered.isEmpty())
                deliver(QStringLiteral("dark"));
        },
        portalTimeout);
}

void SettingsPortal::take(const QString &nameSpace, const QString &key, const QVariant &value)
{
    if (nameSpace == appearanceNamespace && key == colourSchemeKey) {
        const QString appearance = appearanceFromColourScheme(value);
        if (appearance.isEmpty())
            return;
        m_answered = appearance;
        deliver(appearance);
    } else if (nameSpace == appearanceNamespace && key == reducedMotionKey) {
        m_reducedMotion = unwrapped(value).toUInt() == 1;
    } else if (nameSpace == gnomeNamespace && key == animationsKey) {
        m_enabledAnimations = unwrapped(value).toBool();
    } else {
        return;
    }
    if (m_events.windowWishesChanged)
        m_events.windowWishesChanged();
}

void SettingsPortal::deliver(const QString &appearanceName)
{
    if (appearanceName == m_delivered)
        return;
    m_delivered = appearanceName;
    m_events.appearanceChanged(appearanceName);
}

} // namespace lanterna
