#pragma once

#include "platform/Menu.h"

#include <QHash>
#include <QMap>
#include <QStringList>
#include <QVariantMap>

#include <optional>

namespace lanterna
{

/// What a rebuild of the menu changed, in the terms of com.canonical.dbusmenu.
struct DBusMenuChange {
    bool layout = false; ///< rows came, went or moved; the revision was counted up
    QMap<int, QVariantMap> updated; ///< by row id: properties with a new value
    QMap<int, QStringList> removed; ///< by row id: properties that are back at their default

    [[nodiscard]] bool isEmpty() const { return !layout && updated.isEmpty() && removed.isEmpty(); }
};

/// The menu as a panel sees it: numbered rows with properties. A value; knows no bus.
///
/// A row keeps its number as long as its identity (within its submenu) is in the menu, and for a while after: rows that left are remembered, so a
/// click that was on its way while the menu changed still finds the row that the person saw.
class DBusMenuModel
{
public:
    static constexpr int rootId = 0;
    /// Rows remembered after they left. A full rebuild of the status menu replaces about ten, so this spans the last two dozen rebuilds.
    static constexpr qsizetype retiredLimit = 256;

    DBusMenuModel();

    /// Takes over the rows and says what a panel has to learn.
    DBusMenuChange update(const QList<MenuItem> &items);

    [[nodiscard]] quint32 revision() const { return m_revision; }
    /// Whether the row is in the menu now; the root is.
    [[nodiscard]] bool contains(int id) const { return m_rows.contains(id); }
    /// Ids of the rows in the menu, root first, in the order in which they are read.
    [[nodiscard]] QList<int> ids() const;
    /// Ids of a row's children in order; empty for unknown rows.
    [[nodiscard]] QList<int> children(int id) const;
    /// The properties that differ from the protocol's defaults, of those named (all when none is named).
    [[nodiscard]] QVariantMap properties(int id, const QStringList &names = {}) const;
    /// The row to act on when this id is clicked, as it was last shown; none for rows that never were, or that cannot be chosen.
    [[nodiscard]] std::optional<MenuItem> clicked(int id) const;
    /// Whether the id belongs to a row in the menu or to one that is still remembered.
    [[nodiscard]] bool knows(int id) const { return m_rows.contains(id) || m_retired.contains(id); }

private:
    struct Row {
        QString key;
        MenuItem item; ///< without its children
        QVariantMap properties;
        QList<int> children;
    };
    using Rows = QHash<int, Row>;

    void addRows(Rows &rows, int parentId, const QString &parentKey, const QList<MenuItem> &items);
    int idForKey(const QString &key);
    void retire(const Row &row, int id);
    void appendIds(QList<int> &ids, int id) const;

    Rows m_rows;
    QHash<QString, int> m_idByKey; ///< of rows in the menu and of retired ones
    QHash<int, Row> m_retired;
    QList<int> m_retiredOrder; ///< oldest first
    int m_lastId = rootId;
    quint32 m_revision = 1;
};

/// The label of a row: title and second line with `_` doubled, since a single one marks an access key.
QString dbusMenuLabel(const MenuItem &item);
/// The properties of a row that differ from the protocol's defaults; "enabled" is always among them.
QVariantMap dbusMenuProperties(const MenuItem &item);
/// What turns the first property set into the second.
DBusMenuChange dbusMenuPropertyChange(int id, const QVariantMap &before, const QVariantMap &after);

} // namespace lanterna
