#include "platform/linux/desktop/QtScreenLayout.h"

#include <QGuiApplication>
#include <QScreen>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace lanterna
{

namespace
{

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

QList<ScreenLayout::Monitor> QtScreenLayout::monitors() const
{
    QList<Monitor> found;
    for (const QScreen *screen : QGuiApplication::screens())
        found.append({screen->geometry(), screen->availableGeometry()});
    return found;
}

bool QtScreenLayout::blends() const
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return !x11 || hasCompositor(x11->connection());
}

} // namespace lanterna
