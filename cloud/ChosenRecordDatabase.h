#pragma once

#include "cloud/CloudKitRecordDatabase.h"
#include "cloud/KeptCredentials.h"
#include "cloud/WebDAVRecordDatabase.h"
#include "platform/Dispatch.h"
#include "platform/SecretStore.h"
#include "platform/SettingsStore.h"

#include <QUrl>

#include <memory>

namespace lanterna
{

/// The three kinds of record database, by their names in the setting `cloudBackend`.
enum class RecordBackend { embedded, cloudKit, webDAV };

/// What is chosen; the embedded one for a name that means nothing.
RecordBackend chosenBackend(const SettingsStore &settings);
/// What tells the chosen store from any other: kind, address or container; no user and no secret.
QString chosenStore(const SettingsStore &settings);
/// Whether another value of this setting means another database, or another person who uses it.
bool isDatabaseChoice(const QString &settingsKey);

CloudKitConfiguration cloudKitConfiguration(const SettingsStore &settings);

/// What a database is made of; all of it outlives the database.
struct RecordDatabaseParts {
    Dispatch &dispatch;
    SettingsStore &settings;
    std::function<SecretStore &()> secrets; ///< asked for when something of it is needed
    QString embeddedFile; ///< path of the embedded database
};

/// The database that the settings choose. What it needs of the secrets is read with the first call that needs it.
///
/// The pause that CloudKit asked for is kept in the setting `cloudKitThrottle`, so that it survives the end of the program.
std::unique_ptr<RecordDatabase> chosenRecordDatabase(const RecordDatabaseParts &parts);

/// The pause that this container asked for, as it is kept; none when none is.
std::optional<CloudKitThrottle> keptCloudKitThrottle(const SettingsStore &settings, const CloudKitConfiguration &configuration);
void keepCloudKitThrottle(SettingsStore &settings, const CloudKitConfiguration &configuration, const CloudKitThrottle &throttle);

/// The chosen WebDAV folder with this password.
WebDAVAccount webDAVAccount(const SettingsStore &settings, std::function<QString()> password);
/// The chosen iCloud container, with the pause that still holds.
std::unique_ptr<CloudKitRecordDatabase> cloudKitDatabase(const RecordDatabaseParts &parts);

} // namespace lanterna
