#include "cli/CloudSetup.h"

#include "cloud/ChosenRecordDatabase.h"
#include "platform/SettingsRules.h"

#include <utility>

namespace lanterna
{

namespace
{

const QString backendKey = QStringLiteral("cloudBackend");
const QString urlKey = QStringLiteral("cloudWebDAVURL");
const QString userKey = QStringLiteral("cloudWebDAVUser");
const QString embedded = QStringLiteral("embedded");
const QString webDAV = QStringLiteral("webdav");
const QString cloudKit = QStringLiteral("icloud"); // as people call it
const QString containerKey = QStringLiteral("cloudKitContainer");
const QString environmentKey = QStringLiteral("cloudKitEnvironment");

} // namespace

CloudSetup::CloudSetup(CloudSetupPorts ports) : m_ports(std::move(ports)) { }

CloudSetup::~CloudSetup() = default;

void CloudSetup::finish(const CommandResult &result)
{
    m_result = result;
    if (m_finished)
        m_ports.dispatch.mainAsync(std::exchange(m_finished, nullptr));
}

/// What is there already is offered, and taken when nothing is typed.
std::optional<QString> CloudSetup::askFor(const QString &what, const QString &present)
{
    const QString offer = present.isEmpty() ? QString() : QStringLiteral(" [%1]").arg(present);
    const auto answer = m_ports.ask(what + offer + u':');
    return answer && answer->isEmpty() ? std::optional(present) : answer;
}

void CloudSetup::setUp(std::function<void()> finished)
{
    m_finished = std::move(finished);
    const RecordBackend chosen = chosenBackend(m_ports.settings);
    const QString present = chosen == RecordBackend::webDAV ? webDAV : chosen == RecordBackend::cloudKit ? cloudKit : embedded;
    const auto backend =
        askFor(QStringLiteral("Keep the document here (embedded), in a folder on a server (webdav)\nor in your iCloud container (icloud)?"), present);
    if (!backend)
        fail(QStringLiteral("there is nobody to answer"));
    else if (*backend == webDAV)
        setUpWebDAV();
    else if (*backend == cloudKit)
        setUpCloudKit();
    else if (*backend != embedded)
        fail(QStringLiteral("none of embedded, webdav and icloud; nothing was changed"));
    else if (m_ports.settings.setValue(backendKey, embedded))
        finish({0, QStringLiteral("The document is kept on this machine.\n"), {}});
    else
        fail(QStringLiteral("the settings cannot be written"));
}

void CloudSetup::setUpWebDAV()
{
    const auto url = askFor(QStringLiteral("Address of the folder"), m_ports.settings.text(urlKey));
    if (!url || url->isEmpty()) {
        fail(QStringLiteral("no address; nothing was changed"));
        return;
    }
    if (const QString problem = settingProblem(urlKey, *url); !problem.isEmpty()) {
        fail(problem);
        return;
    }
    const auto user = askFor(QStringLiteral("User"), m_ports.settings.text(userKey));
    const auto password = user ? m_ports.askHidden(QStringLiteral("Password:")) : std::nullopt;
    if (!password) {
        fail(QStringLiteral("no password; nothing was changed"));
        return;
    }
    m_url = *url;
    m_user = *user;
    m_password = *password;
    tryServer();
}

void CloudSetup::tryServer()
{
    m_server = std::make_unique<WebDAVRecordDatabase>(m_ports.dispatch, WebDAVAccount{QUrl(m_url), m_user, [this] { return m_password; }});
    m_server->prove([this](const std::optional<RecordError> &error) {
        if (error)
            fail(describe(*error) + QStringLiteral("; nothing was changed"));
        else
            keep();
    });
}

void CloudSetup::keep()
{
    keepWebDAVPassword(m_ports.secrets(), m_ports.settings, QUrl(m_url), m_password, [this](const SecretResult &result) {
        if (!result.error.isNull()) {
            fail(QStringLiteral("the password cannot be kept: ") + result.error);
            return;
        }
        SettingsStore &settings = m_ports.settings;
        const bool stored = settings.setValue(urlKey, m_url) && settings.setValue(userKey, m_user) && settings.setValue(backendKey, webDAV);
        noteCredentials();
        if (stored)
            finish({0, QStringLiteral("The document is kept in that folder.\n"), {}});
        else
            fail(QStringLiteral("the settings cannot be written"));
    });
}

void CloudSetup::setUpCloudKit()
{
    m_configuration = cloudKitConfiguration(m_ports.settings);
    const auto container = askFor(QStringLiteral("Container (iCloud.org.example.name)"), m_configuration.container);
    const auto environment =
        container ? askFor(QStringLiteral("Environment (development or production)"), m_configuration.environment) : std::nullopt;
    const QString hint = m_configuration.apiToken.isEmpty() ? QString() : QStringLiteral(" (nothing keeps the present one)");
    const auto token = environment ? m_ports.askHidden(QStringLiteral("API token of that container and environment%1:").arg(hint)) : std::nullopt;
    if (!token) {
        fail(QStringLiteral("not everything was answered; nothing was changed"));
        return;
    }
    m_configuration.container = *container;
    m_configuration.environment = *environment;
    if (!token->trimmed().isEmpty())
        m_configuration.apiToken = token->trimmed();
    tryContainer();
}

/// Without anybody's session: a server that knows the container and the token then tells where to sign in.
void CloudSetup::tryContainer()
{
    CloudKitSession nobody{[this](const SecretStore::Completion &completion) { m_ports.dispatch.mainAsync([completion] { completion({}); }); },
        [this](const QString &, const SecretStore::Completion &completion) { m_ports.dispatch.mainAsync([completion] { completion({}); }); }};
    m_container = std::make_unique<CloudKitRecordDatabase>(m_ports.dispatch, m_configuration, std::move(nobody));
    if (const auto throttle = keptCloudKitThrottle(m_ports.settings, m_configuration))
        m_container->resumeThrottle(*throttle);
    m_container->currentUser([this](const RecordResult<QString> &answer) {
        if (const auto throttle = m_container->throttle())
            keepCloudKitThrottle(m_ports.settings, m_configuration, *throttle);
        const auto *error = std::get_if<RecordError>(&answer);
        if (error != nullptr && error->code == RecordErrorCode::notAuthenticated && !m_container->signInURL().isEmpty())
            keepContainer();
        else
            fail((error != nullptr ? describe(*error) : QStringLiteral("iCloud does not ask anybody to sign in"))
                + QStringLiteral("; nothing was changed"));
    });
}

void CloudSetup::keepContainer()
{
    SettingsStore &settings = m_ports.settings;
    const CloudKitConfiguration before = cloudKitConfiguration(settings);
    if (before.container != m_configuration.container || before.environment != m_configuration.environment)
        settings.setValue(QStringLiteral("cloudKitUser"), QVariant()); // the same person has another name there
    const bool stored = settings.setValue(containerKey, m_configuration.container) && settings.setValue(environmentKey, m_configuration.environment)
        && settings.setValue(QStringLiteral("cloudKitAPIToken"), m_configuration.apiToken)
        && settings.setValue(backendKey, QStringLiteral("cloudkit"));
    m_choseCloudKit = stored;
    if (stored)
        finish({0, QStringLiteral("The document is kept in that container.\n"), {}});
    else
        fail(QStringLiteral("the settings cannot be written"));
}

void CloudSetup::signOut(std::function<void()> finished)
{
    m_finished = std::move(finished);
    SecretStore &secrets = m_ports.secrets();
    secrets.write(webDAVPasswordSecret, QString(), [this, &secrets](const SecretResult &password) {
        secrets.write(cloudKitSessionSecret, QString(), [this, password](const SecretResult &session) {
            for (const char *key : {"cloudWebDAVPasswordServer", "cloudKitSessionServer"})
                m_ports.settings.remove(QLatin1String(key));
            noteCredentials();
            QString error = password.error.isNull() ? session.error : password.error;
            if (const QString left = m_ports.forgetCallbacks(); error.isEmpty())
                error = left;
            if (error.isEmpty())
                finish({0, QStringLiteral("No password and no session is kept any more.\n"), {}});
            else
                fail(error);
        });
    });
}

/// A running Lanterna hears of it by this.
void CloudSetup::noteCredentials()
{
    m_ports.settings.setValue(QStringLiteral("cloudCredentialsDate"), m_ports.dispatch.now());
}

} // namespace lanterna
