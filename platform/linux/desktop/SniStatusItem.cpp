#include "platform/linux/desktop/SniStatusItem.h"

#include "platform/linux/desktop/AddressIcon.h"

#include <QBuffer>

#include <utility>

namespace lanterna
{

namespace
{

const QString templateName = QStringLiteral("lanterna_menuitemTemplate-symbolic");
const QString warningName = QStringLiteral("lanterna_warning");

/// What most panels show. The file for panels that take names and no pixels has this size: scaled up it stays readable, scaled down it would not.
constexpr int usualSize = 22;

QByteArray pngOf(const QImage &image)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return buffer.data();
}

/// One of the program's pictures at all sizes; nothing when the file is missing.
QList<SniPixmap> scaledPicture(const QString &path)
{
    const QImage picture(path, "PNG"); // named, or every installed picture format is loaded to be asked
    QList<SniPixmap> pixmaps;
    if (picture.isNull())
        return pixmaps;
    for (const int size : AddressIcon::sizes)
        pixmaps.append(sniPixmap(picture.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    return pixmaps;
}

} // namespace

SniStatusItem::SniStatusItem(Environment environment)
    : m_environment(std::move(environment)), m_iconFiles(m_environment.iconFolder),
      m_item(m_environment.bus, QLatin1String(itemPath), QLatin1String(menuPath), m_environment.files.iconThemePath(), m_environment.dispatch,
          {
              [this] { m_menu.requestOpen(); },
              [this] {
                  if (m_events.middleClicked)
                      m_events.middleClicked();
              },
              [this](int x, int y) {
                  if (const std::optional<QPointF> place = placeSentByPanel(x, y))
                      m_place.noteTold(place->x(), m_environment.dispatch.steadyNow());
              },
          }),
      m_menu(m_environment.bus, QLatin1String(menuPath), m_environment.dispatch), m_hosts(m_environment.bus),
      m_disconnected(m_environment.bus, QStringLiteral("/org/freedesktop/DBus/Local"), QStringLiteral("org.freedesktop.DBus.Local"),
          QStringLiteral("Disconnected"),
          [this](const QDBusMessage &) { m_environment.log.write(QStringLiteral("StatusItem: the session bus is gone, the panel item with it")); })
{
    m_menu.observeOpening([this] {
        // The panel has just been clicked. (Where the keyboard opens the menu the pointer tells nothing, but then nobody knows.)
        if (const std::optional<QPointF> pointer = m_environment.pointer())
            m_place.noteOpened(pointer->x(), m_environment.dispatch.steadyNow());
    });
    refresh();
}

SniStatusItem::~SniStatusItem() = default;

void SniStatusItem::start(Events events)
{
    m_events = std::move(events);
    if (!m_environment.bus.isConnected())
        m_environment.log.write(QStringLiteral("StatusItem: there is no session bus, running without a panel item"));
    m_watcher = std::make_unique<WatcherLink>(
        m_environment.bus, QLatin1String(itemPath), m_environment.dispatch, [this](const WatcherLink::Panel &panel) { panelChanged(panel); });
    m_portal = std::make_unique<SettingsPortal>(m_environment.bus, m_environment.dispatch,
        SettingsPortal::Events{[this](const QString &appearanceName) { appearanceChanged(appearanceName); }, m_environment.windowWishesChanged});
    m_patience = m_environment.dispatch.performAfter(panelPatience, [this] { tellOfMissingPanel(); });
}

void SniStatusItem::setContent(const StatusItemContent &content)
{
    if (content == m_content)
        return;
    m_content = content;
    refresh();
}

void SniStatusItem::setMenu(const Menu &menu)
{
    m_menu.setMenu(menu);
}

std::optional<double> SniStatusItem::centreX() const
{
    return m_place.x(m_environment.dispatch.steadyNow(), m_environment.pointer(), monitorFrames());
}

void SniStatusItem::panelChanged(const WatcherLink::Panel &panel)
{
    if (panel.watcher.isEmpty())
        return;
    m_hosts.lookUp(panel.watcher, [this](const QStringList &processNames) {
        m_traits = commonPanelTraits(processNames);
        m_shown.reset(); // the same content may go out in another form to this panel
        refresh();
    });
}

void SniStatusItem::appearanceChanged(const QString &appearanceName)
{
    m_appearanceName = appearanceName;
    m_shown.reset();
    refresh();
    if (m_events.appearanceChanged)
        m_events.appearanceChanged(appearanceName);
}

void SniStatusItem::tellOfMissingPanel()
{
    if (isHosted())
        return;
    m_environment.log.write(QStringLiteral("StatusItem: no panel shows status items"));
    m_environment.notices.show(QStringLiteral("Lanterna is running"),
        QStringLiteral("No panel of this desktop shows status items yet, so the address cannot be seen there. Start Lanterna again to reach it."));
}

void SniStatusItem::refresh()
{
    const QString setting = m_environment.textSetting ? m_environment.textSetting() : QString();
    const StatusPresentation presentation = presentStatus(m_content, m_traits, setting);
    if (m_shown == presentation)
        return;
    m_shown = presentation;
    SniState state;
    state.icon = icon(presentation.picture);
    if (presentation.needsAttention)
        state.attentionIcon = state.icon;
    state.iconDescription = presentation.description;
    state.label = presentation.label;
    state.labelGuide = presentation.labelGuide;
    state.toolTip.title = presentation.toolTipTitle;
    state.toolTip.text = presentation.toolTipText;
    state.needsAttention = presentation.needsAttention;
    m_item.setState(state);
}

SniIcon SniStatusItem::icon(const StatusPicture &picture)
{
    const ProgramFiles &files = m_environment.files;
    switch (picture.kind) {
    case StatusPicture::Kind::templateIcon: {
        const bool dark = m_appearanceName == QLatin1String("dark");
        const QString file = dark ? QStringLiteral("lanterna_menuitem_light.png") : QStringLiteral("lanterna_menuitem_dark.png");
        return {templateName, scaledPicture(files.dataFile(file))};
    }
    case StatusPicture::Kind::warning:
        return {warningName, scaledPicture(files.dataFile(QStringLiteral("lanterna_warning.png")))};
    case StatusPicture::Kind::address:
    case StatusPicture::Kind::lastOctets:
        return drawnIcon(picture);
    }
    return {};
}

SniIcon SniStatusItem::drawnIcon(const StatusPicture &picture)
{
    const auto style = picture.kind == StatusPicture::Kind::lastOctets ? AddressIcon::Style::lastOctets : AddressIcon::Style::fourOctets;
    SniIcon drawn;
    for (const int size : AddressIcon::sizes)
        drawn.pixmaps.append(sniPixmap(AddressIcon::draw(picture.text, size, style)));
    // Some panels take the largest picture whatever they need, and shrink it: four pixels of this one are exactly one of the usual size.
    const QImage usual = AddressIcon::draw(picture.text, usualSize, style);
    drawn.pixmaps.append(sniPixmap(usual.scaled(4 * usualSize, 4 * usualSize)));
    if (picture.useName)
        drawn.name = m_iconFiles.publish(pngOf(usual));
    // A panel that takes nothing but names shows a broken picture for an empty one.
    if (drawn.name.isEmpty() && m_traits.picture == PanelTraits::Picture::name)
        drawn.name = templateName;
    return drawn;
}

} // namespace lanterna
