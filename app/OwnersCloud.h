#pragma once

#include "app/RunningCore.h"
#include "cloud/ChosenRecordDatabase.h"
#include "cloud/TemporaryAssets.h"
#include "cloud/UnreadableDocuments.h"

#include <memory>

namespace lanterna
{

/// Where the owner's cloud document lies on this machine: its databases, its secrets, its temporary files.
///
/// Main thread only. The referenced objects outlive it, and it outlives the core. Temporary files of old are removed at start and hourly.
class OwnersCloud
{
public:
    using MakeSecrets = std::function<std::unique_ptr<SecretStore>()>;

    /// The data folder is usually `lanterna::dataFolder`. The secrets are made when a database first needs some.
    OwnersCloud(Dispatch &dispatch, SettingsStore &settings, SystemLog &log, const QString &dataFolder, MakeSecrets makeSecrets,
        const TemporaryAssets &temporaryAssets = TemporaryAssets());

    /// What the core needs of it.
    [[nodiscard]] CloudParts parts();
    [[nodiscard]] RecordDatabaseParts databaseParts();
    [[nodiscard]] SecretStore &secrets();
    /// For the person: which store is in use, and where, when it is not iCloud; empty when it is. No user and no secret.
    [[nodiscard]] QString otherStore() const;

private:
    [[nodiscard]] QString embeddedFile() const { return m_dataFolder + QStringLiteral("/records.sqlite"); }
    void dropOldAssets();

    Dispatch &m_dispatch;
    SettingsStore &m_settings;
    SystemLog &m_log;
    QString m_dataFolder;
    MakeSecrets m_makeSecrets;
    std::unique_ptr<SecretStore> m_secrets;
    TemporaryAssets m_temporaryAssets;
    TimerHandle m_hourly;
};

} // namespace lanterna
