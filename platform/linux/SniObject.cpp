#include "platform/linux/SniObject.h"

#include <QDBusObjectPath>

#include <utility>

namespace lanterna
{

namespace
{

const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");

constexpr const char *introspection = R"xml(<interface name="org.kde.StatusNotifierItem">
<property name="Category" type="s" access="read"/>
<property name="Id" type="s" access="read"/>
<property name="Title" type="s" access="read"/>
<property name="Status" type="s" access="read"/>
<property name="WindowId" type="i" access="read"/>
<property name="IconThemePath" type="s" access="read"/>
<property name="Menu" type="o" access="read"/>
<property name="ItemIsMenu" type="b" access="read"/>
<property name="IconName" type="s" access="read"/>
<property name="IconPixmap" type="a(iiay)" access="read"/>
<property name="IconAccessibleDesc" type="s" access="read"/>
<property name="OverlayIconName" type="s" access="read"/>
<property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionIconName" type="s" access="read"/>
<property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
<property name="AttentionAccessibleDesc" type="s" access="read"/>
<property name="AttentionMovieName" type="s" access="read"/>
<property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
<property name="XAyatanaLabel" type="s" access="read"/>
<property name="XAyatanaLabelGuide" type="s" access="read"/>
<property name="XAyatanaOrderingIndex" type="u" access="read"/>
<method name="Activate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="SecondaryActivate"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="XAyatanaSecondaryActivate"><arg name="timestamp" type="u" direction="in"/></method>
<method name="ContextMenu"><arg name="x" type="i" direction="in"/><arg name="y" type="i" direction="in"/></method>
<method name="ProvideXdgActivationToken"><arg name="token" type="s" direction="in"/></method>
<method name="Scroll"><arg name="delta" type="i" direction="in"/><arg name="orientation" type="s" direction="in"/></method>
<signal name="NewTitle"/>
<signal name="NewIcon"/>
<signal name="NewAttentionIcon"/>
<signal name="NewOverlayIcon"/>
<signal name="NewMenu"/>
<signal name="NewToolTip"/>
<signal name="NewStatus"><arg name="status" type="s"/></signal>
<signal name="NewIconThemePath"><arg name="icon_theme_path" type="s"/></signal>
<signal name="XAyatanaNewLabel"><arg name="label" type="s"/><arg name="guide" type="s"/></signal>
</interface>
)xml";

QString statusText(const SniState &state)
{
    return state.needsAttention ? QStringLiteral("NeedsAttention") : QStringLiteral("Active");
}

} // namespace

SniObject::SniObject(
    const QDBusConnection &bus, const QString &path, const QString &menuPath, const QString &iconThemePath, Dispatch &dispatch, Clicks clicks)
    : DBusObject((registerSniTypes(), bus), path, itemInterface, QLatin1String(introspection)), m_menuPath(menuPath), m_iconThemePath(iconThemePath),
      m_dispatch(dispatch), m_clicks(std::move(clicks)), m_alive(std::make_shared<int>(0))
{
}

SniObject::~SniObject() = default;

void SniObject::setState(const SniState &state)
{
    const SniState before = std::exchange(m_state, state);
    const bool described = before.iconDescription != state.iconDescription;
    if (before.icon != state.icon || described)
        sendSignal(QStringLiteral("NewIcon"));
    if (before.attentionIcon != state.attentionIcon)
        sendSignal(QStringLiteral("NewAttentionIcon"));
    if (before.needsAttention != state.needsAttention)
        sendSignal(QStringLiteral("NewStatus"), {statusText(state)});
    if (before.label != state.label || before.labelGuide != state.labelGuide)
        sendSignal(QStringLiteral("XAyatanaNewLabel"), {state.label, state.labelGuide});
    if (before.toolTip != state.toolTip)
        sendSignal(QStringLiteral("NewToolTip"));
}

QVariantMap SniObject::busProperties() const
{
    const auto pixmaps = [](const QList<SniPixmap> &list) { return QVariant::fromValue(list); };
    return {
        {QStringLiteral("Category"), QStringLiteral("SystemServices")},
        {QStringLiteral("Id"), QStringLiteral("lanterna")},
        {QStringLiteral("Title"), QStringLiteral("Lanterna")},
        {QStringLiteral("Status"), statusText(m_state)},
        {QStringLiteral("WindowId"), 0},
        {QStringLiteral("IconThemePath"), m_iconThemePath},
        {QStringLiteral("Menu"), QVariant::fromValue(QDBusObjectPath(m_menuPath))},
        {QStringLiteral("ItemIsMenu"), true},
        {QStringLiteral("IconName"), m_state.icon.name},
        {QStringLiteral("IconPixmap"), pixmaps(m_state.icon.pixmaps)},
        {QStringLiteral("IconAccessibleDesc"), m_state.iconDescription},
        // Some panels read every property and give up on an item that lacks one.
        {QStringLiteral("OverlayIconName"), QString()},
        {QStringLiteral("OverlayIconPixmap"), pixmaps({})},
        {QStringLiteral("AttentionIconName"), m_state.attentionIcon.name},
        {QStringLiteral("AttentionIconPixmap"), pixmaps(m_state.attentionIcon.pixmaps)},
        {QStringLiteral("AttentionAccessibleDesc"), m_state.iconDescription},
        {QStringLiteral("AttentionMovieName"), QString()},
        {QStringLiteral("ToolTip"), QVariant::fromValue(m_state.toolTip)},
        {QStringLiteral("XAyatanaLabel"), m_state.label},
        {QStringLiteral("XAyatanaLabelGuide"), m_state.labelGuide},
        {QStringLiteral("XAyatanaOrderingIndex"), quint32{0}},
    };
}

bool SniObject::handleCall(const QDBusMessage &message)
{
    const QString call = message.member() + QLatin1Char('(') + message.signature() + QLatin1Char(')');
    const bool secondary = call == QLatin1String("SecondaryActivate(ii)") || call == QLatin1String("XAyatanaSecondaryActivate(u)");
    const bool primary = call == QLatin1String("Activate(ii)");
    // The panel shows the menu itself, and there is nothing to scroll.
    const bool ignored =
        call == QLatin1String("ContextMenu(ii)") || call == QLatin1String("Scroll(is)") || call == QLatin1String("ProvideXdgActivationToken(s)");
    if (!primary && !secondary && !ignored)
        return false;
    reply(message);
    const bool placed = message.signature() == QLatin1String("ii");
    if (placed && m_clicks.place) {
        const QVariantList place = message.arguments();
        handOn([this, x = place.at(0).toInt(), y = place.at(1).toInt()] { m_clicks.place(x, y); });
    }
    if (primary)
        handOn(m_clicks.primary);
    if (secondary)
        handOn(m_clicks.secondary);
    return true;
}

void SniObject::handOn(Task click)
{
    if (!click)
        return;
    m_dispatch.mainAsync([click = std::move(click), alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            click();
    });
}

} // namespace lanterna
