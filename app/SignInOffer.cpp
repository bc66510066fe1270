#include "app/SignInOffer.h"

#include "cloud/ChosenRecordDatabase.h"

#include <QCoreApplication>

#include <utility>

namespace lanterna
{

namespace
{

/// A text for people, ready for translation.
QString words(const char *text)
{
    return QCoreApplication::translate("SignInOffer", text);
}

} // namespace

SignInOffer::~SignInOffer()
{
    end();
}

void SignInOffer::end()
{
    m_attempt.reset();
    m_callbacks.reset();
}

void SignInOffer::note(const CloudOutcome &outcome)
{
    const bool isAsked = outcome.error && outcome.error->code == RecordErrorCode::notAuthenticated;
    if (!isAsked || m_attempt || chosenBackend(m_parts.settings) != RecordBackend::cloudKit || std::exchange(m_hasSpoken, true))
        return;
    m_parts.log(QStringLiteral("cloud: iCloud asks to sign in; 'lanternactl cloud sign-in' does it, too"));
    offer(words("Sign in to iCloud"), words("Lanterna can read and save the shared document only after you have signed in."), words("Sign in"));
}

void SignInOffer::offer(const QString &title, const QString &body, const QString &action)
{
    const QString otherWay = words("In a terminal 'lanternactl cloud sign-in' does it, too.");
    m_parts.notices.showWithAction(title, body + u' ' + otherWay, action, [this, alive = std::weak_ptr(m_alive)] {
        if (!alive.expired())
            signIn();
    });
}

void SignInOffer::noteSetting(const QString &key)
{
    if (isDatabaseChoice(key))
        m_hasSpoken = false;
}

void SignInOffer::signIn()
{
    if (m_attempt)
        return;
    m_callbacks = m_parts.makeCallbacks();
    m_attempt = std::make_unique<CloudKitSignIn>(CloudKitSignInParts{m_parts.dispatch, m_parts.settings, cloudKitConfiguration(m_parts.settings),
        keptCloudKitSession(m_parts.secrets(), m_parts.settings, cloudKitConfiguration(m_parts.settings)), *m_callbacks,
        m_parts.settings.text(QStringLiteral("cloudKitCallback")), m_parts.openInBrowser,
        [this](const QString &question, const std::function<void(bool)> &answer) {
            const Alert alert{words("Another iCloud account"), question, {words("Use This Account"), words("Cancel")}, 1, 1, -1};
            m_parts.alerts.runModal(alert, [answer](int button) { answer(button == 0); });
        },
        [this](const QString &line) { m_parts.log(QStringLiteral("cloud: %@"), line); }});
    m_attempt->start([this](const CloudKitSignInResult &result) { ended(result); });
}

void SignInOffer::ended(const CloudKitSignInResult &result)
{
    end();
    if (result.error.isEmpty()) {
        m_parts.notices.show(words("Signed in to iCloud"), words("The account's name there is %1.").arg(result.userRecordName));
        return;
    }
    m_parts.log(QStringLiteral("cloud: not signed in: %@"), result.error);
    offer(words("Not signed in to iCloud"), QStringList{result.error + u'.', result.advice}.join(u' ').simplified(), words("Try again"));
}

} // namespace lanterna
