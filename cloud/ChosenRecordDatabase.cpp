#include "cloud/ChosenRecordDatabase.h"

#include "cloud/EmbeddedRecordDatabase.h"

#include <algorithm>
#include <array>
#include <deque>
#include <utility>

namespace lanterna
{

namespace
{

const QString throttleKey = QStringLiteral("cloudKitThrottle");
const QString sinceMember = QStringLiteral("since");
const QString secondsMember = QStringLiteral("seconds");
const QString storeMember = QStringLiteral("store");

/// A container and where it is reached.
QString cloudKitStore(const CloudKitConfiguration &configuration)
{
    return QStringLiteral("cloudkit %1 %2 %3")
        .arg(configuration.container, configuration.environment,
            QUrl(configuration.baseURL).toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery));
}

/// How long a secret that could not be read is not asked for again: each time may ask the person to unlock the keyring.
constexpr std::chrono::minutes secretPause{10};

/// A WebDAV folder whose password is read with the first call. Calls wait for it in their order.
class PasswordedDatabase : public RecordDatabase
{
public:
    explicit PasswordedDatabase(const RecordDatabaseParts &parts)
        : m_parts(parts), m_folder(webDAVAccount(parts.settings, {}).folder),
          m_database(parts.dispatch, webDAVAccount(parts.settings, [this] { return m_password; }))
    {
    }

    void fetchRecord(const QString &recordName, RecordCompletion completion) override
    {
        whenReady<Record>([this, recordName](RecordCompletion then) { m_database.fetchRecord(recordName, std::move(then)); }, std::move(completion));
    }
    void saveRecord(const Record &record, RecordCompletion completion) override
    {
        whenReady<Record>([this, record](RecordCompletion then) { m_database.saveRecord(record, std::move(then)); }, std::move(completion));
    }
    void queryRecords(const QString &recordType, QueryCompletion completion) override
    {
        whenReady<QList<Record>>(
            [this, recordType](QueryCompletion then) { m_database.queryRecords(recordType, std::move(then)); }, std::move(completion));
    }

private:
    template <typename Value> using Completion = std::function<void(const RecordResult<Value> &)>;

    template <typename Value> void whenReady(std::function<void(Completion<Value>)> call, Completion<Value> completion)
    {
        m_waiting.push_back([this, call = std::move(call), completion = std::move(completion)] {
            if (m_refusal.isNull())
                call(completion);
            else
                completion(RecordError{RecordErrorCode::notAuthenticated, m_refusal, std::nullopt});
        });
        if (m_waiting.size() == 1)
            readPassword();
    }

    void readPassword()
    {
        const auto now = m_parts.dispatch.steadyNow();
        if (m_read || (!m_refusal.isNull() && now < m_askedAt + secretPause)) {
            m_parts.dispatch.mainAsync([this, alive = std::weak_ptr(m_alive)] {
                if (!alive.expired())
                    letGo();
            });
            return;
        }
        m_askedAt = now;
        readWebDAVPassword(m_parts.secrets(), m_parts.settings, m_folder, [this, alive = std::weak_ptr(m_alive)](const SecretResult &result) {
            if (!alive.expired())
                passwordRead(result);
        });
    }

    void passwordRead(const SecretResult &result)
    {
        m_read = result.error.isNull();
        m_refusal = m_read ? QString() : QStringLiteral("The password cannot be read: %1").arg(result.error);
        m_password = result.secret;
        letGo();
    }

    void letGo()
    {
        const std::weak_ptr alive(m_alive);
        for (const Task &call : std::exchange(m_waiting, {})) {
            if (alive.expired())
                return;
            call();
        }
    }

    RecordDatabaseParts m_parts;
    QUrl m_folder;
    QString m_password;
    WebDAVRecordDatabase m_database;
    std::deque<Task> m_waiting; // for the password
    bool m_read = false;
    QString m_refusal; // why there is no password; a null text while there is no reason
    std::chrono::nanoseconds m_askedAt{0};
    std::shared_ptr<char> m_alive = std::make_shared<char>();
};

/// An iCloud container that keeps in the settings how long it may not be asked, and keeps to what others have noted there.
class ThrottledDatabase : public RecordDatabase
{
public:
    explicit ThrottledDatabase(const RecordDatabaseParts &parts)
        : m_settings(parts.settings), m_configuration(cloudKitConfiguration(parts.settings)), m_database(cloudKitDatabase(parts))
    {
    }

