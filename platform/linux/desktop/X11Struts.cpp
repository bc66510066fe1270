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
constexpr uint32_t mostAreas = 64; // monitors
constexpr uint32_t farthest = 32767; // coordinates of the X protocol have 16 bits

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
QList<xcb_atom_t> atoms(xcb_connection_t *connection, const QList<QByteArray> &names)
{
    QList<xcb_intern_atom_cookie_t> asked;
    for (const QByteArray &name : names)
        asked.append(xcb_intern_atom(connection, 1, static_cast<uint16_t>(name.size()), name.constData()));
    QList<xcb_atom_t> found;
    for (const xcb_intern_atom_cookie_t cookie : asked) {
        const Answer<xcb_intern_atom_reply_t> answer(xcb_intern_atom_reply(connection, cookie, nullptr));
        found.append(answer ? answer->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return found;
}

/// The work areas of single monitors that a desktop tells of, on the virtual desktop that is shown. No standard knows them; what sets them is the
/// window manager whose own panel is no window.
QList<QRect> workAreas(xcb_connection_t *connection, xcb_window_t root, const Property &currentDesktop)
{
    const QList<uint32_t> shown = currentDesktop.numbers();
    const QByteArray name = "_GTK_WORKAREAS_D" + QByteArray::number(shown.isEmpty() ? 0 : shown.constFirst());
    const xcb_atom_t atom = atoms(connection, {name}).constFirst();
    if (atom == XCB_ATOM_NONE)
        return {};
    const QList<uint32_t> numbers = Property(connection, root, atom, XCB_ATOM_CARDINAL, 4 * mostAreas).numbers();
    QList<QRect> areas;
    for (qsizetype at = 0; at + 4 <= numbers.size(); at += 4) {
        const auto number = [&](qsizetype index) { return static_cast<int>(numbers.at(at + index)); };
        if (std::all_of(numbers.begin() + at, numbers.begin() + at + 4, [](uint32_t n) { return n <= farthest; }))
            areas.append(QRect(number(0), number(1), number(2), number(3)));
    }
    return areas;
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
    const QList<xcb_atom_t> names = atoms(connection, {"_NET_CLIENT_LIST", "_NET_WM_STRUT_PARTIAL", "_NET_WM_STRUT", "_NET_CURRENT_DESKTOP"});
    const Property listed(connection, root, names.at(0), XCB_ATOM_WINDOW, mostWindows);
    const Property currentDesktop(connection, root, names.at(3), XCB_ATOM_CARDINAL, 1);
    const xcb_query_tree_cookie_t treeCookie = xcb_query_tree(connection, root);
    const xcb_get_geometry_cookie_t sizeCookie = xcb_get_geometry(connection, root);
    const QList<uint32_t> managed = listed.numbers();
    const Answer<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(connection, treeCookie, nullptr));
    const Answer<xcb_get_geometry_reply_t> size(xcb_get_geometry_reply(connection, sizeCookie, nullptr));
    const QList<QRect> areas = workAreas(connection, root, currentDesktop);
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

    X11Struts found{QSize(size->width, size->height), {}, areas};
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
