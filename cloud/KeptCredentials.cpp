#include "cloud/KeptCredentials.h"

#include <utility>

namespace lanterna
{

namespace
{

const QString passwordServerKey = QStringLiteral("cloudWebDAVPasswordServer");
const QString sessionServerKey = QStringLiteral("cloudKitSessionServer");

bool isForAnother(const SettingsStore &settings, const QString &key, const QString &server)
{
    const QString noted = settings.text(key);
    return !noted.isEmpty() && noted != server;
}

/// Notes the server once the secret is stored.
SecretStore::Completion noting(SettingsStore &settings, const QString &key, const QString &server, SecretStore::Completion completion)
{
    return [&settings, key, server, completion = std::move(completion)](const SecretResult &stored) {
        if (stored.error.isNull())
            settings.setValue(key, server);
        completion(stored);
    };
}

} // namespace

QString serverOf(const QUrl &url)
{
    const int usualPort = url.scheme() == QLatin1String("http") ? 80 : 443;
    return QStringLiteral("%1://%2:%3").arg(url.scheme(), url.host()).arg(url.port(usualPort));
}

void readWebDAVPassword(SecretStore &secrets, const SettingsStore &settings, const QUrl &folder, SecretStore::Completion completion)
{
    secrets.read(webDAVPasswordSecret, [&settings, server = serverOf(folder), completion = std::move(completion)](const SecretResult &kept) {
        if (kept.error.isNull() && isForAnother(settings, passwordServerKey, server))
            completion({{}, QStringLiteral("it is for another server; 'lanternactl cloud setup' asks for this one's")});
        else
            completion(kept);
    });
}

void keepWebDAVPassword(
    SecretStore &secrets, SettingsStore &settings, const QUrl &folder, const QString &password, SecretStore::Completion completion)
{
    secrets.write(webDAVPasswordSecret, password, noting(settings, passwordServerKey, serverOf(folder), std::move(completion)));
}

CloudKitSession keptCloudKitSession(SecretStore &secrets, SettingsStore &settings, const CloudKitConfiguration &configuration)
{
    const CloudKitSession any = sessionIn(secrets, cloudKitSessionSecret);
    const QString server = serverOf(QUrl(configuration.baseURL));
    return {[any, &settings, server](const SecretStore::Completion &completion) {
                any.read([&settings, server, completion](const SecretResult &kept) {
                    completion(isForAnother(settings, sessionServerKey, server) ? SecretResult{{}, kept.error} : kept);
                });
            },
        [any, &settings, server](const QString &token, const SecretStore::Completion &completion) {
            any.store(token, noting(settings, sessionServerKey, server, completion));
        }};
}

} // namespace lanterna
