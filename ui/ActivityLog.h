#pragma once

#include <QAbstractListModel>
#include <QQmlEngine>
#include <QString>
#include <QVariant>

namespace lanterna
{

/// One network of the activity log.
struct ActivityRow {
    QString name;
    QString lastUpdate; ///< as stored; empty when there is none
    bool current = false; ///< the network in use

    bool operator==(const ActivityRow &) const = default;
};

/// The rows of the setting `recentICloudActivity` in ascending order of their names; none when it is no dictionary.
QList<ActivityRow> activityRows(const QVariant &activity, const QString &currentNetwork);
/// The same dictionary as one block of text: each network's name in square brackets on a line of its own, then its addresses, indented by two spaces.
/// "No recent activity" when it is empty or no dictionary.
QString activitySummary(const QVariant &activity);

/// The activity log as the list of qml/LogsWindow.qml. It keeps no copy beyond what is drawn, and follows the settings. Main thread only.
class ActivityLog : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    /// When anything was last published, or "Unknown".
    Q_PROPERTY(QString lastUpdate READ lastUpdate NOTIFY lastUpdateChanged)
public:
    enum Role { nameRole = Qt::UserRole, labelRole, lastUpdateRole, currentRole };

    explicit ActivityLog(QObject *parent = nullptr);

    [[nodiscard]] int count() const { return static_cast<int>(m_rows.size()); }
    [[nodiscard]] const QList<ActivityRow> &rows() const { return m_rows; }
    [[nodiscard]] QString lastUpdate() const;
    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// What the delete confirmation says of this network.
    Q_INVOKABLE static QString deletionMessage(const QString &name);
    /// Deletes the network's entry and tells the program; does neither when the setting is no dictionary any more.
    Q_INVOKABLE void deleteNetwork(const QString &name);

    Q_SIGNAL void countChanged();
    Q_SIGNAL void lastUpdateChanged();

private:
    void settingChanged(const QString &key);
    void refresh();
    void insertRow(int row, const ActivityRow &inserted);
    void removeRow(int row);

    QList<ActivityRow> m_rows;
};

} // namespace lanterna
