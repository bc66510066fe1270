#include "platform/linux/DBusMenuModel.h"

#include <algorithm>
#include <utility>

namespace lanterna
{

QString dbusMenuLabel(const MenuItem &item)
{
    QString label = item.title;
    // Panels draw a line end in a label as a line end; there is no other place for a second line in this protocol.
    if (!item.subtitle.isEmpty())
        label += QLatin1Char('\n') + item.subtitle;
    return label.replace(QLatin1Char('_'), QStringLiteral("__"));
}

QVariantMap dbusMenuProperties(const MenuItem &item)
{
    QVariantMap properties;
    if (item.separator) {
        properties.insert(QStringLiteral("type"), QStringLiteral("separator"));
        properties.insert(QStringLiteral("enabled"), false);
        return properties;
    }
    properties.insert(QStringLiteral("label"), dbusMenuLabel(item));
    properties.insert(QStringLiteral("enabled"), item.selectable());
    if (item.toggle != MenuItem::Toggle::none) {
        properties.insert(
            QStringLiteral("toggle-type"), item.toggle == MenuItem::Toggle::radio ? QStringLiteral("radio") : QStringLiteral("checkmark"));
        properties.insert(QStringLiteral("toggle-state"), item.checked ? 1 : 0);
    }
    if (!item.children.isEmpty())
        properties.insert(QStringLiteral("children-display"), QStringLiteral("submenu"));
    return properties;
}

DBusMenuChange dbusMenuPropertyChange(int id, const QVariantMap &before, const QVariantMap &after)
{
    DBusMenuChange change;
    QVariantMap updated;
    QStringList removed;
    for (auto it = after.begin(); it != after.end(); ++it) {
        if (before.value(it.key()) != it.value())
            updated.insert(it.key(), it.value());
    }
    for (auto it = before.begin(); it != before.end(); ++it) {
        if (!after.contains(it.key()))
            removed.append(it.key());
    }
    if (!updated.isEmpty())
        change.updated.insert(id, updated);
    if (!removed.isEmpty())
        change.removed.insert(id, removed);
    return change;
}

DBusMenuModel::DBusMenuModel()
{
    update({});
    m_revision = 1;
}

DBusMenuChange DBusMenuModel::update(const QList<MenuItem> &items)
{
    Rows rows;
    Row &root = rows[rootId];
    root.properties.insert(QStringLiteral("children-display"), QStringLiteral("submenu"));
    addRows(rows, rootId, QString(), items);

    const Rows before = std::exchange(m_rows, rows);
    DBusMenuChange change;
    for (auto it = before.begin(); it != before.end(); ++it) {
        const auto now = m_rows.constFind(it.key());
        if (now == m_rows.cend()) {
            retire(it.value(), it.key());
            continue;
        }
        const DBusMenuChange row = dbusMenuPropertyChange(it.key(), it->properties, now->properties);
        change.updated.insert(row.updated);
        change.removed.insert(row.removed);
        change.layout = change.layout || it->children != now->children;
    }
    if (change.layout)
        ++m_revision;
    return change;
}

void DBusMenuModel::addRows(Rows &rows, int parentId, const QString &parentKey, const QList<MenuItem> &items)
{
    QHash<QString, int> seen;
    QList<int> children;
    for (const MenuItem &item : items) {
        // The unit separator (0x1f) occurs in no identity; equal identities in one submenu are told apart by their order.
        const QString key = parentKey + QChar(0x1f) + item.identity + QChar(0x1f) + QString::number(seen[item.identity]++);
        const int id = idForKey(key);
        Row row;
        row.key = key;
        row.item = item;
        row.item.children.clear();
        row.properties = dbusMenuProperties(item);
        rows.insert(id, row);
        children.append(id);
        addRows(rows, id, key, item.children);
    }
    rows[parentId].children = children;
}

int DBusMenuModel::idForKey(const QString &key)
{
    const auto known = m_idByKey.constFind(key);
    if (known == m_idByKey.cend())
        return *m_idByKey.insert(key, ++m_lastId);
    if (m_retired.remove(*known) > 0)
        m_retiredOrder.removeOne(*known);
    return *known;
}

void DBusMenuModel::retire(const Row &row, int id)
{
    m_retired.insert(id, row);
    m_retiredOrder.append(id);
    if (m_retiredOrder.size() > retiredLimit)
        m_idByKey.remove(m_retired.take(m_retiredOrder.takeFirst()).key);
}

QList<int> DBusMenuModel::ids() const
{
    QList<int> ids;
    appendIds(ids, rootId);
    return ids;
}

void DBusMenuModel::appendIds(QList<int> &ids, int id) const
{
    ids.append(id);
    for (const int child : children(id))
        appendIds(ids, child);
}

QList<int> DBusMenuModel::children(int id) const
{
    const auto row = m_rows.constFind(id);
    return row == m_rows.cend() ? QList<int>() : row->children;
}

QVariantMap DBusMenuModel::properties(int id, const QStringList &names) const
{
    const auto row = m_rows.constFind(id);
    if (row == m_rows.cend())
        return {};
    if (names.isEmpty())
        return row->properties;
    QVariantMap chosen;
    for (const QString &name : names) {
        if (row->properties.contains(name))
            chosen.insert(name, row->properties.value(name));
    }
    return chosen;
}

std::optional<MenuItem> DBusMenuModel::clicked(int id) const
{
    const auto shown = m_rows.constFind(id);
    const auto retired = m_retired.constFind(id);
    if (shown == m_rows.cend() && retired == m_retired.cend())
        return std::nullopt;
    const MenuItem &item = shown != m_rows.cend() ? shown->item : retired->item;
    if (!item.enabled || item.separator || !item.action)
        return std::nullopt;
    return item;
}

} // namespace lanterna
