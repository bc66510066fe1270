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
    const QString present = chosenBackend(m_ports.settings) == RecordBackend::webDAV ? webDAV : embedded;
    const auto backend = askFor(QStringLiteral("Keep the document here (embedded) or in a folder on a server (webdav)?"), present);
    if (!backend)
        fail(QStringLiteral("there is nobody to answer"));
    else if (*backend == webDAV)
        setUpWebDAV();
    else if (*backend != embedded)
        fail(QStringLiteral("neither embedded nor webdav; nothing was changed"));
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
    m_ports.secrets().write(webDAVPasswordSecret, m_password, [this](const SecretResult &result) {
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

void CloudSetup::signOut(std::function<void()> finished)
{
    m_finished = std::move(finished);
    SecretStore &secrets = m_ports.secrets();
    secrets.write(webDAVPasswordSecret, QString(), [this, &secrets](const SecretResult &password) {
        secrets.write(cloudKitSessionSecret, QString(), [this, password](const SecretResult &session) {
            noteCredentials();
            const QString error = password.error.isNull() ? session.error : password.error;
            if (error.isNull())
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
