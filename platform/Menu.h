#pragma once

#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lanterna
{

/// One row of a menu.
struct MenuItem {
    enum class Toggle { none, check, radio };

    /// Names the row across rebuilds: rows with equal identities are the same row to the person. A row whose action depends on its title (an address
    /// that is copied) carries the title in its identity, so that a click on what was seen never acts on what came after.
    QString identity;
    QString title;
    QString subtitle; ///< second, smaller line; empty for none. Not part of the title.
    bool separator = false;
    bool enabled = true;
    Toggle toggle = Toggle::none;
    bool checked = false;
    std::function<void(const MenuItem &)>
        action; ///< main thread; receives the row as the person saw it. A row without one is shown disabled unless it has children.
    QList<MenuItem> children; ///< a submenu when not empty

    /// A separator line.
    static MenuItem separatorItem(const QString &identity);
    /// Whether the row can be chosen: enabled, and with an action or a submenu.
    [[nodiscard]] bool selectable() const { return enabled && !separator && (action || !children.isEmpty()); }
    /// Whether both look alike; actions are not compared.
    [[nodiscard]] bool looksLike(const MenuItem &other) const;
};

/// Rows in order, with the operations of a status menu. Main thread only.
class Menu
{
public:
    [[nodiscard]] const QList<MenuItem> &items() const { return m_items; }
    [[nodiscard]] int count() const { return static_cast<int>(m_items.size()); }
    /// Inserts before the row at `index`; an index past the end appends.
    void insertItem(const MenuItem &item, int index);
    void addItem(const MenuItem &item) { m_items.append(item); }
    /// Removes the row at `index`; one that does not exist is ignored.
    void removeItemAtIndex(int index);
    /// Index of the first row with this title, or of a row with this identity; -1 for none.
    [[nodiscard]] int indexOfItemWithTitle(const QString &title) const;
    [[nodiscard]] int indexOfItemWithIdentity(const QString &identity) const;
    /// The row with this identity at the top level, to change in place; null for none.
    MenuItem *itemWithIdentity(const QString &identity);

private:
    QList<MenuItem> m_items;
};

} // namespace lanterna
