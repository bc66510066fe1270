#include "platform/Menu.h"

#include <algorithm>

namespace lanterna
{

MenuItem MenuItem::separatorItem(const QString &identity)
{
    MenuItem item;
    item.identity = identity;
    item.separator = true;
    return item;
}

bool MenuItem::looksLike(const MenuItem &other) const
{
    const auto sameChildren = [](const QList<MenuItem> &left, const QList<MenuItem> &right) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const MenuItem &a, const MenuItem &b) { return a.looksLike(b); });
    };
    return identity == other.identity && title == other.title && subtitle == other.subtitle && separator == other.separator
        && selectable() == other.selectable() && toggle == other.toggle && checked == other.checked && sameChildren(children, other.children);
}

void Menu::insertItem(const MenuItem &item, int index)
{
    m_items.insert(std::clamp(index, 0, count()), item);
}

void Menu::removeItemAtIndex(int index)
{
    if (index >= 0 && index < count())
        m_items.removeAt(index);
}

int Menu::indexOfItemWithTitle(const QString &title) const
{
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&](const MenuItem &item) { return item.title == title; });
    return found == m_items.end() ? -1 : static_cast<int>(found - m_items.begin());
}

int Menu::indexOfItemWithIdentity(const QString &identity) const
{
    const auto found = std::find_if(m_items.begin(), m_items.end(), [&](const MenuItem &item) { return item.identity == identity; });
    return found == m_items.end() ? -1 : static_cast<int>(found - m_items.begin());
}

MenuItem *Menu::itemWithIdentity(const QString &identity)
{
    const int index = indexOfItemWithIdentity(identity);
    return index < 0 ? nullptr : &m_items[index];
}

} // namespace lanterna
