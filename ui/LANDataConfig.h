#pragma once

#include "ui/StoredSetting.h"

#include <QObject>
#include <QPointer>
#include <QQmlEngine>
#include <QQmlParserStatus>
#include <QStringList>
#include <QVariantList>

namespace lanterna
{

/// What the LAN data sharing panel knows and does; qml/LANDataConfigView.qml draws it. One for each opening of the panel.
///
/// It edits settings and posts notifications, and keeps nothing else. A line goes to standard output for the networks found and for each choice, also that
/// of another process.
class LANDataConfig : public QObject, public QQmlParserStatus
{
    Q_OBJECT
    Q_INTERFACES(QQmlParserStatus)
    QML_ELEMENT
    /// The three settings that the panel works on; set them before it is complete.
    Q_PROPERTY(lanterna::StoredSetting *associatedWiFiNetwork MEMBER m_associatedWiFiNetwork REQUIRED)
    Q_PROPERTY(lanterna::StoredSetting *wiFiStubSSID MEMBER m_wiFiStubSSID REQUIRED)
    Q_PROPERTY(lanterna::StoredSetting *realWiFiAvailable MEMBER m_realWiFiAvailable REQUIRED)
    /// The picker's items: {text, tag}.
    Q_PROPERTY(QVariantList items READ items NOTIFY stubChanged)
    /// What the picker shows for a selection that is none of its items, as a stub is before data was filed under it.
    Q_PROPERTY(QString selectionText READ selectionText NOTIFY selectionChanged)
    /// Whether a stored network is selected, which could be removed.
    Q_PROPERTY(bool networkSelected READ networkSelected NOTIFY selectionChanged)
    Q_PROPERTY(QString stub READ stub NOTIFY stubChanged)
    Q_PROPERTY(QString stubText READ stubText NOTIFY stubChanged)
    Q_PROPERTY(bool showingStubBanner READ showingStubBanner NOTIFY bannersChanged)
    Q_PROPERTY(bool showingEthernetWarning READ showingEthernetWarning NOTIFY bannersChanged)
    /// Whether the stub editor is open.
    Q_PROPERTY(bool showingStubCreator MEMBER m_showingStubCreator NOTIFY showingStubCreatorChanged)
    Q_PROPERTY(QString removalMessage READ removalMessage NOTIFY removalAsked)
    Q_PROPERTY(QString privacyMessage READ privacyMessage CONSTANT)
    Q_PROPERTY(QString stubInfoMessage READ stubInfoMessage CONSTANT)
public:
    using QObject::QObject;

    /// Networks with stored data when the panel was built, in ascending order.
    [[nodiscard]] const QStringList &wifiNetworks() const { return m_wifiNetworks; }
    /// The last network that was chosen, here or by another process; empty before the first choice.
    [[nodiscard]] const QString &preCustomSelection() const { return m_preCustomSelection; }
    [[nodiscard]] bool showingStubCreator() const { return m_showingStubCreator; }
    [[nodiscard]] QVariantList items() const;
    [[nodiscard]] QString selectionText() const;
    [[nodiscard]] bool networkSelected() const;
    [[nodiscard]] QString stub() const;
    [[nodiscard]] QString stubText() const;
    [[nodiscard]] bool showingStubBanner() const;
    [[nodiscard]] bool showingEthernetWarning() const;
    [[nodiscard]] QString removalMessage() const;
    /// Adds to the message of the privacy alert what is to be said of another record store than iCloud.
    [[nodiscard]] QString privacyMessage() const;
    /// What the Ethernet warning explains.
    static QString stubInfoMessage();

    /// The picker was set to this tag by the person. "__custom__" opens the stub editor on the main queue's next turn and is never stored.
    Q_INVOKABLE void choose(const QVariant &tag);
    /// Takes this name, valid and trimmed, for the stub, and files data under it.
    Q_INVOKABLE void saveStub(const QString &ssid);
    /// Does nothing without a stub.
    Q_INVOKABLE void removeStub();
    /// Remembers the selected network as the one that `removeNetwork` removes, whatever is selected when the person has answered. False when none is
    /// selected.
    Q_INVOKABLE bool askRemoval();
    /// Removes that network from the stored tables and the recent activity. Where it still is selected, the connected one is from now on.
    Q_INVOKABLE void removeNetwork();

    void classBegin() override { }
    void componentComplete() override;

    Q_SIGNAL void selectionChanged();
    Q_SIGNAL void stubChanged();
    Q_SIGNAL void bannersChanged();
    Q_SIGNAL void showingStubCreatorChanged();
    Q_SIGNAL void removalAsked();

private:
    [[nodiscard]] QString selection() const;
    [[nodiscard]] QString labelOf(const QString &network) const;
    void readNetworks();
    void select(const QString &network);
    /// Handles the selection where it is another one than the last that was handled: once for each change, whoever made it.
    void followSelection();
    void createStub();
    void removeTables(const QString &name);

    // The first belongs to the preferences, the others to the panel.
    StoredSetting *m_associatedWiFiNetwork = nullptr;
    StoredSetting *m_wiFiStubSSID = nullptr;
    StoredSetting *m_realWiFiAvailable = nullptr;
    QStringList m_wifiNetworks;
    QString m_preCustomSelection = QStringLiteral("");
    QString m_networkToRemove;
    QString m_handledSelection;
    bool m_editing = false; ///< the panel itself changes the selection, and handles that when it has told of the rest
    bool m_showingStubCreator = false;
};

} // namespace lanterna
