#pragma once

#include "cloud/CloudKitRequests.h"
#include "cloud/CloudKitSession.h"
#include "platform/SecretStore.h"
#include "platform/SettingsStore.h"

#include <QUrl>

namespace lanterna
{

// What a person signs in with. Each secret is kept for one server, which the settings `cloudWebDAVPasswordServer` and `cloudKitSessionServer` note
// when it is stored, and goes to no other, whatever address the settings hold later. One without a note, put there by hand, goes to any. Main thread
// only; the referenced objects outlive the completions.

/// The names under which the secrets are kept.
inline const QString webDAVPasswordSecret = QStringLiteral("cloudWebDAVPassword");
inline const QString cloudKitSessionSecret = QStringLiteral("cloudKitSession");

/// Scheme, host and port: "https://cloud.example:443".
QString serverOf(const QUrl &url);

/// Reads the password for a folder; an error in words when it is kept for another server.
void readWebDAVPassword(SecretStore &secrets, const SettingsStore &settings, const QUrl &folder, SecretStore::Completion completion);
/// Stores it.
void keepWebDAVPassword(
    SecretStore &secrets, SettingsStore &settings, const QUrl &folder, const QString &password, SecretStore::Completion completion);

/// The session with this container's server; nobody is signed in when the one that is kept is with another.
CloudKitSession keptCloudKitSession(SecretStore &secrets, SettingsStore &settings, const CloudKitConfiguration &configuration);

} // namespace lanterna
