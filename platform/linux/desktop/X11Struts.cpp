#include "platform/linux/desktop/X11Struts.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace lanterna
{

namespace
{

constexpr uint32_t mostWindows = 4096; // more than anybody has open
constexpr uint32_t mostNumbers = 12;

struct Freed {
    void operator()(void *reply) const { std::free(reply); } // as xcb asks for
};
template <typename Reply> using Answer = std::unique_ptr<Reply, Freed>;

/// Requests for one property of one window; the answer is fetched later, so that many are under way at once.
class Property
{
public:
    Property(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t name, xcb_atom_t type, uint32_t most)
        : m_connection(connection), m_cookie(xcb_get_property(connection, 0, window, name, type, 0, most))
    {
    }
    /// Its 32-bit numbers; none when the window has no such property.
    [[nodiscard]] QList<uint32_t> numbers() const
    {
        const Answer<xcb_get_property_reply_t> answer(xcb_get_property_reply(m_connection, m_cookie, nullptr));
        if (!answer || answer->format != 32)
            return {};
        QList<uint32_t> read(xcb_get_property_value_length(answer.get()) / static_cast<int>(sizeof(uint32_t)), 0);
        std::memcpy(read.data(), xcb_get_property_value(answer.get()), static_cast<size_t>(read.size()) * sizeof(uint32_t));
        return read;
    }

private:
    xcb_connection_t *m_connection;
    xcb_get_property_cookie_t m_cookie;
};

/// The numbers of atoms that some program has named already; 0 for others, which no window can have.
QList<xcb_atom_t> atoms(xcb_connection_t *connection, std::initializer_list<const char *> names)
{
    QList<xcb_intern_atom_cookie_t> asked;
    for (const char *name : names)
        asked.append(xcb_intern_atom(connection, 1, static_cast<uint16_t>(std::strlen(name)), name));
    QList<xcb_atom_t> found;
    for (const xcb_intern_atom_cookie_t cookie : asked) {
        const Answer<xcb_intern_atom_reply_t> answer(xcb_intern_atom_reply(connection, cookie, nullptr));
        found.append(answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return found;
}

/// A window that may be a panel, with what was asked about it.
struct Candidate {
    Property partial;
    Property plain;
    std::optional<xcb_get_window_attributes_cookie_t> visible; // not asked of windows that the window manager lists
};

bool isVisible(xcb_connection_t *connection, xcb_get_window_attributes_cookie_t cookie)
{
    const Answer<xcb_get_window_attributes_reply_t> answer(xcb_get_window_attributes_reply(connection, cookie, nullptr));
    return answer && answer->map_state == XCB_MAP_STATE_VIEWABLE;
}

} // namespace

std::optional<X11Struts> readX11Struts(xcb_connection_t *connection)
{
    if (!connection || xcb_connection_has_error(connection) != 0)
        return std::nullopt;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const QList<xcb_atom_t> names = atoms(connection, {"_NET_CLIENT_LIST", "_NET_WM_STRUT_PARTIAL", "_NET_WM_STRUT"});
    const Property listed(connection, root, names.at(0), XCB_ATOM_WINDOW, mostWindows);
    const xcb_query_tree_cookie_t treeCookie = xcb_query_tree(connection, root);
    const xcb_get_geometry_cookie_t sizeCookie = xcb_get_geometry(connection, root);
    const QList<uint32_t> managed = listed.numbers();
    const Answer<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, treeCookie, nullptr));
    const Answer<xcb_get_geometry_reply_t> size(xcb_get_geometry_reply(connection, sizeCookie, nullptr));
    if (!tree || !size)
        return std::nullopt;

    QList<Candidate> candidates;
    const auto add = [&](xcb_window_t window, bool askVisible) {
        candidates.append({Property(connection, window, names.at(1), XCB_ATOM_CARDINAL, mostNumbers),
            Property(connection, window, names.at(2), XCB_ATOM_CARDINAL, mostNumbers),
            askVisible ? std::optional(xcb_get_window_attributes(connection, window)) : std::nullopt});
    };
    for (const xcb_window_t window : managed)
        add(window, false);
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    const int count = std::min(xcb_query_tree_children_length(tree.get()), static_cast<int>(mostWindows));
    for (int index = 0; index < count; ++index) {
        if (!managed.contains(children[index]))
            add(children[index], true);
    }

    X11Struts found{QSize(size->width, size->height), {}};
    for (const Candidate &candidate : candidates) {
        const QList<uint32_t> partial = candidate.partial.numbers();
        const QList<uint32_t> plain = candidate.plain.numbers();
        const bool counts = !candidate.visible || isVisible(connection, *candidate.visible);
        const std::optional<PanelStrut> strut = panelStrut(partial.isEmpty() ? plain : partial, found.whole);
        if (counts && strut)
            found.struts.append(*strut);
    }
    return found;
}

} // namespace lanterna