    void fetchRecord(const QString &recordName, RecordCompletion completion) override
    {
        heed();
        m_database->fetchRecord(recordName, noting<Record>(std::move(completion)));
    }
    void saveRecord(const Record &record, RecordCompletion completion) override
    {
        heed();
        m_database->saveRecord(record, noting<Record>(std::move(completion)));
    }
    void queryRecords(const QString &recordType, QueryCompletion completion) override
    {
        heed();
        m_database->queryRecords(recordType, noting<QList<Record>>(std::move(completion)));
    }

private:
    /// Takes over a pause that another database of this container was asked for. Each once: how long it lasts is counted by a clock that nobody sets.
    void heed()
    {
        const auto kept = keptCloudKitThrottle(m_settings, m_configuration);
        if (kept && kept != m_heeded)
            m_database->resumeThrottle(*kept);
        m_heeded = kept;
    }
    template <typename Value> std::function<void(const RecordResult<Value> &)> noting(std::function<void(const RecordResult<Value> &)> completion)
    {
        return [this, completion = std::move(completion)](const RecordResult<Value> &result) {
            if (const auto throttle = m_database->throttle())
                keepCloudKitThrottle(m_settings, m_configuration, *throttle);
            else if (m_heeded && keptCloudKitThrottle(m_settings, m_configuration) == m_heeded)
                m_settings.remove(throttleKey); // it is over
            m_heeded = keptCloudKitThrottle(m_settings, m_configuration);
            completion(result);
        };
    }

    SettingsStore &m_settings;
    CloudKitConfiguration m_configuration;
    std::unique_ptr<CloudKitRecordDatabase> m_database;
    std::optional<CloudKitThrottle> m_heeded; // of those that are kept
};

} // namespace

RecordBackend chosenBackend(const SettingsStore &settings)
{
    const QString name = settings.text(QStringLiteral("cloudBackend"));
    if (name == QLatin1String("cloudkit"))
        return RecordBackend::cloudKit;
    return name == QLatin1String("webdav") ? RecordBackend::webDAV : RecordBackend::embedded;
}

QString chosenStore(const SettingsStore &settings)
{
    switch (chosenBackend(settings)) {
    case RecordBackend::cloudKit:
        return cloudKitStore(cloudKitConfiguration(settings));
    case RecordBackend::webDAV:
        return QStringLiteral("webdav ") + webDAVAccount(settings, {}).folder.toDisplayString(QUrl::RemoveUserInfo | QUrl::RemoveQuery);
    case RecordBackend::embedded:
        break;
    }
    return QStringLiteral("embedded");
}

bool isDatabaseChoice(const QString &settingsKey)
{
    constexpr std::array keys = {"cloudBackend", "cloudCredentialsDate", "cloudKitAPIToken", "cloudKitBaseURL", "cloudKitContainer",
        "cloudKitEnvironment", "cloudWebDAVURL", "cloudWebDAVUser"};
    return std::ranges::any_of(keys, [&](const char *key) { return settingsKey == QLatin1String(key); });
}

CloudKitConfiguration cloudKitConfiguration(const SettingsStore &settings)
{
    CloudKitConfiguration configuration;
    configuration.container = settings.text(QStringLiteral("cloudKitContainer"));
    configuration.apiToken = settings.text(QStringLiteral("cloudKitAPIToken"));
    if (const QString environment = settings.text(QStringLiteral("cloudKitEnvironment")); !environment.isEmpty())
        configuration.environment = environment;
    if (const QString url = settings.text(QStringLiteral("cloudKitBaseURL")); !url.isEmpty())
        configuration.baseURL = url;
    return configuration;
}

std::optional<CloudKitThrottle> keptCloudKitThrottle(const SettingsStore &settings, const CloudKitConfiguration &configuration)
{
    const QVariantMap kept = settings.dictionary(throttleKey);
    if (kept.value(storeMember).toString() != cloudKitStore(configuration))
        return std::nullopt;
    const QDateTime since = kept.value(sinceMember).toDateTime();
    return since.isValid() ? std::optional(CloudKitThrottle{since, kept.value(secondsMember).toDouble()}) : std::nullopt;
}

void keepCloudKitThrottle(SettingsStore &settings, const CloudKitConfiguration &configuration, const CloudKitThrottle &throttle)
{
    settings.setValue(
        throttleKey, QVariantMap{{sinceMember, throttle.since}, {secondsMember, throttle.seconds}, {storeMember, cloudKitStore(configuration)}});
}

WebDAVAccount webDAVAccount(const SettingsStore &settings, std::function<QString()> password)
{
    return {QUrl(settings.text(QStringLiteral("cloudWebDAVURL"))), settings.text(QStringLiteral("cloudWebDAVUser")), std::move(password)};
}

std::unique_ptr<CloudKitRecordDatabase> cloudKitDatabase(const RecordDatabaseParts &parts)
{
    const CloudKitConfiguration configuration = cloudKitConfiguration(parts.settings);
    auto database =
        std::make_unique<CloudKitRecordDatabase>(parts.dispatch, configuration, keptCloudKitSession(parts.secrets(), parts.settings, configuration));
    if (const auto throttle = keptCloudKitThrottle(parts.settings, configuration))
        database->resumeThrottle(*throttle);
    return database;
}

std::unique_ptr<RecordDatabase> chosenRecordDatabase(const RecordDatabaseParts &parts)
{
    switch (chosenBackend(parts.settings)) {
    case RecordBackend::cloudKit:
        return std::make_unique<ThrottledDatabase>(parts);
    case RecordBackend::webDAV:
        return std::make_unique<PasswordedDatabase>(parts);
    case RecordBackend::embedded:
        break;
    }
    return std::make_unique<EmbeddedRecordDatabase>(parts.dispatch, parts.embeddedFile);
}

} // namespace lanterna
