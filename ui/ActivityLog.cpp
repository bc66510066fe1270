#include "ui/ActivityLog.h"

#include "platform/NotificationNames.h"
#include "platform/SettingsKeys.h"
#include "platform/UserLocale.h"
#include "ui/DateText.h"
#include "ui/NetworkNames.h"
#include "ui/Program.h"

namespace lanterna
{

namespace
{

const QString lastUpdateKey = QStringLiteral("lastUpdate");
const QString activityDateKey = QStringLiteral("lastICloudActivityUpdateDate");
const QString currentNetworkKey = QStringLiteral("currentDisplayedWiFiName");

/// A stored value on one line.
QString shownValue(const QVariant &value)
{
    if (value.typeId() == QMetaType::QDateTime)
        return mediumDateShortTime(value.toDateTime(), userLocaleIdentifier());
    return shownNetworkName(renderSetting(value));
}

} // namespace

QList<ActivityRow> activityRows(const QVariant &activity, const QString &currentNetwork)
{
    QList<ActivityRow> rows;
    if (activity.typeId() != QMetaType::QVariantMap)
        return rows;
    const QVariantMap tables = activity.toMap();
    for (auto table = tables.cbegin(); table != tables.cend(); ++table)
        rows.append(
            {table.key(), shownValue(table.value().toMap().value(lastUpdateKey)), !currentNetwork.isEmpty() && table.key() == currentNetwork});
    return rows;
}

QString activitySummary(const QVariant &activity)
{
    const QVariantMap tables = activity.typeId() == QMetaType::QVariantMap ? activity.toMap() : QVariantMap();
    if (tables.isEmpty())
        return QStringLiteral("No recent activity");
    QString summary;
    for (auto table = tables.cbegin(); table != tables.cend(); ++table) {
        summary += u'[' + table.key() + QStringLiteral("]\n");
        const QVariantMap entries = table.value().toMap();
        for (auto entry = entries.cbegin(); entry != entries.cend(); ++entry) {
            if (entry.key() != lastUpdateKey)
                summary += QStringLiteral("  ") + entry.key() + QStringLiteral(": ") + renderSetting(entry.value()) + u'\n';
        }
    }
    return summary;
}

ActivityLog::ActivityLog(QObject *parent) : QAbstractListModel(parent)
{
    connect(&Program::current(), &Program::settingChanged, this, &ActivityLog::settingChanged);
    refresh();
}

QString ActivityLog::lastUpdate() const
{
    const QDateTime date = Program::current().ports().settings.date(activityDateKey);
    return date.isValid() ? mediumDateShortTime(date, userLocaleIdentifier()) : QStringLiteral("Unknown");
}

int ActivityLog::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant ActivityLog::data(const QModelIndex &index, int role) const
{
    if (index.row() < 0 || index.row() >= count())
        return {};
    const ActivityRow &row = m_rows.at(index.row());
    switch (role) {
    case nameRole:
        return row.name;
    case Qt::DisplayRole:
    case labelRole:
        return shownNetworkName(row.name);
    case lastUpdateRole:
        return row.lastUpdate;
    case currentRole:
        return row.current;
    default:
        return {};
    }
}

QHash<int, QByteArray> ActivityLog::roleNames() const
{
    return {{nameRole, "name"}, {labelRole, "label"}, {lastUpdateRole, "lastUpdate"}, {currentRole, "current"}};
}

QString ActivityLog::deletionMessage(const QString &name)
{
    return QStringLiteral("Are you sure you want to delete '") + shownNetworkName(name) + QStringLiteral("' from the activity log?");
}

void ActivityLog::deleteNetwork(const QString &name)
{
    const WindowPorts &ports = Program::current().ports();
    const std::optional<QVariantMap> left = withoutNetwork(ports.settings.value(recentActivityKey), name);
    if (!left)
        return;
    ports.settings.setValue(recentActivityKey, *left);
    ports.notifications.post(macAddressesEditedNotification);
}

void ActivityLog::settingChanged(const QString &key)
{
    if (key == recentActivityKey || key == currentNetworkKey)
        refresh();
    else if (key == activityDateKey)
        Q_EMIT lastUpdateChanged();
}

void ActivityLog::refresh()
{
    const SettingsStore &settings = Program::current().ports().settings;
    const QList<ActivityRow> now = activityRows(settings.value(recentActivityKey), settings.text(currentNetworkKey));
    const int before = count();
    // Both are in ascending order of their names. A network keeps its row, so that the list stays where it was scrolled to, and its selection too.
    int row = 0;
    for (const ActivityRow &shown : now) {
        while (row < count() && m_rows.at(row).name < shown.name)
            removeRow(row);
        if (row == count() || m_rows.at(row).name != shown.name) {
            insertRow(row, shown);
        } else if (m_rows.at(row) != shown) {
            m_rows[row] = shown;
            Q_EMIT dataChanged(index(row), index(row));
        }
        ++row;
    }
    while (row < count())
        removeRow(row);
    if (count() != before)
        Q_EMIT countChanged();
}

void ActivityLog::insertRow(int row, const ActivityRow &inserted)
{
    beginInsertRows({}, row, row);
    m_rows.insert(row, inserted);
    endInsertRows();
}

void ActivityLog::removeRow(int row)
{
    beginRemoveRows({}, row, row);
    m_rows.remove(row);
    endRemoveRows();
}

} // namespace lanterna
