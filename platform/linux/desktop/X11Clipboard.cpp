#include "platform/linux/desktop/X11Clipboard.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <QSocketNotifier>

#include <array>
#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace lanterna
{

namespace
{

struct Freed {
    void operator()(void *reply) const { std::free(reply); } // as xcb asks for
    void operator()(xcb_connection_t *connection) const { xcb_disconnect(connection); }
};
template <typename Reply> using Owned = std::unique_ptr<Reply, Freed>;

/// The toolkit's connection to the display; null where it draws elsewhere.
xcb_connection_t *displayInUse()
{
    const auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t *connection, const QByteArray &name)
{
    const auto asked = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const Owned<xcb_intern_atom_reply_t> answer(xcb_intern_atom_reply(connection, asked, nullptr));
    return answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_window_t owner(xcb_connection_t *connection, const QByteArray &selection)
{
    const auto asked = xcb_get_selection_owner(connection, atom(connection, selection));
    const Owned<xcb_get_selection_owner_reply_t> answer(xcb_get_selection_owner_reply(connection, asked, nullptr));
    return answer ? answer->owner : xcb_window_t{XCB_WINDOW_NONE};
}

/// The display gives each connection a range of numbers for its windows.
bool isOwnWindow(xcb_connection_t *connection, xcb_window_t window)
{
    const xcb_setup_t *setup = xcb_get_setup(connection);
    return window != XCB_WINDOW_NONE && (window & ~setup->resource_id_mask) == setup->resource_id_base;
}

/// Asks the manager to save the text, in the name of a window of this connection's own (freedesktop.org, "Clipboard Manager").
void askToSave(xcb_connection_t *connection)
{
    const xcb_window_t asker = xcb_generate_id(connection);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_create_window(connection, 0, asker, root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    const xcb_atom_t request = atom(connection, "SAVE_TARGETS");
    const std::array forms{atom(connection, "UTF8_STRING"), atom(connection, "STRING"), atom(connection, "TEXT"), atom(connection, "text/plain")};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, asker, request, XCB_ATOM_ATOM, 32, forms.size(), forms.data());
    xcb_convert_selection(connection, asker, atom(connection, "CLIPBOARD_MANAGER"), request, request, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

/// Whether the manager has answered, be it that it will not; or the display has gone.
bool isAnswered(xcb_connection_t *connection)
{
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
        if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY) // the bit left out tells that a program sent it
            return true;
    }
    return xcb_connection_has_error(connection) != 0;
}

} // namespace

std::optional<bool> ownsX11Clipboard()
{
    xcb_connection_t *connection = displayInUse();
    return connection ? std::optional(isOwnWindow(connection, owner(connection, "CLIPBOARD"))) : std::nullopt;
}

void handOverX11Clipboard(Dispatch &dispatch, std::chrono::milliseconds atMost)
{
    if (!ownsX11Clipboard().value_or(false) || owner(displayInUse(), "CLIPBOARD_MANAGER") == XCB_WINDOW_NONE)
        return;
    // A second connection: on its own one the toolkit would take the answer.
    const Owned<xcb_connection_t> connection(xcb_connect(nullptr, nullptr));
    if (xcb_connection_has_error(connection.get()) != 0)
        return;
    askToSave(connection.get());
    if (isAnswered(connection.get()))
        return;
    QEventLoop loop;
    const QSocketNotifier answer(xcb_get_file_descriptor(connection.get()), QSocketNotifier::Read);
    QObject::connect(&answer, &QSocketNotifier::activated, &loop, [&] {
        if (isAnswered(connection.get()))
            loop.quit();
    });
    TimerHandle deadline = dispatch.performAfter(atMost, [&] { loop.quit(); });
    loop.exec();
    deadline.cancel();
}

} // namespace lanterna
