#include "platform/linux/desktop/DesktopScreenLayout.h"

#include "platform/linux/desktop/X11Struts.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>
#include <memory>

namespace lanterna
{

namespace
{

/// The toolkit leaves a monitor's corner where the display has it, and scales its size.
QRect nativeFrame(const QScreen &screen)
{
    const QRect frame = screen.geometry();
    return {frame.topLeft(), (QSizeF(frame.size()) * screen.devicePixelRatio()).toSize()};
}

QRectF inPoints(const QRectF &native, const QScreen &screen)
{
    const QPointF corner = screen.geometry().topLeft();
    const qreal ratio = screen.devicePixelRatio();
    return {corner + (native.topLeft() - corner) / ratio, native.size() / ratio};
}

bool isX11()
{
    return QGuiApplication::platformName() == QLatin1String("xcb");
}

std::optional<X11Struts> struts()
{
    if (!isX11())
        return std::nullopt;
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? readX11Struts(x11->connection()) : std::nullopt;
}

template <typename Reply> using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

/// The number of the X11 screen in use, as compositors name their selection after it.
int screenNumber()
{
    char *host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) == 0)
        return 0;
    std::free(host);
    return screen;
}

bool hasCompositor(xcb_connection_t *connection)
{
    // A compositor owns this selection for as long as it runs (Extended Window Manager Hints, "_NET_WM_CM_Sn").
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screenNumber());
    const auto asked = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const Owned<xcb_intern_atom_reply_t> atom(xcb_intern_atom_reply(connection, asked, nullptr), &std::free);
    if (!atom)
        return false;
    const Owned<xcb_get_selection_owner_reply_t> selection(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr), &std::free);
    return selection && selection->owner != XCB_WINDOW_NONE;
}

} // namespace

QList<ScreenLayout::Monitor> DesktopScreenLayout::monitors() const
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    QList<QRect> frames;
    for (const QScreen *screen : screens)
        frames.append(nativeFrame(*screen));
    const std::optional<X11Struts> panels = struts();
    const QList<QRect> visible = panels ? visibleFrames(panels->whole, frames, panels->struts, panels->workAreas) : QList<QRect>();
    QList<Monitor> found;
    for (qsizetype index = 0; index < screens.size(); ++index) {
        const QScreen &screen = *screens.at(index);
        QRectF left = panels ? inPoints(visible.at(index), screen) & screen.geometry() : QRectF(screen.availableGeometry());
        // Some desktops draw their panel without a window; with one monitor the toolkit knows.
        if (panels && screens.size() == 1 && left.intersects(screen.availableGeometry()))
            left &= screen.availableGeometry();
        found.append({screen.geometry(), left});
    }
    return found;
}

bool DesktopScreenLayout::blends() const
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return !x11 || hasCompositor(x11->connection());
}

QList<QRectF> monitorFrames()
{
    QList<QRectF> frames;
    for (const QScreen *screen : QGuiApplication::screens())
        frames.append(screen->geometry());
    return frames;
}

std::optional<QPointF> pointerPosition()
{
    return isX11() ? std::optional<QPointF>(QCursor::pos()) : std::nullopt;
}

std::optional<QPointF> placeSentByPanel(int x, int y)
{
    const QPoint pixel(x, y);
    if (pixel.isNull())
        return std::nullopt;
    for (const QScreen *screen : QGuiApplication::screens()) {
        if (nativeFrame(*screen).contains(pixel))
            return inPoints(QRectF(pixel, QSizeF()), *screen).topLeft();
    }
    return std::nullopt;
}

} // namespace lanterna
