#include "app/OwnersCloud.h"

#include "cloud/MACTable.h"

#include <utility>

namespace lanterna
{

OwnersCloud::OwnersCloud(Dispatch &dispatch, SettingsStore &settings, SystemLog &log, const QString &dataFolder, MakeSecrets makeSecrets,
    const TemporaryAssets &temporaryAssets)
    : m_dispatch(dispatch), m_settings(settings), m_log(log), m_dataFolder(dataFolder), m_makeSecrets(std::move(makeSecrets)),
      m_temporaryAssets(temporaryAssets), m_hourly(dispatch.performEvery(std::chrono::hours(1), [this] { dropOldAssets(); }))
{
    dropOldAssets();
}

void OwnersCloud::dropOldAssets()
{
    m_dispatch.globalAsync([assets = m_temporaryAssets, now = m_dispatch.now()] { assets.dropOld(now); });
}

SecretStore &OwnersCloud::secrets()
{
    if (!m_secrets)
        m_secrets = m_makeSecrets();
    return *m_secrets;
}

RecordDatabaseParts OwnersCloud::databaseParts()
{
    return {m_dispatch, m_settings, [this]() -> SecretStore & { return secrets(); }, embeddedFile()};
}

QString OwnersCloud::otherStore() const
{
    const QString aboveIsOfICloud = QStringLiteral(" The text above concerns iCloud, which is not in use.");
    switch (chosenBackend(m_settings)) {
    case RecordBackend::cloudKit:
        return {};
    case RecordBackend::webDAV: {
        const QUrl folder = webDAVAccount(m_settings, {}).folder;
        return QStringLiteral("This Lanterna keeps its data in the WebDAV folder %1.")
                   .arg(folder.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery))
            + aboveIsOfICloud;
    }
    case RecordBackend::embedded:
        break;
    }
    return QStringLiteral("This Lanterna keeps its data in a database on this computer, %1.").arg(embeddedFile()) + aboveIsOfICloud;
}

CloudParts OwnersCloud::parts()
{
    CloudParts parts;
    parts.makeDatabase = [this] { return chosenRecordDatabase(databaseParts()); };
    parts.localeIdentifier = [] {
        return localeIdentifier(qEnvironmentVariable("LC_ALL"), qEnvironmentVariable("LC_TIME"), qEnvironmentVariable("LANG"));
    };
    parts.writeTemporaryFile = [assets = m_temporaryAssets](const QByteArray &document) {
        const TemporaryAssets::Written written = assets.write(document);
        return written.path.isEmpty() ? written.error : QString();
    };
    parts.keepUnreadable = [documents = UnreadableDocuments(m_dataFolder + QStringLiteral("/unreadable")), &dispatch = m_dispatch, &log = m_log](
                               const QByteArray &bytes) {
        const UnreadableDocuments::Kept kept = documents.keep(bytes, dispatch.now());
        if (kept.path.isEmpty())
            return kept.error;
        log(QStringLiteral("cloud: the unreadable document is kept as %@"), kept.path);
        return QString();
    };
    return parts;
}

} // namespace lanterna
