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

/// A running portal answers within a few milliseconds; one that is started by the call takes seconds.
constexpr std::chrono::milliseconds patience{300};
/// The call may start the portal and its back end.
constexpr std::chrono::milliseconds portalTimeout{25000};

} // namespace

QString appearanceFromColourScheme(const QVariant &value)
{
    QVariant inner = value;
    while (inner.canConvert<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    bool number = false;
    const uint scheme = inner.toUInt(&number);
    if (!number)
        return {};
    return scheme == 1 ? QStringLiteral("dark") : QStringLiteral("light");
}

SettingsPortal::SettingsPortal(const QDBusConnection &bus, Dispatch &dispatch, std::function<void(const QString &appearanceName)> changed)
    : m_bus(bus), m_changed(std::move(changed)),
      m_settingChanged(bus, portalPath, portalInterface, QStringLiteral("SettingChanged"), [this](const QDBusMessage &signal) {
          const QVariantList values = signal.arguments();
          if (values.value(0).toString() == appearanceNamespace && values.value(1).toString() == colourSchemeKey)
              take(values.value(2));
      })
{
    m_patience = dispatch.performAfter(patience, [this] {
        if (m_delivered.isEmpty())
            deliver(QStringLiteral("dark"));
    });
    read(QStringLiteral("ReadOne"));
}

void SettingsPortal::read(const QString &method)
{
    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, method);
    call.setArguments({appearanceNamespace, colourSchemeKey});
    callBus(
        m_bus, call, &m_context,
        [this, method](const QDBusMessage &reply) {
            const bool known = reply.type() == QDBusMessage::ReplyMessage;
            const bool olderPortal = !known && method == QLatin1String("ReadOne") && QDBusError(reply).type() == QDBusError::UnknownMethod;
            if (known)
                take(reply.arguments().value(0));
            else if (olderPortal)
                read(QStringLiteral("Read"));
            else if (m_delivered.isEmpty())
                deliver(QStringLiteral("dark"));
        },
        portalTimeout);
}

void SettingsPortal::take(const QVariant &value)
{
    const QString appearance = appearanceFromColourScheme(value);
    if (appearance.isEmpty())
        return;
    m_answered = appearance;
    deliver(appearance);
}

void SettingsPortal::deliver(const QString &appearanceName)
{
    if (appearanceName == m_delivered)
        return;
    m_delivered = appearanceName;
    m_changed(appearanceName);
}

} // namespace lanterna
